#include "services/base.h"
#include "app/archive_builder.h"

#include "res/resource.h"
#include "app/main_state.h"
#include "app/self_extracting.h"
#include "formats/formats.h"
#include "kestrelia_lang.h"
#include "model/nested_archives.h"
#include "model/app_state.h"
#include "model/archive_kind.h"
#include "services/log.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "services/worker.h"
#include "ui/creation_options.h"
#include "jobs/create_job.h"

#include <commctrl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

int g_silent;

constexpr int kMostChosenFiles = 4096;

HWND Owner() { return GetMainWindowHandle(); }

// The worker's last word: the window shows what is on the disk. An archive that exists (the
// one written, or the old one a failed run left as it was) becomes the open one and is listed
// afresh; one that never came to be is closed, title and all.
void CreationFinished(const char* archive, int result) {
  bool exists = GetFileAttributesA(archive) != INVALID_FILE_ATTRIBUTES;
  if (result == CREATE_OK && exists) SelfExtractingAfterCreation(archive);
  SetCurrentArchivePath(archive);
  if (HWND main = Owner())
    PostMessageA(main, WM_COMMAND, MAKEWPARAM(exists ? IDM_RELOAD : IDM_CLOSE_ARCHIVE, 0), 0);
}

void EmptyList() {
  ArchiveControlBlock* block = GetCurrentControlBlock();
  HWND list = block && block->list ? block->list : Main().list;
  if (list) SendMessageA(list, LVM_DELETEALLITEMS, 0, 0);
}

// The block's files as full paths: a later change of the working directory must not change
// what they name.
bool TakeFiles(ZipWorkBlock* block, char (*files)[kPathBuf], int count) {
  block->files = static_cast<char (*)[kPathBuf]>(calloc(count ? count : 1, kPathBuf));
  if (!block->files) return false;
  for (int i = 0; i < count; ++i)
    if (!GetFullPathNameA(files[i], kPathBuf, block->files[i], nullptr))
      snprintf(block->files[i], kPathBuf, "%s", files[i]);
  block->fileCount = count;
  return true;
}

void ApplyChoice(ZipWorkBlock* block, const CreationChoice& choice) {
  block->options.level = choice.level;
  snprintf(block->options.password, kPathBuf, "%s", choice.password);
  snprintf(block->options.PrefixPath, kPathBuf, "%s", choice.prefix);
  // A folder inside the archive is created as entries of its own.
  block->options.prefixMode = choice.prefix[0] ? 1 : 0;
  block->options.prefixRelative = block->options.prefixMode;
  block->options.plain = choice.plain;
  block->recurse = choice.recurse;
}

// A creation's claim on the window: taken before the first question, given back unless a
// worker took it over (the worker gives it back as it ends).
struct CreationClaim {
  bool held = ClaimOperation(OPERATION_JOB) == OPERATION_NONE;
  bool handedOver = false;
  ~CreationClaim() {
    if (held && !handedOver) ReleaseOperation(OPERATION_JOB);
  }
};

bool StartCreation(ZipWorkBlock* block) {
  const ArchiveFormat* writer = ArchiveWriterFor(block->archive, block->add, block->fromCommandLine);
  CreationThreadProc run = writer ? (block->add ? writer->ops.add : writer->ops.create) : nullptr;
  if (!run) {
    Log(-1, GetVerbose(), "StartCreation: no creation for ZIP archives");
    free(block->files);
    free(block);
    return false;
  }
  block->finished = CreationFinished;
  CancelProgress(0);
  if (StartWorker("StartCreation", run, block)) return true;
  free(block->files);
  free(block);
  return false;
}

bool RefuseWhenBusy(const CreationClaim& claim) {
  if (claim.held) return false;
  PromptMessageBox(Owner(), GetMessageText(KLANG_MSG_BUSY), "Kestrelia", MB_OK | MB_ICONINFORMATION);
  return true;
}

// Adding goes to the open archive, which must be one the program writes itself.
bool OpenArchiveTakesFiles() {
  if (!GetCurrentArchivePath()[0]) {
    PromptMessageBox(Owner(), GetMessageText(KLANG_MSG_NO_ARCHIVE_OPEN), "Kestrelia", MB_OK | MB_ICONINFORMATION);
    return false;
  }
  if (CanAddToOpenArchive()) return true;
  int why = NestedDepth() ? KLANG_MSG_INSIDE_ARCHIVE_READ_ONLY : KLANG_MSG_ADD_ONLY_ZIP_TAR;
  PromptMessageBox(Owner(), GetMessageText(why), "Kestrelia", MB_OK | MB_ICONINFORMATION);
  return false;
}

// Adds the files (or the one folder) to target after the options dialog; add is 0 for a new
// archive. True when the worker started.
bool RunWindowCreation(const char* target, char (*files)[kPathBuf], int count, int add, const char* folder = "") {
  CreationChoice choice;
  DefaultCreationChoice(&choice);
  DescribeCreationSubject(files, count, choice.subject, sizeof choice.subject);
  snprintf(choice.target, sizeof choice.target, "%s", target);
  // Files go into the tree folder they were dropped on, else into the one the tree shows.
  if (folder && *folder)
    snprintf(choice.prefix, sizeof choice.prefix, "%s", folder);
  else if (add)
    CurrentTreeFolder(choice.prefix, sizeof choice.prefix);
  // Level, password and the folder inside are the ZIP engine's; a TAR takes the files as they are.
  const ArchiveFormat* format = ArchiveWriterFor(target, add, false);
  bool zipOptions = !format || format->creationOptions;
  if (zipOptions && !AskCreationOptions(Owner(), &choice)) return false;
  ZipWorkBlock* block = NewZipWorkBlock();
  if (!block || !TakeFiles(block, files, count)) {
    free(block);
    return false;
  }
  if (zipOptions) ApplyChoice(block, choice);
  SecureZeroMemory(&choice, sizeof choice);
  snprintf(block->archive, kPathBuf, "%s", target);
  block->add = add;
  if (!add) SetArchiveKind(format ? format->kind : DefaultArchiveKind());
  return StartCreation(block);
}

