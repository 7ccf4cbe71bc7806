#include "services/base.h"
#include "app/main_state.h"
#include "app/mainwindow.h"

#include "formats/formats.h"
#include "formats/open_archive.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/archive_kind.h"
#include "model/entry_rows.h"
#include "model/liststruct.h"
#include "model/nested_archives.h"
#include "services/current_password.h"
#include "services/log.h"
#include "services/prompts.h"
#include "services/worker.h"
#include "jobs/extract_job.h"
#include "ui/entry_list.h"
#include "ui/entry_transfer.h"
#include "ui/folder_tree_view.h"

#include <cstdio>
#include <string>

namespace {

// Above this, the copy an archive inside an archive needs is asked for first: a few kilobytes
// may declare an entry of any size.
constexpr uint64_t kAskAbove = 1ull << 30;

void Tell(int text) {
  PromptMessageBox(Main().hwnd, GetMessageText(text), GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONERROR);
}

// The entry's bytes into a new file of the temporary folder, through the kind's reader (which
// never gives more than the entry declares). The file keeps the entry's name, in a folder of
// its own, so the kind and the folder an extraction makes are named as in the archive. False,
// with nothing left, when it could not.
bool CopyEntry(const std::string& entry, const char* part, uint64_t size, std::string* copy) {
  static unsigned serial;
  char name[kPathBuf], folder[kPathBuf], parent[kPathBuf];
  snprintf(name, sizeof name, "kn%lu_%u", GetCurrentProcessId(), ++serial);
  if (!TempTarget(name, folder, parent)) return false;
  // The copy never takes the disk's last bytes: the reader stops at the declared size.
  ULARGE_INTEGER free = {};
  if (GetDiskFreeSpaceExA(parent, &free, nullptr, nullptr) && free.QuadPart < size + (64u << 20)) return false;
  if (!CreateDirectoryA(folder, nullptr)) return false;
  AddTempFolder(folder);
  std::string target = std::string(folder) + "\\" + part;
  IStream* stream = nullptr;
  if (FAILED(OpenEntryIStream(GetCurrentArchivePath(), GetArchiveKind(), entry.c_str(), GetCurrentPassword(), &stream)))
    return false;
  HANDLE file = CreateFileA(target.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_TEMPORARY, nullptr);
  bool whole = file != INVALID_HANDLE_VALUE;
  std::string buffer(1 << 20, '\0');
  for (ULONG got = 0; whole;) {
    HRESULT read = stream->Read(&buffer[0], static_cast<ULONG>(buffer.size()), &got);
    if (FAILED(read)) whole = false;
    DWORD put = 0;
    if (whole && got && (!WriteFile(file, buffer.data(), got, &put, nullptr) || put != got)) whole = false;
    if (read == S_FALSE || !got) break;
  }
  stream->Release();
  if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
  if (!whole) {
    DeleteFileA(target.c_str());
    return false;
  }
  *copy = target;
  return true;
}

// A closed child's copy and its folder.
void RemoveCopy(const std::string& copy) {
  DeleteFileA(copy.c_str());
  size_t slash = copy.find_last_of('\\');
  if (slash != std::string::npos) RemoveDirectoryA(copy.substr(0, slash).c_str());
}

}  // namespace

bool EnterNestedArchive() {
  MainWindowState& m = Main();
  HWND list = CurrentView();
  const liststruct* record = GetRowRecord(list, FocusedEntryRow(list));
  if (!record || record->folder || !record->filename || !GetArchiveKindFromName(record->filename)) return false;
  std::string entry = std::string(record->path ? record->path : "") + record->filename;
  uint64_t size = record->uncompressed;
  if (size > kAskAbove) {
    std::string question = std::string(GetMessageText(KLANG_MSG_NESTED_COPY_QUESTION)) + "\n\n" + entry + "\n" +
                           std::to_string(size) + " " + GetMessageText(KLANG_MSG_BYTES);
    if (PromptMessageBox(m.hwnd, question.c_str(), "Kestrelia", MB_YESNO | MB_ICONQUESTION) != IDYES) return true;
  }
  if (ClaimOperation(OPERATION_JOB) != OPERATION_NONE) {
    PromptMessageBox(m.hwnd, GetMessageText(KLANG_MSG_BUSY), "Kestrelia", MB_OK | MB_ICONINFORMATION);
    return true;
  }
  std::string copy;
  bool copied = CopyEntry(entry, record->filename, size, &copy);
  ReleaseOperation(OPERATION_JOB);
  if (!copied) {
    Log(1, GetVerbose(), "EnterNestedArchive: %s could not be copied", entry.c_str());
    Tell(KLANG_MSG_ENTRY_CANNOT_BE_SHOWN);
    return true;
  }
  NestedLevel level;
  level.file = GetCurrentArchivePath();
  level.shown = ShownArchivePath();
  char folder[kPathBuf];
  CurrentTreeFolder(folder, sizeof folder);
  level.folder = folder;
  level.copy = copy;
  PushNestedLevel(level, level.shown + "\\" + entry);
  ExpectNestedOpen(copy.c_str());
  if (OpenCompressedFile(copy.c_str(), m.hwnd) != OPEN_STARTED) {
    NestedLevel gone;
    PopNestedLevel(&gone);
    RemoveCopy(copy);
  }
  return true;
}

bool LeaveNestedArchive() {
  if (!NestedDepth()) return false;
  if (IsBusy2() || IsOpenInProgress()) return true;
  NestedLevel level;
  PopNestedLevel(&level);
  // The parent shows again at the folder it was left in.
  if (!level.folder.empty()) SelectTreeFolderAfterDerive(level.folder.c_str());
  ExpectNestedOpen(level.file.c_str());
  OpenCompressedFile(level.file.c_str(), Main().hwnd);
  RemoveCopy(level.copy);
  return true;
}
