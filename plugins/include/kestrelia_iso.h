/* The contract between the program and iso.dll, its read-only library for CD and DVD images:
 * ISO 9660 with its Joliet and Rock Ridge names, and Nero images whose track holds ISO 9660.
 * The program loads the library by name at run time and looks every entry point up by name
 * before each call; all of them use the C calling convention.
 *
 * The same walk reads the other kinds libarchive reads and the program only reads (CAB, LZH,
 * CPIO, AR, RPM): ArchiveOpen names the kind, and its handle takes every call an
 * image's handle takes.
 *
 * The interface has the shape of the UnRAR library's (an open handle, a header loop, a
 * per-entry process call with an operation code) and its header record the layout of UnRAR's
 * RARHeaderData, so the program walks images and RAR archives with one header loop.
 *
 * The contract was laid out for 32-bit words; in this 64-bit build every word that holds a
 * pointer or a handle is pointer-sized, in the same order. The header record keeps its 32-bit
 * offsets up to the attributes; its comment pointer is pointer-sized (at offset 560). */
#ifndef KESTRELIA_ISO_H
#define KESTRELIA_ISO_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define ISO_DLL_NAME "iso.dll"

/* Filled by ReadHeader. The program reads the path, the size and the attributes only. */
typedef struct IsoHeaderRecord {
  char archiveName[260];   /* 0: left empty */
  char fileName[260];      /* 260: the entry's path, "\\"-separated UTF-8, cut at 259 bytes */
  uint32_t flags;          /* 520: ISO_FLAG_ENCRYPTED or 0 */
  uint32_t packedSize;     /* 524: as unpackedSize (an image stores its files as they are) */
  uint32_t unpackedSize;   /* 528: size in bytes, its low 32 bits */
  uint32_t hostOs;         /* 532: 0 */
  uint32_t fileCrc;        /* 536: 0 (an image keeps no checksums) */
  uint32_t fileTime;       /* 540: MS-DOS date << 16 | time, local time */
  uint32_t unpackVersion;  /* 544: 0 */
  uint32_t method;         /* 548: 0x30, stored */
  uint32_t fileAttributes; /* 552: Win32 file-attribute bits, see below */
  char* commentBuffer;     /* unused */
  uint32_t commentBufferSize;
  uint32_t commentSize;
  uint32_t commentState;
} IsoHeaderRecord;

/* flags: ISO_FLAG_ENCRYPTED when the entry's data is encrypted (UnRAR's bit; a CAB may say
 * so), which the library cannot decrypt. */
#define ISO_FLAG_ENCRYPTED 0x04u

/* fileAttributes: a folder carries ISO_ATTRIBUTE_FOLDER, an entry whose record sets the
 * existence bit ISO_ATTRIBUTE_HIDDEN (the program neither views nor extracts those), a
 * symbolic link ISO_ATTRIBUTE_LINK (never written: its target may lie anywhere); a plain
 * file has ISO_ATTRIBUTE_FILE. */
#define ISO_ATTRIBUTE_HIDDEN 0x02u
#define ISO_ATTRIBUTE_FOLDER 0x10u
#define ISO_ATTRIBUTE_FILE 0x20u
#define ISO_ATTRIBUTE_LINK 0x400u

/* ReadHeader's fourth argument: 0, or a buffer of this size for the entry's whole path
 * ("\\"-separated UTF-8), for paths longer than the record's 259 bytes. */
#define ISO_FULL_NAME_SIZE 4096

/* ProcessFile's operations. */
#define ISO_SKIP 0
#define ISO_TEST 1    /* read the entry's data through, write nothing */
#define ISO_EXTRACT 3

/* Results of ReadHeader and ProcessFile (UnRAR's numbers where they mean the same). */
#define ISO_OK 0
#define ISO_END_ARCHIVE 10  /* ReadHeader: no more entries */
#define ISO_NO_MEMORY 11
#define ISO_BAD_DATA 12     /* the entry's data cannot be read (the image is cut short or damaged) */
#define ISO_BAD_ARCHIVE 13  /* ReadHeader: the directory cannot be read further; the image is damaged */
#define ISO_ENCRYPTED 22    /* the entry's data is encrypted: nothing read or written */
#define ISO_ECREATE 16      /* the file or a folder above it cannot be created */
#define ISO_EWRITE 19
#define ISO_REFUSED_NAME 30 /* the name would write outside the destination, or a link: nothing written */
#define ISO_NO_ENTRY 31     /* ProcessFile without a header read before it */

typedef void* IsoHandle;

/* The date record ReadHeader fills: the Win32 SYSTEMTIME, local time. The caller presets it;
 * an entry without a usable date leaves it as it was. */
typedef struct IsoDate {
  uint16_t year, month, dayOfWeek, day, hour, minute, second, milliseconds;
} IsoDate;

/* The entry points, as a list of X(name, result, parameters) in the form of every plug-in
 * list.
 * iso_open: the image (UTF-8 path); 0 when it is no image or cannot be opened.
 * iso_init: reads the volume descriptors and the root folder; non-zero on success.
 * ReadHeader: 0 while an entry was delivered; ISO_END_ARCHIVE at the end, ISO_BAD_ARCHIVE
 *   when the image's folders cannot be read further.
 * ProcessFile: the entry of the last header, with an operation. ISO_EXTRACT writes it to the
 *   destination folder (0: the current directory) joined with the destination name (0: the
 *   entry's own path); the name is judged first and nothing is written outside the folder.
 *   A file is written under a working name and takes its own name only when whole. The
 *   three reserved words are 0; the counter (may be 0) grows by the bytes read.
 * iso_close: closes the image and sets the handle to 0.
 * IsoFileCount: the number of files (folders not counted) of the image at the path; their
 *   total size in bytes goes to the second argument when given.
 * ArchiveOpen: the archive (UTF-8 path) read as the named kind, one of "cab", "lha",
 *   "cpio" (also compressed with gzip, bzip2, xz, lzma, zstd or lz4), "ar", "rpm"; a
 *   null format reads a CD image as iso_open does. 0 when it is not of that kind or cannot
 *   be opened. Names come as UTF-8; a name that is not UTF-8 is read as Windows-1252.
 * IsoReadData (the program's addition, for reading an entry as a stream): the next bytes of
 *   the entry of the last header, in place of ProcessFile: their count, 0 at the end (a
 *   folder or a link has none), -1 when they cannot be read (damage). The entry's whole
 *   size, 64 bits wide, goes to the last argument when given; a size of 0 only asks that. */
#define KESTRELIA_ISO_FILE ISO_DLL_NAME
#define KESTRELIA_ISO_API_LIST(X)                                                                   \
  X(iso_open, IsoHandle, (const char* path))                                                        \
  X(iso_init, int, (IsoHandle image))                                                               \
  X(ReadHeader, int, (IsoHandle image, IsoHeaderRecord* header, IsoDate* date, char* fullName))      \
  X(ProcessFile, int,                                                                               \
    (IsoHandle image, int operation, const char* destinationFolder, const char* destinationName,   \
     void* reserved1, void* reserved2, void* reserved3, uint64_t* progress))                        \
  X(iso_close, int, (IsoHandle * image))                                                            \
  X(IsoFileCount, int, (const char* path, uint64_t* totalBytes))                                    \
  X(IsoReadData, int64_t, (IsoHandle image, void* buffer, uint32_t size, uint64_t* entrySize))    \
  X(ArchiveOpen, IsoHandle, (const char* path, const char* format))

#ifdef __cplusplus
}
#endif

#endif
