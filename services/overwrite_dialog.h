// The overwrite question of an extraction: more answers than a message box has.
#pragma once
#include "services/base.h"

// Button identifiers IDC_OVERWRITE_*; the answer is the identifier minus IDC_OVERWRITE_FIRST.
#include "res/resource.h"

// Shows the question modally. labels holds up to six captions in answer order separated by
// '\n' (an answer without a caption gets no button). Returns the answer of the button
// pressed (its place in labels), -1 when the dialog was closed (Escape or the close box).
int OverwriteDialog(HWND owner, const char* text, const char* title, const char* labels);
