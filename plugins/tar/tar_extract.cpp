// Extraction: the named entries (all when no list is given) go below the destination folder.
// A file's data goes to the program's writer, which writes it as it writes every kind's
// entries; folders and hard links libarchive makes with its secure options. Before that every
// name, and every hard link's target, passes the program's own name judge, and symbolic links
// are not written at all, so nothing an archive says can put a file outside the destination.
#include "services/base.h"
#include "tar_common.h"

#include <cstring>
#include <string>
#include <unordered_set>
#include <vector>

#include "jobs/entry_name_safety.h"

namespace {

constexpr size_t kListedNames = 8;

struct Wanted {
  bool all;
  std::unordered_set<std::string> names;
  std::unordered_set<std::string> folders;  // every folder above a wanted name, with "/"
};

std::string Trimmed(std::string name) {
  while (name.size() > 2 && name[0] == '.' && name[1] == '/') name.erase(0, 2);
  return name;
}

void CollectWanted(const TarNameList* list, Wanted* wanted) {
  wanted->all = !list || !list->first;
  if (wanted->all) return;
  for (const TarNameNode* node = list->first; node; node = node->next) {
    if (!node->name) continue;
    std::string name = Trimmed(node->name);
    for (char& c : name)
      if (c == '\\') c = '/';
    for (size_t slash = name.find('/'); slash != std::string::npos && slash + 1 < name.size();
         slash = name.find('/', slash + 1))
      wanted->folders.insert(name.substr(0, slash + 1));
    wanted->names.insert(name);
  }
}

bool IsWanted(const Wanted& wanted, const std::string& name, bool folder) {
  if (wanted.all) return true;
  std::string key = Trimmed(name);
  if (folder) {
    if (key.empty() || key.back() != '/') key += '/';
    return wanted.folders.count(key) || wanted.names.count(key);
  }
  return wanted.names.count(key) != 0;
}

struct Outcome {
  unsigned written = 0;
  unsigned refused = 0;
  unsigned failed = 0;
  std::string refusedNames;
  std::string firstError;
};

void Refuse(Outcome* outcome, const std::string& name) {
  if (++outcome->refused <= kListedNames) {
    if (!outcome->refusedNames.empty()) outcome->refusedNames += '\n';
    outcome->refusedNames += name;
  }
}

void Fail(Outcome* outcome, const char* error) {
  ++outcome->failed;
  if (outcome->firstError.empty() && error) outcome->firstError = error;
}

enum CopyResult { COPY_OK, COPY_READ_FAILED, COPY_WRITE_FAILED };

// Copies the entry's data block by block (holes of sparse entries stay holes).
CopyResult CopyData(archive* reader, archive* writer, TarProgress* progress) {
  const void* block;
  size_t size;
  la_int64_t offset;
  for (;;) {
    int status = archive_read_data_block(reader, &block, &size, &offset);
    if (status == ARCHIVE_EOF) return COPY_OK;
    if (status < ARCHIVE_WARN) return COPY_READ_FAILED;
    if (archive_write_data_block(writer, block, size, offset) < ARCHIVE_WARN) return COPY_WRITE_FAILED;
    ProgressBytes(progress, size);
  }
}

// The modification time as the sink takes it: 100 ns ticks since 1601, 0 for none.
uint64_t FileTimeOf(archive_entry* entry) {
  if (!archive_entry_mtime_is_set(entry)) return 0;
  int64_t seconds = static_cast<int64_t>(archive_entry_mtime(entry)) + 11644473600LL;
  if (seconds <= 0) return 0;
  return static_cast<uint64_t>(seconds) * 10000000ULL + static_cast<uint64_t>(archive_entry_mtime_nsec(entry)) / 100;
}

// Hands a file entry's data to the program's writer in order, the holes of a sparse entry as
// zeros; the data's end: TAR_SINK_WHOLE (also when the writer gave the entry up: it knows
// why), TAR_SINK_DAMAGED (*damage: libarchive's words) or TAR_SINK_CANCELLED.
int SendData(archive* reader, archive_entry* entry, const TarFileSink& sink, TarProgress* progress,
             std::string* damage) {
  static const char kZeros[1 << 16] = {};
  uint64_t at = 0;
  // Sends the zeros of a hole up to offset; false when the writer gave up.
  auto fill = [&](uint64_t offset) {
    for (; at < offset;) {
      size_t part = offset - at < sizeof kZeros ? static_cast<size_t>(offset - at) : sizeof kZeros;
      if (sink.data(sink.context, kZeros, part)) return false;
      at += part;
    }
    return true;
  };
  for (;;) {
    // A large entry is cancelled in its middle, not after it was written to its end.
    if (ProgressStopped(progress)) return TAR_SINK_CANCELLED;
    const void* block;
    size_t size;
    la_int64_t offset;
    int status = archive_read_data_block(reader, &block, &size, &offset);
    if (status == ARCHIVE_EOF) break;
    if (status < ARCHIVE_WARN) {
      const char* why = archive_error_string(reader);
      *damage = why ? why : "";
      return TAR_SINK_DAMAGED;
    }
    if (!fill(static_cast<uint64_t>(offset)) || (size && sink.data(sink.context, block, size))) return TAR_SINK_WHOLE;
    at += size;
    ProgressBytes(progress, size);
  }
  if (archive_entry_size_is_set(entry) && archive_entry_size(entry) > 0)
    fill(static_cast<uint64_t>(archive_entry_size(entry)));
  return TAR_SINK_WHOLE;
}

// A file entry through the program's writer: 0 to go on, 1 when the archive cannot be read
// further, 100 when the run stops.
int WriteFileEntry(archive* reader, archive_entry* entry, const std::string& name, const TarFileSink* sink,
                   TarProgress* progress, Outcome* outcome) {
  if (!sink) {
    Fail(outcome, "no writer for files");
    return 0;
  }
  uint64_t size = archive_entry_size_is_set(entry) && archive_entry_size(entry) > 0
                      ? static_cast<uint64_t>(archive_entry_size(entry)) : 0;
  int begun = sink->begin(sink->context, name.c_str(), size, FileTimeOf(entry));
  if (begun == TAR_SINK_STOP) return 100;
  if (begun == TAR_SINK_SKIP) return 0;
  std::string damage;
  int how = SendData(reader, entry, *sink, progress, &damage);
  int ended = sink->end(sink->context, how, damage.c_str());
  if (ended == TAR_SINK_WRITE) {
    ++outcome->written;
    ProgressEntryDone(progress);
  } else {
    Fail(outcome, how == TAR_SINK_DAMAGED ? damage.c_str() : nullptr);
  }
  if (how == TAR_SINK_CANCELLED || ended == TAR_SINK_STOP) return 100;
  // A damaged or cut archive: nothing behind this point can be read.
  return how == TAR_SINK_DAMAGED ? 1 : 0;
}

int WriteEntries(archive* reader, archive* writer, const TarFileSink* sink, const Wanted& wanted,
                 TarProgress* progress, Outcome* outcome) {
  archive_entry* entry;
  for (;;) {
    if (ProgressStopped(progress)) return 100;
    int status = NextTarHeader(reader, &entry);
    if (status == ARCHIVE_EOF) return 0;
    if (status < ARCHIVE_WARN) {
      Fail(outcome, archive_error_string(reader));
      return 1;
    }
    std::string name = EntryNameUtf8(reader, entry);
    unsigned type = archive_entry_filetype(entry);
    // "./" names the destination itself.
    if (!IsWanted(wanted, name, type == AE_IFDIR) || name == "." || name == "./") continue;
    char reason[200] = "";
    std::string link = EntryHardlinkUtf8(reader, entry);
    if (JudgeEntryName(name.c_str(), reason, sizeof reason) != ENTRY_NAME_OK ||
        (!link.empty() && JudgeEntryName(link.c_str(), reason, sizeof reason) != ENTRY_NAME_OK) ||
        type == AE_IFLNK || (type != AE_IFREG && type != AE_IFDIR && link.empty())) {
      Refuse(outcome, name);
      continue;
    }
    // A file's data goes to the program's writer, which writes it as it writes every kind's.
    if (type == AE_IFREG && link.empty()) {
      int run = WriteFileEntry(reader, entry, name, sink, progress, outcome);
      if (run) return run;
      continue;
    }
    // Folders and hard links: the names libarchive writes are the judged ones, in the
    // program's own conversion.
    archive_entry_copy_pathname_w(entry, WideFromUtf8(name.c_str()).c_str());
    if (!link.empty()) archive_entry_copy_hardlink_w(entry, WideFromUtf8(link.c_str()).c_str());
    status = archive_write_header(writer, entry);
    if (status < ARCHIVE_WARN) {
      Fail(outcome, archive_error_string(writer));
      continue;
    }
    CopyResult copied = archive_entry_size(entry) > 0 || !archive_entry_size_is_set(entry) ? CopyData(reader, writer, progress) : COPY_OK;
    if (copied != COPY_OK) {
      Fail(outcome, copied == COPY_READ_FAILED ? archive_error_string(reader) : archive_error_string(writer));
      archive_write_finish_entry(writer);
      if (copied == COPY_READ_FAILED) return 1;
      continue;
    }
    if (archive_write_finish_entry(writer) < ARCHIVE_WARN) {
      Fail(outcome, archive_error_string(writer));
      continue;
    }
    if (type != AE_IFDIR) ++outcome->written;
    ProgressEntryDone(progress);
  }
}

// Creates the folder and the folders above it that are missing.
void CreateFolderChain(const std::wstring& folder) {
  for (size_t i = 0; i <= folder.size(); ++i) {
    if (i < folder.size() && folder[i] != L'\\' && folder[i] != L'/') continue;
    if (i == 0 || (i == 2 && folder[1] == L':')) continue;
    CreateDirectoryW(folder.substr(0, i).c_str(), nullptr);
  }
}

}  // namespace

