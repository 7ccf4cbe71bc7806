// Placeholder tables until the full ones are written.
#include "texts.h"

namespace {
const LangText generic[] = {
    {0, "OK", "OK"},
    {1, "Cancel", "Abbrechen"},
    {36, "File", "Datei"},
};
const LangText none[] = {{-1, "", ""}};
}  // namespace

const LangTable kMessages = KLANG_TABLE_OF(none);
const LangTable kGeneric = KLANG_TABLE_OF(generic);
const LangTable kMenus = KLANG_TABLE_OF(none);
const LangTable kMenuItems = KLANG_TABLE_OF(none);
const LangTable kPopup = KLANG_TABLE_OF(none);
const LangTable kStatusTips = KLANG_TABLE_OF(none);
const LangTable kToolBar = KLANG_TABLE_OF(none);
const LangTable kToolBar2 = KLANG_TABLE_OF(none);
const LangTable kToolBarTips = KLANG_TABLE_OF(none);
const LangTable kToolBarTips2 = KLANG_TABLE_OF(none);
const LangTable kConfiguration = KLANG_TABLE_OF(none);
const LangTable kPlugin = KLANG_TABLE_OF(none);
const LangTable kLanguageNames = KLANG_TABLE_OF(none);
const char* const kConfirmationEn = "";
const char* const kConfirmationDe = "";
const char* const kConsoleHelpEn = "";
const char* const kConsoleHelpDe = "";
