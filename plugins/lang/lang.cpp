// The language library: numbered text tables in English and German.
#include "services/base.h"
#define KESTRELIA_LANG_BUILD
#include "kestrelia_lang.h"
#include "texts.h"

namespace {

int g_language = KLANG_LANGUAGE_ENGLISH;

// Only the low byte names the language, as the settings store it.
bool German() { return (g_language & 0xFF) == KLANG_LANGUAGE_GERMAN; }

// The tables hold a few hundred entries at most and are read at window creation and for
// message boxes, so a scan is fast enough. A number outside a table answers with the empty
// string: callers never check for absence, so it must not be null.
const char* Pick(const LangTable& table, int n) {
  for (int i = 0; i < table.count; ++i)
    if (table.items[i].number == n) return German() ? table.items[i].de : table.items[i].en;
  return "";
}

#define KLANG_TABLE(fn, table) \
  const char* fn(int n) { return Pick(table, n); }

}  // namespace

extern "C" {

KLANG_TABLE(GetMessageText, kMessages)
KLANG_TABLE(GetGenericText, kGeneric)
KLANG_TABLE(GetMenuText, kMenus)
KLANG_TABLE(GetMenuItemText, kMenuItems)
KLANG_TABLE(GetPopupText, kPopup)
KLANG_TABLE(GetStatusWindowToolTipText, kStatusTips)
KLANG_TABLE(GetToolBarText, kToolBar)
KLANG_TABLE(GetToolBarText2, kToolBar2)
KLANG_TABLE(GetToolBarText2WI, kToolBar2)
KLANG_TABLE(GetToolBarToolTipText, kToolBarTips)
KLANG_TABLE(GetToolBarToolTipText2, kToolBarTips2)
KLANG_TABLE(GetToolBarToolTipText2WI, kToolBarTips2)
KLANG_TABLE(GetConfigurationText, kConfiguration)
KLANG_TABLE(GetPluginText, kPlugin)
KLANG_TABLE(GetLanguageString, kLanguageNames)

const char* GetConfirmationDialogText(void) { return German() ? kConfirmationDe : kConfirmationEn; }
const char* GetConsoleHelpText(void) { return German() ? kConsoleHelpDe : kConsoleHelpEn; }

const char* GetDescriptionFilename(void) { return Pick(kColumns, 0); }
const char* GetDescriptionEncrypted(void) { return Pick(kColumns, 1); }
const char* GetDescriptionCompressed(void) { return Pick(kColumns, 2); }
const char* GetDescriptionUncompressed(void) { return Pick(kColumns, 3); }
const char* GetDescriptionCompressionRatio(void) { return Pick(kColumns, 4); }
const char* GetDescriptionDate(void) { return Pick(kColumns, 5); }
const char* GetDescriptionType(void) { return Pick(kColumns, 6); }
const char* GetDescriptionPath(void) { return Pick(kColumns, 7); }

int SetLanguage(int language) {
  g_language = language;
  return 0;
}
int GetLanguage(void) { return g_language; }
int GetGCountry(void) { return g_language; }

}  // extern "C"
