// Long operations: one at a time, each on a worker thread of its own.
//
// The window's thread claims the one operation before it asks the user anything or starts a
// worker, with a single compare-and-swap: a second command that arrives meanwhile (posted at
// the same moment, or dispatched by the first one's folder chooser or password dialog) finds
// the claim taken and is refused. The worker gives the claim back as it ends, before it hands
// its result to the window, so the window's next command (a reload after creation) finds
// it free.
#pragma once
#include "services/base.h"

// What holds the claim. An open holds it from the file chooser until its listing thread ends.
enum HeldOperation { OPERATION_NONE = 0, OPERATION_JOB = 1, OPERATION_OPEN = 2 };

// OPERATION_NONE when the claim was free and now holds what; otherwise what holds it.
int ClaimOperation(int what);
// Frees the claim when what holds it: the end of an open never frees a job's claim, nor the
// other way round.
void ReleaseOperation(int what);
int GetHeldOperation();

// An operation other than an open runs.
inline int IsBusy() { return GetHeldOperation() == OPERATION_JOB; }
inline int IsOpenInProgress() { return GetHeldOperation() == OPERATION_OPEN; }

// Runs body(parameter) on a thread of its own whose handle is closed at once: the body owns
// the parameter and frees it. False (logged under who) when no thread could be had; the
// parameter and any claim then stay the caller's.
bool StartWorker(const char* who, LPTHREAD_START_ROUTINE body, void* parameter);
