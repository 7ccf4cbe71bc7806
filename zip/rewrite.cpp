#include "services/base.h"
#include "zip/rewrite.h"

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/archive_kind.h"
#include "model/compare.h"
#include "model/listing_totals.h"
#include "services/log.h"
#include "services/progress.h"
#include "zip/entry_names.h"
#include "zip/rewrite_output.h"
#include "jobs/safe_replace.h"
#include "jobs/system_words.h"
#include "zip/zip_io.h"
#include "zip/zip_open.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

// The record signatures of the container format.
enum : uint32_t {
  kLocalSignature = 0x04034b50, kCentralSignature = 0x02014b50, kDescriptorSignature = 0x08074b50,
  kEndSignature = 0x06054b50, kZip64EndSignature = 0x06064b50, kZip64LocatorSignature = 0x07064b50,
};
enum : uint16_t { kZip64Extra = 0x0001, kUnicodePathExtra = 0x7075 };  // extra block ids
enum : uint16_t { kDescriptorFlag = 0x8, kUtf8Flag = 0x800 };
constexpr uint32_t kMax32 = 0xFFFFFFFF;  // "the value is in the 64-bit extra"
constexpr size_t kLocalHeader = 30, kCentralHeader = 46;  // fixed parts of the two records

// A plain buffer: a thread-local object with a destructor can hang the process's exit (see
// whole_deflate.cpp).
thread_local char t_failure[kPathBuf * 3];

uint16_t Get16(const unsigned char* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }
uint32_t Get32(const unsigned char* p) { return Get16(p) | static_cast<uint32_t>(Get16(p + 2)) << 16; }
uint64_t Get64(const unsigned char* p) { return Get32(p) | static_cast<uint64_t>(Get32(p + 4)) << 32; }
void Put16(unsigned char* p, uint64_t v) {
  p[0] = static_cast<unsigned char>(v);
  p[1] = static_cast<unsigned char>(v >> 8);
}
void Put32(unsigned char* p, uint64_t v) {
  Put16(p, v);
  Put16(p + 2, v >> 16);
}
void Put64(unsigned char* p, uint64_t v) {
  Put32(p, v);
  Put32(p + 4, v >> 32);
}
void Append16(std::string* s, uint64_t v) {
  unsigned char b[2];
  Put16(b, v);
  s->append(reinterpret_cast<char*>(b), 2);
}
void Append32(std::string* s, uint64_t v) {
  unsigned char b[4];
  Put32(b, v);
  s->append(reinterpret_cast<char*>(b), 4);
}
void Append64(std::string* s, uint64_t v) {
  unsigned char b[8];
  Put64(b, v);
  s->append(reinterpret_cast<char*>(b), 8);
}
unsigned char* Bytes(std::string& s) { return reinterpret_cast<unsigned char*>(&s[0]); }

// Extra fields are blocks of (id, length, data); both searches stop at a malformed block.
size_t FindExtraBlock(const std::string& extra, uint16_t id) {
  const unsigned char* p = reinterpret_cast<const unsigned char*>(extra.data());
  size_t at = 0;
  while (at + 4 <= extra.size()) {
    size_t length = Get16(p + at + 2);
    if (at + 4 + length > extra.size()) break;
    if (Get16(p + at) == id) return at;
    at += 4 + length;
  }
  return std::string::npos;
}

void RemoveExtraBlock(std::string* extra, uint16_t id) {
  size_t at = FindExtraBlock(*extra, id);
  if (at != std::string::npos) extra->erase(at, 4 + Get16(Bytes(*extra) + at + 2));
}

bool IsAscii(const char* text) {
  for (const unsigned char* p = reinterpret_cast<const unsigned char*>(text); *p; ++p)
    if (*p >= 0x80) return false;
  return true;
}

void SetFailure(const char* archive, DWORD error) {
  std::string system = SystemErrorText(error);
  snprintf(t_failure, sizeof t_failure, "%s\n\n\"%s\"%s%s", GetMessageText(KLANG_MSG_ARCHIVE_UNCHANGED), archive,
           system.empty() ? "" : "\n", system.c_str());
  Log(-1, GetVerbose(), "rewrite of %s failed: %s", archive, system.empty() ? "-" : system.c_str());
}

