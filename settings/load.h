// The one read of the registry at start-up.
#pragma once
#include "services/base.h"

// Fills every setting from the registry. Without a saved "configuration" nothing else is
// read (not even the machine-wide switches) and 1 is returned; 0 otherwise. The menu
// gradient function is looked up either way. main owns whatever the load opens.
int LoadSettings(HWND main);
