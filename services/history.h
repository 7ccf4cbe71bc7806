// The program's side of history.dll: the library is loaded while the history is on, every
// extraction run leaves an item in it, and the history window reads and prunes it.
#pragma once
#include "services/base.h"

#include <string>

enum HistoryStartResult {
  HISTORY_START_OK = 0,
  HISTORY_START_NO_LIBRARY = 1,      // history.dll or an entry point is missing
  HISTORY_START_REFUSED = 2,         // no password given, or one that does not open it
  HISTORY_START_FAILED = 3,          // the folder or the file cannot be read, or it is damaged
};

// Loads the library and opens the user's history (the one in folder, when given); a protected
// one asks for its password through askPassword (the password dialog when null).
// HISTORY_START_*; the user has been told why when it is not OK.
int StartHistory(HWND owner, bool withPassword, bool (*askPassword)(HWND owner, char* password) = nullptr,
                 const char* folder = nullptr);
// Closes the history and frees the library.
void StopHistory();
bool IsHistoryOpen();

// One extraction run's item: the archive, the folder, how many entries, and the run's result
// (0 done, 100 cancelled, anything else failed). Nothing happens while the history is off.
void RecordExtraction(const char* archive, const char* destination, uint64_t entries, int result);

// The items, 0 the newest; a field is one of the HISTORY_* fields of kestrelia_history.h.
int GetHistoryCount();
std::string GetHistoryField(int index, int field);
int DeleteHistoryEntry(int index);
int ClearHistoryEntries();
// Writes the open history again, sealed under password ("" for none). 0 when written.
int ChangeHistoryPassword(const char* password);
