#include "services/base.h"
#include "app/startup.h"

#include "model/app_state.h"
#include "model/archive_kind.h"
#include "services/log.h"
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
  MessageBoxA(nullptr, args[1], "Kestrelia", MB_OK);
  Log(-1, GetVerbose(), "RunExtractRoad: extraction of %s is not available yet (%d arguments)", args[1], count);
  return 0;
}

void RunArchiveBuilder(char (*files)[kPathBuf], int count, bool silent, bool add) {
  if (IsBusy()) return;
  Log(-1, GetVerbose(), "RunArchiveBuilder: %d files, silent %d, add %d: creation is not available yet", count,
      silent, add);
}

int ShowConsoleHelp(HINSTANCE) { return 0; }
