// ZIP's row of the table of archive kinds (ZIP and ZIP with 64-bit sizes), wired to the
// program's own ZIP engine.
#pragma once
#include "services/base.h"

void RegisterZipFormat();
