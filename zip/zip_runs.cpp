#include "services/base.h"
#include "zip/zip_operations.h"

#include "model/app_state.h"
#include "services/log.h"
#include "settings/values.h"
#include "zip/extract.h"
#include "zip/rewrite.h"
#include "zip/zip_open.h"

int ExtractArchiveZipWorker(ExtractJob* job) {
  const char* password = job->password[0] ? job->password : nullptr;
  int result;
  if (job->chosen) {
    result = ExtractZipFilesFromSelection(*job->chosen, job->archive, &job->withoutPath, &job->overwriteMode,
                                          password, job->destination, job->silent);
  } else {
    result = ExtractZipArchive(job->archive, &job->withoutPath, &job->overwriteMode, password, job->destination,
                               job->silent);
  }
  if (result == EXTRACT_CANCELLED && job->cancelled) *job->cancelled = 1;
  if (job->done) SetEvent(job->done);
  return result;
}

int DetectArchiveEncryption(const char* archive) {
  unzFile zip = MyWaitunzOpen2_64(archive, 3000);
  if (!zip) {
    Log(1, GetVerbose(), "DetectArchiveEncryption: %s cannot be opened", archive);
    return -1;
  }
  unz_file_info64 info = {};
  int encrypted = unzGoToFirstFile(zip) == UNZ_OK &&
                  unzGetCurrentFileInfo64(zip, &info, nullptr, 0, nullptr, 0, nullptr, 0) == UNZ_OK && (info.flag & 1);
  SetArchiveEncrypted(encrypted ? 1 : 0);
  unzClose(zip);
  return 0;
}

namespace {

// The window's rewrites: simulated when the setting DeleteSimulation asks for it, which then
// hands the report of what would change back instead of a failure.
int RunRewrite(const char* archive, RBTree* changes, char* failure, size_t failureSize,
               int (*twoPasses)(const char*, RBTree*, int)) {
  int simulation = IsDeleteSimulation() ? 1 : 0;
  int result = twoPasses(archive, changes, simulation);
  if (result == REWRITE_NOTHING_MATCHED) {
    snprintf(failure, failureSize, "%s", "");
    return kRewriteUnmatched;
  }
  if (simulation && result == REWRITE_DONE) {
    snprintf(failure, failureSize, "%s", GetRewriteReport());
    return kRewriteSimulated;
  }
  snprintf(failure, failureSize, "%s", GetRewriteFailureText());
  return result;
}

}  // namespace

int DeleteZipEntries(const char* archive, RBTree* changes, char* failure, size_t failureSize) {
  return RunRewrite(archive, changes, failure, failureSize, DeleteFilesTwoPasses);
}

int RenameZipEntries(const char* archive, RBTree* changes, char* failure, size_t failureSize) {
  return RunRewrite(archive, changes, failure, failureSize, ChangeFilesTwoPasses);
}
