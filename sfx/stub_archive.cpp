#include "services/base.h"
#include "sfx/stub_archive.h"

#include "sfx/sfx_cipher.h"
#include "jobs/entry_name_safety.h"
#include "zip/aes_entry.h"
#include "zip/entry_names.h"

#include <unzip.h>

#include <algorithm>
#include <cstring>

namespace {

// Stored, deflated, bzip2, and the newer methods the container library hands to its own
// decoders (LZMA 14, Zstandard 93, XZ 95).
bool StubDecodes(uLong method) {
  return method == 0 || method == Z_DEFLATED || method == 12 || method == 14 || method == 93 || method == 95;
}

constexpr WORD kHeaderId = 111;
constexpr WORD kNeutral = MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL);

bool Resource(WORD id, const unsigned char** data, size_t* size) {
  HRSRC found = FindResourceExW(nullptr, MAKEINTRESOURCEW(10), MAKEINTRESOURCEW(id), kNeutral);
  if (!found) return false;
  HGLOBAL loaded = LoadResource(nullptr, found);
  *data = loaded ? static_cast<const unsigned char*>(LockResource(loaded)) : nullptr;
  *size = SizeofResource(nullptr, found);
  return *data != nullptr;
}

// minizip reads the archive where it lies: in the resources' pieces, or in the one buffer
// the unsealing made.
struct MemoryStream {
  std::vector<std::pair<const unsigned char*, size_t>> pieces;
  uint64_t size = 0;
  uint64_t position = 0;
};

voidpf OpenMemory(voidpf opaque, const void*, int mode) {
  if (mode & ZLIB_FILEFUNC_MODE_WRITE) return nullptr;
  MemoryStream* stream = new MemoryStream(*static_cast<const MemoryStream*>(opaque));
  return stream;
}

uLong ReadMemory(voidpf, voidpf handle, void* buffer, uLong size) {
  MemoryStream* s = static_cast<MemoryStream*>(handle);
  uLong done = 0;
  uint64_t start = 0;
  for (const auto& piece : s->pieces) {
    if (done == size) break;
    uint64_t end = start + piece.second;
    if (s->position < end) {
      size_t offset = static_cast<size_t>(s->position - start);
      size_t take = std::min<size_t>(piece.second - offset, size - done);
      memcpy(static_cast<unsigned char*>(buffer) + done, piece.first + offset, take);
      done += static_cast<uLong>(take);
      s->position += take;
    }
    start = end;
  }
  return done;
}

uLong WriteMemory(voidpf, voidpf, const void*, uLong) { return 0; }
ZPOS64_T TellMemory(voidpf, voidpf handle) { return static_cast<MemoryStream*>(handle)->position; }

long SeekMemory(voidpf, voidpf handle, ZPOS64_T offset, int origin) {
  MemoryStream* s = static_cast<MemoryStream*>(handle);
  uint64_t base = origin == ZLIB_FILEFUNC_SEEK_CUR ? s->position : origin == ZLIB_FILEFUNC_SEEK_END ? s->size : 0;
  if (base + offset > s->size) return -1;
  s->position = base + offset;
  return 0;
}

int CloseMemory(voidpf, voidpf handle) {
  delete static_cast<MemoryStream*>(handle);
  return 0;
}
int ErrorMemory(voidpf, voidpf) { return 0; }

unzFile OpenZip(const StubArchive& archive, MemoryStream* source) {
  if (archive.sealed) {
    source->pieces.assign(1, {archive.opened.data(), archive.opened.size()});
    source->size = archive.opened.size();
  } else {
    source->pieces = archive.pieces;
    source->size = archive.size;
  }
  zlib_filefunc64_def io = {OpenMemory, ReadMemory, WriteMemory, TellMemory, SeekMemory, CloseMemory, ErrorMemory,
                            source};
  return unzOpen2_64("archive", &io);
}

struct Entry {
  std::string name;
  unz_file_info64 info;
  bool aes = false;  // a WinZip AES entry: the program's own reader decrypts it
  AesField field = {};

  // The AES reader unpacks stored, deflated and bzip2 data under its encryption.
  bool Decodable() const {
    return aes ? field.method == 0 || field.method == Z_DEFLATED || field.method == 12 : StubDecodes(info.compression_method);
  }
};

// Walks the central directory; calls visit with each entry positioned as current.
template <typename Visit>
bool ForEachEntry(unzFile zip, Visit visit) {
  for (int status = unzGoToFirstFile(zip); status == UNZ_OK; status = unzGoToNextFile(zip)) {
    Entry entry;
    if (ReadCurrentEntryName(zip, &entry.info, &entry.name) != UNZ_OK) return false;
    entry.aes = entry.info.compression_method == 99 && ReadAesField(zip, &entry.field);
    if (!visit(entry)) return true;
  }
  return true;
}

// The current entry's bytes, decrypted and unpacked, by whichever reader its method needs.
struct EntryReader {
  unzFile zip;
  AesReader* aes = nullptr;