// The lookup key of a stored name in the first pass: names without the UTF-8 flag were
// written in the DOS code page. Reports whether the key differs from the stored bytes, so a
// second pass is only worth its walk when some name reads two ways.
bool OemLookupKey(const char* stored, uLong flag, uLong versionMadeBy, char* key) {
  snprintf(key, kPathBuf, "%s", stored);
  if ((flag & kUtf8Flag) || IsAscii(stored)) return false;
  // The name the list shows for these bytes: the process code page is UTF-8, so the
  // system's OEM conversion no longer reads DOS names; the one name function does.
  std::string shown = ZipEntryDisplayName(stored, strlen(stored), flag, versionMadeBy, nullptr, 0);
  snprintf(key, kPathBuf, "%s", shown.c_str());
  return strcmp(key, stored) != 0;
}

enum class Job { Change, Delete };

// What one walk is asked to do: a change set, or one entry named by its path.
struct WalkRequest {
  const char* caller;  // the function name every log line starts with
  Job job;
  RBTree* changes;
  int simulation;
  int namesAreOem;
};

thread_local bool t_namesReadTwoWays = false;
// What the last walk on this thread changed (or, simulated, would change), a line each. A
// pointer made once per thread, for the reason t_failure is a plain buffer.
thread_local std::string* t_report;

void Report(const char* name, const char* newPath) {
  if (!t_report) t_report = new std::string;
  *t_report += name;
  if (newPath) {
    *t_report += " -> ";
    *t_report += newPath;
  }
  *t_report += '\n';
}

struct Walk {
  const WalkRequest& request;
  const char* archive;
  unzFile source = nullptr;
  RewriteFile data;  // a second reader of the old archive for the raw stretches
  RewriteOutput out;
  bool writing = false;
  std::string directory;  // the new central directory
  uint64_t entries = 0;
  int found = 0, kept = 0;
  bool folders = false;  // the change set names folders: entries below them are looked up too
  bool changed = false, failed = false;
  DWORD error = 0;

  Walk(const WalkRequest& r, const char* a) : request(r), archive(a) {}
};

bool Lookup(const Walk& w, const char* key, char* newPath) {
  return w.request.changes && FindChangeForEntry(w.request.changes, key, w.folders, newPath) != 0;
}

// Builds the entry's new central record from its old one: the new local offset (in the
// 64-bit extra when it needs it or already lived there) and, for a renamed entry, the new
// name. Everything else stays as it was, byte for byte.
bool MakeCentralRecord(const std::string& old, const char* newName, uint64_t offset, std::string* record) {
  std::string header = old.substr(0, kCentralHeader);
  const unsigned char* h = reinterpret_cast<const unsigned char*>(header.data());
  size_t nameLength = Get16(h + 28), extraLength = Get16(h + 30), commentLength = Get16(h + 32);
  std::string name = old.substr(kCentralHeader, nameLength);
  std::string extra = old.substr(kCentralHeader + nameLength, extraLength);
  std::string comment = old.substr(kCentralHeader + nameLength + extraLength, commentLength);
  if (newName) {
    name = newName;
    if (!IsAscii(newName)) Put16(Bytes(header) + 8, Get16(h + 8) | kUtf8Flag);
    // The old Unicode name names the old entry; readers would prefer it to the new name.
    RemoveExtraBlock(&extra, kUnicodePathExtra);
  }
  if (Get32(h + 42) == kMax32 || offset >= kMax32) {
    // The 64-bit extra holds, in order, the fields whose 32-bit places are all ones.
    uint64_t values[4] = {0, 0, 0, 0};
    bool present[4] = {Get32(h + 24) == kMax32, Get32(h + 20) == kMax32, Get32(h + 42) == kMax32,
                       Get16(h + 34) == 0xFFFF};
    size_t at = FindExtraBlock(extra, kZip64Extra);
    if (at != std::string::npos) {
      const unsigned char* p = Bytes(extra) + at + 4;
      size_t length = Get16(p - 2), used = 0;
      for (int i = 0; i < 4; ++i) {
        size_t width = i == 3 ? 4 : 8;
        if (!present[i]) continue;
        if (used + width > length) return false;
        values[i] = width == 8 ? Get64(p + used) : Get32(p + used);
        used += width;
      }
      RemoveExtraBlock(&extra, kZip64Extra);
    } else if (present[0] || present[1] || present[3]) {
      return false;
    }
    values[2] = offset;
    present[2] = true;
    std::string block;
    for (int i = 0; i < 4; ++i) {
      if (!present[i]) continue;
      if (i == 3) Append32(&block, values[i]);
      else Append64(&block, values[i]);
    }
    std::string z64;
    Append16(&z64, kZip64Extra);
    Append16(&z64, block.size());
    extra = z64 + block + extra;
    Put32(Bytes(header) + 42, kMax32);
  } else {
    Put32(Bytes(header) + 42, offset);
  }
  if (name.size() > 0xFFFF || extra.size() > 0xFFFF) return false;
  Put16(Bytes(header) + 28, name.size());
  Put16(Bytes(header) + 30, extra.size());
  *record = header + name + extra + comment;
  return true;
}

