// The records behind a list's rows, in row order. Entry lists are virtual list views: the
// records live here and the control asks for the texts of the rows it shows (ui/entry_list),
// so a listing thread can add 100,000 rows without one window message per row. Nothing here
// talks to a window: a list handle only names its store.
#pragma once
#include "services/base.h"

#include <string>
#include <vector>

struct liststruct;
struct NameList;
struct EntryStamp;

// Gives a list its store of rows.
void AttachEntryRows(HWND list);
// Frees every record and the store.
void ReleaseEntryRows(HWND list);
bool HasEntryRows(HWND list);

// Appends a record (the store owns it from now on); returns its row, or -1 without a store.
int AppendEntryRecord(HWND list, liststruct* record);
size_t GetEntryRowCount(HWND list);
liststruct* GetRowRecord(HWND list, int row);
// The row showing the record of that ordinal (liststruct.ordinal), wherever sorting put it;
// -1 when no row has it.
int FindEntryRowOfOrdinal(HWND list, int ordinal);
// The first row from start on (stepping forward or, with step -1, backward, round the end)
// whose name begins with the prefix, case ignored; -1 when none.
int FindEntryRowByPrefix(HWND list, const char* prefix, int start, int step);
// As FindEntryRowByPrefix, but a text with "*" or "?" must match the whole name with those
// as Explorer's wildcards.
int FindEntryRowByName(HWND list, const char* text, int start, int step);
// Removing rows hands their records to the caller, who frees them (FreeListStruct) once
// nothing can ask for their texts any more.
// Empties the store; the next record appended is ordinal 0 again.
std::vector<liststruct*> TakeEntryRecords(HWND list);
// Removes every row whose record gone() picks, in one pass (a row at a time would move the
// rows after it once per removal), into removed; returns the first row removed, -1 when
// none was.
int TakeEntryRecordsWhere(HWND list, bool (*gone)(const liststruct* record, void* context), void* context,
                          std::vector<liststruct*>* removed);
// Orders the records by a column; numbers and dates by value, texts case-insensitively;
// folder rows first.
void SortEntryRecords(HWND list, int column, bool descending);

// Appends a row for an entry to the list's row store and extends the folder list with its
// path. Returns the new row's index, or -1 when the list has no store. The control shows the
// new rows once they are published (ui/entry_list). An encrypted entry is marked in its
// "Encrypted" column.
int InsertEntryRow(HWND list, const EntryStamp& stamp, const char* fileName, const char* fullName,
                   NameList* folderList, uint64_t compressed, uint64_t uncompressed, bool encrypted = false);

// What a run takes of a list, copied on the window's thread before the run starts, so that
// no worker reads the list.
struct EntrySelection {
  std::vector<std::string> names;  // folder part and file name of each chosen row, in row order
  uint64_t bytes = 0;              // their sizes summed
};
void AddEntryToSelection(const liststruct* record, EntrySelection* selection);
