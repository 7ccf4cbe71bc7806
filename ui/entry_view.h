// Viewing an entry of the open archive from the window, through its kind's view operation.
#pragma once
#include "services/base.h"

#include <string>

// Views the entry of the current view's focused (else first selected) row: writes it to the
// temporary folder and opens it with its program, or with the user's choice when openWith
// is set. 0 when the entry was handed on.
int ViewSelectedEntry(int openWith);

// The properties of the entry of a list's focused (else first selected) row: what its row
// shows and what its kind's record adds (method, CRC, attributes, comment). False when that
// row is no entry's (none is selected, or it is a folder's).
bool ShowEntryProperties(HWND list);
// The archive's comment, as its kind keeps it; "" when it has none or its kind keeps none.
std::string ReadArchiveComment();