// An entry as the archive stores it, around the data the library found.
struct StoredEntry {
  std::string localExtra;  // as the library read it
  std::string central;     // the whole central record, for every field the library does not report
  std::string local;       // the fixed part of the local header
  uint64_t localAt = 0;    // where the local header begins
  uint64_t dataAt = 0;     // where the data begins
  uint64_t end = 0;        // past the data and its descriptor
};

// The central record of the current entry, read as stored.
bool ReadCentralRecord(Walk* w, uint64_t directoryAt, std::string* central) {
  central->resize(kCentralHeader);
  if (!ReadRewriteFile(&w->data, directoryAt, &(*central)[0], kCentralHeader)) return false;
  const unsigned char* c = Bytes(*central);
  size_t more = Get16(c + 28) + Get16(c + 30) + Get16(c + 32);
  if (Get32(c) != kCentralSignature) return false;
  central->resize(kCentralHeader + more);
  return ReadRewriteFile(&w->data, directoryAt + kCentralHeader, &(*central)[kCentralHeader], more);
}

// Where the local header begins, from the central record (its 64-bit extra when the 32-bit
// place is all ones); false when the record is inconsistent.
bool LocalHeaderOffset(const std::string& central, uint64_t* localAt) {
  const unsigned char* c = reinterpret_cast<const unsigned char*>(central.data());
  *localAt = Get32(c + 42);
  if (*localAt != kMax32) return true;
  std::string extra = central.substr(kCentralHeader + Get16(c + 28), Get16(c + 30));
  size_t at = FindExtraBlock(extra, kZip64Extra);
  size_t skip = (Get32(c + 24) == kMax32 ? 8 : 0) + (Get32(c + 20) == kMax32 ? 8 : 0);
  if (at == std::string::npos || Get16(Bytes(extra) + at + 2) < skip + 8) return false;
  *localAt = Get64(Bytes(extra) + at + 4 + skip);
  return true;
}

// Finds the current entry's stored records and where its bytes end (a data descriptor, with
// or without its signature, belongs to the entry). The library has the entry open raw.
bool ReadStoredEntry(Walk* w, const unz_file_info64& info, StoredEntry* e) {
  const char* caller = w->request.caller;
  e->dataAt = unzGetCurrentFileZStreamPos64(w->source);
  uint64_t directoryAt = unzGetOffset64(w->source);
  int localExtraLength = unzGetLocalExtrafield(w->source, nullptr, 0);
  if (localExtraLength < 0) {
    Log(-1, GetVerbose(), "%s size_local_extra<0", caller);
    return false;
  }
  e->localExtra.resize(localExtraLength);
  if (localExtraLength && unzGetLocalExtrafield(w->source, &e->localExtra[0], localExtraLength) < 0) {
    Log(-1, GetVerbose(), "%s unzGetLocalExtrafield<0", caller);
    return false;
  }
  if (!ReadCentralRecord(w, directoryAt, &e->central) || !LocalHeaderOffset(e->central, &e->localAt)) return false;
  e->local.resize(kLocalHeader);
  if (!ReadRewriteFile(&w->data, e->localAt, &e->local[0], kLocalHeader)) return false;
  const unsigned char* l = Bytes(e->local);
  if (Get32(l) != kLocalSignature || e->localAt + kLocalHeader + Get16(l + 26) + Get16(l + 28) != e->dataAt) {
    Log(-1, GetVerbose(), "%s: the local header is not where the directory says", caller);
    return false;
  }
  e->end = e->dataAt + info.compressed_size;
  if (info.flag & kDescriptorFlag) {
    bool wide = FindExtraBlock(e->localExtra, kZip64Extra) != std::string::npos;
    unsigned char signature[4];
    if (!ReadRewriteFile(&w->data, e->end, signature, 4)) return false;
    e->end += (Get32(signature) == kDescriptorSignature ? 4 : 0) + (wide ? 20 : 12);
  }
  return true;
}

