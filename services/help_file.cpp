#include "services/base.h"
#include "services/help_file.h"

#include "kestrelia_lang.h"
#include "services/log.h"
#include "services/system_libraries.h"

#include <cstdio>
#include <cstring>

namespace {

// HtmlHelpA's command that opens the table of contents.
constexpr UINT kHelpDisplayToc = 1;


}  // namespace

void MakeHelpFilePath(const char* programPath, int country, char* out) {
  char folder[kPathBuf];
  snprintf(folder, sizeof folder, "%s", programPath ? programPath : "");
  // A bare program name has no folder: the help is then looked for in the working directory.
  char* lastSeparator = strrchr(folder, '\\');
  if (lastSeparator)
    lastSeparator[1] = '\0';
  else
    folder[0] = '\0';
  if ((country & 0xFF) == KLANG_LANGUAGE_GERMAN)
    snprintf(out, kPathBuf, "%shelp\\kestrelia_de.chm", folder);
  else
    snprintf(out, kPathBuf, "%shelp\\kestrelia_en.chm", folder);
}

void ShowHelpFile(HWND owner) {
  if (!LoadRuntimeLibrary(&Hhctrl::Library())) {
    Log(-1, GetVerbose(), "cannot load: HHCTRL.OCX");
    return;
  }
  Hhctrl::HtmlHelpAFn htmlHelp = Hhctrl::HtmlHelpA();
  if (!htmlHelp) {
    Log(-1, GetVerbose(), "function HtmlHelpA not found");
    return;
  }
  char program[kPathBuf] = "";
  GetModuleFileNameA(nullptr, program, sizeof program);
  char file[kPathBuf];
  MakeHelpFilePath(program, GetGCountry(), file);
  htmlHelp(owner, file, kHelpDisplayToc, 0);
}
