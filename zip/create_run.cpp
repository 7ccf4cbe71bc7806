#include "services/base.h"
#include "zip/create.h"

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "services/log.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "services/worker.h"
#include "settings/options.h"
#include "jobs/safe_replace.h"
#include "jobs/system_words.h"
#include "zip/zip_write_io.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// Skipped names beyond this many are counted, not listed: the box must fit on the screen.
constexpr size_t kListedSkipped = 25;

HWND Owner() { return GetMainWindowHandle(); }

void Tell(bool silent, const char* text, UINT icon) {
  if (silent) {
    Log(1, GetVerbose(), "ZipWorkDirectoryThread: %s", text);
    return;
  }
  HWND dialog = GetProgressDialog();
  if (dialog) ShowWindow(dialog, SW_HIDE);
  PromptMessageBox(Owner(), text, icon == MB_ICONINFORMATION ? "Kestrelia" : GetMessageText(KLANG_MSG_ERROR_TITLE),
                   MB_OK | icon);
  if (dialog) ShowWindow(dialog, SW_SHOW);
}

// Told once at the end: what could not be read was left out, the rest is in the archive.
void ReportSkipped(bool silent) {
  size_t count = GetLastSkippedCount();
  if (!count) return;
  std::string text;
  size_t listed = 0;
  for (const char* p = GetLastSkippedFiles(); *p && listed < kListedSkipped; ++listed) {
    const char* end = strchr(p, '\n');
    size_t length = end ? static_cast<size_t>(end - p) : strlen(p);
    if (!text.empty()) text += "\n";
    text += std::string(GetMessageText(KLANG_MSG_CANNOT_OPEN_THE_FILE)) + " \"" + std::string(p, length) + "\" " +
            GetMessageText(KLANG_MSG_CANNOT_OPEN_TAIL);
    p += length + (end ? 1 : 0);
  }
  if (count > listed) text += "\n... (" + std::to_string(count - listed) + ")";
  Tell(silent, text.c_str(), MB_ICONWARNING);
}

// The simulation writes nothing: it names what a run would add.
void Simulate(ZipListElement* list, const zfts& options) {
  for (ZipListElement* e = list; e; e = e->next) {
    char name[kPathBuf];
    MakeZipEntryName(options, e->path, e->baseLength, name);
    Log(1, GetVerbose(), "ZipWorkDirectoryThread: simulation, would add %s as %s", e->path, name);
  }
}

