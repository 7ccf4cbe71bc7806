// The main window as an OLE drop target: files dragged from the shell are offered to one
// callback, the same one the WM_DROPFILES road calls.
#pragma once
#include "services/base.h"

#include <vector>

// Every dropped path, in the shell's order.
typedef void (*FileDropProc)(char (*files)[kPathBuf], int count);
// The program's own entries dragged over the window, at a point of the screen: whether they
// may land there; release is set for the drop itself.
typedef bool (*OwnEntriesDropProc)(POINTL screen, bool release);

// Registers the window (OLE must be initialised on this thread). False when OLE refused.
bool RegisterFileDropTarget(HWND window, FileDropProc onDrop, OwnEntriesDropProc onOwnEntries = nullptr);
void RevokeFileDropTarget(HWND window);
// The files of a shell file list, as both roads read them, kPathBuf characters each into
// names; their count.
int DroppedFileNames(HDROP drop, std::vector<char>& names);
