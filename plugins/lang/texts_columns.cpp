// The column titles of the list views, in column order.
#include "services/base.h"
#include "texts.h"

namespace {
const LangText columns[] = {
    {0, "Filename", "Dateiname"},
    {1, "Encrypted", "Verschlüsselt"},
    {2, "Compressed", "Gepackt"},
    {3, "Uncompressed", "Entpackt"},
    {4, "Rate", "Rate"},
    {5, "Date", "Datum"},
    {6, "Type", "Typ"},
    {7, "Path", "Pfad"},
};
}  // namespace

const LangTable kColumns = KLANG_TABLE_OF(columns);
