// Creating and extending: the archive is always written to a temporary file beside the
// target, closed, and only then put in its place, so a failure leaves the old archive as it
// was. Extending copies the old entries into the new file first (a compressed TAR cannot be
// appended to in place).
#include "services/base.h"
#include "tar_common.h"

#include <cctype>
#include <cstring>
#include <string>
#include <unordered_set>
#include <vector>

#include "jobs/entry_name_safety.h"

namespace {

bool EndsWithNoCase(const std::string& text, const char* suffix) {
  size_t n = strlen(suffix);
  if (text.size() < n) return false;
  for (size_t i = 0; i < n; ++i)
    if (tolower(static_cast<unsigned char>(text[text.size() - n + i])) != suffix[i]) return false;
  return true;
}

// The compression a new archive gets from its name.
int FilterFromName(const std::string& name) {
  if (EndsWithNoCase(name, ".bz2") || EndsWithNoCase(name, ".tbz") || EndsWithNoCase(name, ".tbz2"))
    return ARCHIVE_FILTER_BZIP2;
  if (EndsWithNoCase(name, ".gz") || EndsWithNoCase(name, ".tgz")) return ARCHIVE_FILTER_GZIP;
  if (EndsWithNoCase(name, ".z")) return ARCHIVE_FILTER_COMPRESS;
  if (EndsWithNoCase(name, ".xz") || EndsWithNoCase(name, ".txz")) return ARCHIVE_FILTER_XZ;
  if (EndsWithNoCase(name, ".zst") || EndsWithNoCase(name, ".tzst")) return ARCHIVE_FILTER_ZSTD;
  if (EndsWithNoCase(name, ".lz4")) return ARCHIVE_FILTER_LZ4;
  if (EndsWithNoCase(name, ".lzma") || EndsWithNoCase(name, ".tlz")) return ARCHIVE_FILTER_LZMA;
  return ARCHIVE_FILTER_NONE;
}

struct Writer {
  archive* out = nullptr;
  std::wstring target;
  std::wstring temporary;
  bool programs = false;  // the temporary file is the program's working file: it moves it
};

// The temporary file is one this run creates under a name no file has ("<target>.kestrelia-new",
// else "-1", "-2", ...): a file of the user's that happens to bear the name is never written
// over, moved or deleted.
bool ClaimTemporary(Writer* writer) {
  for (int n = 0; n < 1000; ++n) {
    writer->temporary = writer->target + L".kestrelia-new" + (n ? L"-" + std::to_wstring(n) : L"");
    HANDLE h = CreateFileW(writer->temporary.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_TEMPORARY,
                           nullptr);
    if (h != INVALID_HANDLE_VALUE) {
      CloseHandle(h);
      return true;
    }
    if (GetLastError() != ERROR_FILE_EXISTS && GetLastError() != ERROR_ALREADY_EXISTS) break;
  }
  writer->temporary.clear();
  return false;
}

int OpenWriter(Writer* writer, const char* path, int filter, const char* newArchive) {
  writer->target = WideFromUtf8(path);
  writer->out = archive_write_new();
  writer->programs = newArchive && *newArchive;
  if (writer->programs) writer->temporary = WideFromUtf8(newArchive);
  if (!writer->programs && !ClaimTemporary(writer)) {
    archive_set_error(writer->out, EEXIST, "no temporary file can be made beside the archive");
    return ARCHIVE_FATAL;
  }
  archive_write_set_format_pax_restricted(writer->out);
  archive_write_add_filter(writer->out, filter);
  // Whole 10 KiB records would pad small compressed archives for no reader that needs it.
  archive_write_set_bytes_in_last_block(writer->out, 1);
  return archive_write_open_filename_w(writer->out, writer->temporary.c_str());
}

// Puts the finished archive in place of the old one; false leaves the old one untouched.
bool CloseWriter(Writer* writer, bool keep) {
  bool ok = archive_write_close(writer->out) == ARCHIVE_OK;
  archive_write_free(writer->out);
  writer->out = nullptr;
  if (writer->programs) return ok && keep;
  if (ok && keep) ok = MoveFileExW(writer->temporary.c_str(), writer->target.c_str(),
                                   MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
  if ((!ok || !keep) && !writer->temporary.empty()) DeleteFileW(writer->temporary.c_str());
  return ok;
}

bool IsSeparator(char c) { return c == '/' || c == '\\'; }

// The entry name of a source path: the part after the base folder, "/"-separated; a path
// outside the base folder keeps only its last component.
std::string EntryNameOf(const std::string& path, const std::string& base) {
  std::string name;
  bool inside = base.size() <= path.size();
  for (size_t i = 0; inside && i < base.size(); ++i) {
    char a = path[i], b = base[i];
    if (IsSeparator(a) && IsSeparator(b)) continue;
    if (tolower(static_cast<unsigned char>(a)) != tolower(static_cast<unsigned char>(b))) inside = false;
  }
  if (inside && !base.empty()) {
    name = path.substr(base.size());
  } else {
    size_t end = path.size();
    while (end > 0 && IsSeparator(path[end - 1])) --end;
    size_t start = end;
    while (start > 0 && !IsSeparator(path[start - 1])) --start;
    name = path.substr(start);
  }
  for (char& c : name)
    if (c == '\\') c = '/';
  while (!name.empty() && name[0] == '/') name.erase(0, 1);
  return name;
}

time_t UnixFromFileTime(const FILETIME& time) {
  uint64_t ticks = (static_cast<uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
  return ticks < 116444736000000000ULL ? 0 : static_cast<time_t>((ticks - 116444736000000000ULL) / 10000000ULL);
}

enum AddStatus { ADD_OK = 0, ADD_UNREADABLE = 1, ADD_REFUSED = 2 };

// Adds one file or folder of the disk; the status says why it was not.
int AddSource(archive* out, const std::string& path, const std::string& base, TarProgress* progress,
              std::string* entryName, std::vector<char>* buffer) {
  bool folder = !path.empty() && IsSeparator(path.back());
  std::string name = EntryNameOf(path, base);
  if (folder && !name.empty() && name.back() != '/') name += '/';
  *entryName = name;
  if (name.empty() || JudgeEntryName(name.c_str(), nullptr, 0) != ENTRY_NAME_OK) return ADD_REFUSED;
  std::wstring wide = WideFromUtf8(path.c_str());
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!GetFileAttributesExW(wide.c_str(), GetFileExInfoStandard, &data)) return ADD_UNREADABLE;
  folder = folder || (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY);
  if (folder && name.back() != '/') name += '/';
  HANDLE file = INVALID_HANDLE_VALUE;
  if (!folder) {
    file = CreateFileW(wide.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                       FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (file == INVALID_HANDLE_VALUE) return ADD_UNREADABLE;
  }
  archive_entry* entry = archive_entry_new();
  archive_entry_update_pathname_utf8(entry, name.c_str());
  archive_entry_set_filetype(entry, folder ? AE_IFDIR : AE_IFREG);
  archive_entry_set_perm(entry, folder ? 0755 : (data.dwFileAttributes & FILE_ATTRIBUTE_READONLY) ? 0444 : 0644);
  archive_entry_set_mtime(entry, UnixFromFileTime(data.ftLastWriteTime), 0);
  uint64_t size = folder ? 0 : (static_cast<uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
  archive_entry_set_size(entry, static_cast<la_int64_t>(size));
  int status = archive_write_header(out, entry) < ARCHIVE_WARN ? ADD_UNREADABLE : ADD_OK;
  archive_entry_free(entry);
  uint64_t written = 0;
  if (!folder) {
    DWORD got = 0;
    while (status == ADD_OK && written < size && ReadFile(file, buffer->data(), static_cast<DWORD>(buffer->size()), &got, nullptr) && got) {
      if (got > size - written) got = static_cast<DWORD>(size - written);
      if (archive_write_data(out, buffer->data(), got) < 0) status = ADD_UNREADABLE;
      written += got;
      ProgressBytes(progress, got);
    }
    CloseHandle(file);
    // A file that shrank while it was read: the header promised its size, so pad with zeros
    // to keep the archive readable, and report the file.
    if (written < size) {
      memset(buffer->data(), 0, buffer->size());
      while (written < size) {
        size_t chunk = static_cast<size_t>(std::min<uint64_t>(buffer->size(), size - written));
        if (archive_write_data(out, buffer->data(), chunk) < 0) break;
        written += chunk;
      }
      status = ADD_UNREADABLE;
    }
  }
  ProgressEntryDone(progress);
  return status;
}

struct AddRun {
  unsigned added = 0;
  unsigned skipped = 0;
  std::string firstSkipped;
};

void AddSources(archive* out, const TarNameNode* files, const std::string& base, TarProgress* progress,
                TarNameNode* results, AddRun* run) {
  std::vector<char> buffer(1 << 16);
  for (const TarNameNode* node = files; node && !ProgressStopped(progress); node = node->next) {
    if (!node->name) continue;
    std::string entryName;
    int status = AddSource(out, node->name, base, progress, &entryName, &buffer);
    if (status == ADD_OK) {
      ++run->added;
    } else {
      ++run->skipped;
      if (run->firstSkipped.empty()) run->firstSkipped = node->name;
    }
    if (results && results->name) {
      TarAddResult* record = reinterpret_cast<TarAddResult*>(results->name);
      snprintf(record->path, sizeof record->path, "%s", node->name);
      snprintf(record->entry, sizeof record->entry, "%s", entryName.c_str());
      record->status = status;
      snprintf(record->reason, sizeof record->reason, "%s",
               status == ADD_OK ? "" : status == ADD_REFUSED ? "refused name" : "cannot be read");
    }
    if (results) results = results->next;
  }
  ProgressFlush(progress);
}

void ReportRun(char* result, const AddRun& run, const char* verb) {
  if (run.skipped)
    SetResultText(result, '0', '1', "%s %u, %u could not be added (first: %s)", verb, run.added, run.skipped,
                  run.firstSkipped.c_str());
  else
    SetResultText(result, '0', '0', "%s %u", verb, run.added);
}

// Copies the old archive's entries, each as change answers for its name.
bool CopyOldEntries(const char* path, archive* out, TarChangeFn change, void* context, std::string* error) {
  archive* reader = OpenTarReader(path, error);
  if (!reader) return false;
  std::vector<char> buffer(1 << 16);
  archive_entry* entry;
  bool ok = true;
  for (;;) {
    int status = NextTarHeader(reader, &entry);
    if (status == ARCHIVE_EOF) break;
    if (status < ARCHIVE_WARN) {
      *error = archive_error_string(reader) ? archive_error_string(reader) : "damaged archive";
      ok = false;
      break;
    }
    std::string name = EntryNameUtf8(reader, entry);
    char renamed[4096] = "";
    int answer = change(context, name.c_str(), renamed, sizeof renamed);
    if (answer == TAR_DROP) continue;
    if (answer == TAR_RENAME) name = renamed;
    // The old entries keep the names the program showed for them, now written as UTF-8.
    archive_entry_update_pathname_utf8(entry, name.c_str());
    std::string link = EntryHardlinkUtf8(reader, entry);
    // A hard link follows its target when that is renamed.
    if (!link.empty() && change(context, link.c_str(), renamed, sizeof renamed) == TAR_RENAME) link = renamed;
    if (!link.empty()) archive_entry_update_hardlink_utf8(entry, link.c_str());
    if (archive_write_header(out, entry) < ARCHIVE_WARN) {
      *error = archive_error_string(out) ? archive_error_string(out) : "cannot write";
      ok = false;
      break;
    }
    la_ssize_t got;
    while ((got = archive_read_data(reader, buffer.data(), buffer.size())) > 0)
      if (archive_write_data(out, buffer.data(), static_cast<size_t>(got)) < 0) {
        *error = archive_error_string(out) ? archive_error_string(out) : "cannot write";
        ok = false;
        break;
      }
    if (!ok) break;
    if (got < 0) {
      *error = archive_error_string(reader) ? archive_error_string(reader) : "damaged archive";
      ok = false;
      break;
    }
  }
  archive_read_free(reader);
  return ok;
}

// TarCreateAdd's question: the names that new files take are left out.
int DropReplaced(void* context, const char* name, char*, size_t) {
  return static_cast<const std::unordered_set<std::string>*>(context)->count(name) ? TAR_DROP : TAR_KEEP;
}

// OldFilter's answer for a compressed file that holds no TAR: nothing can be written into it.
const int kSingleFile = -2;

int OldFilter(const char* path) {
  archive* reader = OpenTarReader(path, nullptr);
  if (!reader) return -1;
  archive_entry* entry;
  NextTarHeader(reader, &entry);  // the filters are known once a header was read
  int filter = IsSingleCompressedFile(reader) ? kSingleFile : archive_filter_code(reader, 0);
  archive_read_free(reader);
  return filter;
}

void RefuseOld(char* result, const char* archivePath, int filter) {
  if (filter == kSingleFile)
    SetResultText(result, '1', '0', "%s is a single compressed file, not an archive: nothing can be written into it",
                  archivePath);
  else
    SetResultText(result, '1', '0', "cannot read %s", archivePath);
}

}  // namespace

extern "C" {

int __cdecl TarCreate(const char* archivePath, const char* baseFolder, void* progressWindow,
                                            char* result, int fileCount, TarNameNode* files,
                                            const char* newArchive) {
  if (!archivePath || !*archivePath || !files) {
    SetResultText(result, '1', '0', "nothing to create");
    return 1;
  }
  TarProgress progress;
  ProgressInit(&progress, progressWindow, 0);
  Writer writer;
  if (OpenWriter(&writer, archivePath, FilterFromName(archivePath), newArchive) != ARCHIVE_OK) {
    SetResultText(result, '1', '0', "cannot create %s: %s", archivePath, archive_error_string(writer.out));
    CloseWriter(&writer, false);
    return 1;
  }
  AddRun run;
  AddSources(writer.out, files, baseFolder ? baseFolder : "", &progress, nullptr, &run);
  if (!CloseWriter(&writer, !ProgressStopped(&progress))) {
    SetResultText(result, '1', '0', ProgressStopped(&progress) ? "cancelled" : "cannot write %s", archivePath);
    return 1;
  }
  ReportRun(result, run, "created with");
  return run.skipped ? 1 : 0;
}

int __cdecl TarCreateAdd(const char* archivePath, const char* baseFolder, TarNameNode* files,
                                               TarNameNode* results, void* progressWindow, int addMode, char* result,
                                               const char* newArchive) {
  if (!archivePath || !*archivePath || !files) {
    SetResultText(result, '1', '0', "nothing to add");
    return 1;
  }
  std::string base = baseFolder ? baseFolder : "";
  bool exists = GetFileAttributesW(WideFromUtf8(archivePath).c_str()) != INVALID_FILE_ATTRIBUTES;
  int filter = exists ? OldFilter(archivePath) : FilterFromName(archivePath);
  if (filter < 0) {
    RefuseOld(result, archivePath, filter);
    return 1;
  }
  std::unordered_set<std::string> replaced;
  if (addMode == TAR_ADD_REPLACE)
    for (const TarNameNode* node = files; node; node = node->next)
      if (node->name) {
        std::string name = EntryNameOf(node->name, base);
        if (!name.empty() && IsSeparator(node->name[strlen(node->name) - 1]) && name.back() != '/') name += '/';
        replaced.insert(name);
      }
  TarProgress progress;
  ProgressInit(&progress, progressWindow, 0);
  Writer writer;
  if (OpenWriter(&writer, archivePath, filter, newArchive) != ARCHIVE_OK) {
    SetResultText(result, '1', '0', "cannot create %s: %s", archivePath, archive_error_string(writer.out));
    CloseWriter(&writer, false);
    return 1;
  }
  std::string error;
  if (exists && !CopyOldEntries(archivePath, writer.out, DropReplaced, &replaced, &error)) {
    CloseWriter(&writer, false);
    SetResultText(result, '1', '0', "cannot copy the entries of %s: %s", archivePath, error.c_str());
    return 1;
  }
  AddRun run;
  AddSources(writer.out, files, base, &progress, results, &run);
  if (!CloseWriter(&writer, !ProgressStopped(&progress))) {
    SetResultText(result, '1', '0', ProgressStopped(&progress) ? "cancelled" : "cannot write %s", archivePath);
    return 1;
  }
  ReportRun(result, run, "added");
  return run.skipped ? 1 : 0;
}

int __cdecl TarRewrite(const char* archivePath, const char* newPath, TarChangeFn change, void* context, char* result) {
  if (!archivePath || !newPath || !change) {
    SetResultText(result, '1', '0', "nothing to rewrite");
    return 1;
  }
  int filter = OldFilter(archivePath);
  if (filter < 0) {
    RefuseOld(result, archivePath, filter);
    return 1;
  }
  archive* out = archive_write_new();
  archive_write_set_format_pax_restricted(out);
  archive_write_add_filter(out, filter);
  archive_write_set_bytes_in_last_block(out, 1);
  std::string error;
  bool ok = archive_write_open_filename_w(out, WideFromUtf8(newPath).c_str()) == ARCHIVE_OK;
  if (!ok) error = archive_error_string(out) ? archive_error_string(out) : "cannot create";
  ok = ok && CopyOldEntries(archivePath, out, change, context, &error);
  // The close writes the last compressed block: it can fail too.
  if (archive_write_close(out) != ARCHIVE_OK && ok) {
    ok = false;
    error = archive_error_string(out) ? archive_error_string(out) : "cannot write";
  }
  archive_write_free(out);
  if (!ok) {
    SetResultText(result, '1', '0', "%s", error.c_str());
    return 1;
  }
  SetResultText(result, '0', '0', "rewritten");
  return 0;
}

}  // extern "C"
