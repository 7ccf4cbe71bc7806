#include "services/base.h"
#include "formats/formats.h"

#include "kestrelia_lang.h"
#include "model/archive_kind.h"
#include "services/log.h"

#include <cstdio>
#include <cstring>
#include <vector>

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

// The read-only kinds' suffixes, which want their dot.
bool Is7zFile(const char* name) { return EndsWithNoCase(name, ".7z"); }
bool IsCabFile(const char* name) { return EndsWithNoCase(name, ".cab"); }
bool IsLzhFile(const char* name) {
  static const char* const kSuffixes[] = {".lzh", ".lha"};
  return EndsWithAny(name, kSuffixes);
}
bool IsCpioFile(const char* name) { return EndsWithNoCase(name, ".cpio"); }
bool IsArFile(const char* name) {
  static const char* const kSuffixes[] = {".deb", ".ar", ".a"};
  return EndsWithAny(name, kSuffixes);
}
bool IsRpmFile(const char* name) { return EndsWithNoCase(name, ".rpm"); }

// In the order the name tests run: ZIP first, ZIP64 last (it is found by listing, never by
// name). A kind that refuses a content search has its message text; the others search through their stream reader.
ArchiveFormat g_formats[] = {
    {ARCHIVE_ZIP, "ZIP", IsZipFile, '\\', true, nullptr, 0, "*.zip;*.jar;*.war", 143, {}},
    {ARCHIVE_TAR, "TAR", IsTarFamilyFile, '/', false, nullptr, 0,
     "*.tar;*.tgz;*.gz;*.tar.z;*.tar.bz2;*.bz2;*.xz;*.txz;*.zst;*.tzst;*.lz4;*.lzma;*.tlz", 144, {}},
    {ARCHIVE_ISO, "ISO", IsIsoFile, '\\', false, "not supported on iso file", 0, "*.iso;*.nrg", 145, {}},
    {ARCHIVE_RAR, "RAR", IsRarFile, '\\', false, "not supported on rar file", 0, "*.rar", 146, {}},
    {ARCHIVE_ZIP64, "ZIP64", nullptr, '\\', true, "not supported on zip64 file", 101, nullptr, 0, {}},
    {ARCHIVE_7Z, "7z", Is7zFile, '\\', false, "not supported on 7z file", 0, "*.7z", KLANG_MSG_KIND_7Z, {}},
    {ARCHIVE_CAB, "Cab", IsCabFile, '\\', false, "not supported on cab file", 0, "*.cab", KLANG_MSG_KIND_CAB, {}},
    {ARCHIVE_LZH, "Lzh", IsLzhFile, '\\', false, "not supported on lzh file", 0, "*.lzh;*.lha", KLANG_MSG_KIND_LZH, {}},
    {ARCHIVE_CPIO, "Cpio", IsCpioFile, '\\', false, "not supported on cpio file", 0, "*.cpio", KLANG_MSG_KIND_CPIO, {}},
    {ARCHIVE_AR, "Ar", IsArFile, '\\', false, "not supported on ar file", 0, "*.deb;*.ar;*.a", KLANG_MSG_KIND_AR, {}},
    {ARCHIVE_RPM, "Rpm", IsRpmFile, '\\', false, "not supported on rpm file", 0, "*.rpm", KLANG_MSG_KIND_RPM, {}},
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

namespace {

bool At(const unsigned char* bytes, size_t count, size_t offset, const char* magic, size_t length) {
  return offset + length <= count && memcmp(bytes + offset, magic, length) == 0;
}

// A ZIP appended to a program (a self-extracting archive) ends with its end record; the
// record may be followed by a comment of up to 64 KiB.
bool EndsWithZipDirectory(FILE* f) {
  std::vector<unsigned char> tail(65536 + 22);
  if (_fseeki64(f, 0, SEEK_END) != 0) return false;
  long long size = _ftelli64(f);
  long long from = size > static_cast<long long>(tail.size()) ? size - static_cast<long long>(tail.size()) : 0;
  if (_fseeki64(f, from, SEEK_SET) != 0) return false;
  size_t got = fread(tail.data(), 1, tail.size(), f);
  for (size_t i = got >= 22 ? got - 22 + 1 : 0; i-- > 0;)
    if (At(tail.data(), got, i, "PK\5\6", 4)) return true;
  return false;
}

const char kSevenZipMark[] = "7z\xbc\xaf\x27\x1c";

// A self-extracting 7z program: the archive follows the program, where libarchive's reader
// looks for it (between 0x27000 and 0x60000 bytes in).
bool HoldsSevenZip(FILE* f) {
  constexpr long long kFrom = 0x27000, kTo = 0x60000;
  std::vector<unsigned char> window(static_cast<size_t>(kTo - kFrom) + 6);
  if (_fseeki64(f, kFrom, SEEK_SET) != 0) return false;
  size_t got = fread(window.data(), 1, window.size(), f);
  for (size_t i = 0; i + 6 <= got; i += 1)
    if (window[i] == '7' && At(window.data(), got, i, kSevenZipMark, 6)) return true;
  return false;
}

// The read-only kinds' marks at the start of the file.
int ReadOnlyKindBySignature(const unsigned char* b, size_t got) {
  if (At(b, got, 0, kSevenZipMark, 6)) return ARCHIVE_7Z;
  if (At(b, got, 0, "MSCF\0\0\0\0", 8)) return ARCHIVE_CAB;
  if (At(b, got, 0, "!<arch>\n", 8)) return ARCHIVE_AR;
  if (At(b, got, 0, "\xed\xab\xee\xdb", 4)) return ARCHIVE_RPM;
  if (At(b, got, 0, "07070", 5) && got > 5 && (b[5] == '1' || b[5] == '2' || b[5] == '7')) return ARCHIVE_CPIO;
  if (got >= 2 && ((b[0] == 0xc7 && b[1] == 0x71) || (b[0] == 0x71 && b[1] == 0xc7))) return ARCHIVE_CPIO;
  // An LZH header names its method at 2: "-lh5-", "-lhd-", "-lzs-".
  if (got >= 7 && b[2] == '-' && b[3] == 'l' && (b[4] == 'h' || b[4] == 'z') && b[6] == '-') return ARCHIVE_LZH;
  return 0;
}

// The kind a file's first bytes show. A compressed stream is TAR's: a TAR inside it or a single
// compressed file.
int KindBySignature(FILE* f) {
  std::vector<unsigned char> head(0x8006);
  size_t got = fread(head.data(), 1, head.size(), f);
  const unsigned char* b = head.data();
  if (HasZipSignature(b, got)) return ARCHIVE_ZIP;
  if (At(b, got, 0, "Rar!\x1a\x07", 6)) return ARCHIVE_RAR;
  if (int kind = ReadOnlyKindBySignature(b, got)) return kind;
  if (At(b, got, 257, "ustar", 5) || At(b, got, 0, "\x1f\x8b", 2) || At(b, got, 0, "BZh", 3) ||
      At(b, got, 0, "\xfd" "7zXZ\0", 6) || At(b, got, 0, "\x28\xb5\x2f\xfd", 4) ||
      At(b, got, 0, "\x04\x22\x4d\x18", 4) || At(b, got, 0, "\x1f\x9d", 2))
    return ARCHIVE_TAR;
  if (At(b, got, 0x8001, "CD001", 5)) return ARCHIVE_ISO;
  if (At(b, got, 0, "MZ", 2)) {
    if (EndsWithZipDirectory(f)) return ARCHIVE_ZIP;
    if (HoldsSevenZip(f)) return ARCHIVE_7Z;
  }
  return 0;
}

// TAR, ISO and RAR names decide alone. A ZIP's or a read-only kind's name gives way to the
// mark of another kind at the file's start: a ".zip" that is really 7z opens as 7z.
bool NameDecidesAlone(int kind) { return kind == ARCHIVE_TAR || kind == ARCHIVE_ISO || kind == ARCHIVE_RAR; }

}  // namespace

int DecideArchiveKind(const char* path) {
  int byName = GetArchiveKindFromName(path);
  if (NameDecidesAlone(byName)) return byName;
  FILE* f = fopen(path, "rb");
  if (!f) return byName;
  int kind = KindBySignature(f);
  fclose(f);
  return kind ? kind : byName;
}
