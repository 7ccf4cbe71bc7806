// What the stub carries: the archive that the builder stored in its resources, and the
// extraction of it. Shared by the silent run and the window.
#pragma once
#include "services/base.h"

#include <string>
#include <vector>

struct StubArchive {
  bool sealed = false;                                       // the header says password-protected
  std::vector<std::pair<const unsigned char*, size_t>> pieces;  // the resources 112 and up, in order
  uint64_t size = 0;                                         // of all pieces together
  std::vector<unsigned char> opened;                         // the archive, once unsealed
};

enum StubResult {
  STUB_OK = 0,
  STUB_USAGE = 1,           // a command line the stub does not understand
  STUB_NO_ARCHIVE = 2,      // no archive in the program, or not a readable ZIP archive
  STUB_WRONG_PASSWORD = 3,  // nothing written
  STUB_ALTERED = 4,         // the program was changed after it was made; nothing written
  STUB_DESTINATION = 5,     // the destination folder cannot be made
  STUB_ENTRIES = 6,         // some entries were refused or failed; the others are written
  STUB_CANCELLED = 7
};

// Finds the header (111) and the pieces (112 and up) in the program's own module.
bool LoadStubArchive(StubArchive* archive);
// Joins and unseals the pieces of a protected archive; STUB_OK, STUB_WRONG_PASSWORD,
// STUB_ALTERED or STUB_NO_ARCHIVE.
int UnsealStubArchive(StubArchive* archive, const char* password);

struct StubListing {
  unsigned long entries = 0;
  uint64_t bytes = 0;      // uncompressed, all entries
  bool encryptedEntries = false;
};
bool ListStubArchive(const StubArchive& archive, StubListing* listing);

enum OverwriteAnswer { OVERWRITE_YES = 0, OVERWRITE_NO = 1, OVERWRITE_CANCEL = 2 };

struct StubExtractCallbacks {
  void* context = nullptr;
  // Bytes written so far of all; returns false to cancel.
  bool (*progress)(void* context, uint64_t done, uint64_t total) = nullptr;
  // An existing file (UTF-8 path); null overwrites without asking.
  int (*overwrite)(void* context, const char* path) = nullptr;
};

struct StubExtractReport {
  unsigned long written = 0;
  unsigned long refused = 0;  // names the judge refused or methods the stub cannot unpack
  unsigned long failed = 0;   // damaged entries and write errors
  std::string firstProblem;   // the first refused or failed name, for the result line
};

// Extracts every entry below destination (UTF-8; made when missing) with the entries'
// password (may be empty). A refused or failed entry leaves no file under its name and an
// existing file it was to replace untouched.
int ExtractStubArchive(const StubArchive& archive, const char* destination, const char* password,
                       const StubExtractCallbacks& callbacks, StubExtractReport* report);

std::wstring Widen(const char* utf8);
std::string Narrow(const wchar_t* wide);
