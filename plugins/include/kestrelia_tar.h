/* The contract between the program and tar.dll, its TAR library (plain, gzip, bzip2 and
 * compress). The program loads the library by name at run time and looks every entry point
 * up by name before each call; all of them use the C calling convention.
 *
 * The contract was laid out for 32-bit words; in this 64-bit build every word that holds a
 * pointer, a handle or a count of list nodes is pointer-sized, in the same order. The find
 * record keeps its fixed 32-bit layout. */
#ifndef KESTRELIA_TAR_H
#define KESTRELIA_TAR_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define TAR_DLL_NAME "tar.dll"

/* Filled by TarFindFirst and TarFindNext; packed, little-endian. */
#pragma pack(push, 1)
typedef struct TarFindRecord {
  uint32_t size;          /* uncompressed size in bytes (low 32 bits) */
  uint32_t packedSize;    /* 0: the same as size (TAR members are stored) */
  uint32_t sizeHigh;      /* the high 32 bits of both sizes; a library that leaves them 0 */
  uint32_t packedHigh;    /* still lists every member under 4 GiB right */
  uint8_t unused[6];
  uint16_t dosDate;       /* years since 1980 << 9 | month << 5 | day */
  uint16_t dosTime;       /* hour << 11 | minute << 5 | seconds / 2 */
  char name[260];         /* "/"-separated, zero-terminated; a folder ends with "/" */
} TarFindRecord;
#pragma pack(pop)

/* One name of a list: an entry name inside the archive ("/"-separated) for TarExtract, a
 * file or folder path of the disk for TarCreate and TarCreateAdd (a folder ends with "\" or
 * "/"), or a TarAddResult record for TarCreateAdd's result list. */
typedef struct TarNameNode {
  char* name;
  struct TarNameNode* next;
} TarNameNode;

/* The list TarExtract reads: the first word points to the first node, the ninth holds the
 * number of nodes; the words between belong to the program. */
typedef struct TarNameList {
  TarNameNode* first;
  uintptr_t programWords[7];
  uintptr_t count;
} TarNameList;

/* One record per source file of TarCreateAdd, zeroed by the program (558 bytes). */
#pragma pack(push, 1)
typedef struct TarAddResult {
  char path[260];        /* the source path as given */
  char entry[260];       /* the entry name it was stored under */
  int32_t status;        /* 0 added, 1 could not be read, 2 refused name */
  char reason[34];
} TarAddResult;
#pragma pack(pop)

/* Result text: 255 bytes, zeroed by the program before each call. For TarCreate and
 * TarCreateAdd the first character is '0' on success and the second '0' when every file was
 * added; a short description follows. */
#define TAR_RESULT_TEXT_SIZE 255

/* TarCreate and TarCreateAdd write the archive to newArchive, a working file the program made
 * beside it (the library writes over it and leaves the moving, or the removal after a
 * failure, to the program, which keeps account of its working files); without one the library
 * writes a temporary file of its own beside the archive and moves it over the archive. */
/* TarCreateAdd's add modes: append to the archive's entries; or append and drop the old
 * entries whose names the new files take. Any other value is taken as TAR_ADD_APPEND. */
#define TAR_ADD_APPEND 1
#define TAR_ADD_REPLACE 2

/* The progress window TarExtract, TarCreate and TarCreateAdd drive (may be null): the
 * library moves the bar with this control identifier, one PBM_STEPIT per entry when the
 * given total size is 0, else PBM_SETPOS in percent of that total; it stops early when the
 * window is gone (the user cancelled). */
#define TAR_PROGRESS_BAR_ID 30000

typedef void* TarHandle;

/* The entry points, as a list of X(name, result, parameters) in the form of every plug-in
 * list. TarFindFirst and TarFindNext answer 0 while a record was delivered, non-zero at the
 * end (or at a damaged record). TarExtract takes the selection's total size in two halves,
 * low first, a quiet flag (1 when one entry is written for viewing) and the program's writer
 * of file entries (TarFileSink, below; without one no file entry is written); it answers 0,
 * 1 when an entry failed or was refused, 2 when the archive could not be opened or read to its
 * end, 100 when the run was stopped. TarFindName copies the whole name of the record last
 * delivered (the record's name is cut at 259 bytes) into buffer, zero-terminated and cut at
 * size, and answers its length (0 without a record). */