// The entry's bytes into the new archive: as they are, or, renamed, a local header with the
// new name (its length changes) before the same data.
bool WriteStoredEntry(Walk* w, StoredEntry* e, const char* newName) {
  if (!newName) return CopyToRewriteOutput(&w->out, &w->data, e->localAt, e->end - e->localAt);
  std::string extra = e->localExtra;
  RemoveExtraBlock(&extra, kUnicodePathExtra);
  const unsigned char* l = Bytes(e->local);
  if (!IsAscii(newName)) Put16(Bytes(e->local) + 6, Get16(l + 6) | kUtf8Flag);
  Put16(Bytes(e->local) + 26, strlen(newName));
  Put16(Bytes(e->local) + 28, extra.size());
  std::string header = e->local + newName + extra;
  return WriteRewriteOutput(&w->out, header.data(), header.size()) &&
         CopyToRewriteOutput(&w->out, &w->data, e->dataAt, e->end - e->dataAt);
}

// Copies the current entry into the new archive and queues its central record, renamed
// when newName is given.
bool CopyEntry(Walk* w, const unz_file_info64& info, const char* newName) {
  const char* caller = w->request.caller;
  int method = 0, level = 0;
  int result = unzOpenCurrentFile2(w->source, &method, &level, 1);
  if (result != UNZ_OK) {
    Log(-1, GetVerbose(), "%s error in unzOpenCurrentFile2 %d", caller, result);
    return false;
  }
  StoredEntry e;
  uint64_t offset = w->out.position;
  std::string record;
  bool ok = ReadStoredEntry(w, info, &e);
  if (ok && !WriteStoredEntry(w, &e, newName)) {
    Log(1, GetVerbose(), "%s: zipWriteInFileInZip", caller);
    ok = false;
  }
  if (ok && !MakeCentralRecord(e.central, newName, offset, &record)) {
    Log(1, GetVerbose(), "%s: zipOpenNewFileInZip2", caller);
    ok = false;
  }
  if (ok) {
    w->directory += record;
    ++w->entries;
  }
  result = unzCloseCurrentFile(w->source);
  if (result == UNZ_CRCERROR) {
    Log(-1, GetVerbose(), "%s: unzCloseCurrentFile", caller);
    ok = false;
  }
  return ok;
}

// The central directory and its end records; the 64-bit end records only where the counts
// or offsets need them.
bool WriteDirectory(Walk* w, const char* comment, size_t commentLength) {
  uint64_t start = w->out.position;
  if (!WriteRewriteOutput(&w->out, w->directory.data(), w->directory.size())) return false;
  uint64_t size = w->directory.size();
  std::string end;
  if (w->entries >= 0xFFFF || start >= kMax32 || size >= kMax32) {
    uint64_t at = w->out.position;
    Append32(&end, kZip64EndSignature);
    Append64(&end, 44);
    Append16(&end, 45);
    Append16(&end, 45);
    Append32(&end, 0);
    Append32(&end, 0);
    Append64(&end, w->entries);
    Append64(&end, w->entries);
    Append64(&end, size);
    Append64(&end, start);
    Append32(&end, kZip64LocatorSignature);
    Append32(&end, 0);
    Append64(&end, at);
    Append32(&end, 1);
  }
  uint64_t count = w->entries >= 0xFFFF ? 0xFFFF : w->entries;
  Append32(&end, kEndSignature);
  Append16(&end, 0);
  Append16(&end, 0);
  Append16(&end, count);
  Append16(&end, count);
  Append32(&end, size >= kMax32 ? kMax32 : size);
  Append32(&end, start >= kMax32 ? kMax32 : start);
  Append16(&end, commentLength);
  end.append(comment ? comment : "", commentLength);
  return WriteRewriteOutput(&w->out, end.data(), end.size());
}

