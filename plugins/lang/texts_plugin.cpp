// Errors of the plug-in adapters: the RAR library's error codes, by the adapter's number, and
// tar.dll's notice of a damaged archive.
#include "services/base.h"
#include "texts.h"

namespace {
const LangText plugin[] = {
    {0, "The archive format is unknown.", "Das Archivformat ist unbekannt."},
    {1, "The archive or one of its volumes is damaged.", "Das Archiv oder einer seiner Teile ist beschädigt."},
    {2, "A file could not be created.", "Eine Datei konnte nicht angelegt werden."},
    {KLANG_PLUGIN_VOLUME_MISSING, "A volume of the archive could not be opened.",
     "Ein Teil des Archivs konnte nicht geöffnet werden."},
    {4, "A file could not be closed.", "Eine Datei konnte nicht geschlossen werden."},
    {5, "The archive could not be read.", "Das Archiv konnte nicht gelesen werden."},
    {6, "A file could not be written.", "Eine Datei konnte nicht geschrieben werden."},
    {7, "CRC error: the data are damaged.", "CRC-Fehler: die Daten sind beschädigt."},
    {8, "An unknown error occurred in the RAR library.",
     "In der RAR-Bibliothek ist ein unbekannter Fehler aufgetreten."},
    {9, "The file is encrypted and no password was given.",
     "Die Datei ist verschlüsselt, und es wurde kein Kennwort angegeben."},
    // Shown by tar.dll when a TAR archive ends early.
    {KLANG_PLUGIN_TAR_DAMAGED, "The archive is damaged or cut short; the list shows the entries before the damage.",
     "Das Archiv ist beschädigt oder unvollständig; die Liste zeigt die Einträge vor der Beschädigung."},
};
}  // namespace

const LangTable kPlugin = KLANG_TABLE_OF(plugin);
