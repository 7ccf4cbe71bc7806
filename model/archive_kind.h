// The kind of the archive that is open, one process-wide integer; what each kind is and can
// do is answered by the table in formats/formats.h.
#pragma once
#include "services/base.h"

#include "formats/formats.h"

int GetArchiveKind();
void SetArchiveKind(int kind);
