// The progress dialog of long operations. A worker thread starts one of the two dialog
// threads, then drives the dialog through these functions while it works and polls
// IsCancelledByUser. The dialog lives on its own thread and message loop, so it keeps
// painting while the worker blocks; the shared state is plain words without locks.
#pragma once
#include "services/base.h"

// The dialog's controls (IDC_PROGRESS_*) are in res/resource.h.
#include "res/resource.h"

// Thread bodies that own the modal dialog (started with StartWorker). The cancellable one
// takes an optional detail text: a kPathBuf buffer that it shows and then empties; nullptr
// shows an empty detail.
DWORD WINAPI ProgressDialogThread(LPVOID initialDetail);
// The dialog without a Cancel button; its parameter must be nullptr.
DWORD WINAPI ProgressDialogNoCancelThread(LPVOID unused);
// Starts the dialog thread of the chosen kind and closes its handle.
void StartProgressDialog(bool withCancel, const char* detail);

// Set once per dialog, minimum first; -1 means not set. Both wait up to 1 s for the dialog.
void SetProgressMinimum(int value);
void SetProgressMaximum(int value);
int GetProgressMinimum();
int GetProgressMaximum();

void ExecuteProgressStep(HWND dialog);
void ExecuteProgressPos(HWND dialog, int position);
// Several steps in one message.
void ExecuteProgressSteps(HWND dialog, int steps);
// -1 when there is no bar.
int GetProgressPos(HWND dialog);
// The running dialog, or nullptr.
HWND GetProgressDialog();

// The title line (the current item; "/" is shown as "\"), the second line and the detail.
void SetProgressTitle(const char* text);
void SetProgressSecondLine(const char* text);
// The line above the bar: how much is done of how much, and how long the rest will take.
void SetProgressFigures(const char* text);
// Stored as pending when no dialog exists yet; applied when it initialises.
void SetProgressDetail(const char* text);
// A bar that moves without a range, for work whose size is not known beforehand; off gives
// the bar back its range. Stored as pending when no dialog exists yet, like the detail.
void SetProgressMarquee(bool on);
bool IsProgressMarquee();

// Whether the dialog is shown at all; when off it exists but stays hidden.
void SetShowProgressDialog(bool show);
bool IsShowProgressDialog();
// Initialised and on screen, or initialised and hidden by the setting: what the range
// setters and the closes wait for.
bool IsProgressDialogReady();
// A dialog exists or its thread is on its way to making one: the worker's close is due.
bool IsProgressDialogStarted();

// Set to 1 by the user's Cancel, cleared when the worker closes the dialog.
int IsCancelledByUser();
// Cancels from code: sets the flag and, when non-zero, closes the dialog.
void CancelProgress(int value);

// Both wait (up to 60 s) for the dialog to be visible, then close it and reset the state
// (flag cleared, no dialog, range -1/-1). The first also waits up to 1 s for the dialog's
// initialisation; the second stops waiting as soon as the user has cancelled.
void CloseProgressDialog();
void CloseProgressDialogAfterCancel();
// The end of a run that drove the dialog: closed by the one of the two that fits; nothing
// for a silent run or a dialog never started.
void CloseRunProgress(bool silent);
