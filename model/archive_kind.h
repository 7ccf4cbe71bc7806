// The kind of the archive that is open, one process-wide integer; what each kind is and can
// do is answered by the table in formats/formats.h, which sets the first kind and hands in
// the one question the layers below it ask of the table.
#pragma once
#include "services/base.h"

int GetArchiveKind();
void SetArchiveKind(int kind);

// The separator of a kind's entry names; who names the caller in the log line for a kind
// outside the table.
typedef char (*KindSeparatorLookup)(int kind, const char* who);
void SetKindSeparatorLookup(KindSeparatorLookup lookup);
// The current kind's separator ('\\' while no lookup was handed in).
char CurrentKindSeparator(const char* who);
