// The main window's place on the screen, kept across runs in "WindowPlacement".
#pragma once
#include "services/base.h"

// Stores the window's normal rectangle and whether it is maximised; creates the key when
// needed, so the place is kept even before the first saved configuration.
int SaveWindowPlacement(HWND hwnd);
// Shows the window where it was last saved; a saved place that lies on no monitor, or none
// at all, leaves the window where it is, shown with showCommand (returns 1 then, else 0).
// A minimised start asked for by the caller stays minimised.
int RestoreWindowPlacement(HWND hwnd, int showCommand);
// The width of the folder tree beside its list, in pixels at 96 dpi, kept with the place
// (-1 until one was saved or restored).
void SetPlacementSplitter(int width);
int GetPlacementSplitter();
