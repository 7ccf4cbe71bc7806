// Entries leaving the window and files coming in: dragging rows or a tree folder out to the
// shell, the clipboard's copy, cut and paste, and the reading of one entry that the drag, the
// clipboard and the viewers share.
#pragma once
#include "services/base.h"

#include "ui/entry_data_object.h"

#include <string>
#include <vector>

// A stream over one entry of an archive of the given kind, from its first byte, read through
// the kind's reader as the stream is read (a wrong password or damage fails the read, never
// gives wrong bytes). A kind without a reader writes the entry to the temporary folder first,
// with the password given ("" for none). S_OK with *out set.
HRESULT OpenEntryIStream(const char* archive, int kind, const char* entry, const char* password, IStream** out);
// Reads a whole entry into memory, at most limit bytes; false when it could not be read or
// is larger.
bool ReadEntryBytes(const char* archive, int kind, const char* entry, size_t limit, std::string& bytes);

// The source of a data object: the archive as it is now, read with the password given.
EntrySource* NewArchiveEntrySource(const char* archive, int kind, const char* password);

// The rows of a list as transfer entries. Each keeps its path below base ("docs\\" when the
// folder list of "docs" shows it; "" keeps the whole path). A subfolder's row stands for every
// row of fullList below it, and lands as the folder with what it holds.
std::vector<TransferEntry> TransferEntriesOfRows(HWND list, const std::vector<int>& rows, const char* base,
                                                 HWND fullList);
// Every row of the full list below a tree folder ("docs\\img\\"), which lands as the folder
// "img" with what it holds.
std::vector<TransferEntry> TransferEntriesBelowFolder(HWND list, const char* folder);

// What the user picked up in the window: the entries and the open archive they belong to.
// The password is asked for first when the archive is encrypted and none is known; null
// when there is nothing to transfer or the user cancelled.
IDataObject* MakeWindowDataObject(const std::vector<TransferEntry>& entries, DWORD preferredEffect);

// Drags the entries out (DoDragDrop with a drag image; Escape cancels). On a thread of its
// own when "DragAsThread" is set. Returns the effect a target performed on the calling
// thread's drag (DROPEFFECT_NONE otherwise).
DWORD DragEntriesOut(const std::vector<TransferEntry>& entries, HWND dragImageFrom);

// The clipboard: the entries as files (cut: the move effect, deleted from the archive after a
// target reports a finished paste through onPasted).
bool CopyEntriesToClipboard(const std::vector<TransferEntry>& entries, bool cut, PasteReportProc onPasted);
// The files on the clipboard (a shell file list), kPathBuf characters each; empty when the
// clipboard holds none or only this program's own entries.
std::vector<std::string> ClipboardFileNames();
// Empties the clipboard when it still holds this program's entries (the archive they read
// from may go away with the program).
void ReleaseOwnClipboard();
