// Menus, their items and the context menus. Menu and item numbers are the command
// identifiers of the main window; each caption has one & accelerator, unique within its
// menu, and no shortcut key (the window appends those).
#include "services/base.h"
#include "texts.h"

namespace {
const LangText menus[] = {
    {5001, "&File", "&Datei"},
    {5002, "&Edit", "&Bearbeiten"},
    {5003, "&View", "&Ansicht"},
    {5004, "&Tools", "E&xtras"},
    {5005, "&Help", "&Hilfe"},
};

const LangText menuItems[] = {
    // File
    {4001, "&Open...", "Ö&ffnen..."},
    {4002, "&Recent files", "&Zuletzt geöffnet"},
    {4003, "&New archive...", "&Neues Archiv..."},
    {4004, "&Add files...", "Dateien &hinzufügen..."},
    {4005, "Add &folder...", "&Ordner hinzufügen..."},
    {4006, "&Extract all...", "&Alles entpacken..."},
    {4007, "Extract &selected...", "Auswahl &entpacken..."},
    {4008, "&Properties", "E&igenschaften"},
    {4009, "E&xit", "&Beenden"},
    {4029, "&Test archive", "Archiv &testen"},
    {4030, "&Close archive", "Archiv s&chließen"},
    // Edit
    {4010, "&View", "&Anzeigen"},
    {4011, "Open &with...", "Ö&ffnen mit..."},
    {4012, "&Delete", "&Löschen"},
    {4013, "Re&name", "&Umbenennen"},
    {4014, "Select &all", "Alles &markieren"},
    {4015, "&Find...", "&Suchen..."},
    {4016, "Find in &contents...", "Im &Inhalt suchen..."},
    {4017, "Find ne&xt", "&Weitersuchen"},
    // View
    {4018, "&Full list", "&Vollständige Liste"},
    {4019, "Folder &tree", "&Ordnerbaum"},
    {4020, "&Reload", "&Neu laden"},
    // Tools
    {4021, "&Make self-extracting archive...", "Selbstentpac&kendes Archiv..."},
    {4022, "&Configuration...", "&Konfiguration..."},
    {4023, "&Language...", "S&prache..."},
    {4024, "Registry &values", "&Registrierungswerte"},
    // Help
    {4026, "&Help topics", "&Hilfethemen"},
    {4027, "Check for &updates...", "Nach &Aktualisierungen suchen..."},
    {4028, "&About Kestrelia...", "Ü&ber Kestrelia..."},
    {4031, "Find &previous", "&Rückwärts suchen"},
    {4032, "&History of extractions...", "&Verlauf der Entpackvorgänge..."},
    {4043, "Cu&t", "Ausschnei&den"},
    {4044, "C&opy", "&Kopieren"},
    {4045, "Pa&ste", "Einfü&gen"},
    // The viewers' windows
    {4035, "&Print...", "&Drucken..."},
    {4036, "&Close", "&Schließen"},
    {4038, "Zoom &in", "Ver&größern"},
    {4039, "Zoom &out", "Ver&kleinern"},
    {4040, "&Fit to window", "&An Fenster anpassen"},
    {4041, "&Next picture", "&Nächstes Bild"},
    {4042, "&Previous picture", "&Vorheriges Bild"},
};

const LangText popup[] = {
    {0, "&View", "&Anzeigen"},
    {1, "Open &with...", "Ö&ffnen mit..."},
    {2, "E&xtract...", "&Entpacken..."},
    {3, "Extract &all...", "Alles en&tpacken..."},
    {4, "&Delete", "&Löschen"},
    {5, "Re&name", "&Umbenennen"},
    {6, "Cu&t", "Ausschnei&den"},
    {7, "&Copy", "&Kopieren"},
    {8, "&Paste", "Einfü&gen"},
    {9, "&Select all", "Alles &markieren"},
    {10, "&Find...", "&Suchen..."},
    {11, "Find in c&ontents...", "Im I&nhalt suchen..."},
    {12, "Find ne&xt", "&Weitersuchen"},
    {13, "P&roperties", "E&igenschaften"},
    {14, "&Expand", "&Aufklappen"},
    {15, "C&ollapse", "&Zuklappen"},
    {16, "Expand a&ll", "Alle a&ufklappen"},
    {17, "Extract &folder...", "&Ordner entpacken..."},
    {18, "&Rename folder", "Ordner &umbenennen"},
    {19, "&Delete folder", "Ordner &löschen"},
    {20, "Remove &empty folders", "&Leere Ordner entfernen"},
    {21, "Add &files...", "Dateien &hinzufügen..."},
    {22, "Add f&older...", "O&rdner hinzufügen..."},
    {23, "Copy &path", "&Pfad kopieren"},
    {24, "Sort &ascending", "&Aufsteigend sortieren"},
    {25, "Sort &descending", "Ab&steigend sortieren"},
    {26, "&Reload", "&Neu laden"},
    {27, "&Make self-extracting archive...", "&Selbstentpackendes Archiv..."},
};
}  // namespace

const LangTable kMenus = KLANG_TABLE_OF(menus);
const LangTable kMenuItems = KLANG_TABLE_OF(menuItems);
const LangTable kPopup = KLANG_TABLE_OF(popup);
