#include "services/base.h"
#include "app/self_extracting.h"

#include "formats/formats.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/archive_kind.h"
#include "services/log.h"
#include "services/prompts.h"
#include "services/worker.h"
#include "settings/options.h"

#include <cstdio>
#include <cstdlib>

namespace {

struct SelfExtractingRun {
  char archive[kPathBuf];
  char password[kPathBuf];
  SelfExtractingProc make;
};

DWORD WINAPI SelfExtractingWorker(LPVOID parameter) {
  SelfExtractingRun* run = static_cast<SelfExtractingRun*>(parameter);
  int result = run->make(run->archive, run->password, GetMainWindowHandle());
  Log(1, GetVerbose(), "SelfExtractingWorker: %s made %d", run->archive, result);
  SecureZeroMemory(run, sizeof *run);
  free(run);
  ReleaseOperation(OPERATION_JOB);
  return 0;
}

SelfExtractingProc MakerFor(int kind) {
  const ArchiveFormat* format = FindArchiveFormat(kind);
  return format ? format->ops.selfExtracting : nullptr;
}

}  // namespace

bool CanMakeSelfExtracting() { return GetCurrentArchivePath()[0] && MakerFor(GetArchiveKind()); }

void CmdSelfExtracting() {
  HWND owner = GetMainWindowHandle();
  SelfExtractingProc make = GetCurrentArchivePath()[0] ? MakerFor(GetArchiveKind()) : nullptr;
  if (!make) {
    PromptMessageBox(owner, GetMessageText(25), "Kestrelia", MB_OK | MB_ICONINFORMATION);
    return;
  }
  if (ClaimOperation(OPERATION_JOB) != OPERATION_NONE) {
    PromptMessageBox(owner, GetMessageText(40), "Kestrelia", MB_OK | MB_ICONINFORMATION);
    return;
  }
  SelfExtractingRun* run = static_cast<SelfExtractingRun*>(calloc(1, sizeof(SelfExtractingRun)));
  int answer = run ? PromptMessageBox(owner, GetMessageText(147), GetMessageText(22), MB_YESNOCANCEL | MB_ICONQUESTION)
                   : IDCANCEL;
  bool go = answer == IDNO || (answer == IDYES && PromptPassword(owner, run->password) && run->password[0]);
  if (go) {
    snprintf(run->archive, sizeof run->archive, "%s", GetCurrentArchivePath());
    run->make = make;
    if (StartWorker("CmdSelfExtracting", SelfExtractingWorker, run)) return;
  }
  if (run) SecureZeroMemory(run, sizeof *run);
  free(run);
  ReleaseOperation(OPERATION_JOB);
}

void SelfExtractingAfterCreation(const char* archive) {
  if (!IsCreateSelfExecutable()) return;
  SelfExtractingProc make = MakerFor(DecideArchiveKind(archive));
  if (!make || ClaimOperation(OPERATION_JOB) != OPERATION_NONE) return;
  make(archive, "", GetMainWindowHandle());
  ReleaseOperation(OPERATION_JOB);
}
