#include "services/base.h"
#include "zip/extract.h"

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "services/log.h"
#include "services/password_dialog.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "zip/aes_entry.h"
#include "jobs/chunk_writer.h"
#include "jobs/entry_failures.h"
#include "jobs/entry_file.h"
#include "zip/entry_methods.h"
#include "zip/entry_names.h"
#include "jobs/extract_run.h"
#include "jobs/overwrite_question.h"
#include "zip/whole_deflate.h"

#include <io.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr unsigned kChunk = 65536;

// The traditional PKWARE cipher's key schedule, enough to decrypt the 12-byte header. The
// container library decrypts without looking at the header's check byte, so a wrong password
// would only show as garbage: checking it first keeps an existing file from being replaced by
// garbage in 255 cases out of 256 (the rest is caught by the CRC at the end).
struct CipherKeys {
  uint32_t k[3] = {305419896u, 591751049u, 878082192u};
  const z_crc_t* table = get_crc_table();
  uint32_t Crc(uint32_t crc, uint8_t c) const { return table[(crc ^ c) & 0xff] ^ (crc >> 8); }
  void Update(uint8_t c) {
    k[0] = Crc(k[0], c);
    k[1] = (k[1] + (k[0] & 0xff)) * 134775813u + 1;
    k[2] = Crc(k[2], static_cast<uint8_t>(k[1] >> 24));
  }
  uint8_t Decrypt(uint8_t c) {
    uint32_t t = (k[2] & 0xffff) | 2;
    uint8_t plain = c ^ static_cast<uint8_t>((t * (t ^ 1)) >> 8);
    Update(plain);
    return plain;
  }
};

bool PasswordMatchesHeader(unzFile zip, const unz_file_info64& info, const char* password) {
  int method = 0, level = 0;
  if (unzOpenCurrentFile2(zip, &method, &level, 1) != UNZ_OK) return true;  // the real open reports it
  uint8_t header[12];
  int read = unzReadCurrentFile(zip, header, sizeof header);
  unzCloseCurrentFile(zip);
  if (read != static_cast<int>(sizeof header)) return true;
  CipherKeys keys;
  for (const char* p = password; *p; ++p) keys.Update(static_cast<uint8_t>(*p));
  uint8_t last = 0;
  for (uint8_t c : header) last = keys.Decrypt(c);
  // With a data descriptor the sizes and CRC were unknown when the header was made, so the
  // check byte comes from the modification time instead.
  uint8_t expected = (info.flag & 8) ? static_cast<uint8_t>(info.dosDate >> 8) : static_cast<uint8_t>(info.crc >> 24);
  return last == expected;
}

bool EndsWithSeparator(const char* name) {
  size_t length = strlen(name);
  return length && (name[length - 1] == '/' || name[length - 1] == '\\');
}

void ToBackslashes(char* text) {
  for (char* p = text; *p; ++p)
    if (*p == '/') *p = '\\';
}

// Makes the entry's working file; a folder of its path that is missing is made first.
DWORD OpenWorkingFile(EntryFile* file, const char* target, int withoutPath) {
  return withoutPath ? OpenEntryFile(file, target) : OpenEntryFileMakingFolders(file, target);
}

// The run's answer to an entry the system refused: EXTRACT_WRITE_ERROR to go on with the next,
// EXTRACT_CANCELLED when the user stops the run.
int WriteFailed(const char* name, const char* target, DWORD error, bool atCreate) {
  Log(0, GetVerbose(), "do_write_currentfile: %s cannot be %s (%lu)", target, atCreate ? "made" : "written", error);
  return EntryWriteFailed(name, target, error, atCreate) == WRITE_FAILURE_STOP ? EXTRACT_CANCELLED : EXTRACT_WRITE_ERROR;
}

int CreateFolderEntry(const char* target) {
  char cwd[kPathBuf], path[kPathBuf * 2];
  GetCurrentDirectoryA(sizeof cwd, cwd);
  snprintf(path, sizeof path, "%s\\%s", cwd, target);
  ToBackslashes(path);
  size_t length = strlen(path);
  if (length) path[length - 1] = 0;
  SetLastError(0);
  if (!CreateDirectoryPath(path)) {
    DWORD error = GetLastError();
    if (error != ERROR_ALREADY_EXISTS)
      printf("%s %d cannot create directory %s - # %lu\n", "Kestrelia", 11058, path, error);
  }
  return 0;
}

// Deflated entries up to this size (both sides) inflate in one piece through the faster
// decoder. The bound is on the sizes the directory declares: memory never follows a declared
// size past it, and a stream that decodes to more than declared is refused, not followed.
constexpr uint64_t kWholeLimit = 4u << 20;

