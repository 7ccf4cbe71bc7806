// The records behind a list view's rows. Entry lists are virtual list views: the records
// live here in row order and the control asks for the texts of the rows it shows, so a
// listing thread can add 100,000 rows without one window message per row.
#pragma once
#include "services/base.h"

#include <commctrl.h>

struct liststruct;

// Gives a list view (created with LVS_OWNERDATA) its store of rows.
void AttachEntryRows(HWND list);
// Frees every record and the store; call before the control is destroyed.
void DetachEntryRows(HWND list);
bool HasEntryRows(HWND list);

// Appends a record (the store owns it from now on); returns its row, or -1 without a store.
int AppendEntryRecord(HWND list, liststruct* record);
// Makes the control show as many rows as the store holds.
void PublishEntryRows(HWND list);
size_t GetEntryRowCount(HWND list);
liststruct* GetRowRecord(HWND list, int row);
// The row showing the record of that ordinal (liststruct.ordinal), wherever sorting put it;
// -1 when no row has it.
int FindEntryRowOfOrdinal(HWND list, int ordinal);
// The first row from start on (stepping forward or, with step -1, backward, round the end)
// whose name begins with the prefix, case ignored; -1 when none.
int FindEntryRowByPrefix(HWND list, const char* prefix, int start, int step);
// Frees the records of every row, then empties the control.
void DeleteAllEntryRows(HWND list);
// Removes one row and frees its record.
void DeleteEntryRow(HWND list, int row);
// Removes every row whose record gone() picks, in one pass (a row at a time would move the
// rows after it once per removal), and frees their records; returns the first row removed,
// -1 when none was.
int DeleteEntryRowsWhere(HWND list, bool (*gone)(const liststruct* record, void* context), void* context);

// The text a row shows in a column (the column numbers of liststruct.h).
void GetEntryColumnText(const liststruct* record, int column, char* out, size_t outSize);
// Answers the control's questions for texts and icons; true when the notification was one
// of an entry list's.
bool HandleEntryListNotify(const NMHDR* header, LRESULT* result);
// Orders the rows by a column; numbers and dates by value, texts case-insensitively.
void SortEntryRows(HWND list, int column, bool descending);
