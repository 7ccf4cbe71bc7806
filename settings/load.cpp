#include "services/base.h"
#include "settings/load.h"

#include "kestrelia_lang.h"
#include "services/log.h"
#include "services/system_libraries.h"
#include "settings/names.h"
#include "settings/options.h"
#include "settings/recent.h"
#include "settings/registry.h"
#include "settings/values.h"

#include <vector>

namespace {

const char* Key() { return GetSettingsKeyPath(); }

// A DWORD that exists in the hive, else nothing.
bool ReadNumber(HKEY hive, const char* name, DWORD* value) { return ReadDword(value, hive, Key(), name) == 0; }

// The switches an administrator sets by hand; only exactly 1 turns one on.
void LoadMachineSwitches() {
  DWORD value = 0;
  if (ReadNumber(HKEY_LOCAL_MACHINE, kValuePictureLabelWidth, &value)) SetPictureLabelWidth(static_cast<int>(value));
  if (ReadNumber(HKEY_LOCAL_MACHINE, kValuePictureLabelHeight, &value))
    SetPictureLabelHeight(static_cast<int>(value));
  if (ReadNumber(HKEY_LOCAL_MACHINE, kValueDebugConsole, &value) && value == 1) OpenDebugConsole(1);
  if (ReadNumber(HKEY_LOCAL_MACHINE, kValueVerbose, &value) && value >= 1 && value <= 10)
    SetVerbose(static_cast<int>(value));
  if (ReadNumber(HKEY_LOCAL_MACHINE, kValuePrintToLogFile, &value) && value == 1) SetPrintToLogFile(1);
  if (ReadNumber(HKEY_LOCAL_MACHINE, kValueDeleteSimulation, &value) && value == 1) SetDeleteSimulation(1);
  if (ReadNumber(HKEY_LOCAL_MACHINE, kValueDragAsThread, &value) && value == 1) SetDragAsThread(1);
  if (ReadNumber(HKEY_LOCAL_MACHINE, kValueDisplayCompanyLogo, &value) && value == 1) SetDisplayCompanyLogo(1);
}

// A stored 0 never overrides a default.
void LoadUserNumbers() {
  DWORD value = 0;
  if (ReadNumber(HKEY_CURRENT_USER, kValueColorMenuHigh, &value) && value) SetColorMenuHigh(value);
  if (ReadNumber(HKEY_CURRENT_USER, kValueColorMenuLow, &value) && value) SetColorMenuLow(value);
  if (ReadNumber(HKEY_CURRENT_USER, kValueColorMenuSelection, &value) && value) SetColorMenuSelection(value);
  if (ReadNumber(HKEY_CURRENT_USER, kValueViewXY, &value) && value) SetViewXY(value);
  if (ReadNumber(HKEY_CURRENT_USER, kValueViewWH, &value) && value) SetViewWH(value);
  if (ReadNumber(HKEY_CURRENT_USER, kValueMinPicSize, &value) && value) SetMinPicSize(static_cast<int>(value));
  if (ReadNumber(HKEY_CURRENT_USER, kValueDragLayered, &value) && value) SetDragLayered(static_cast<int>(value));
  if (ReadNumber(HKEY_CURRENT_USER, kValueSkipCRCCheck, &value) && value) SetSkipCRCCheck(static_cast<int>(value));
  if (ReadNumber(HKEY_CURRENT_USER, kValueKeepBrokenFiles, &value)) SetKeepBrokenFiles(value == 1);
}

// A string read into a buffer of the given size; 0 or the registry's result.
LONG ReadText(const char* name, char* buffer, DWORD size) {
  return ReadString(buffer, &size, HKEY_CURRENT_USER, Key(), name);
}

void LoadFonts() {
  char text[kPathBuf];
  if (ReadText(kValueFontConfiguration, text, sizeof text) == 0) SetFontConfiguration(*text ? text : kDefaultFontConfiguration);
  Log(-1, GetVerbose(), "FontConfiguration %s\n", GetFontConfiguration());
  if (ReadText(kValueTestMethod, text, sizeof text) == 0) SetTestMethod(text);
  Log(-1, GetVerbose(), "TestMethod %s\n", GetTestMethod());
  if (ReadText(kValueFontPrint, text, sizeof text) == 0) SetFontPrint(*text ? text : kDefaultFontPrint);
  DWORD size = 0;
  if (ReadNumber(HKEY_CURRENT_USER, kValueFontPrintSize, &size) && size) SetFontPrintSize(static_cast<int>(size));
  Log(-1, GetVerbose(), "FontPrint %s - size %d\n", GetFontPrint(), GetFontPrintSize());
}

void LoadRecentList() {
  char text[kPathBuf];
  DWORD size = sizeof text;
  LONG result = ReadString(text, &size, HKEY_CURRENT_USER, Key(), kValueFileList);
  if (result == 0) {
    if (*text) SplitRecentList(text);
    return;
  }
  if (result != ERROR_MORE_DATA) return;
  // A list longer than one path: read it again into a buffer of the size asked for.
  std::vector<char> larger(size + 16);
  size = static_cast<DWORD>(larger.size());
  if (ReadString(larger.data(), &size, HKEY_CURRENT_USER, Key(), kValueFileList) == 0 && larger[0])
    SplitRecentList(larger.data());
}

void LoadPaths() {
  char jad[kPathBuf];
  if (ReadText(kValueJadPath, jad, sizeof jad) == 0)
    SetJadPath(jad);
  else
    Log(-1, GetVerbose(), "error getting JadPath %lu\n", GetLastError());
  char richEdit[kRichEditStringSize];
  if (ReadText(kValueRichEdit, richEdit, sizeof richEdit) == 0)
    SetRichEditString(richEdit);
  else
    Log(-1, GetVerbose(), "error getting RichEdit %lu\n", GetLastError());
  // Set by hand to point the update check at another server.
  char address[kUpdateAddressBuf];
  if (ReadText(kValueUpdateAddress, address, sizeof address) == 0) SetUpdateAddress(address);
}

void LoadGradientFill() {
  if (GetGradientFill()) return;
  SetGradientFill(Msimg32::GradientFill());
}

}  // namespace

int LoadSettings(HWND main) {
  DWORD word = 0;
  if (ReadDword(&word, HKEY_CURRENT_USER, Key(), kValueConfiguration) != 0) {
    // Until a configuration has been saved once, nothing else is trusted, not even the
    // machine-wide switches.
    SetNoConfiguration(1);
    Log(1, GetVerbose(), "LoadSettings: no configuration in the registry");
    LoadGradientFill();
    return 1;
  }
  SetNoConfiguration(0);
  SplitOptionWord(word);
  // The history itself starts once the window is up, which owns its password question.
  if (IsHistoryActivated()) Log(3, GetVerbose(), "LoadSettings: the history is on");

  DWORD language = 0;
  if (ReadNumber(HKEY_LOCAL_MACHINE, kValueLanguage, &language)) SetLanguage(static_cast<int>(language));
  if (ReadNumber(HKEY_CURRENT_USER, kValueLanguage, &language)) SetLanguage(static_cast<int>(language));

  LoadMachineSwitches();
  LoadUserNumbers();
  LoadFonts();
  LoadRecentList();
  LoadPaths();
  LoadGradientFill();
  return 0;
}
