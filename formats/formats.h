// The one table of archive kinds: how a file is recognised as each kind, and what each kind
// can do. Every "which kind is this" question in the program is a lookup here.
//
// Adding a kind: give it a row in g_formats (formats.cpp) with its name test and what it
// refuses, write its adapter (formats/<kind>_format.cpp) whose Register<Kind>Format() hands
// its operations to RegisterArchiveOperations, and add that call to RegisterArchiveFormats
// (formats/adapters.cpp). Open, extract, view and the main window need no change.
#pragma once
#include "services/base.h"

#include "jobs/entry_details.h"
#include "jobs/entry_stream.h"
#include "jobs/extract_job.h"

#include <string>

// The kind numbers are stored in the control blocks and the process-wide current kind.
enum ArchiveKind {
  ARCHIVE_ZIP = 1,
  ARCHIVE_TAR = 2,  // the TAR family keeps "/" as its separator
  ARCHIVE_ISO = 3,
  ARCHIVE_RAR = 4,
  ARCHIVE_ZIP64 = 5,
  // Read only: 7z through sevenzip.dll, the others through iso.dll's walk over libarchive
  // (formats/libarchive_kinds.h).
  ARCHIVE_7Z = 6,
  ARCHIVE_CAB = 7,
  ARCHIVE_LZH = 8,
  ARCHIVE_CPIO = 9,
  // 10 stays free for XAR, which libarchive reads only when built with an XML parser.
  ARCHIVE_AR = 11,  // with Debian packages
  ARCHIVE_RPM = 12,
};

// The listing thread walks the archive of the control block it is given and fills its views.
typedef DWORD(WINAPI* ListingThreadProc)(LPVOID block);
// Writes one entry (its full name as the list shows it) to the temporary folder, records it
// for deletion at exit and names the written file in written; 0 on success, else the user was
// told why not. Viewing and "open with" hand the file on from there.
typedef int (*TempEntryProc)(const char* archive, const char* entryName, char (&written)[kPathBuf]);
// The body of a creation or add run, given its parameter block.
typedef DWORD(WINAPI* CreationThreadProc)(LPVOID block);
// Sets the process-wide encryption flag from the archive's entries: 0, -1 when unreadable.
typedef int (*EncryptionProc)(const char* archive);
struct RBTree;
// Rewrites the archive by a change set (jobs/change_set.h): deletes its entries, or renames
// and moves each to its new path. 0 on success; kRewriteSimulated with the report of what
// would change in failure; kRewriteUnmatched when no entry is concerned; else negative with
// the user's sentence for the failure in failure.
typedef int (*RewriteProc)(const char* archive, RBTree* changes, char* failure, size_t failureSize);
// Makes a self-extracting program of the archive on the calling worker: asks for the target
// (and whether to replace one that exists), seals the program with the password when one is
// given (""; none), shows its progress and its result. 0 when the program was made.
typedef int (*SelfExtractingProc)(const char* archive, const char* password, HWND owner);

// One entry by its full name as the list shows it: 0, else it could not be read.
typedef int (*EntryDetailsProc)(const char* archive, const char* entryName, EntryDetails* out);
// The archive's own comment (UTF-8, "" for none): 0, else it could not be read.
typedef int (*ArchiveCommentProc)(const char* archive, std::string* comment);

// A null operation means the kind cannot do it (its plug-in is missing or it has none).
// The extraction, folder and test workers are defined with the runs in jobs/extract_job.h.
struct ArchiveOperations {
  ListingThreadProc listing;
  ExtractionProc extract;          // the whole archive or a copied selection
  FolderExtractionProc extractFolder;  // every entry below a folder of the tree
  TempEntryProc writeTemp;         // one entry to the temporary folder
  TestProc test;
  CreationThreadProc create;       // a new archive
  CreationThreadProc add;          // files added to an existing archive
  RewriteProc remove;              // entries deleted
  RewriteProc rename;              // entries renamed or moved
  EncryptionProc detectEncryption;
  SelfExtractingProc selfExtracting;  // the archive made into a self-extracting program
  EntryDetailsProc details;        // an entry's method, checksum, attributes and comment
  ArchiveCommentProc comment;      // the archive's comment
  OpenReaderProc openReader;       // entries read as streams (jobs/entry_stream.h)
};