extern "C" int __cdecl TarExtract(const char* archivePath, TarNameList* names, void* progressWindow,
                                                         char* result, const char* destination, uint32_t sizeLow,
                                                         uint32_t sizeHigh, int quiet, const TarFileSink* sink) {
  Wanted wanted;
  CollectWanted(names, &wanted);
  TarProgress progress;
  ProgressInit(&progress, progressWindow, (static_cast<uint64_t>(sizeHigh) << 32) | sizeLow);

  std::string error;
  archive* reader = OpenTarReader(archivePath, &error);
  if (!reader) {
    SetResultText(result, '1', '0', "cannot open %s: %s", archivePath ? archivePath : "", error.c_str());
    return 2;
  }
  // Relative names below the destination: the working directory is the destination for
  // the run, as the program's own extraction does it, and is restored afterwards.
  wchar_t previous[MAX_PATH * 4];
  DWORD previousLength = GetCurrentDirectoryW(MAX_PATH * 4, previous);
  if (destination && *destination) {
    std::wstring folder = WideFromUtf8(destination);
    CreateFolderChain(folder);
    if (!SetCurrentDirectoryW(folder.c_str())) {
      archive_read_free(reader);
      SetResultText(result, '1', '0', "cannot enter %s", destination);
      return 1;
    }
  }
  archive* writer = archive_write_disk_new();
  // No unlink before each file: a file in the way is still replaced (libarchive removes it when
  // the create finds it), and a new file is spared a failing delete of its own.
  archive_write_disk_set_options(writer, ARCHIVE_EXTRACT_TIME | ARCHIVE_EXTRACT_SECURE_NODOTDOT |
                                             ARCHIVE_EXTRACT_SECURE_NOABSOLUTEPATHS |
                                             ARCHIVE_EXTRACT_SECURE_SYMLINKS);
  Outcome outcome;
  int run = WriteEntries(reader, writer, sink, wanted, &progress, &outcome);
  ProgressFlush(&progress);
  // Folder times are set here, after everything inside them was written.
  archive_write_close(writer);
  archive_write_free(writer);
  archive_read_free(reader);
  if (previousLength && previousLength < MAX_PATH * 4) SetCurrentDirectoryW(previous);

  if (run == 100) {
    SetResultText(result, '2', '0', "cancelled after %u files", outcome.written);
    return 100;
  }
  char code = outcome.failed || run ? '1' : '0';
  char code2 = outcome.refused ? '1' : '0';
  SetResultText(result, code, code2, "%u written, %u refused, %u failed%s%s%s%s", outcome.written, outcome.refused,
                outcome.failed, outcome.firstError.empty() ? "" : ": ", outcome.firstError.c_str(),
                outcome.refusedNames.empty() ? "" : "\n", outcome.refusedNames.c_str());
  return run ? 2 : code == '0' ? 0 : 1;
}
