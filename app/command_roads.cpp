#include "services/base.h"
#include "app/startup.h"

#include "model/app_state.h"
#include "model/archive_kind.h"
#include "services/log.h"
#include "services/prompts.h"
#include "zip/extract_archive.h"
#include "zip/open_archive.h"

#include <cstdio>

void OpenCommandLineFile(const char* path) {
  int kind = GetArchiveKindFromName(path);
  if (kind) {
    OpenCompressedFile(path, GetMainWindowHandle());
    return;
  }
  if (IsPictureFile(path)) {
    Log(1, GetVerbose(), "OpenCommandLineFile: picture %s", path);
    return;
  }
  Log(1, GetVerbose(), "OpenCommandLineFile: ignoring %s", path);
}

int RunExtractRoad(char (*args)[kPathBuf], int count) {
  int kind = GetArchiveKindFromName(args[1]);
  if (kind) SetArchiveKind(kind);
  PromptMessageBox(nullptr, args[1], "Kestrelia", MB_OK);
  // The window would have learnt this while listing; without one the archive is read here.
  const ArchiveFormat* format = FindArchiveFormat(GetArchiveKind());
  if (format && format->zipEngine) DetectArchiveEncryption(args[1]);
  Log(5, GetVerbose(), "RunExtractRoad: %s (%d arguments)", args[1], count);
  ExtractArchive(args[1], 0, 0);
  return 0;
}