// The archive opened for reading entries as streams by its kind's row: null with an
// EntryStreamError in *error (STREAM_UNSUPPORTED when the kind cannot).
std::unique_ptr<ArchiveReader> OpenArchiveReader(int kind, const char* archive, int* error);
// The reader stands at the entry the list shows under name, ready for its first Read.
std::unique_ptr<ArchiveReader> OpenEntryStream(int kind, const char* archive, const char* name,
                                               StreamEntry* entry, int* error);

struct ArchiveFormat {
  int kind;
  const char* name;                           // for log lines
  bool (*matchesName)(const char* fileName);  // null: never chosen by its file name
  char separator;                             // of entry names as the kind keeps them
  bool creationOptions;                       // a new archive takes the creation options (level, password, folder inside)
  const char* renameRefusal;                  // printed instead of renaming; null when renaming works
  int searchRefusalText;                      // message text shown instead of a content search; 0 allows it
  const char* patterns;                       // the open dialog's patterns; null: not offered there
  int descriptionText;                        // the open dialog's name of the kind (message text)
  ArchiveOperations ops;
};

// The row of a kind; null for a kind outside the table.
const ArchiveFormat* FindArchiveFormat(int kind);
// The one road for a kind outside the table: logs "<who> no compression method specified -
// assuming zip!!" and answers with ZIP's row. Never null.
const ArchiveFormat* ArchiveFormatOrZip(int kind, const char* who);
// An adapter hands in its operations (ZIP's come from the ZIP engine the same way).
void RegisterArchiveOperations(int kind, const ArchiveOperations& ops);
// Every adapter linked into the program registers (formats/adapters.cpp), after
// InstallKindTable.
void RegisterArchiveFormats();
// The program starts with the default kind, and the model (which sits below the table) asks
// the table for separators through the lookup handed in here.
void InstallKindTable();

bool IsKnownArchiveKind(int kind);
// The open dialog's file types as "name|patterns|" pairs: every archive kind together
// first, then each kind, then every file.
std::string ArchiveOpenFilter();
// The separator entry names carry for the given kind: '/' for TAR, '\\' for all others.
char ArchiveSeparator(int kind);

// The writer of an archive: one that is extended is written by its own kind; a new one from
// the window by the kind its name asks for ("x.tar.gz" through tar.dll), where that kind
// writes archives; everything else, the command line's archives included, by the default
// kind's. Null only when not even that kind writes.
const ArchiveFormat* ArchiveWriterFor(const char* archive, bool add, bool fromCommandLine);
// The kind of a new archive with no kind of its own, and of the program before any is open.
int DefaultArchiveKind();

// File-name tests. TAR, ISO and RAR are plain suffix tests without a required dot, so a
// name such as "guitar" counts as TAR; the ZIP test wants the dot.
bool IsZipFile(const char* name);
bool IsTarFile(const char* name);
bool IsIsoFile(const char* name);
bool IsRarFile(const char* name);
// The rows' name tests in table order (ZIP, TAR, ISO, RAR); 0 when the name fits none.
int GetArchiveKindFromName(const char* name);
// The first bytes of a file are a ZIP signature: "PK", then 3 or 5, then 4 or 6 (all four
// crossings of the local-header and end-of-directory signatures count).
bool HasZipSignature(const unsigned char* bytes, size_t count);
// The kind of archive a file is: a TAR, ISO or RAR name decides; else the marks of its first
// bytes (a program with a ZIP or 7z appended counts as that archive), else its name's kind;
// 0 for none.
int DecideArchiveKind(const char* path);