  // UNZ_OK, or kAesWrongPassword before anything is read.
  int Open(const Entry& entry, const char* password) {
    if (entry.aes) return AesOpen(zip, entry.info, entry.field, password, &aes);
    return (entry.info.flag & 1) ? unzOpenCurrentFilePassword(zip, password) : unzOpenCurrentFile(zip);
  }
  int Read(void* buffer, unsigned size) { return aes ? AesRead(aes, buffer, size) : unzReadCurrentFile(zip, buffer, size); }
  // UNZ_OK only for an entry read whole whose check (CRC, AES code) holds.
  int Close() {
    AesReader* reader = aes;
    aes = nullptr;
    return reader ? AesClose(reader) : unzCloseCurrentFile(zip);
  }
};

// Whether the password opens the archive's entries: the smallest protected entry is read
// through to its check, so a wrong password is known before anything is written (traditional
// encryption's one check byte lets a wrong password through one time in 256).
bool PasswordFits(unzFile zip, const char* password) {
  unz64_file_pos smallest = {};
  uint64_t smallestSize = UINT64_MAX;
  bool any = false;
  ForEachEntry(zip, [&](const Entry& entry) {
    if ((entry.info.flag & 1) && entry.Decodable() && entry.info.compressed_size < smallestSize) {
      smallestSize = entry.info.compressed_size;
      any = unzGetFilePos64(zip, &smallest) == UNZ_OK;
    }
    return true;
  });
  if (!any || unzGoToFilePos64(zip, &smallest) != UNZ_OK) return true;
  Entry entry;
  if (ReadCurrentEntryName(zip, &entry.info, &entry.name) != UNZ_OK) return true;
  entry.aes = entry.info.compression_method == 99 && ReadAesField(zip, &entry.field);
  EntryReader reader{zip};
  if (reader.Open(entry, password) != UNZ_OK) return false;
  std::vector<char> buffer(1 << 16);
  int got;
  while ((got = reader.Read(buffer.data(), static_cast<unsigned>(buffer.size()))) > 0) {
  }
  return reader.Close() == UNZ_OK && got == 0;
}

