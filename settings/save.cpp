#include "services/base.h"
#include "settings/save.h"

#include "kestrelia_lang.h"
#include "services/log.h"
#include "settings/names.h"
#include "settings/options.h"
#include "settings/registry.h"
#include "settings/values.h"

#include <cstring>

namespace {

const char* Key() { return GetSettingsKeyPath(); }

int WriteUserDword(DWORD value, const char* name) { return WriteDword(value, HKEY_CURRENT_USER, Key(), name); }

int WriteUserString(const char* text, const char* name) {
  return WriteString(text, static_cast<DWORD>(strlen(text)), HKEY_CURRENT_USER, Key(), name);
}

void SaveMinPicSize(int checked, int size) {
  if (checked) {
    SetMinPicSize(size);
    if (size != kUnsetNumber) WriteUserDword(static_cast<DWORD>(size), kValueMinPicSize);
    return;
  }
  DeleteValue(HKEY_CURRENT_USER, Key(), kValueMinPicSize);
  SetMinPicSize(kUnsetNumber);
}

}  // namespace

int SaveConfiguration(int languageChanged, int minPicSizeChecked, int minPicSize) {
  int result = 0;
  DWORD word = MakeOptionWord();
  // The first save finds no key: this is where it comes into being.
  if (WriteUserDword(word, kValueConfiguration) &&
      CreateAndWriteDword(word, HKEY_CURRENT_USER, Key(), kValueConfiguration)) {
    Log(-1, GetVerbose(), "SaveConfiguration: cannot write \"configuration\" %lu\n", GetLastError());
    result = 1;
  }
  WriteUserDword(GetColorMenuHigh(), kValueColorMenuHigh);
  WriteUserDword(GetColorMenuLow(), kValueColorMenuLow);
  WriteUserDword(static_cast<DWORD>(IsKeepBrokenFiles()), kValueKeepBrokenFiles);
  if (*GetJadPath() && WriteUserString(GetJadPath(), kValueJadPath))
    Log(-1, GetVerbose(), "cannot write \"JadPath\"to registry %lu\n", GetLastError());
  if (languageChanged) SaveLanguage();
  SaveMinPicSize(minPicSizeChecked, minPicSize);
  return result;
}

int SaveLanguage() {
  DWORD language = static_cast<DWORD>(GetLanguage());
  if (WriteUserDword(language, kValueLanguage) == 0) return 0;
  // Deliberately "configuration", not "language": a long-standing quirk that is kept. The
  // next start reads the number as the option word.
  return CreateAndWriteDword(language, HKEY_CURRENT_USER, Key(), kValueConfiguration);
}

int SaveViewerPlacement(const RECT& rect) {
  SetViewXY(PackViewXY(rect.left, rect.top));
  SetViewWH(PackViewWH(rect.right - rect.left, rect.bottom - rect.top));
  int result = 0;
  if (GetViewXY() != kUnsetDword) result |= WriteUserDword(GetViewXY(), kValueViewXY);
  if (GetViewWH() != kUnsetDword) result |= WriteUserDword(GetViewWH(), kValueViewWH);
  return result;
}

int SaveRichEditString(const RichEditFont& font) {
  char text[kRichEditStringSize];
  FormatRichEditString(font, text, sizeof text);
  SetRichEditString(text);
  if (WriteUserString(text, kValueRichEdit)) {
    Log(-1, GetVerbose(), "cannot write \"RichEdit ConfigurationString\"to registry %lu\n", GetLastError());
    return 1;
  }
  return 0;
}