void ShowProgress(const WalkRequest& request, const char* newPath) {
  char text[kPathBuf * 2];
  if (request.simulation) snprintf(text, sizeof text, "Simulation %s", newPath);
  else
    snprintf(text, sizeof text, "%s: %s", GetMessageText(KLANG_MSG_RENAMING), newPath);
  SetProgressTitle(text);
  ExecuteProgressStep(GetProgressDialog());
  if (request.simulation) Sleep(10);
}

// Visits every entry; false when an error ended the walk before the end of the list.
bool WalkEntries(Walk* w) {
  const WalkRequest& request = w->request;
  const char* caller = request.caller;
  ListingTotals& totals = GetListingTotals();
  int result = unzGoToFirstFile(w->source);
  while (result == UNZ_OK) {
    unz_file_info64 info;
    char name[kPathBuf] = "";
    result = unzGetCurrentFileInfo64(w->source, &info, name, kPathBuf - 1, nullptr, 0, nullptr, 0);
    if (result != UNZ_OK) {
      Log(1, GetVerbose(), "%s error in unzGetCurrentFileInfo %d", caller, result);
      return false;
    }
    char key[kPathBuf], newPath[kPathBuf] = "";
    if (request.namesAreOem) {
      if (OemLookupKey(name, info.flag, info.version, key)) t_namesReadTwoWays = true;
    } else {
      snprintf(key, sizeof key, "%s", name);
    }
    Log(5, GetVerbose(), "%s file to find %s dos_fn %s", caller, key, name);
    bool hit = Lookup(*w, key, newPath);
    const char* last = name;
    for (const char* p = name; *p; ++p)
      if (*p == '/' || *p == '\\') last = p + 1;
    // Folder entries are kept like any other: an empty folder is the user's too. They go or
    // move only with a folder that is deleted or renamed.
    bool folder = !*last;
    if (request.job == Job::Delete && hit) {
      if (!folder) --totals.entries;
      totals.uncompressed -= info.uncompressed_size;
      totals.compressed -= info.compressed_size;
      Report(name, nullptr);
      if (!request.simulation) {
        printf("%s delete file %s\n", caller, name);
        w->changed = true;
      } else {
        Log(5, GetVerbose(), "%s Do not delete %s - Simulationmode!", caller, name);
      }
      ++w->found;
    } else {
      const char* written = nullptr;
      char stored[kPathBuf];
      if (request.job == Job::Change && hit) {
        ++w->found;
        Report(name, newPath);
        ShowProgress(request, newPath);
        if (GetVerbose() > 5) Log(-1, GetVerbose(), "%s: --changed dos_fn: %s NewFilename %s", caller, name, newPath);
        snprintf(stored, sizeof stored, "%s", newPath);
        for (char* p = stored; *p; ++p)
          if (*p == '\\') *p = '/';
        Log(5, GetVerbose(), "%s: opening (new) file in zip: %s", caller, stored);
        written = stored;
      } else {
        ++w->kept;
      }
      if (w->writing) {
        if (!CopyEntry(w, info, written)) return false;
        if (written) w->changed = true;
      }
    }
    result = unzGoToNextFile(w->source);
  }
  if (result != UNZ_END_OF_LIST_OF_FILE) Log(1, GetVerbose(), "%s: the walk ended with %d", caller, result);
  return result == UNZ_END_OF_LIST_OF_FILE;
}

// The first error of the walk's files: its system error and whether it was the reading side.
DWORD WalkError(const Walk& w) {
  if (w.data.failed) return w.data.systemError;
  if (w.out.file.failed) return w.out.file.systemError;
  return 0;
}

void RemoveTemporary(const char* temporary) { DiscardWorkingFile(temporary); }

