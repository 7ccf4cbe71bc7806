// The walk shared by the kinds whose libraries have the UnRAR shape (iso.dll, unrar.dll): the
// library hands out one header at a time, and each entry is then skipped, tested or written
// before the next header is read. The kind's adapter turns its library's records into
// HeaderEntry values and its operation codes from HeaderOperation; listing, extraction and
// viewing are the same walk for every such kind.
#pragma once
#include "services/base.h"

#include "model/liststruct.h"
#include "jobs/entry_failures.h"

#include <string>
#include <vector>

struct ArchiveControlBlock;
struct EntrySelection;
struct ExtractJob;

enum HeaderOperation { HEADER_SKIP, HEADER_TEST, HEADER_EXTRACT };

struct HeaderEntry {
  std::string name;     // the whole path inside the archive, "\"-separated
  uint64_t size;
  uint64_t packed;      // the bytes it takes in the archive
  uint32_t attributes;  // Win32 file-attribute bits
  bool encrypted;       // its data needs a password
  EntryStamp stamp;
};

constexpr uint32_t kHeaderFolder = FILE_ATTRIBUTE_DIRECTORY;
constexpr uint32_t kHeaderHidden = FILE_ATTRIBUTE_HIDDEN;
// A link is never written: its target may lie anywhere, and what is written after it through
// its name would follow it.
constexpr uint32_t kHeaderLink = FILE_ATTRIBUTE_REPARSE_POINT;

// How a walk ended (0 is an entry delivered).
enum HeaderWalkEnd { HEADER_WALK_END = 1, HEADER_WALK_DAMAGED = 2 };

struct HeaderSource {
  void* context;
  // 0 while an entry was delivered; HEADER_WALK_END at the end, HEADER_WALK_DAMAGED when the
  // archive cannot be read further.
  int (*next)(void* context, HeaderEntry* entry);
  // Does the operation to the entry of the last header: writes it to folder joined with name
  // for HEADER_EXTRACT. 0 when done, else the EntryFailureReason of why not.
  int (*process)(void* context, HeaderOperation operation, const char* folder, const char* name);
  // After process answered FAILURE_WRITE: the system's error behind it (0: not known), so the
  // report gives the system's reason, and whether the entry's file could not even be made.
  DWORD (*systemError)(void* context, bool* atCreate) = nullptr;
  // Makes the entry just processed come again from next (the user chose another folder for
  // it); false when the kind cannot, the entry then stays failed. May be null.
  bool (*rewind)(void* context) = nullptr;
};

// Lists every entry into the block's list and totals (folders add nothing, every entry is
// skipped after its header); an encrypted entry marks the archive encrypted. The walk's end.
int ListHeaderEntries(ArchiveControlBlock* block, const HeaderSource& source);

// One extraction, test or view over the walk.
struct HeaderRun {
  const char* caller;              // the first word of log lines
  HeaderOperation operation;       // HEADER_EXTRACT or HEADER_TEST
  const char* destination;         // the folder written below; empty: the current directory
  const EntrySelection* chosen;    // the entries to take ("\" names, one ending in "\" takes
                                   // everything below it); null: every entry
  std::string folder;              // when set, only the entries below it (either separator)
  bool withoutPath;                // every file lands in the destination under its last name
  const char* password;            // given for the run; null or empty: the kind asks when it must
  uint64_t entries;                // how many the run will take, for the progress dialog
  uint64_t bytes;                  // and their bytes; 0 when unknown
  bool progress;                   // drives the progress dialog and heeds its cancel button
  int* overwriteMode;              // an OverwriteMode asked before a file is replaced; null: replace
  // Filled by the run:
  EntryFailures failures;
  std::vector<std::string> taken;  // the names written or tested, in order
  uint64_t inScope;                // the entries the run was to take, whatever became of them
  bool damaged;
  std::string damage;              // what the kind tells of the early end; empty: the archive is damaged
  std::string movedTo;             // the folder the user chose when the destination refused
};

// Walks the whole archive: hidden entries are passed over, the wanted ones processed, the
// others skipped; a name the name judge refuses, and a link, are not written. The user's
// cancel, and a cancel of the overwrite question, end the run between entries. A run with the
// progress dialog asks the run's one question after a write failed (a full disk: go on or
// stop; a folder that refuses: stop or write the next entries into another). 0, or 100 when
// cancelled.
int RunHeaderEntries(const HeaderSource& source, HeaderRun* run);

// What a kind gives the runs below, which are the same for every kind of the walk.
struct HeaderKind {
  const char* name;  // in the log lines' first words: "Iso" gives "ExtractIsoFilesFromList"
  // Opens the archive, walks it with RunHeaderEntries and closes it: 0, 100 when cancelled,
  // 1 when it could not start (the user was told why).
  int (*walk)(const char* archive, HeaderRun* run);
  // The files of the whole archive and their bytes, for the progress dialog; may be null.
  void (*count)(const char* archive, uint64_t* entries, uint64_t* bytes);
};

// The kind's extraction worker: every entry, the chosen rows, or everything below folder;
// what failed, and an early end, are told in one message. 0, or 100 when cancelled.
int ExtractHeaderEntries(const HeaderKind& kind, ExtractJob* job, const char* folder);
// The kind's test: failures are the run's (GetLastRunFailures), a walk that stopped early one
// of them. 0, 100 when cancelled, -1 when it could not start.
int TestHeaderEntries(const HeaderKind& kind, const char* archive, const EntrySelection* chosen, int silent,
                      uint64_t* tested);
// Writes one entry under its last name to the temporary folder (the table's writeTemp).
int WriteHeaderEntryToTemp(const HeaderKind& kind, const char* archive, const char* entryName,
                           char (&written)[kPathBuf]);