bool FileExists(const char* path) {
  DWORD attributes = GetFileAttributesA(path);
  return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

// The program's sentence, the archive and why the system refused, in its own words.
void TellFailure(bool silent, int sentence, const char* archive, DWORD error) {
  std::string text = std::string(GetMessageText(sentence)) + "\n\n\"" + archive + "\"";
  std::string reason = SystemErrorText(error);
  if (!reason.empty()) text += "\n" + reason;
  Tell(silent, text.c_str(), MB_ICONERROR);
}

// The files the block names, or those of its folder, in the order they are written.
uint64_t CollectRunFiles(ZipWorkBlock* block, ZipListElement** head) {
  ZipListElement* tail = nullptr;
  return CollectBlockFiles(block, head, &tail);
}

// Nothing is written to the archive itself: a working file beside it takes its place only
// once it is complete, so a failure or a cancel leaves any old archive as it was. The
// working file opened for writing (with the old archive's entries when appending), or null
// with the system's reason in *error.
zipFile OpenWorkingArchive(const char* archive, bool append, char* work, DWORD* error) {
  zipFile zip = nullptr;
  *error = ClaimWorkingFile(archive, work);
  if (!*error && append) *error = CopyToWorkingFile(archive, work);
  if (*error) return nullptr;
  zlib_filefunc64_def functions;
  FillWriteBufferedFileFunctions(&functions);
  if (append)
    Log(5, GetVerbose(), "ZipWorkDirectoryThread(): appending to (HWND) %p - (HWND)tree_list: %p", Owner(),
        GetCurrentControlBlock() ? GetCurrentControlBlock()->treeList : nullptr);
  zip = zipOpen2_64(work, append ? APPEND_STATUS_ADDINZIP : APPEND_STATUS_CREATE, nullptr, &functions);
  if (zip)
    MarkWorkingFile(work);
  else
    DiscardWorkingFile(work);
  return zip;
}

struct Written {
  int result;
  bool cancelled;
  DWORD error;
};

// Writes the files into the working archive and closes it; a whole one replaces the archive
// (flushed first when it replaces an old one), anything less is discarded.
Written WriteWorkingArchive(ZipWorkBlock* block, zipFile zip, ZipListElement* head, uint64_t total, const char* work,
                            bool exists) {
  bool silent = block->silent != 0;
  if (!silent) {
    SetProgressMinimum(0);
    SetProgressMaximum(100);
  }
  uint64_t step = total / 100 ? total / 100 : 1;
  int written = silent ? ZipFileListSilent(head, &block->options, zip, step, total)
                       : ZipFileList_64(head, &block->options, zip, step, total);
  Written w = {CREATE_OK, IsCancelledByUser() != 0, GetLastWriteError()};
  if (w.cancelled) Log(1, GetVerbose(), "ZipWorkDirectoryThread: IsCanceledByUser() returns true");
  int closed = zipClose(zip, nullptr);
  if (!w.error && closed != ZIP_OK) w.error = GetLastError() ? GetLastError() : ERROR_WRITE_FAULT;
  if (w.cancelled || written || closed != ZIP_OK) {
    DiscardWorkingFile(work);
    w.result = w.cancelled ? CREATE_CANCELLED : CREATE_WRITE_FAILED;
    if (!w.cancelled) Log(-1, GetVerbose(), "ZipWorkDirectoryThread: not ok %s %d\n", block->archive, closed);
  } else if ((exists && (w.error = FlushWorkingFile(work)) != 0) ||
             (w.error = ReplaceWithWorkingFile(work, block->archive)) != 0) {
    // An old archive is replaced only by a new one that is on the disk.
    DiscardWorkingFile(work);
    w.result = CREATE_WRITE_FAILED;
  }
  return w;
}

// Closes the progress and tells the user how the writing ended.
void TellWritten(ZipWorkBlock* block, bool append, const Written& w) {
  bool silent = block->silent != 0;
  if (!silent) {
    if (w.cancelled) CloseProgressDialogAfterCancel();
    else CloseProgressDialog();
  }
  if (w.cancelled) {
    Log(1, GetVerbose(), "ZipWorkDirectoryThread(): canceled by user (2)");
    // A new archive that never came to be is no longer the current one.
    if (!append && !FileExists(block->archive) && !strcmp(GetCurrentArchivePath(), block->archive))
      SetCurrentArchivePath("");
    Tell(silent, GetMessageText(KLANG_MSG_CREATION_CANCELLED), MB_ICONINFORMATION);
  } else if (w.result != CREATE_OK) {
    TellFailure(silent, append ? KLANG_MSG_ARCHIVE_UNCHANGED : KLANG_MSG_CANNOT_WRITE_ARCHIVE, block->archive,
                w.error);
  } else {
    ReportSkipped(silent);
  }
}

int Run(ZipWorkBlock* block) {
  DWORD start = GetTickCount();
  bool silent = block->silent != 0;
  // An archive the user made read-only is refused before any work, and keeps its attribute.
  bool exists = FileExists(block->archive);
  if (DWORD refusal = exists ? ReadOnlyRefusal(block->archive) : 0) {
    TellFailure(silent, block->add ? KLANG_MSG_ARCHIVE_UNCHANGED : KLANG_MSG_CANNOT_WRITE_ARCHIVE, block->archive,
                refusal);
    return CREATE_READ_ONLY;
  }
  if (exists) RemoveStaleWorkingFiles(block->archive);
  if (!silent) StartProgressDialog(true, GetMessageText(KLANG_MSG_COLLECTING_FILES));

  ZipListElement* head = nullptr;
  uint64_t total = CollectRunFiles(block, &head);
  if (!head) {
    Log(1, GetVerbose(), "ZipWorkDirectoryThread(): empty list nothing to compress %d", block->fileCount);
    if (!silent && IsProgressDialogStarted()) CloseProgressDialog();
    Tell(silent, GetMessageText(KLANG_MSG_NOTHING_TO_COMPRESS), MB_ICONINFORMATION);
    return CREATE_NOTHING;
  }
  if (IsCancelledByUser()) {
    Log(1, GetVerbose(), "ZipWorkDirectoryThread(): canceled by user (1)");
    FreeZipList(head);
    if (!silent) CloseProgressDialogAfterCancel();
    Tell(silent, GetMessageText(KLANG_MSG_CREATION_CANCELLED), MB_ICONINFORMATION);
    return CREATE_CANCELLED;
  }
  if (GetSimulationFlag()) {
    Simulate(head, block->options);
    FreeZipList(head);
    if (!silent) CloseProgressDialog();
    return CREATE_OK;
  }

  bool append = block->add && FileExists(block->archive);
  char work[kPathBuf];
  DWORD error = 0;
  zipFile zip = OpenWorkingArchive(block->archive, append, work, &error);
  if (!zip) {
    Log(-1, GetVerbose(), "ZipWorkDirectoryThread(): error opening %s", block->archive);
    FreeZipList(head);
    if (!silent) CloseProgressDialog();
    TellFailure(silent, append ? KLANG_MSG_ARCHIVE_UNCHANGED : KLANG_MSG_CANNOT_CREATE_ARCHIVE, block->archive, error);
    return CREATE_OPEN_FAILED;
  }
  DWORD writing = GetTickCount();
  Written w = WriteWorkingArchive(block, zip, head, total, work, exists);
  FreeZipList(head);
  TellWritten(block, append, w);
  DWORD end = GetTickCount();
  Log(1, GetVerbose(), "time measure collecting files and compression (zip16): %d - compression alone: %d\n",
      static_cast<int>(end - start), static_cast<int>(end - writing));
  Log(1, GetVerbose(), "ZipWorkDirectoryThread finished %s\n", block->archive);
  return w.result;
}

}  // namespace

DWORD WINAPI ZipWorkDirectoryThread(LPVOID parameter) {
  ZipWorkBlock* block = static_cast<ZipWorkBlock*>(parameter);
  int result = Run(block);
  ReleaseOperation(OPERATION_JOB);
  SetSimulationFlag(0);
  SecureZeroMemory(block->options.password, sizeof block->options.password);
  if (block->finished) block->finished(block->archive, result);
  if (block->result) *block->result = result;
  free(block->files);
  if (block->done) {
    Log(5, GetVerbose(), "ZipWorkDirectoryThread: setting event");
    SetEvent(block->done);
  }
  free(block);
  return static_cast<DWORD>(result);
}