// The walk's three files: the archive read by the library and as raw bytes, and the claimed
// working file the new archive is written to (only when the walk writes). 0, else the
// failure is set and nothing is left open.
int OpenWalk(Walk* w, zlib_filefunc64_def* functions, const char* archive, char (&temporary)[kPathBuf]) {
  w->source = MyWaitunzOpen2_64With(archive, 3000, functions);
  if (!w->source) {
    DWORD error = GetLastZipFileOpenError();
    SetFailure(archive, error ? error : GetStoredSystemError());
    return REWRITE_CANNOT_OPEN;
  }
  w->writing = !w->request.simulation;
  if (!w->writing) {
    if (w->request.job == Job::Delete) Log(5, GetVerbose(), "%s in Simulationmode - not opening Zipfile!", w->request.caller);
    return 0;
  }
  if (!OpenRewriteFile(&w->data, *functions, archive, false)) {
    SetFailure(archive, w->data.systemError);
    unzClose(w->source);
    return REWRITE_CANNOT_OPEN;
  }
  DWORD claimError = ClaimWorkingFile(archive, temporary);
  if (claimError || !OpenRewriteOutput(&w->out, *functions, temporary)) {
    SetFailure(archive, claimError ? claimError : w->out.file.systemError);
    RemoveTemporary(temporary);
    CloseRewriteFile(&w->data);
    unzClose(w->source);
    return REWRITE_CANNOT_CREATE_TEMP;
  }
  MarkWorkingFile(temporary);
  return 0;
}

// The archive's comment, which the new directory carries on; 0 or the failure's code.
int ReadArchiveComment(unzFile source, std::vector<char>* comment, uLong* length) {
  unz_global_info64 global;
  if (unzGetGlobalInfo64(source, &global) != UNZ_OK) return REWRITE_GLOBAL_INFO;
  *length = global.size_comment;
  if (!global.size_comment) return 0;
  try {
    comment->resize(global.size_comment + 1);
  } catch (...) {
    return REWRITE_COMMENT_MEMORY;
  }
  int got = unzGetGlobalComment(source, comment->data(), global.size_comment + 1);
  return got < 0 || static_cast<uLong>(got) != global.size_comment ? REWRITE_COMMENT_READ : 0;
}

// Walks the entries and ends the new archive: finished only when the walk was whole, changed
// something and met no error. Every file closes. Returns the first error (0 for none).
DWORD WalkAndFinish(Walk* w, const std::vector<char>& comment, uLong commentLength, bool* complete) {
  *complete = WalkEntries(w);
  if (w->writing && *complete && w->changed) *complete = WriteDirectory(w, comment.data(), commentLength);
  DWORD error = WalkError(*w);
  if (w->writing) {
    // Kept stretches are only queued until something changes, so a walk that changes
    // nothing never copies the archive.
    if (*complete && w->changed && !error) {
      if (!FinishRewriteOutput(&w->out)) error = w->out.file.systemError ? w->out.file.systemError : ERROR_WRITE_FAULT;
    } else {
      AbandonRewriteOutput(&w->out);
    }
    CloseRewriteFile(&w->data);
  }
  unzClose(w->source);
  Log(5, GetVerbose(), "%s: found %d of %d", w->request.caller, w->found, w->found + w->kept);
  return error;
}

// The new archive takes the old one's place, or, when no entry is left, the archive goes.
// Only a new archive that is on the disk replaces the old one, and in one step: a failure
// here leaves the old archive untouched.
int ReplaceArchive(const Walk& w, const char* archive, const char* temporary) {
  RewriteFileLayer& layer = GetRewriteFileLayer();
  if (w.request.job == Job::Delete && w.entries == 0) {
    RemoveTemporary(temporary);
    if (!layer.deleteFile(archive)) {
      SetFailure(archive, GetLastError());
      return REWRITE_REPLACE_FAILED;
    }
    return REWRITE_DONE;
  }
  if (DWORD flushError = layer.flushFile(temporary)) {
    SetFailure(archive, flushError);
    RemoveTemporary(temporary);
    return REWRITE_NOTHING_REPLACED;
  }
  if (DWORD replaceError = layer.replaceFile(temporary, archive)) {
    SetFailure(archive, replaceError);
    RemoveTemporary(temporary);
    return REWRITE_REPLACE_FAILED;
  }
  return REWRITE_DONE;
}

