#include "services/base.h"
#include "model/archive_kind.h"

namespace {
int g_archiveKind = ARCHIVE_ZIP;
}

int GetArchiveKind() { return g_archiveKind; }
void SetArchiveKind(int kind) { g_archiveKind = kind; }
bool IsKnownArchiveKind(int kind) { return kind >= ARCHIVE_ZIP && kind <= ARCHIVE_ZIP64; }
char ArchiveSeparator(int kind) { return kind == ARCHIVE_TAR ? '/' : '\\'; }

namespace {

bool EndsWithNoCase(const char* name, const char* suffix) {
  if (!name) return false;
  char lower[kPathBuf];
  size_t n = 0;
  for (; name[n] && n < kPathBuf - 1; ++n) {
    char c = name[n];
    lower[n] = (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c;
  }
  lower[n] = '\0';
  size_t s = 0;
  while (suffix[s]) ++s;
  if (s > n) return false;
  for (size_t i = 0; i < s; ++i)
    if (lower[n - s + i] != suffix[i]) return false;
  return true;
}

template <size_t N>
bool EndsWithAny(const char* name, const char* const (&suffixes)[N]) {
  for (const char* s : suffixes)
    if (EndsWithNoCase(name, s)) return true;
  return false;
}

}  // namespace

bool IsZipFile(const char* name) {
  static const char* const kSuffixes[] = {".zip", ".jar", ".war"};
  return EndsWithAny(name, kSuffixes);
}

bool IsTarFile(const char* name) {
  static const char* const kSuffixes[] = {"tar", ".gz", "tgz", "tar.gz", "tar.z", "tar.bz2"};
  return EndsWithAny(name, kSuffixes);
}

bool IsIsoFile(const char* name) {
  static const char* const kSuffixes[] = {"iso", "nrg"};
  return EndsWithAny(name, kSuffixes);
}

bool IsRarFile(const char* name) {
  static const char* const kSuffixes[] = {"rar"};
  return EndsWithAny(name, kSuffixes);
}

int GetArchiveKindFromName(const char* name) {
  if (IsZipFile(name)) return ARCHIVE_ZIP;
  if (IsTarFile(name)) return ARCHIVE_TAR;
  if (IsIsoFile(name)) return ARCHIVE_ISO;
  if (IsRarFile(name)) return ARCHIVE_RAR;
  return 0;
}

bool HasZipSignature(const unsigned char* b, size_t count) {
  return count > 4 && b[0] == 'P' && b[1] == 'K' && (b[2] == 3 || b[2] == 5) && (b[3] == 4 || b[3] == 6);
}