bool MakeFolders(const std::wstring& path, size_t from) {
  for (size_t at = from; at <= path.size(); ++at) {
    if (at < path.size() && path[at] != L'\\') continue;
    CreateDirectoryW(path.substr(0, at).c_str(), nullptr);
  }
  DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

void SetTimes(HANDLE file, const unz_file_info64& info) {
  FILETIME local, utc;
  if (DosDateTimeToFileTime(HIWORD(info.dosDate), LOWORD(info.dosDate), &local) && LocalFileTimeToFileTime(&local, &utc))
    SetFileTime(file, nullptr, nullptr, &utc);
}

struct Run {
  unzFile zip;
  std::wstring root;
  const char* password;
  const StubExtractCallbacks& callbacks;
  StubExtractReport* report;
  uint64_t done = 0, total = 0;
  bool cancelled = false;

  void Problem(unsigned long* counter, const std::string& name) {
    ++*counter;
    if (report->firstProblem.empty()) report->firstProblem = name;
  }

  // Written under a working name, put in place only when whole and its CRC checked.
  bool WriteFile(const Entry& entry, const std::wstring& target) {
    std::wstring working = target + L".ksx~";
    EntryReader reader{zip};
    if (reader.Open(entry, password) != UNZ_OK) return false;
    HANDLE file = CreateFileW(working.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    bool ok = file != INVALID_HANDLE_VALUE;
    std::vector<char> buffer(1 << 16);
    while (ok) {
      int got = reader.Read(buffer.data(), static_cast<unsigned>(buffer.size()));
      if (got <= 0) {
        ok = got == 0;
        break;
      }
      DWORD wrote = 0;
      ok = ::WriteFile(file, buffer.data(), got, &wrote, nullptr) && wrote == static_cast<DWORD>(got);
      done += got;
      if (callbacks.progress && !callbacks.progress(callbacks.context, done, total)) {
        cancelled = true;
        ok = false;
      }
    }
    ok = reader.Close() == UNZ_OK && ok;
    if (file != INVALID_HANDLE_VALUE) {
      if (ok) SetTimes(file, entry.info);
      CloseHandle(file);
    }
    ok = ok && MoveFileExW(working.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING);
    if (!ok) DeleteFileW(working.c_str());
    return ok;
  }

  bool One(const Entry& entry) {
    if (JudgeEntryName(entry.name.c_str(), nullptr, 0) != ENTRY_NAME_OK) {
      Problem(&report->refused, entry.name);
      done += entry.info.uncompressed_size;
      return true;
    }
    std::wstring relative = Widen(entry.name.c_str());
    std::replace(relative.begin(), relative.end(), L'/', L'\\');
    bool folder = !relative.empty() && relative.back() == L'\\';
    while (!relative.empty() && relative.back() == L'\\') relative.pop_back();
    std::wstring target = root + L"\\" + relative;
    if (folder) {
      if (!MakeFolders(target, root.size() + 1)) Problem(&report->failed, entry.name);
      return true;
    }
    size_t slash = target.rfind(L'\\');
    if (!entry.Decodable()) {
      Problem(&report->refused, entry.name);
      done += entry.info.uncompressed_size;
      return true;
    }
    if (!MakeFolders(target.substr(0, slash), root.size() + 1)) {
      Problem(&report->failed, entry.name);
      return true;
    }
    if (GetFileAttributesW(target.c_str()) != INVALID_FILE_ATTRIBUTES && callbacks.overwrite) {
      int answer = callbacks.overwrite(callbacks.context, Narrow(target.c_str()).c_str());
      if (answer == OVERWRITE_CANCEL) {
        cancelled = true;
        return false;
      }
      if (answer == OVERWRITE_NO) {
        done += entry.info.uncompressed_size;
        return true;
      }
    }
    if (WriteFile(entry, target))
      ++report->written;
    else if (!cancelled)
      Problem(&report->failed, entry.name);
    return !cancelled;
  }
};

}  // namespace

std::wstring Widen(const char* utf8) {
  int count = MultiByteToWideChar(CP_UTF8, 0, utf8, -1, nullptr, 0);
  if (count <= 0) return std::wstring();
  std::wstring wide(count - 1, L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8, -1, &wide[0], count);
  return wide;
}

std::string Narrow(const wchar_t* wide) {
  int count = WideCharToMultiByte(CP_UTF8, 0, wide, -1, nullptr, 0, nullptr, nullptr);
  if (count <= 0) return std::string();
  std::string text(count - 1, '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide, -1, &text[0], count, nullptr, nullptr);
  return text;
}

bool LoadStubArchive(StubArchive* archive) {
  const unsigned char* header;
  size_t size;
  if (!Resource(kHeaderId, &header, &size) || size != 4) return false;
  archive->sealed = header[0] == 0x11;
  // Identifiers are 16-bit, so the pieces end at 65535 at the latest.
  for (unsigned id = kHeaderId + 1; id <= 0xFFFF; ++id) {
    const unsigned char* piece;
    if (!Resource(static_cast<WORD>(id), &piece, &size)) break;
    archive->pieces.push_back({piece, size});
    archive->size += size;
  }
  return !archive->pieces.empty();
}

int UnsealStubArchive(StubArchive* archive, const char* password) {
  std::vector<unsigned char> joined;
  joined.reserve(static_cast<size_t>(archive->size));
  for (const auto& piece : archive->pieces) joined.insert(joined.end(), piece.first, piece.first + piece.second);
  switch (SfxOpen(joined.data(), joined.size(), password, &archive->opened)) {
    case SFX_OPEN_OK: return STUB_OK;
    case SFX_OPEN_WRONG_PASSWORD: return STUB_WRONG_PASSWORD;
    case SFX_OPEN_ALTERED: return STUB_ALTERED;
    default: return STUB_NO_ARCHIVE;
  }
}

bool ListStubArchive(const StubArchive& archive, StubListing* listing) {
  MemoryStream source;
  unzFile zip = OpenZip(archive, &source);
  if (!zip) return false;
  *listing = StubListing();
  bool ok = ForEachEntry(zip, [&](const Entry& entry) {
    ++listing->entries;
    listing->bytes += entry.info.uncompressed_size;
    if (entry.info.flag & 1) listing->encryptedEntries = true;
    return true;
  });
  unzClose(zip);
  return ok;
}

int ExtractStubArchive(const StubArchive& archive, const char* destination, const char* password,
                       const StubExtractCallbacks& callbacks, StubExtractReport* report) {
  StubListing listing;
  if (!ListStubArchive(archive, &listing)) return STUB_NO_ARCHIVE;
  if (listing.encryptedEntries) {
    MemoryStream source;
    unzFile zip = OpenZip(archive, &source);
    if (!zip) return STUB_NO_ARCHIVE;
    bool fits = PasswordFits(zip, password ? password : "");
    unzClose(zip);
    if (!fits) return STUB_WRONG_PASSWORD;
  }
  std::wstring root = Widen(destination);
  while (root.size() > 3 && (root.back() == L'\\' || root.back() == L'/')) root.pop_back();
  DWORD attributes = GetFileAttributesW(root.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    size_t from = root.size() > 2 && root[1] == L':' ? 3 : 0;
    if (!MakeFolders(root, from)) return STUB_DESTINATION;
  } else if (!(attributes & FILE_ATTRIBUTE_DIRECTORY)) {
    return STUB_DESTINATION;
  }
  MemoryStream source;
  unzFile zip = OpenZip(archive, &source);
  if (!zip) return STUB_NO_ARCHIVE;
  Run run{zip, root, password ? password : "", callbacks, report};
  run.total = listing.bytes;
  bool walked = ForEachEntry(zip, [&](const Entry& entry) { return run.One(entry); });
  unzClose(zip);
  if (run.cancelled) return STUB_CANCELLED;
  if (!walked) return STUB_NO_ARCHIVE;
  return report->refused || report->failed ? STUB_ENTRIES : STUB_OK;
}