int RewriteZip(const WalkRequest& request, const char* archive) {
  t_failure[0] = '\0';
  if (t_report) t_report->clear();
  CurrentKindSeparator(request.caller);  // logs an unknown kind; the walk is ZIP's anyway
  if (!request.simulation) {
    // Refused before any work: the user made the archive read-only, and it stays so.
    if (DWORD refusal = ReadOnlyRefusal(archive)) {
      SetFailure(archive, refusal);
      return REWRITE_READ_ONLY;
    }
    RemoveStaleWorkingFiles(archive);
  }
  zlib_filefunc64_def functions;
  GetRewriteFileLayer().fillFunctions(&functions);
  Walk w(request, archive);
  w.folders = ChangeSetNamesFolders(request.changes);
  char temporary[kPathBuf] = "";
  if (int failed = OpenWalk(&w, &functions, archive, temporary)) return failed;

  std::vector<char> comment;
  uLong commentLength = 0;
  if (int failed = ReadArchiveComment(w.source, &comment, &commentLength)) {
    if (w.writing) {
      AbandonRewriteOutput(&w.out);
      CloseRewriteFile(&w.data);
      RemoveTemporary(temporary);
    }
    unzClose(w.source);
    return failed;
  }
  bool complete = false;
  DWORD error = WalkAndFinish(&w, comment, commentLength, &complete);
  if (request.simulation) return w.found ? REWRITE_DONE : REWRITE_NOTHING_MATCHED;
  if (!complete || error) {
    SetFailure(archive, error ? error : ERROR_FILE_CORRUPT);
    RemoveTemporary(temporary);
    return REWRITE_NOTHING_REPLACED;
  }
  if (!w.changed) {
    // Nothing matched: the archive keeps its bytes and its time.
    RemoveTemporary(temporary);
    return REWRITE_NOTHING_MATCHED;
  }
  return ReplaceArchive(w, archive, temporary);
}

BOOL DeleteByName(const char* path) { return DeleteFileA(path); }

RewriteFileLayer g_layer = {FillSmallWindowFileFunctions, FlushWorkingFile, ReplaceWithWorkingFile, DeleteByName};

int TwoPasses(const char* archive, RBTree* changes, int simulation,
              int (*walk)(const char*, RBTree*, int, int)) {
  t_namesReadTwoWays = false;
  int first = walk(archive, changes, simulation, 1);
  if (first != REWRITE_DONE && first != REWRITE_NOTHING_MATCHED) return first;
  // The second reading only differs for names that read differently in the DOS code page.
  if (!t_namesReadTwoWays) return first;
  std::string report = t_report ? *t_report : std::string();
  int second = walk(archive, changes, simulation, 0);
  if (t_report) t_report->insert(0, report);
  if (second == REWRITE_NOTHING_MATCHED && first == REWRITE_DONE) return REWRITE_DONE;
  return second;
}

}  // namespace

RewriteFileLayer& GetRewriteFileLayer() { return g_layer; }
void ResetRewriteFileLayer() { g_layer = {FillSmallWindowFileFunctions, FlushWorkingFile, ReplaceWithWorkingFile, DeleteByName}; }
const char* GetRewriteFailureText() { return t_failure; }
const char* GetRewriteReport() { return t_report ? t_report->c_str() : ""; }

int ChangeFilesFromZIP(const char* archive, RBTree* changes, int simulation, int namesAreOem) {
  WalkRequest request = {"ChangeFilesFromZIP", Job::Change, changes, simulation, namesAreOem};
  return RewriteZip(request, archive);
}

int DeleteFilesFromZIPRBTree(const char* archive, RBTree* changes, int simulation, int namesAreOem) {
  WalkRequest request = {"DeleteFilesFromZIPRBTree", Job::Delete, changes, simulation, namesAreOem};
  return RewriteZip(request, archive);
}

int ChangeFilesTwoPasses(const char* archive, RBTree* changes, int simulation) {
  return TwoPasses(archive, changes, simulation, ChangeFilesFromZIP);
}

int DeleteFilesTwoPasses(const char* archive, RBTree* changes, int simulation) {
  return TwoPasses(archive, changes, simulation, DeleteFilesFromZIPRBTree);
}