/* TarReadData reads the data of the entry the last TarFindFirst or TarFindNext delivered:
 * the count of bytes, 0 at its end, -1 when the data is damaged or cut short. After the
 * find loop ended it answers 0 when the archive ended whole, -1 when it ended at damage. */
/* TarRewrite writes the entries of archive to newArchive, a file the program made that it
 * overwrites, in archive's compression, each as change answers; 0 when every entry was
 * copied, else 1 with the reason in result (newArchive is then unfinished). */
/* TarSetMessageBox hands in the function that shows the library's message boxes
 * (MessageBoxA's contract; null puts MessageBoxA back). archive_version_string is
 * libarchive's own, exported for the program's About box. */
typedef int (*TarMessageBoxFn)(void* owner, const char* text, const char* title, unsigned flags);
/* TarRewrite's question for each entry, by its "/"-separated name (a folder's ends with "/"):
 * TAR_KEEP copies it as it is, TAR_RENAME copies it under the name written to newName
 * (zero-terminated, at most newNameSize bytes), TAR_DROP leaves it out. */
#define TAR_KEEP 0
#define TAR_RENAME 1
#define TAR_DROP 2
typedef int (*TarChangeFn)(void* context, const char* name, char* newName, size_t newNameSize);
/* TarExtract's writer of file entries: the library reads each file's data and hands it to the
 * program, which writes it (under a working name, with its own questions and failure report);
 * folders and hard links the library makes itself. begin is asked first (name: "/"-separated
 * UTF-8, judged safe, relative to the destination; fileTime: the modification time in 100 ns
 * ticks since 1601, UTC, 0 when the entry has none) and answers TAR_SINK_WRITE, TAR_SINK_SKIP or
 * TAR_SINK_STOP. data takes the bytes in order, holes of sparse entries filled; non-zero: the
 * writer gave the entry up, nothing more is sent. end tells how the data ended (TAR_SINK_WHOLE,
 * TAR_SINK_DAMAGED with libarchive's words, TAR_SINK_CANCELLED) and answers TAR_SINK_WRITE when
 * the file is on the disk, TAR_SINK_SKIP when it failed and the run goes on, TAR_SINK_STOP when
 * the run stops. */
#define TAR_SINK_WRITE 0
#define TAR_SINK_SKIP 1
#define TAR_SINK_STOP 2
#define TAR_SINK_WHOLE 0
#define TAR_SINK_DAMAGED 1
#define TAR_SINK_CANCELLED 2
typedef struct TarFileSink {
  void* context;
  int (*begin)(void* context, const char* name, uint64_t size, uint64_t fileTime);
  int (*data)(void* context, const void* bytes, size_t size);
  int (*end)(void* context, int how, const char* detail);
} TarFileSink;
#define KESTRELIA_TAR_FILE TAR_DLL_NAME
#define KESTRELIA_TAR_API_LIST(X)                                                                      \
  X(TarOpenArchive, TarHandle, (void* owner, const char* path, int mode))                              \
  X(TarFindFirst, int, (TarHandle archive, const char* pattern, TarFindRecord* record))                \
  X(TarFindNext, int, (TarHandle archive, TarFindRecord* record))                                      \
  X(TarFindName, uint32_t, (TarHandle archive, char* buffer, uint32_t size))                           \
  X(TarCloseArchive, int, (TarHandle archive))                                                         \
  X(TarExtract, int,                                                                                   \
    (const char* archive, TarNameList* names, void* progress, char* result, const char* destination,   \
     uint32_t sizeLow, uint32_t sizeHigh, int quiet, const TarFileSink* sink))                         \
  X(TarCreate, int,                                                                                    \
    (const char* archive, const char* baseFolder, void* progress, char* result, int fileCount,         \
     TarNameNode* files, const char* newArchive))                                                      \
  X(TarCreateAdd, int,                                                                                 \
    (const char* archive, const char* baseFolder, TarNameNode* files, TarNameNode* results,            \
     void* progress, int addMode, char* result, const char* newArchive))                               \
  X(TarSetMessageBox, void, (TarMessageBoxFn box))                                                     \
  X(TarReadData, int64_t, (TarHandle archive, void* buffer, uint32_t size))                            \
  X(TarRewrite, int,                                                                                   \
    (const char* archive, const char* newArchive, TarChangeFn change, void* context, char* result))    \
  X(archive_version_string, const char*, (void))

#ifdef __cplusplus
}
#endif

#endif
