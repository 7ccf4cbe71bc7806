#include "services/base.h"
#include "app/startup.h"

#include "model/app_state.h"
#include "model/archive_kind.h"
#include "services/history.h"
#include "services/log.h"
#include "services/prompts.h"
#include "formats/archive_runs.h"
#include "formats/formats.h"
#include "services/worker.h"
#include "formats/open_archive.h"
#include "jobs/extract_archive.h"
#include "settings/load.h"
#include "settings/options.h"
#include "ui/picture_viewer.h"

#include <cstdio>

void OpenCommandLineFile(const char* path) {
  int kind = GetArchiveKindFromName(path);
  if (kind) {
    OpenCompressedFile(path, GetMainWindowHandle());
    return;
  }
  if (IsPictureFile(path)) {
    Log(1, GetVerbose(), "OpenCommandLineFile: picture %s", path);
    char full[kPathBuf];
    if (!GetFullPathNameA(path, sizeof full, full, nullptr)) snprintf(full, sizeof full, "%s", path);
    ShowPictureViewer(PictureSource{"", 0, {full}}, 0);
    return;
  }
  Log(1, GetVerbose(), "OpenCommandLineFile: ignoring %s", path);
}

int RunExtractRoad(char (*args)[kPathBuf], int count) {
  // No window, but the user's choices still hold: the language of the messages, what to do
  // with broken entries, the history.
  LoadSettings(nullptr);
  int kind = GetArchiveKindFromName(args[1]);
  if (kind) SetArchiveKind(kind);
  PromptMessageBox(nullptr, args[1], "Kestrelia", MB_OK);
  // The window would have learnt this while listing; without one the archive is read here.
  const ArchiveFormat* format = FindArchiveFormat(GetArchiveKind());
  if (format && format->ops.detectEncryption) format->ops.detectEncryption(args[1]);
  Log(5, GetVerbose(), "RunExtractRoad: %s (%d arguments)", args[1], count);
  // A script's extraction belongs in the history like the window's; a history sealed with a
  // password stays shut, since a script cannot answer the question.
  if (IsHistoryActivated() && !IsHistoryPassword()) StartHistory(nullptr, false);
  // The run goes on a thread of its own while this one keeps pumping: the progress dialog,
  // owned by whatever window of ours was in front, talks to this thread as it appears, and
  // a thread that does not answer would hold it back until the close gave up waiting.
  ExtractArchive(args[1], 0, 1);
  while (IsBusy()) {
    MsgWaitForMultipleObjects(0, nullptr, FALSE, 100, QS_ALLINPUT);
    MSG message;
    while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) {
      TranslateMessage(&message);
      DispatchMessageA(&message);
    }
  }
  StopHistory();
  // A script must be able to trust the exit code: any entry that failed or was refused, or a
  // run that was called off, is not a success.
  return GetLastExtractRunResult().outcome ? 1 : 0;
}
