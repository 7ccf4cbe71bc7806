/* The part of the UnRAR library's published API (unrar.dll) that the program uses, written
 * from the library's own documentation of it. The program loads the library by name at run
 * time and looks every entry point up by name before each call.
 *
 * The library packs its records to single bytes. Its 32-bit builds hold pointers in 32-bit
 * words; in this 64-bit build those words (archive names, comment buffers, the callback and
 * its user data, the open handle) are pointer-sized, in the same order, as the library's
 * 64-bit build has them. Every other field keeps its 32-bit width. */
#ifndef KESTRELIA_UNRAR_H
#define KESTRELIA_UNRAR_H

#include <stdint.h>
#include <wchar.h>

#ifdef __cplusplus
extern "C" {
#endif

#define UNRAR_DLL_NAME "unrar.dll"

/* Results of every call. */
#define ERAR_SUCCESS 0
#define ERAR_END_ARCHIVE 10
#define ERAR_NO_MEMORY 11
#define ERAR_BAD_DATA 12
#define ERAR_BAD_ARCHIVE 13
#define ERAR_UNKNOWN_FORMAT 14
#define ERAR_EOPEN 15
#define ERAR_ECREATE 16
#define ERAR_ECLOSE 17
#define ERAR_EREAD 18
#define ERAR_EWRITE 19
#define ERAR_SMALL_BUF 20
#define ERAR_UNKNOWN 21
#define ERAR_MISSING_PASSWORD 22
#define ERAR_EREFERENCE 23
#define ERAR_BAD_PASSWORD 24

/* Open modes. */
#define RAR_OM_LIST 0
#define RAR_OM_EXTRACT 1

/* What RARProcessFile does with the entry whose header was read last. */
#define RAR_SKIP 0
#define RAR_TEST 1
#define RAR_EXTRACT 2

/* The second word of UCM_CHANGEVOLUME: the volume is missing (ask), or was opened (notify). */
#define RAR_VOL_ASK 0
#define RAR_VOL_NOTIFY 1

/* Archive flags in the open record. */
#define ROADF_VOLUME 0x0001
#define ROADF_COMMENT 0x0002
#define ROADF_SOLID 0x0008
#define ROADF_ENCHEADERS 0x0080
#define ROADF_FIRSTVOLUME 0x0100

/* Entry flags in the header record. */
#define RHDF_SPLITBEFORE 0x01
#define RHDF_SPLITAFTER 0x02
#define RHDF_ENCRYPTED 0x04
#define RHDF_SOLID 0x10
#define RHDF_DIRECTORY 0x20

/* The callback's messages. */
#define UCM_CHANGEVOLUME 0
#define UCM_PROCESSDATA 1
#define UCM_NEEDPASSWORD 2
#define UCM_CHANGEVOLUMEW 3
#define UCM_NEEDPASSWORDW 4

/* The callback: message, the user data given to RARSetCallback, two message words. For the
 * volume messages the first is the volume's name (a buffer of at least 260 characters the
 * callback may rewrite) and the second RAR_VOL_ASK or RAR_VOL_NOTIFY; for UCM_PROCESSDATA the
 * first is the data and the second its size; for UCM_NEEDPASSWORD the first is a buffer for
 * the password and the second its size. -1 stops the operation; 0 goes on. */
typedef int(__stdcall* UnrarCallback)(unsigned int message, intptr_t userData, intptr_t p1, intptr_t p2);

#pragma pack(push, 1)
typedef struct RAROpenArchiveDataEx {
  char* ArcName;
  wchar_t* ArcNameW;
  uint32_t OpenMode;
  uint32_t OpenResult;
  char* CmtBuf;
  uint32_t CmtBufSize;
  uint32_t CmtSize;
  uint32_t CmtState; /* 1: a comment was read into CmtBuf */
  uint32_t Flags;    /* ROADF_ */
  UnrarCallback Callback;
  intptr_t UserData;
  uint32_t OpFlags;
  wchar_t* CmtBufW;
  uint32_t Reserved[25];
} RAROpenArchiveDataEx;

typedef struct RARHeaderDataEx {
  char ArcName[1024];
  wchar_t ArcNameW[1024];
  char FileName[1024];
  wchar_t FileNameW[1024]; /* the name as stored, "\" separated on Windows */
  uint32_t Flags;          /* RHDF_ */
  uint32_t PackSize;
  uint32_t PackSizeHigh;
  uint32_t UnpSize;
  uint32_t UnpSizeHigh;
  uint32_t HostOS;
  uint32_t FileCRC;
  uint32_t FileTime; /* MS-DOS date and time, date in the high word */
  uint32_t UnpVer;
  uint32_t Method;
  uint32_t FileAttr;
  char* CmtBuf;
  uint32_t CmtBufSize;
  uint32_t CmtSize;
  uint32_t CmtState;
  uint32_t DictSize;
  uint32_t HashType;
  char Hash[32];
  uint32_t RedirType; /* non-zero: a link or a reference to another entry */
  wchar_t* RedirName;
  uint32_t RedirNameSize;
  uint32_t DirTarget;
  uint32_t MtimeLow;
  uint32_t MtimeHigh;
  uint32_t CtimeLow;
  uint32_t CtimeHigh;
  uint32_t AtimeLow;
  uint32_t AtimeHigh;
  uint32_t Reserved[988];
} RARHeaderDataEx;

/* The older records, for the two older entry points the program resolves but does not call. */
typedef struct RAROpenArchiveData {
  char* ArcName;
  uint32_t OpenMode;
  uint32_t OpenResult;
  char* CmtBuf;
  uint32_t CmtBufSize;
  uint32_t CmtSize;
  uint32_t CmtState;
} RAROpenArchiveData;

typedef struct RARHeaderData {
  char ArcName[260];
  char FileName[260];
  uint32_t Flags;
  uint32_t PackSize;
  uint32_t UnpSize;
  uint32_t HostOS;
  uint32_t FileCRC;
  uint32_t FileTime;
  uint32_t UnpVer;
  uint32_t Method;
  uint32_t FileAttr;
  char* CmtBuf;
  uint32_t CmtBufSize;
  uint32_t CmtSize;
  uint32_t CmtState;
} RARHeaderData;
#pragma pack(pop)

typedef void* RarHandle;
typedef int(__stdcall* UnrarChangeVolProc)(char* archiveName, int mode);
typedef int(__stdcall* UnrarProcessDataProc)(unsigned char* data, int size);

/* The twelve entry points, as a list of X(name, result, parameters) in the form of every
 * plug-in list. The narrow names of RARProcessFile are read in the OEM code page; the program
 * passes its destinations wide, through RARProcessFileW. */
#define KESTRELIA_UNRAR_FILE UNRAR_DLL_NAME
#define KESTRELIA_UNRAR_API_LIST(X)                                                               \
  X(RAROpenArchive, RarHandle, (RAROpenArchiveData * data))                                       \
  X(RAROpenArchiveEx, RarHandle, (RAROpenArchiveDataEx * data))                                   \
  X(RARCloseArchive, int, (RarHandle archive))                                                    \
  X(RARReadHeader, int, (RarHandle archive, RARHeaderData * header))                              \
  X(RARReadHeaderEx, int, (RarHandle archive, RARHeaderDataEx * header))                          \
  X(RARProcessFile, int, (RarHandle archive, int operation, char* destPath, char* destName))      \
  X(RARProcessFileW, int, (RarHandle archive, int operation, wchar_t* destPath, wchar_t* destName)) \
  X(RARSetCallback, void, (RarHandle archive, UnrarCallback callback, intptr_t userData))          \
  X(RARSetChangeVolProc, void, (RarHandle archive, UnrarChangeVolProc proc))                      \
  X(RARSetProcessDataProc, void, (RarHandle archive, UnrarProcessDataProc proc))                  \
  X(RARSetPassword, void, (RarHandle archive, char* password))                                    \
  X(RARGetDllVersion, int, (void))

#ifdef __cplusplus
}
#endif

#endif
