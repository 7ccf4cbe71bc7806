#include "services/base.h"
#include "model/archive_kind.h"

namespace {
int g_archiveKind;
KindSeparatorLookup g_separator;
}  // namespace

int GetArchiveKind() { return g_archiveKind; }
void SetArchiveKind(int kind) { g_archiveKind = kind; }

void SetKindSeparatorLookup(KindSeparatorLookup lookup) { g_separator = lookup; }
char CurrentKindSeparator(const char* who) { return g_separator ? g_separator(g_archiveKind, who) : '\\'; }
