// The overwrite question of an extraction: four answers instead of a message box's three.
#pragma once
#include "services/base.h"

// Button identifiers IDC_OVERWRITE_*; the answer is the identifier minus IDC_OVERWRITE_FIRST.
#include "res/resource.h"

// Shows the question modally. labels holds the four captions separated by '\n' (a missing
// caption leaves its button empty). Returns 0..3 for the button pressed, -1 when the dialog
// was closed (Escape or the close box).
int OverwriteDialog(HWND owner, const char* text, const char* title, const char* labels);
