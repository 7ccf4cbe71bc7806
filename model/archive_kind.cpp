#include "services/base.h"
#include "model/archive_kind.h"

namespace {
int g_archiveKind = ARCHIVE_ZIP;
}

int GetArchiveKind() { return g_archiveKind; }
void SetArchiveKind(int kind) { g_archiveKind = kind; }
