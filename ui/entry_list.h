// The list views that show entry records (model/entry_rows): the control asks for the texts
// of the rows it shows, and changes to a store reach the control from here.
#pragma once
#include "services/base.h"

#include <commctrl.h>

#include <functional>
#include <vector>

struct liststruct;
struct EntrySelection;

// Makes the control show as many rows as its store holds.
void PublishEntryRows(HWND list);
// Frees every record and the store; call before the control is destroyed.
void DetachEntryRows(HWND list);
// Frees the records of every row, then empties the control.
void DeleteAllEntryRows(HWND list);
// RemoveEntryRecordsWhere, then the control shows what is left.
int DeleteEntryRowsWhere(HWND list, bool (*gone)(const liststruct* record, void* context), void* context);
// Orders the rows by a column (SortEntryRecords); the selection, kept by row number, is cleared.
void SortEntryRows(HWND list, int column, bool descending);

// The user's short date and 24-hour time without seconds, "%s %s".
void MakeDateText(const SYSTEMTIME& date, char* out, size_t outSize);
// The text a row shows in a column (the column numbers of liststruct.h).
void GetEntryColumnText(const liststruct* record, int column, char* out, size_t outSize);
// Answers the control's questions for texts and icons; true when the notification was one
// of an entry list's.
bool HandleEntryListNotify(const NMHDR* header, LRESULT* result);

// Adds the eight columns with their titles from the language library.
void InitEntryListColumns(HWND list);
// Gives the columns the titles of the current language.
void SetEntryListColumnTitles(HWND list);

// The selected rows of a list in order (every row when all are selected, without a message
// per row); on the window's thread.
std::vector<int> SelectedEntryRows(HWND list);
// The focused row when it is selected, else the first selected one; -1 when none is.
int FocusedEntryRow(HWND list);
// The records of the selected rows, a folder's row as every entry below it; on the window's
// thread.
void CopyEntrySelection(HWND list, EntrySelection* out);
// Every entry of the list of every entry that lies below a folder's row, at any depth.
void ForEachEntryBelow(const liststruct* folderRow, const std::function<void(const liststruct*)>& visit);