bool InflatesWhole(const unz_file_info64& info) {
  return info.compression_method == 8 && !(info.flag & 1) && info.uncompressed_size <= kWholeLimit &&
         info.compressed_size <= kWholeLimit;
}

// Reads the open raw entry's compressed bytes into data and inflates them after it; the
// entry is closed either way. true when the result is whole (declared size, CRC): anything
// else is read again through the stream, whose handling of damage is the one reported.
bool InflateOpenRawEntry(unzFile zip, const unz_file_info64& info, char* data) {
  size_t packed = static_cast<size_t>(info.compressed_size), size = static_cast<size_t>(info.uncompressed_size);
  int read = packed ? unzReadCurrentFile(zip, data, static_cast<unsigned>(packed)) : 0;
  unzCloseCurrentFile(zip);
  char* out = data + packed;
  return read == static_cast<int>(packed) && InflateWhole(data, packed, out, size) == 0 &&
         Crc32Whole(0, out, size) == info.crc;
}

// The AES entry this thread has open, if any: one entry is open at a time per thread.
thread_local AesReader* t_aes;
thread_local unzFile t_aesZip;

thread_local int t_undecodable;
thread_local char t_undecodableDetail[64];

// What went wrong with an entry whose reading ended: 0 when nothing did. A wrong password
// that passed the check byte inflates to garbage, so on an encrypted entry every one of these
// means the password (the library checks no CRC after a stream that ends early).
int ReadFailure(const unz_file_info64& info, int readResult, int closeResult, bool endedShort, bool overrun) {
  int reason = 0;
  if (overrun)
    reason = FAILURE_OVERRUN;
  else if (readResult == UNZ_ERRNO || endedShort)  // the archive or the stream ends early
    reason = FAILURE_TRUNCATED;
  else if (readResult < 0)
    reason = FAILURE_DATA_ERROR;
  else if (closeResult == UNZ_CRCERROR)
    reason = FAILURE_CRC;
  else if (closeResult == kAesAuthenticationFailed)
    reason = FAILURE_AUTHENTICATION;
  // An AES entry's password was proven by its verifier and its data by the code: what fails
  // there is damage. The traditional cipher's one check byte lets every 256th password by.
  if (reason && (info.flag & 1) && info.compression_method != kMethodAes) reason = FAILURE_WRONG_PASSWORD;
  return reason;
}

// A damaged entry's file goes, unless the user keeps broken files for what could be read; what
// a wrong password made is garbage and always goes. A test wrote nothing: no file.
void ReportReadFailure(int reason, const char* name, EntryFile* file) {
  if (!reason) return;
  if (file) AbandonEntryFile(file, reason != FAILURE_WRONG_PASSWORD && KeepsBrokenEntries());
  AddRunFailure(name, reason);
}

}  // namespace

int ReadOpenEntry(unzFile zip, void* buffer, unsigned size) {
  if (t_aes && t_aesZip == zip) return AesRead(t_aes, buffer, size);
  return unzReadCurrentFile(zip, buffer, size);
}

int CloseOpenEntry(unzFile zip) {
  if (t_aes && t_aesZip == zip) {
    AesReader* reader = t_aes;
    t_aes = nullptr;
    t_aesZip = nullptr;
    return AesClose(reader);
  }
  return unzCloseCurrentFile(zip);
}

int LastUndecodableReason(const char** detail) {
  if (detail) *detail = t_undecodableDetail;
  return t_undecodable;
}

