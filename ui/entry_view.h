// Viewing an entry of the open archive from the window, through its kind's view operation.
#pragma once
#include "services/base.h"

// Views the entry of the current view's focused (else first selected) row: writes it to the
// temporary folder and opens it with its program, or with the user's choice when openWith
// is set. 0 when the entry was handed on.
int ViewSelectedEntry(int openWith);
