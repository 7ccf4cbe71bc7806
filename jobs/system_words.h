// Why the system refused something, in the system's own words: the user reads the same
// sentence Explorer would show for that error, in the system's language, never a generic
// "cannot be written" that hides whether the disk is full or the folder read-only.
#pragma once
#include "services/base.h"

#include <string>

// The system's text for a Win32 error code, without its trailing line break; "error N" when
// the system has none; empty for 0.
std::string SystemErrorText(DWORD error);
// Errors that mean the volume has no room left, whichever call noticed it.
bool IsDiskFullError(DWORD error);
