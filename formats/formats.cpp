#include "services/base.h"
#include "formats/formats.h"

#include "kestrelia_lang.h"
#include "model/archive_kind.h"
#include "services/log.h"

#include <cstdio>

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

// The newer compressions of a TAR, and single compressed files, beside the names the classic
// test knows (which it keeps deciding alone, down to its bare "tar" suffix).
bool IsTarFamilyFile(const char* name) {
  static const char* const kSuffixes[] = {".bz2", ".xz", ".txz", ".zst", ".tzst", ".lz4", ".lzma", ".tlz"};
  return IsTarFile(name) || EndsWithAny(name, kSuffixes);
}

// In the order the name tests run: ZIP first, ZIP64 last (it is found by listing, never by
// name). A kind that refuses a content search has its message text; the others search through their stream reader.
ArchiveFormat g_formats[] = {
    {ARCHIVE_ZIP, "ZIP", IsZipFile, '\\', true, nullptr, 0, "*.zip;*.jar;*.war", 143, {}},
    {ARCHIVE_TAR, "TAR", IsTarFamilyFile, '/', false, nullptr, 0,
     "*.tar;*.tgz;*.gz;*.tar.z;*.tar.bz2;*.bz2;*.xz;*.txz;*.zst;*.tzst;*.lz4;*.lzma;*.tlz", 144, {}},
    {ARCHIVE_ISO, "ISO", IsIsoFile, '\\', false, "not supported on iso file", 0, "*.iso;*.nrg", 145, {}},
    {ARCHIVE_RAR, "RAR", IsRarFile, '\\', false, "not supported on rar file", 81, "*.rar", 146, {}},
    {ARCHIVE_ZIP64, "ZIP64", nullptr, '\\', true, "not supported on zip64 file", 101, nullptr, 0, {}},
};

ArchiveFormat* Row(int kind) {
  for (ArchiveFormat& format : g_formats)
    if (format.kind == kind) return &format;
  return nullptr;
}

char SeparatorOf(int kind, const char* who) { return ArchiveFormatOrZip(kind, who)->separator; }

}  // namespace

void InstallKindTable() {
  SetKindSeparatorLookup(SeparatorOf);
  if (!GetArchiveKind()) SetArchiveKind(DefaultArchiveKind());
}

const ArchiveFormat* FindArchiveFormat(int kind) { return Row(kind); }

std::string ArchiveOpenFilter() {
  std::string all, each;
  for (const ArchiveFormat& format : g_formats) {
    // A kind whose plug-in is missing is not offered.
    if (!format.patterns || !format.ops.listing) continue;
    all += (all.empty() ? "" : ";") + std::string(format.patterns);
    each += std::string(GetMessageText(format.descriptionText)) + " (" + format.patterns + ")|" + format.patterns + "|";
  }
  return std::string(GetMessageText(KLANG_MSG_ALL_ARCHIVES)) + "|" + all + "|" + each +
         GetMessageText(KLANG_MSG_ALL_FILES) + " (*.*)|*.*|";
}

const ArchiveFormat* ArchiveFormatOrZip(int kind, const char* who) {
  if (const ArchiveFormat* format = Row(kind)) return format;
  Log(-1, GetVerbose(), "%s no compression method specified - assuming zip!!", who);
  return Row(ARCHIVE_ZIP);
}

void RegisterArchiveOperations(int kind, const ArchiveOperations& ops) {
  if (ArchiveFormat* format = Row(kind)) format->ops = ops;
}

std::unique_ptr<ArchiveReader> OpenArchiveReader(int kind, const char* archive, int* error) {
  const ArchiveFormat* format = Row(kind);
  if (!format || !format->ops.openReader) {
    *error = STREAM_UNSUPPORTED;
    return nullptr;
  }
  *error = 0;
  return format->ops.openReader(archive, error);
}

std::unique_ptr<ArchiveReader> OpenEntryStream(int kind, const char* archive, const char* name, StreamEntry* entry,
                                               int* error) {
  std::unique_ptr<ArchiveReader> reader = OpenArchiveReader(kind, archive, error);
  if (reader && (*error = reader->Find(name, entry)) != 0) reader.reset();
  return reader;
}

bool IsKnownArchiveKind(int kind) { return Row(kind) != nullptr; }

char ArchiveSeparator(int kind) {
  const ArchiveFormat* format = Row(kind);
  return format ? format->separator : '\\';
}

int DefaultArchiveKind() { return ARCHIVE_ZIP; }

const ArchiveFormat* ArchiveWriterFor(const char* archive, bool add, bool fromCommandLine) {
  int kind = add ? DecideArchiveKind(archive) : fromCommandLine ? DefaultArchiveKind() : GetArchiveKindFromName(archive);
  const ArchiveFormat* format = Row(kind);
  const ArchiveOperations* ops = format ? &format->ops : nullptr;
  if (ops && (add ? ops->add : ops->create)) return format;
  const ArchiveFormat* fallback = Row(DefaultArchiveKind());
  return fallback->ops.create ? fallback : nullptr;
}

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
  for (const ArchiveFormat& format : g_formats)
    if (format.matchesName && format.matchesName(name)) return format.kind;
  return 0;
}

bool HasZipSignature(const unsigned char* b, size_t count) {
  return count > 4 && b[0] == 'P' && b[1] == 'K' && (b[2] == 3 || b[2] == 5) && (b[3] == 4 || b[3] == 6);
}

int DecideArchiveKind(const char* path) {
  int kind = GetArchiveKindFromName(path);
  if (kind) return kind;
  unsigned char head[512];
  size_t got = 0;
  if (FILE* f = fopen(path, "rb")) {
    got = fread(head, 1, sizeof head, f);
    fclose(f);
  }
  return HasZipSignature(head, got) ? ARCHIVE_ZIP : 0;
}
