// The text tables. Each entry carries its English and German text (UTF-8, the process code page).
#pragma once

#include "kestrelia_texts.h"

struct LangText {
  int number;
  const char* en;
  const char* de;
};

struct LangTable {
  const LangText* items;
  int count;
};

#define KLANG_TABLE_OF(array) LangTable{array, static_cast<int>(sizeof array / sizeof array[0])}

extern const LangTable kMessages;
extern const LangTable kGeneric;
extern const LangTable kMenus;
extern const LangTable kMenuItems;
extern const LangTable kPopup;
extern const LangTable kStatusTips;
extern const LangTable kToolBar;
extern const LangTable kToolBar2;
extern const LangTable kToolBarTips;
extern const LangTable kToolBarTips2;
extern const LangTable kConfiguration;
extern const LangTable kPlugin;
extern const LangTable kLanguageNames;
extern const LangTable kColumns;

extern const char* const kConfirmationEn;
extern const char* const kConfirmationDe;
extern const char* const kConsoleHelpEn;
extern const char* const kConsoleHelpDe;
