#include "services/base.h"
#include "formats/archive_runs.h"

#include "formats/formats.h"
#include "jobs/extract_archive.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/archive_kind.h"
#include "services/log.h"
#include "services/prompts.h"

namespace {

// The open archive's operations; a kind outside the table is told and has none.
const ArchiveOperations* CurrentOperations() {
  if (const ArchiveFormat* format = FindArchiveFormat(GetArchiveKind())) return &format->ops;
  const char* text = "ExtractArchive GCompressionMethod not specified";
  Log(1, GetVerbose(), "%s", text);
  PromptMessageBox(GetMainWindowHandle(), text, GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONERROR);
  return nullptr;
}

}  // namespace

void ExtractArchive(const char* archive, int silent, int inThread) {
  if (const ArchiveOperations* ops = CurrentOperations()) StartArchiveExtraction(ops->extract, archive, silent, inThread);
}

void ExtractSelected(const EntrySelection& chosen) {
  if (const ArchiveOperations* ops = CurrentOperations()) StartSelectionExtraction(ops->extract, chosen);
}

void TestArchive(const EntrySelection* chosen) {
  if (const ArchiveOperations* ops = CurrentOperations()) StartArchiveTest(ops->test, chosen);
}

void ExtractTreeFolder(const char* folder) {
  if (const ArchiveOperations* ops = CurrentOperations()) StartTreeFolderExtraction(ops->extractFolder, folder);
}