// What the user picks to go in: files, else (the file chooser cancelled) one folder.
int ChooseContents(char (*files)[kPathBuf], int capacity) {
  int count = ChooseFilesToAdd(Owner(), GetMessageText(KLANG_MSG_CHOOSE_FILES_TO_ADD), files, capacity);
  if (count) return count;
  char folder[kPathBuf] = "";
  if (!GetPrompts().browseFolder(Owner(), GetMessageText(KLANG_MSG_CHOOSE_FOLDER_TO_ADD), folder) || !folder[0])
    return 0;
  snprintf(files[0], kPathBuf, "%s", folder);
  return 1;
}

}  // namespace

void SetSilentCreation(int on) { g_silent = on; }

void RunArchiveBuilder(char (*files)[kPathBuf], int count, bool silent, bool add) {
  CreationClaim claim;
  if (!claim.held) return;
  if (Main().list) EnableWindow(Main().list, TRUE);
  SetSilentCreation(silent ? 1 : 0);
  ZipWorkBlock* block = NewZipWorkBlock();
  if (!block || !TakeFiles(block, files, count)) {
    free(block);
    return;
  }
  block->fromCommandLine = 1;
  block->add = add ? 1 : 0;
  block->silent = silent ? 1 : 0;
  char target[kPathBuf] = "";
  if (!GetPrompts().saveFile(Owner(), "zip", GetMessageText(KLANG_MSG_SAVE_NEW_ARCHIVE_TITLE), !add, target)) {
    Log(5, GetVerbose(), "RunArchiveBuilder: no archive chosen");
    free(block->files);
    free(block);
    return;
  }
  snprintf(block->archive, kPathBuf, "%s", target);
  char previous[kPathBuf];
  GetCurrentDirectoryA(sizeof previous, previous);
  EmptyList();
  SetArchiveKind(DefaultArchiveKind());
  claim.handedOver = StartCreation(block);
  if (claim.handedOver && !silent) SetMyWindowText(target);
  Log(5, GetVerbose(), "RunArchiveBuilder: %s, started in %s", target, previous);
  if (HWND view = CurrentView()) SetFocus(view);
  RefreshToolbarState();
}

void CmdNewArchive() {
  CreationClaim claim;
  if (RefuseWhenBusy(claim)) return;
  char target[kPathBuf] = "";
  if (!GetPrompts().saveFile(Owner(), "zip", GetMessageText(KLANG_MSG_SAVE_NEW_ARCHIVE_TITLE), true, target) ||
      !target[0])
    return;
  static char files[kMostChosenFiles][kPathBuf];
  int count = ChooseContents(files, kMostChosenFiles);
  if (!count) return;
  EmptyList();
  SetMyWindowText(target);
  claim.handedOver = RunWindowCreation(target, files, count, 0);
}

void CmdAddFiles() {
  CreationClaim claim;
  if (RefuseWhenBusy(claim) || !OpenArchiveTakesFiles()) return;
  static char files[kMostChosenFiles][kPathBuf];
  int count = ChooseFilesToAdd(Owner(), GetMessageText(KLANG_MSG_CHOOSE_FILES_TO_ADD), files, kMostChosenFiles);
  if (count) claim.handedOver = RunWindowCreation(GetCurrentArchivePath(), files, count, 1);
}

void CmdAddFolder() {
  CreationClaim claim;
  if (RefuseWhenBusy(claim) || !OpenArchiveTakesFiles()) return;
  char folder[kPathBuf] = "";
  if (!GetPrompts().browseFolder(Owner(), GetMessageText(KLANG_MSG_CHOOSE_FOLDER_TO_ADD), folder) || !folder[0]) return;
  char files[1][kPathBuf];
  snprintf(files[0], kPathBuf, "%s", folder);
  claim.handedOver = RunWindowCreation(GetCurrentArchivePath(), files, 1, 1);
}

bool CanAddToOpenArchive() {
  const ArchiveFormat* format = GetCurrentArchivePath()[0] ? FindArchiveFormat(GetArchiveKind()) : nullptr;
  return format && format->ops.add && !NestedDepth();
}

bool AddDroppedFiles(char (*files)[kPathBuf], int count, const char* folder) {
  if (count && NestedDepth()) {
    PromptMessageBox(Owner(), GetMessageText(KLANG_MSG_INSIDE_ARCHIVE_READ_ONLY), "Kestrelia", MB_OK | MB_ICONINFORMATION);
    return true;
  }
  if (!count || !CanAddToOpenArchive()) return false;
  CreationClaim claim;
  if (RefuseWhenBusy(claim)) return true;
  char archive[kPathBuf];
  snprintf(archive, sizeof archive, "%s", GetCurrentArchivePath());
  claim.handedOver = RunWindowCreation(archive, files, count, 1, folder);
  return true;
}
