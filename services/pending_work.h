// Work that goes on after its starter returned (a run on its worker thread), as the window
// sees it: each holds a node in one index from its start until its completion event is set.
// A small thread per node waits on the event and removes the node; while the index holds any
// node, one more thread repaints the status bar once a second, so what the runs write there
// from their threads shows without waiting for the window's next paint.
#pragma once
#include "services/base.h"

#include <cstddef>

// The node's number (never 0); 0 when no thread could be had, and nothing is pending then.
// The event stays the caller's: the index waits on a copy of its handle.
int AddPendingWork(HANDLE done);
size_t CountPendingWork();
// The status bar's repaint, called on the repaint thread; null: nothing is repainted.
void SetPendingWorkRepaint(void (*repaint)());
// The repaint thread runs: from the first node until the index is empty again.
bool IsPendingWorkRepaintRunning();
