/* The contract between the program and sevenzip.dll, its reader of 7z archives on the 7-Zip
 * project's own decoders (every method and filter 7z archives use, and AES for encrypted data
 * and encrypted names). The program loads the library by name at run time and looks every
 * entry point up by name before each call; all of them use the C calling convention. Texts
 * are UTF-8. One handle is used from one thread at a time.
 *
 * Entries are read front to back: SzSelectEntry makes an entry the one SzReadData reads.
 * Entries chosen in ascending order within a solid block share one decoding of that block,
 * so a selection decodes each block at most once, and only up to the last entry it reads;
 * choosing an entry behind the decoding, or in another block, starts that block again. */
#ifndef KESTRELIA_7Z_H
#define KESTRELIA_7Z_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define SEVENZIP_DLL_NAME "sevenzip.dll"

/* Results: 0, else one of these. */
#define SZ_NEED_PASSWORD (-1)  /* the names or the data are encrypted and no password was given */
#define SZ_WRONG_PASSWORD (-2) /* the password given does not decrypt them */
#define SZ_DAMAGED (-3)        /* damaged, cut short, or a checksum that does not match */
#define SZ_NOT_ARCHIVE (-4)    /* no 7z archive */
#define SZ_UNSUPPORTED (-5)    /* a method this library does not decode */
#define SZ_FAILED (-6)         /* the file cannot be read, memory, or a call out of order */

#define SZ_NO_BLOCK 0xFFFFFFFFu
#define SZ_NAME_SIZE 4096

typedef struct SzEntryRecord {
  uint64_t size;
  uint64_t packed;      /* the block's packed size on its first entry, 0 on the others */
  uint64_t modified;    /* a FILETIME (UTC); 0 when the archive keeps none */
  uint32_t attributes;  /* Win32 bits; with 0x8000 set the high 16 bits are a POSIX mode */
  uint32_t crc;
  uint32_t block;       /* the solid block holding the data; SZ_NO_BLOCK for none (empty, folder) */
  uint8_t hasCrc;
  uint8_t folder;
  uint8_t encrypted;    /* its data needs the password */
  uint8_t link;         /* a symbolic link or other reparse point */
  char method[64];      /* as 7-Zip names the block's coders: "LZMA2:24 BCJ 7zAES" */
  char name[SZ_NAME_SIZE]; /* the path inside the archive, "\"-separated, cut to fit */
} SzEntryRecord;

typedef void* SzHandle;

/* SzOpenArchive: the password is asked for only when the names are encrypted (null or "" for
 * none); *result says why the handle is null. SzSetPassword gives the password of the data of
 * later reads. SzReadData: the count of bytes read, 0 at the entry's end once its data was
 * found whole, else a result (after which the entry gives nothing more). */
#define KESTRELIA_7Z_FILE SEVENZIP_DLL_NAME
#define KESTRELIA_7Z_API_LIST(X)                                                         \
  X(SzOpenArchive, SzHandle, (const char* path, const char* password, int* result))    \
  X(SzCloseArchive, void, (SzHandle archive))                                           \
  X(SzEntryCount, uint32_t, (SzHandle archive))                                         \
  X(SzGetEntry, int, (SzHandle archive, uint32_t index, SzEntryRecord* record))          \
  X(SzSetPassword, void, (SzHandle archive, const char* password))                      \
  X(SzSelectEntry, int, (SzHandle archive, uint32_t index))                             \
  X(SzReadData, int64_t, (SzHandle archive, void* buffer, uint32_t size))               \
  X(SzVersion, const char*, (void))

#ifdef __cplusplus
}
#endif

#endif
