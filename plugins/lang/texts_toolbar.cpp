// Tool-bar labels and tips, and the tips of the status-bar parts. The main tool bar's
// numbers are its buttons in order (Open, New, Add files, Add folder, Extract, View, Delete, Find,
// Properties, Full list, Folder tree, Find in contents); the second set belongs to the
// folder tool bar.
#include "services/base.h"
#include "texts.h"

namespace {
const LangText toolBar[] = {
    {0, "Open", "Öffnen"},
    {1, "New", "Neu"},
    {2, "Add files", "Dateien hinzufügen"},
    {3, "Add folder", "Ordner hinzufügen"},
    {4, "Extract", "Entpacken"},
    {5, "View", "Anzeigen"},
    {6, "Delete", "Löschen"},
    {7, "Find", "Suchen"},
    {8, "Properties", "Eigenschaften"},
    {9, "List", "Liste"},
    {10, "Tree", "Baum"},
    {11, "Contents", "Inhalt"},
};

const LangText toolBarTips[] = {
    {0, "Open an archive", "Ein Archiv öffnen"},
    {1, "Create a new archive", "Ein neues Archiv erstellen"},
    {2, "Add files to the archive", "Dateien zum Archiv hinzufügen"},
    {3, "Add a folder to the archive", "Einen Ordner zum Archiv hinzufügen"},
    {4, "Extract all entries", "Alle Einträge entpacken"},
    {5, "View the selected entry", "Den ausgewählten Eintrag anzeigen"},
    {6, "Delete the selected entries", "Die ausgewählten Einträge löschen"},
    {7, "Find entries by name", "Einträge nach Namen suchen"},
    {8, "Properties of the archive", "Eigenschaften des Archivs"},
    {9, "Show all entries in one list", "Alle Einträge in einer Liste zeigen"},
    {10, "Show the folder tree", "Den Ordnerbaum zeigen"},
    {11, "Find text in the contents of the entries", "Text im Inhalt der Einträge suchen"},
};

const LangText toolBar2[] = {
    {0, "Up", "Nach oben"},
    {1, "Expand", "Aufklappen"},
    {2, "Collapse", "Zuklappen"},
    {3, "Extract folder", "Ordner entpacken"},
    {4, "Contents", "Inhalt"},
    {5, "Previous", "Zurück"},
    {6, "Next", "Weiter"},
    {7, "Reload", "Neu laden"},
    {8, "SFX", "SFX"},
    {9, "Options", "Optionen"},
    {10, "Help", "Hilfe"},
};

const LangText toolBarTips2[] = {
    {0, "Go to the parent folder", "Zum übergeordneten Ordner"},
    {1, "Expand all folders", "Alle Ordner aufklappen"},
    {2, "Collapse all folders", "Alle Ordner zuklappen"},
    {3, "Extract the selected folder", "Den ausgewählten Ordner entpacken"},
    {4, "Find text in the contents of the entries", "Text im Inhalt der Einträge suchen"},
    {5, "Go to the previous hit", "Zum vorigen Treffer"},
    {6, "Go to the next hit", "Zum nächsten Treffer"},
    {7, "Read the archive again", "Das Archiv neu einlesen"},
    {8, "Make a self-extracting archive", "Ein selbstentpackendes Archiv erstellen"},
    {9, "Change the configuration", "Die Konfiguration ändern"},
    {10, "Show the help", "Die Hilfe anzeigen"},
};

// The parts from left to right.
const LangText statusTips[] = {
    {0, "Selected entries", "Ausgewählte Einträge"},
    {1, "Number of entries in the archive", "Anzahl der Einträge im Archiv"},
    {2, "Compressed and uncompressed size of the archive", "Gepackte und entpackte Größe des Archivs"},
    {3, "State of the running operation", "Stand des laufenden Vorgangs"},
    {4, "Elapsed time", "Verstrichene Zeit"},
    {5, "Transfer rate", "Übertragungsrate"},
};
}  // namespace

const LangTable kToolBar = KLANG_TABLE_OF(toolBar);
const LangTable kToolBarTips = KLANG_TABLE_OF(toolBarTips);
const LangTable kToolBar2 = KLANG_TABLE_OF(toolBar2);
const LangTable kToolBarTips2 = KLANG_TABLE_OF(toolBarTips2);
const LangTable kStatusTips = KLANG_TABLE_OF(statusTips);