namespace {

// Asks for the current entry's password (again, when the one given did not fit); what was
// typed becomes the session's password. false when the user declines.
bool AskEntryPassword(unzFile zip, bool wrongBefore) {
  // Once the user would not replace a password that failed, the run's other entries fail
  // with it without a question each; a silent run asks nothing more.
  if (wrongBefore && (IsWrongPasswordKept() || IsRunSilent())) return false;
  unz_file_info64 info = {};
  std::string name;
  ReadCurrentEntryName(zip, &info, &name);
  PasswordSubject& subject = NextPasswordSubject();
  subject.entry = name;
  // As the list shows paths.
  for (char& c : subject.entry)
    if (c == '/') c = '\\';
  subject.wrongBefore = wrongBefore;
  char password[kPathBuf] = {};
  bool given = PromptPassword(GetForegroundWindow(), password);
  subject.entry.clear();
  subject.wrongBefore = false;
  if (given) SetCurrentPassword(password);
  SecureZeroMemory(password, sizeof password);
  KeepWrongPassword(!given && wrongBefore);
  if (!given) printf("password not set - canceled by user %s %d\n", "Kestrelia", __LINE__);
  return given;
}

int OpenEntryWithPassword(unzFile zip, const unz_file_info64& info, int raw, AesReader** aesOut);

// OpenCurrentEntry; with raw, a plain entry is opened for its compressed bytes. An AES
// entry's reader goes to *aesOut when given, else it is this thread's. A password that does
// not fit is asked for again until it fits or the user declines: the entry then fails with
// EXTRACT_WRONG_PASSWORD (no password at all: EXTRACT_NO_PASSWORD).
int OpenEntry(unzFile zip, int raw, AesReader** aesOut = nullptr) {
  unz_file_info64 info = {};
  unzGetCurrentFileInfo64(zip, &info, nullptr, 0, nullptr, 0, nullptr, 0);
  // Refused before the password is asked for: no password makes these readable.
  if (t_aes && t_aesZip == zip) CloseOpenEntry(zip);
  t_undecodable = UndecodableReason(zip, info, t_undecodableDetail, sizeof t_undecodableDetail);
  if (t_undecodable) return EXTRACT_UNDECODABLE;
  bool entryEncrypted = (info.flag & 1) != 0;
  if ((IsArchiveEncrypted() || entryEncrypted) && !GetCurrentPassword()[0] && !AskEntryPassword(zip, false))
    return EXTRACT_NO_PASSWORD;
  for (;;) {
    int opened = OpenEntryWithPassword(zip, info, raw, aesOut);
    if (opened != EXTRACT_WRONG_PASSWORD) return opened;
    if (!AskEntryPassword(zip, true)) return EXTRACT_WRONG_PASSWORD;
  }
}

int OpenEntryWithPassword(unzFile zip, const unz_file_info64& info, int raw, AesReader** aesOut) {
  bool entryEncrypted = (info.flag & 1) != 0;
  // Only an encrypted entry gets the password: the library would "decrypt" a plain one too.
  const char* password = entryEncrypted ? GetCurrentPassword() : nullptr;
  if (info.compression_method == kMethodAes) {
    AesField field = {};
    ReadAesField(zip, &field);
    AesReader* reader = nullptr;
    int opened = AesOpen(zip, info, field, password ? password : "", &reader);
    if (opened == kAesWrongPassword) {
      Log(0, GetVerbose(), "OpenCurrentEntry: the password does not fit this entry");
      return EXTRACT_WRONG_PASSWORD;
    }
    if (opened == kAesUnavailable) {
      t_undecodable = FAILURE_ENCRYPTION;
      snprintf(t_undecodableDetail, sizeof t_undecodableDetail, "WinZip AES");
      return EXTRACT_UNDECODABLE;
    }
    if (opened != UNZ_OK) return opened;
    if (aesOut) {
      *aesOut = reader;
      return UNZ_OK;
    }
    t_aes = reader;
    t_aesZip = zip;
    return UNZ_OK;
  }
  if (password && !PasswordMatchesHeader(zip, info, password)) {
    Log(0, GetVerbose(), "OpenCurrentEntry: the password does not fit this entry");
    return EXTRACT_WRONG_PASSWORD;
  }
  int method = 0, level = 0;
  return unzOpenCurrentFile3(zip, &method, &level, password ? 0 : raw, password);
}

// Where an entry's bytes count in the run's progress (nowhere in a silent run).
struct ByteCount {
  bool silent;
  int byBytes;
  uint64_t total;
  uint64_t* counter;
  void Add(uint64_t bytes) const {
    if (silent) return;
    *counter += bytes;
    if (byBytes) AdvanceByteProgress(*counter, total);
  }
};

// Opens the entry and claims its bytes, which no other entry may share; the reason for a
// refusal goes into the run's report.
int OpenForWrite(unzFile zip, const unz_file_info64& info, const char* nameInArchive, bool whole) {
  int result = OpenEntry(zip, whole);
  if (result != UNZ_OK) {
    const char* detail = nullptr;
    if (result == EXTRACT_WRONG_PASSWORD) AddRunFailure(nameInArchive, FAILURE_WRONG_PASSWORD);
    if (result == EXTRACT_UNDECODABLE) {
      int reason = LastUndecodableReason(&detail);
      AddRunFailure(nameInArchive, reason, detail);
    }
    return result;
  }
  uint64_t dataStart = t_aes && t_aesZip == zip ? AesDataStart(t_aes) : unzGetCurrentFileZStreamPos64(zip);
  if (!ClaimEntryData(dataStart, info.compressed_size)) {
    CloseOpenEntry(zip);
    AddRunFailure(nameInArchive, FAILURE_OVERLAP);
    return UNZ_BADZIPFILE;
  }
  return UNZ_OK;
}

enum class Existing { kWrite, kSkip, kCancel };

// A file that is there is replaced only when the user says so, or the entry is written beside
// it under a free name (*target switched to that name).
Existing AskIfThere(const char** target, const unz_file_info64& info, int* overwriteMode, std::string* renamed) {
  if (!EntryTargetExists(*target)) return Existing::kWrite;
  IncomingFile incoming = {info.uncompressed_size, info.dosDate};
  switch (DecideExistingTarget(*target, incoming, overwriteMode, renamed)) {
    case EXISTING_REPLACE:
      return Existing::kWrite;
    case EXISTING_RENAME:
      *target = renamed->c_str();
      return Existing::kWrite;
    case EXISTING_SKIP:
      return Existing::kSkip;
    default:
      return Existing::kCancel;
  }
}

// Inflated and checked already: one write, its times, its name.
int WriteWholeEntry(EntryFile* file, const char* buffer, const unz_file_info64& info, const char* nameInArchive,
                    const char* target) {
  DWORD error = WriteEntryBytes(file->handle, buffer + info.compressed_size, static_cast<size_t>(info.uncompressed_size));
  if (error) {
    AbandonEntryFile(file);
    return WriteFailed(nameInArchive, target, error, false);
  }
  SetHandleTimesFromDos(file->handle, info.dosDate);
  error = CommitEntryFile(file);
  return error ? WriteFailed(nameInArchive, target, error, false) : 0;
}

struct StreamEnd {
  int last = 0;  // the last read's result: 0 at the end, < 0 an error, > 0 stopped early
  bool endedShort = false;
  bool overrun = false;
  DWORD writeError = 0;
};

// Inflates the entry chunk by chunk into the file (nowhere in a test). A large entry inflates
// here while the run's writer thread writes what came before.
StreamEnd StreamEntry(unzFile zip, HANDLE file, char* buffer, const unz_file_info64& info, const char* target,
                      bool testing, const ByteCount& count) {
  StreamEnd end;
  ChunkWriter* writer = !testing && info.uncompressed_size > kWriterThreshold ? RunChunkWriter() : nullptr;
  if (writer) ChunkWriterBegin(writer, file);
  unsigned chunkSize = writer ? kWriterChunk : kChunk;
  uint64_t sum = 0;
  for (;;) {
    char* chunk = writer ? ChunkWriterBuffer(writer) : buffer;
    end.last = ReadOpenEntry(zip, chunk, chunkSize);
    if (end.last == Z_DATA_ERROR) {
      Log(0, GetVerbose(), "do_write_currentfile Z_DATA_ERROR occured at file %s", target);
      break;
    }
    if (end.last < 1) break;
    sum += static_cast<uint64_t>(end.last);
    if (sum > info.uncompressed_size) {  // it inflates past what it declared
      end.overrun = true;
      break;
    }
    size_t length = static_cast<size_t>(end.last);
    if (writer) {
      if (!ChunkWriterSubmit(writer, length)) end.writeError = ChunkWriterFinish(writer);
    } else if (!testing) {
      end.writeError = WriteEntryBytes(file, chunk, length);
    }
    if (end.writeError) break;
    if (!count.silent) {
      count.Add(static_cast<uint64_t>(end.last));
      // A long entry's name shows while it is written, not after.
      ShowEntryProgress(nullptr, false);
    }
    // An entry whose last bytes are read is finished and checked rather than thrown away.
    if (IsCancelledByUser() && sum < info.uncompressed_size) break;
  }
  end.endedShort = end.last == 0 && sum < info.uncompressed_size;
  // Nothing may reach the file after its times are set or it is closed.
  if (writer && !end.writeError) end.writeError = ChunkWriterFinish(writer);
  return end;
}

// Ends a streamed entry that did not reach its end as usual: a failed write, a cancel or damage
// found on the way. True then, with *result its answer; false when the entry is closed as
// usual (its file still open until the check at the close has spoken).
bool EndStreamedFile(unzFile zip, EntryFile* file, const StreamEnd& end, const unz_file_info64& info,
                     const char* nameInArchive, const char* target, bool testing, int* result) {
  if (end.writeError) {
    AbandonEntryFile(file);
    CloseOpenEntry(zip);
    *result = WriteFailed(nameInArchive, target, end.writeError, false);
    return true;
  }
  if (end.last == 0 && !end.overrun) return false;
  int closed = CloseOpenEntry(zip);
  // A cancel in the middle of an entry is the user's doing, not damage: the file goes either way.
  bool cancelled = end.last > 0 && !end.overrun;
  int reason = cancelled ? 0 : ReadFailure(info, end.last, closed, false, end.overrun);
  if (!testing && !reason) AbandonEntryFile(file);
  ReportReadFailure(reason, nameInArchive, testing ? nullptr : file);
  *result = end.last;
  return true;
}

}  // namespace

