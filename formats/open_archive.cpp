#include "services/base.h"
#include "formats/open_archive.h"

#include "kestrelia_lang.h"
#include "model/nested_archives.h"
#include "model/app_state.h"
#include "model/archive_kind.h"
#include "model/listing_totals.h"
#include "model/namelist.h"
#include "model/view_hooks.h"
#include "formats/formats.h"
#include "jobs/safe_replace.h"
#include "services/log.h"
#include "services/prompts.h"
#include "services/worker.h"

#include <objbase.h>

#include <cstdio>

namespace {

bool CanRead(const char* path) {
  FILE* f = fopen(path, "rb");
  if (!f) return false;
  fclose(f);
  return true;
}

void TellCannotOpen(const char* path, HWND owner) {
  char text[kPathBuf * 3];
  if (IsDebugConsole())
    snprintf(text, sizeof text, "(DebugConsoleEnabled)\n%d %s \"%s\" %s %s", 17979,
             GetMessageText(KLANG_MSG_CANNOT_OPEN_THE_FILE), path, GetMessageText(KLANG_MSG_CANNOT_OPEN_TAIL),
             GetMessageText(KLANG_MSG_MISSING_OR_IN_USE));
  else
    snprintf(text, sizeof text, "%s \"%s\" %s %s", GetMessageText(KLANG_MSG_CANNOT_OPEN_THE_FILE), path,
             GetMessageText(KLANG_MSG_CANNOT_OPEN_TAIL), GetMessageText(KLANG_MSG_MISSING_OR_IN_USE));
  PromptMessageBox(owner ? owner : GetMainWindowHandle(), text, "Kestrelia", MB_ICONERROR);
}

void ResetControlBlock(ArchiveControlBlock* block, const char* path, int kind) {
  snprintf(block->path, sizeof block->path, "%s", path);
  SetCurrentArchivePath(path);
  block->listingStarted = 0;
  block->opened = 1;
  GetViewHooks().rows.clear(block);
  NameListRecreate(&block->folders);
  block->kind = kind;
  SetArchiveKind(kind);
}

}  // namespace

bool StartListingThread(int kind, void* block) {
  const ArchiveFormat* format = FindArchiveFormat(kind);
  ListingThreadProc proc = format ? format->ops.listing : nullptr;
  if (!proc) return false;
  return StartWorker("OpenCompressedFile", proc, block);
}

int OpenCompressedFile(const char* path, HWND owner) {
  if (path && *path && !CanRead(path)) {
    TellCannotOpen(path, owner);
    return OPEN_REFUSED;
  }
  // Held until the listing thread ends, or given back by the refusals below.
  if (int held = ClaimOperation(OPERATION_OPEN)) {
    printf(held == OPERATION_JOB ? "already busy\n" : "already busy open\n");
    return OPEN_REFUSED;
  }

  char chosen[kPathBuf] = "";
  if (!path || !*path) {
    if (!GetPrompts().openFile(owner ? owner : GetMainWindowHandle(), ArchiveOpenFilter().c_str(),
                               GetMessageText(KLANG_MSG_OPEN_ARCHIVE_TITLE), chosen)) {
      ReleaseOperation(OPERATION_OPEN);
      GetViewHooks().focusCurrentView();
      return OPEN_CANCELLED;
    }
    path = chosen;
  }

  int kind = DecideArchiveKind(path);
  if (!kind) {
    char text[kPathBuf * 3];
    snprintf(text, sizeof text, "%s \"%s\" %s:\n%s", GetMessageText(KLANG_MSG_CANNOT_OPEN_THE_FILE), path,
             GetMessageText(KLANG_MSG_CANNOT_OPEN_TAIL), GetMessageText(KLANG_MSG_OPEN_UNKNOWN_KIND));
    PromptMessageBox(owner ? owner : GetMainWindowHandle(), text, GetMessageText(KLANG_MSG_ERROR_TITLE),
                     MB_ICONERROR);
    ReleaseOperation(OPERATION_OPEN);
    return OPEN_REFUSED;
  }

  // Working files that a killed run left beside this archive go now (never a user's file).
  RemoveStaleWorkingFiles(path);
  // An archive from outside the chain of archives opened inside archives ends that chain.
  LeaveNestedChainUnlessExpected(path);
  GetViewHooks().loadImageLists();
  ArchiveControlBlock* block = GetCurrentControlBlock();
  ResetControlBlock(block, path, kind);
  // Only a name test or the ZIP signature chooses a kind here, never ZIP64.
  if (!IsKnownArchiveKind(kind) || !FindArchiveFormat(kind)->matchesName) {
    printf("OpenCompressedFile: we should not arrive here !!\n");
    ReleaseOperation(OPERATION_OPEN);
    return OPEN_REFUSED;
  }
  if (!StartListingThread(kind, block)) {
    // The kind's plug-in is not installed.
    PromptMessageBox(owner ? owner : GetMainWindowHandle(), GetMessageText(KLANG_MSG_NOT_AN_ARCHIVE),
                     GetMessageText(KLANG_MSG_ERROR_TITLE), MB_ICONERROR);
    ReleaseOperation(OPERATION_OPEN);
    return OPEN_REFUSED;
  }
  return OPEN_STARTED;
}

void BeginListing() {
  ViewHooks& views = GetViewHooks();
  views.beginListing();
  views.lockUpdates(true);
  views.resetSortMark();
  ResetListingTotals();
  // The kind's listing marks an archive whose entries need a password.
  SetArchiveEncrypted(0);
}

void FinishListing(ArchiveControlBlock* block) {
  ViewHooks& views = GetViewHooks();
  views.lockUpdates(false);
  views.finishListing();
  views.rows.finished(block);
  views.rows.released(block);
}

DWORD EndListingThread() {
  CoUninitialize();
  ReleaseOperation(OPERATION_OPEN);
  return 0;
}
