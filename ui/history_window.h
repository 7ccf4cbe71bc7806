// The history of extractions as a window: the items newest first, and what a person does with
// one (extract it again, open the folder it went to, delete it) or with all (clear).
#pragma once
#include "services/base.h"

// Modal over owner; shows an empty list while the history is off. extract starts the
// extraction of an archive again, once the window has closed.
void ShowHistoryWindow(HWND owner, void (*extract)(const char* archive));