int OpenCurrentEntry(unzFile zip) { return OpenEntry(zip, 0); }

int OpenCurrentEntryReader(unzFile zip, AesReader** aes) {
  *aes = nullptr;
  return OpenEntry(zip, 0, aes);
}

int do_write_currentfile(unzFile zip, int* withoutPath, int* overwriteMode, const char* password, HWND owner,
                         unz_file_info64 info, const char* nameInArchive, const char* nameWithoutPath,
                         int progressByBytes, uint64_t totalBytes, uint64_t* byteCounter, int silent) {
  (void)password;  // the run's password is the current one, asked for when missing
  (void)owner;     // questions are owned by the foreground window
  const char* target = *withoutPath ? nameWithoutPath : nameInArchive;
  // A test takes the same road to the last byte and the CRC; only the file is left out.
  const bool testing = RunWritesNothing();
  const bool folder = EndsWithSeparator(target);
  bool whole = InflatesWhole(info);
  int result = OpenForWrite(zip, info, nameInArchive, whole);
  if (result != UNZ_OK) return result;
  size_t wholeSize = whole ? static_cast<size_t>(info.compressed_size + info.uncompressed_size) : 0;
  char* buffer = AcquireEntryBuffer(wholeSize > kChunk ? wholeSize : kChunk);
  if (!buffer) {
    Log(2, GetVerbose(), "do_write_currentfile: Error allocating memory");
    CloseOpenEntry(zip);
    return EXTRACT_NO_MEMORY;
  }

  Existing existing = Existing::kWrite;
  std::string renamed;
  if (!testing && (*overwriteMode == OVERWRITE_ASK || *overwriteMode == OVERWRITE_SKIP_ALL) && !folder)
    existing = AskIfThere(&target, info, overwriteMode, &renamed);
  if (existing != Existing::kWrite || folder) {
    if (folder && !testing) CreateFolderEntry(target);
    result = CloseOpenEntry(zip);
    ReleaseEntryBuffer(buffer);
    return existing == Existing::kCancel ? EXTRACT_CANCELLED : result;
  }

  if (whole && !InflateOpenRawEntry(zip, info, buffer)) {
    whole = false;
    int method = 0, level = 0;
    if ((result = unzOpenCurrentFile3(zip, &method, &level, 0, nullptr)) != UNZ_OK) {
      ReleaseEntryBuffer(buffer);
      return result;
    }
  }

  EntryFile file;
  if (!testing) {
    DWORD error;
    // A folder that refuses may be traded for another one: the entry is made again there.
    while ((error = OpenWorkingFile(&file, target, *withoutPath)) != 0) {
      int answer = EntryWriteFailed(nameInArchive, target, error, true);
      if (answer == WRITE_FAILURE_MOVED) continue;
      Log(0, GetVerbose(), "do_write_currentfile: %s cannot be made (%lu)", target, error);
      if (!whole) CloseOpenEntry(zip);
      ReleaseEntryBuffer(buffer);
      return answer == WRITE_FAILURE_STOP ? EXTRACT_CANCELLED : EXTRACT_WRITE_ERROR;
    }
  }
  const ByteCount count = {silent != 0, progressByBytes, totalBytes, byteCounter};
  if (whole) {
    int written = testing ? 0 : WriteWholeEntry(&file, buffer, info, nameInArchive, target);
    count.Add(info.uncompressed_size);
    ReleaseEntryBuffer(buffer);
    return written;
  }
  StreamEnd end = StreamEntry(zip, file.handle, buffer, info, target, testing, count);
  if (EndStreamedFile(zip, &file, end, info, nameInArchive, target, testing, &result)) {
    ReleaseEntryBuffer(buffer);
    return result;
  }

  result = CloseOpenEntry(zip);
  if (result != UNZ_OK) Log(0, GetVerbose(), "do_write_currentfile: error %d with zipfile in unzCloseCurrentFile", result);
  int reason = ReadFailure(info, end.last, result, end.endedShort, false);
  ReportReadFailure(reason, nameInArchive, testing ? nullptr : &file);
  if (!testing && !reason) {
    // The times go on through the open handle; opening each file again costs as much as
    // writing a small one.
    SetHandleTimesFromDos(file.handle, info.dosDate);
    DWORD error = CommitEntryFile(&file);
    if (error) result = WriteFailed(nameInArchive, target, error, false);
  }
  ReleaseEntryBuffer(buffer);
  return result;
}
