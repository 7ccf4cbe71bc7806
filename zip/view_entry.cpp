#include "services/base.h"
#include "zip/extract.h"

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "services/external_app.h"
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

int do_view_currentfile(unzFile zip, const char* name, int openWith, unz_file_info64 info) {
  const char* part = LastNamePart(name);
  char reason[128] = "";
  // The name without its folders lands in the temporary folder: it must stay a plain name there.
  if (!*part || JudgeEntryName(part, reason, sizeof reason) != 0) {
    Log(1, GetVerbose(), "do_view_currentfile: %s not viewed: %s", name, *part ? reason : "a folder");
    PromptMessageBox(GetForegroundWindow(),
                     GetMessageText(*part ? KLANG_MSG_ENTRY_CANNOT_BE_SHOWN : KLANG_MSG_FOLDER_CANNOT_BE_VIEWED),
                     "Kestrelia", MB_OK | MB_ICONINFORMATION);
    return 1;
  }
  int result = OpenCurrentEntry(zip);
  if (result != UNZ_OK) return result;
  char target[kPathBuf], folder[kPathBuf], previous[kPathBuf] = "";
  if (!TempTarget(part, target, folder)) {
    CloseOpenEntry(zip);
    Log(1, GetVerbose(), "do_view_currentfile: %s not viewed: the name is too long for the temporary folder", name);
    PromptMessageBox(GetForegroundWindow(), GetMessageText(KLANG_MSG_ENTRY_CANNOT_BE_SHOWN), "Kestrelia",
                     MB_OK | MB_ICONINFORMATION);
    return 1;
  }
  GetCurrentDirectoryA(sizeof previous, previous);
  SetCurrentDirectoryA(folder);
  int copied = CopyOpenEntry("do_view_currentfile", zip, info, target);
  AddTempFile(target);
  result = copied == 0 ? (openWith ? OpenAs(target) : CallApp(target)) : copied;
  SetCurrentDirectoryA(previous);
  return result;
}

int ViewZipEntry(const char* archive, const char* name, int openWith) {
  unzFile zip = MyWaitunzOpen2_64(archive, 3000);
  if (!zip) {
    Log(1, GetVerbose(), "ViewSelectedEntry: %s cannot be opened", archive);
    PromptMessageBox(GetMainWindowHandle(), GetMessageText(KLANG_MSG_ENTRY_CANNOT_BE_SHOWN),
                     GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONERROR);
    return 1;
  }
  unz_file_info64 info = {};
  int result = LocateEntry(zip, name);
  if (result == UNZ_OK) result = unzGetCurrentFileInfo64(zip, &info, nullptr, 0, nullptr, 0, nullptr, 0);
  if (result == UNZ_OK) {
    result = do_view_currentfile(zip, name, openWith, info);
  } else {
    Log(1, GetVerbose(), "ViewSelectedEntry: %s not found in %s (%d)", name, archive, result);
    PromptMessageBox(GetMainWindowHandle(), GetMessageText(KLANG_MSG_ENTRY_CANNOT_BE_SHOWN),
                     GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONERROR);
  }
  unzClose(zip);
  return result;
}
