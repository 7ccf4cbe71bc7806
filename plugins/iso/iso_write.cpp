// Writing or testing the current entry. Every name passes the program's name judge before
// anything is written; links are never written (a Rock Ridge link may point anywhere); a file
// that replaces another is written under a working name beside it and takes its name only
// when whole, and a failed entry is removed, so no short file is left and an older file of
// that name stays untouched.
#include "services/base.h"
#include "iso_image.h"

#include <cstdio>
#include <cstring>

#include "jobs/entry_name_safety.h"

namespace {

void CreateFolderChain(const std::wstring& folder) {
  for (size_t i = 0; i <= folder.size(); ++i) {
    if (i < folder.size() && folder[i] != L'\\' && folder[i] != L'/') continue;
    if (i == 0 || (i == 2 && folder[1] == L':')) continue;
    CreateDirectoryW(folder.substr(0, i).c_str(), nullptr);
  }
}

std::wstring ParentOf(const std::wstring& path) {
  size_t slash = path.find_last_of(L"\\/");
  return slash == std::wstring::npos ? std::wstring() : path.substr(0, slash);
}

// The file to write into: the target itself when no file has its name yet (removed again if
// the entry fails), else a name beside it that no file has, which replaces the old file only
// once the entry is whole. Created empty and open for writing.
HANDLE CreateWorkingFile(const std::wstring& target, std::wstring* working) {
  *working = target;
  HANDLE file = CreateFileW(target.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file != INVALID_HANDLE_VALUE || GetLastError() != ERROR_FILE_EXISTS) return file;
  for (unsigned n = 0; n < 100; ++n) {
    wchar_t suffix[40];
    swprintf(suffix, 40, L".~%lx%u.part", GetCurrentThreadId(), n);
    *working = target + suffix;
    file = CreateFileW(working->c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file != INVALID_HANDLE_VALUE || GetLastError() != ERROR_FILE_EXISTS) return file;
  }
  return INVALID_HANDLE_VALUE;
}

void SetWriteTime(HANDLE file, time_t seconds) {
  if (seconds < 0) return;
  uint64_t ticks = (static_cast<uint64_t>(seconds) + 11644473600ULL) * 10000000ULL;
  FILETIME when{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
  SetFileTime(file, nullptr, nullptr, &when);
}

// Copies the reader's current entry into the file (or nowhere when file is null); an ISO_
// result.
int CopyData(archive* reader, HANDLE file, uint64_t* progress) {
  const void* block;
  size_t size;
  la_int64_t offset;
  int64_t written = 0;
  for (;;) {
    int status = archive_read_data_block(reader, &block, &size, &offset);
    if (status == ARCHIVE_EOF) return ISO_OK;
    if (status < ARCHIVE_WARN) return ISO_BAD_DATA;
    if (progress) *progress += size;
    if (file == INVALID_HANDLE_VALUE || !file) continue;
    if (offset != written) {
      LARGE_INTEGER at;
      at.QuadPart = offset;
      if (!SetFilePointerEx(file, at, nullptr, FILE_BEGIN)) return ISO_EWRITE;
    }
    for (size_t done = 0; done < size;) {
      DWORD part = size - done > (1u << 30) ? (1u << 30) : static_cast<DWORD>(size - done), put = 0;
      if (!WriteFile(file, static_cast<const char*>(block) + done, part, &put, nullptr) || !put) return ISO_EWRITE;
      done += put;
    }
    written = offset + static_cast<int64_t>(size);
  }
}

// Ends a working file: under the target's name when the copy was whole, else gone.
int Finish(HANDLE file, const std::wstring& working, const std::wstring& target, int result) {
  CloseHandle(file);
  if (result == ISO_OK && working != target && !MoveFileExW(working.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING))
    result = ISO_ECREATE;
  if (result != ISO_OK) DeleteFileW(working.c_str());
  return result;
}

int WriteFromReader(archive* reader, archive_entry* entry, const std::wstring& target, uint64_t* progress) {
  std::wstring working;
  HANDLE file = CreateWorkingFile(target, &working);
  if (file == INVALID_HANDLE_VALUE) return ISO_ECREATE;
  int result = CopyData(reader, file, progress);
  if (result == ISO_OK) SetWriteTime(file, archive_entry_mtime(entry));
  return Finish(file, working, target, result);
}

// A hard link whose data this handle did not write: a second walk of the image reaches the
// entry that holds it.
int WriteFromSecondWalk(IsoImage* image, const std::wstring& target, uint64_t* progress) {
  IsoImage second;
  second.path = image->path;
  if (!OpenImageReader(&second)) return ISO_BAD_DATA;
  int result = ISO_BAD_DATA;
  archive_entry* entry;
  while (archive_read_next_header(second.reader, &entry) >= ARCHIVE_WARN) {
    if (EntryPath(entry) != image->dataName || !EntryHardlink(entry).empty()) continue;
    result = WriteFromReader(second.reader, image->entry, target, progress);
    break;
  }
  CloseImageReader(&second);
  return result;
}

int WriteHardlink(IsoImage* image, const std::wstring& target, uint64_t* progress) {
  if (!image->dataWritten.empty() && GetFileAttributesW(image->dataWritten.c_str()) != INVALID_FILE_ATTRIBUTES) {
    std::wstring working;
    HANDLE file = CreateWorkingFile(target, &working);
    if (file == INVALID_HANDLE_VALUE) return ISO_ECREATE;
    CloseHandle(file);
    if (CopyFileW(image->dataWritten.c_str(), working.c_str(), FALSE) &&
        (working == target || MoveFileExW(working.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING))) {
      if (progress) *progress += static_cast<uint64_t>(image->dataSize);
      return ISO_OK;
    }
    DeleteFileW(working.c_str());
    return ISO_ECREATE;
  }
  return WriteFromSecondWalk(image, target, progress);
}

}  // namespace

void CloseDataSource(IsoImage* image) {
  if (!image->dataSource) return;
  CloseImageReader(image->dataSource);
  delete image->dataSource;
  image->dataSource = nullptr;
}

int64_t ReadCurrentEntryData(IsoImage* image, void* buffer, uint32_t size) {
  unsigned type = archive_entry_filetype(image->entry);
  if (type != AE_IFREG) return 0;
  archive* reader = image->reader;
  // A hard link's data, or data this walk already went past, comes from a second walk that
  // stops at the entry holding it.
  if (image->borrowed || (image->dataRead && !image->streaming) || image->dataSource) {
    if (!image->dataSource) {
      image->dataSource = new IsoImage();
      image->dataSource->path = image->path;
      bool found = false;
      archive_entry* entry;
      if (OpenImageReader(image->dataSource))
        while (!found && archive_read_next_header(image->dataSource->reader, &entry) >= ARCHIVE_WARN)
          found = EntryPath(entry) == image->dataName && EntryHardlink(entry).empty();
      if (!found) {
        CloseDataSource(image);
        return -1;
      }
    }
    reader = image->dataSource->reader;
  } else {
    image->streaming = image->dataRead = true;
  }
  la_ssize_t got = archive_read_data(reader, buffer, size);
  return got < 0 ? -1 : got;
}

int ProcessCurrentEntry(IsoImage* image, int operation, const char* folder, const char* name, uint64_t* progress) {
  archive_entry* entry = image->entry;
  unsigned type = archive_entry_filetype(entry);
  bool link = image->borrowed;
  if (type == AE_IFREG && archive_entry_is_data_encrypted(entry) && (operation == ISO_TEST || operation == ISO_EXTRACT))
    return ISO_ENCRYPTED;
  if (operation == ISO_TEST) {
    if (type != AE_IFREG || link || image->dataRead) return ISO_OK;
    image->dataRead = true;
    return CopyData(image->reader, nullptr, progress);
  }
  if (operation != ISO_EXTRACT) return ISO_OK;
  std::string relative = name && *name ? name : image->name;
  char reason[200] = "";
  // A file needs a name of its own: "." (what "..;1" becomes) names the folder it stands in.
  size_t last = relative.find_last_of("\\/");
  std::string part = last == std::string::npos ? relative : relative.substr(last + 1);
  bool nameless = type != AE_IFDIR && (part.empty() || part == ".");
  if (type == AE_IFLNK || (type != AE_IFREG && type != AE_IFDIR) || nameless ||
      JudgeEntryName(relative.c_str(), reason, sizeof reason) != ENTRY_NAME_OK)
    return ISO_REFUSED_NAME;
  std::wstring base = folder && *folder ? Widen(folder) : std::wstring();
  std::wstring target = Widen(relative);
  for (wchar_t& c : target)
    if (c == L'/') c = L'\\';
  if (!base.empty()) target = base + (base.back() == L'\\' || base.back() == L'/' ? L"" : L"\\") + target;
  if (type == AE_IFDIR) {
    CreateFolderChain(target);
    DWORD attributes = GetFileAttributesW(target.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) ? ISO_OK : ISO_ECREATE;
  }
  // Files come folder by folder: the folders above one that exists are not made again.
  std::wstring parent = ParentOf(target);
  if (parent != image->madeFolder) {
    CreateFolderChain(parent);
    image->madeFolder = parent;
  }
  int result;
  if (link) {
    result = WriteHardlink(image, target, progress);
  } else if (image->dataRead) {
    // Asked twice for one entry: its data has gone by; the first copy serves.
    result = WriteHardlink(image, target, progress);
  } else {
    image->dataRead = true;
    result = WriteFromReader(image->reader, entry, target, progress);
  }
  if (result == ISO_OK) image->dataWritten = target;
  return result;
}
