#include "services/base.h"
#include "zip/extract.h"

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "services/log.h"
#include "services/prompts.h"
#include "jobs/entry_name_safety.h"
#include "zip/entry_names.h"
#include "zip/zip_operations.h"
#include "zip/zip_open.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

int LocateEntry(unzFile zip, const char* name) { return LocateEntryByDisplayName(zip, name); }

namespace {

// Why the entry is not shown. A question the user declined needs no answer; a password that
// let the entry open but not decode (the traditional cipher's check byte passes one wrong
// password in 256) is forgotten, so the next view asks again.
void TellWriteFailure(const char* name, int result, const unz_file_info64& info) {
  if (result == EXTRACT_NO_PASSWORD || result == EXTRACT_CANCELLED) return;
  std::string text = std::string(GetMessageText(KLANG_MSG_ENTRY_CANNOT_BE_SHOWN)) + "\n" + name;
  if ((info.flag & 1) && result != EXTRACT_UNDECODABLE) {
    SetCurrentPassword("");
    text += std::string("\n\n") + GetMessageText(KLANG_MSG_WRONG_PASSWORD);
  }
  Log(1, GetVerbose(), "WriteZipEntryToTemp: %s not written (%d)", name, result);
  PromptMessageBox(GetMainWindowHandle(), text.c_str(), GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONERROR);
}

// The current entry to the temporary folder under its last name, which must stay a plain
// name there; 0, else the user was told.
int WriteCurrentEntryToTemp(unzFile zip, const char* name, const unz_file_info64& info, char (&written)[kPathBuf]) {
  const char* part = LastNamePart(name);
  char reason[128] = "";
  char target[kPathBuf], folder[kPathBuf];
  if (!*part || JudgeEntryName(part, reason, sizeof reason) != 0 || !TempTarget(part, target, folder)) {
    Log(1, GetVerbose(), "WriteZipEntryToTemp: %s not written: %s", name,
        !*part ? "a folder" : *reason ? reason : "the name is too long for the temporary folder");
    PromptMessageBox(GetForegroundWindow(),
                     GetMessageText(*part ? KLANG_MSG_ENTRY_CANNOT_BE_SHOWN : KLANG_MSG_FOLDER_CANNOT_BE_VIEWED),
                     "Kestrelia", MB_OK | MB_ICONINFORMATION);
    return 1;
  }
  int result = OpenCurrentEntry(zip);
  if (result == UNZ_OK) result = CopyOpenEntry("WriteZipEntryToTemp", zip, info, target);
  if (result != 0) {
    TellWriteFailure(name, result, info);
    return result;
  }
  AddTempFile(target);
  snprintf(written, kPathBuf, "%s", target);
  return 0;
}

}  // namespace

int WriteZipEntryToTemp(const char* archive, const char* name, char (&written)[kPathBuf]) {
  written[0] = 0;
  unzFile zip = MyWaitunzOpen2_64(archive, 3000);
  if (!zip) {
    Log(1, GetVerbose(), "WriteZipEntryToTemp: %s cannot be opened", archive);
    PromptMessageBox(GetMainWindowHandle(), GetMessageText(KLANG_MSG_ENTRY_CANNOT_BE_SHOWN),
                     GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONERROR);
    return 1;
  }
  unz_file_info64 info = {};
  int result = LocateEntry(zip, name);
  if (result == UNZ_OK) result = unzGetCurrentFileInfo64(zip, &info, nullptr, 0, nullptr, 0, nullptr, 0);
  if (result == UNZ_OK) {
    result = WriteCurrentEntryToTemp(zip, name, info, written);
  } else {
    Log(1, GetVerbose(), "WriteZipEntryToTemp: %s not found in %s (%d)", name, archive, result);
    PromptMessageBox(GetMainWindowHandle(), GetMessageText(KLANG_MSG_ENTRY_CANNOT_BE_SHOWN),
                     GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONERROR);
  }
  unzClose(zip);
  return result;
}
