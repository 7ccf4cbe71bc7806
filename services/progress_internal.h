// What the progress dialog's own thread and the worker-side functions share, beyond the
// public calls: the steps of the dialog's life that touch the shared state.
#pragma once
#include "services/base.h"

#include "res/resource.h"


// Start of the dialog's initialisation: flag cleared, marked initialising, handle recorded
// (with a complaint when the previous dialog's handle is still there).
void BeginProgressDialogInit(HWND dialog);
// Counts a dialog thread from its start (true) until its dialog registers or it fails (false).
void NoteProgressDialogStarting(bool started);
// The pending detail text and marquee, asked for before the dialog existed.
void ApplyPendingProgressRequests(HWND dialog);
void EndProgressDialogInit();
// The dialog is ending; by the user (Cancel, system close) sets IsCancelledByUser.
void ProgressDialogEnded(HWND dialog, bool byUser);
// The dialog window is going away; forgets its handle if still recorded.
void ProgressDialogDestroyed(HWND dialog);

