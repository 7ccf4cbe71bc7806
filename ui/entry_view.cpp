#include "services/base.h"
#include "ui/entry_view.h"

#include "formats/formats.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/archive_kind.h"
#include "model/entry_rows.h"
#include "model/liststruct.h"
#include "services/log.h"
#include "services/prompts.h"
#include "services/worker.h"
#include "ui/entry_list.h"

#include <string>

int ViewSelectedEntry(int openWith) {
  ArchiveControlBlock* block = GetCurrentControlBlock();
  HWND list = block ? block->viewComponent : nullptr;
  const char* archive = GetCurrentArchivePath();
  int row = list ? FocusedEntryRow(list) : -1;
  liststruct* record = row >= 0 ? GetRowRecord(list, row) : nullptr;
  if (!record || !*archive) {
    Log(5, GetVerbose(), "ViewSelectedEntry: nothing selected");
    return 1;
  }
  int kind = GetArchiveKind();
  const ArchiveFormat* format = FindArchiveFormat(kind);
  if (!format || !format->ops.view) {
    Log(2, GetVerbose(), "ViewSelectedEntry: archive kind %d is viewed by its adapter", kind);
    return 1;
  }
  // Viewing moves the working directory, which a running extraction writes below.
  if (ClaimOperation(OPERATION_JOB) != OPERATION_NONE) {
    PromptMessageBox(GetMainWindowHandle(), GetMessageText(KLANG_MSG_BUSY), "Kestrelia", MB_OK | MB_ICONINFORMATION);
    return 1;
  }
  std::string full = std::string(record->path ? record->path : "") + (record->filename ? record->filename : "");
  int result = format->ops.view(archive, full.c_str(), openWith);
  ReleaseOperation(OPERATION_JOB);
  return result;
}
