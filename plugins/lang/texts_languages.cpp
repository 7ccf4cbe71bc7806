// The names of the languages that the configuration dialog offers.
#include "services/base.h"
#include "texts.h"

namespace {
// By position in the configuration dialog's list and by language number; each name in its
// own language.
const LangText languageNames[] = {
    {0, "English", "English"},
    {1, "Deutsch", "Deutsch"},
    {9, "English", "English"},
    {7, "Deutsch", "Deutsch"},
};
}  // namespace

const LangTable kLanguageNames = KLANG_TABLE_OF(languageNames);
