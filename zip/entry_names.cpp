#include "services/base.h"
#include "zip/entry_names.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

// Code page 437 above 0x7F, as DOS showed it.
const uint16_t kCp437High[128] = {
    0x00C7, 0x00FC, 0x00E9, 0x00E2, 0x00E4, 0x00E0, 0x00E5, 0x00E7, 0x00EA, 0x00EB, 0x00E8, 0x00EF, 0x00EE,
    0x00EC, 0x00C4, 0x00C5, 0x00C9, 0x00E6, 0x00C6, 0x00F4, 0x00F6, 0x00F2, 0x00FB, 0x00F9, 0x00FF, 0x00D6,
    0x00DC, 0x00A2, 0x00A3, 0x00A5, 0x20A7, 0x0192, 0x00E1, 0x00ED, 0x00F3, 0x00FA, 0x00F1, 0x00D1, 0x00AA,
    0x00BA, 0x00BF, 0x2310, 0x00AC, 0x00BD, 0x00BC, 0x00A1, 0x00AB, 0x00BB, 0x2591, 0x2592, 0x2593, 0x2502,
    0x2524, 0x2561, 0x2562, 0x2556, 0x2555, 0x2563, 0x2551, 0x2557, 0x255D, 0x255C, 0x255B, 0x2510, 0x2514,
    0x2534, 0x252C, 0x251C, 0x2500, 0x253C, 0x255E, 0x255F, 0x255A, 0x2554, 0x2569, 0x2566, 0x2560, 0x2550,
    0x256C, 0x2567, 0x2568, 0x2564, 0x2565, 0x2559, 0x2558, 0x2552, 0x2553, 0x256B, 0x256A, 0x2518, 0x250C,
    0x2588, 0x2584, 0x258C, 0x2590, 0x2580, 0x03B1, 0x00DF, 0x0393, 0x03C0, 0x03A3, 0x03C3, 0x00B5, 0x03C4,
    0x03A6, 0x0398, 0x03A9, 0x03B4, 0x221E, 0x03C6, 0x03B5, 0x2229, 0x2261, 0x00B1, 0x2265, 0x2264, 0x2320,
    0x2321, 0x00F7, 0x2248, 0x00B0, 0x2219, 0x00B7, 0x221A, 0x207F, 0x00B2, 0x25A0, 0x00A0,
};

constexpr uint16_t kUnicodePathTag = 0x7075;
// The host system of "version made by" for Unix.
constexpr unsigned long kHostUnix = 3;
// Names are at most 65535 bytes: the length field has 16 bits.
constexpr size_t kMaxStoredName = 65535;

void AppendUtf8(std::string* out, uint32_t c) {
  if (c < 0x80) {
    *out += static_cast<char>(c);
  } else if (c < 0x800) {
    *out += static_cast<char>(0xC0 | (c >> 6));
    *out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    *out += static_cast<char>(0xE0 | (c >> 12));
    *out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    *out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

void FromCp437(const char* stored, size_t length, std::string* out) {
  out->clear();
  for (size_t i = 0; i < length; ++i) {
    unsigned char c = static_cast<unsigned char>(stored[i]);
    AppendUtf8(out, c < 0x80 ? c : kCp437High[c - 0x80]);
  }
}

uint16_t Le16(const char* p) {
  return static_cast<uint16_t>(static_cast<unsigned char>(p[0]) | static_cast<unsigned char>(p[1]) << 8);
}

uint32_t Le32(const char* p) { return Le16(p) | static_cast<uint32_t>(Le16(p + 2)) << 16; }

bool HasExtraTag(const char* extra, size_t extraLength, uint16_t wanted) {
  for (size_t at = 0; at + 4 <= extraLength; at += 4u + Le16(extra + at + 2))
    if (Le16(extra + at) == wanted) return true;
  return false;
}

// The Unicode Path field's name when the field is whole, of version 1, made for exactly
// these stored bytes (a tool that renamed the entry without knowing the field leaves a stale
// one behind) and valid UTF-8.
bool UnicodePathName(const char* stored, size_t length, const char* extra, size_t extraLength, std::string* out) {
  size_t at = 0;
  while (extra && at + 4 <= extraLength) {
    uint16_t tag = Le16(extra + at), size = Le16(extra + at + 2);
    const char* body = extra + at + 4;
    if (at + 4 + size > extraLength) return false;
    if (tag == kUnicodePathTag && size >= 5 && body[0] == 1) {
      uint32_t crc = static_cast<uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(stored), static_cast<uInt>(length)));
      const char* name = body + 5;
      size_t nameLength = size - 5u;
      if (Le32(body + 1) != crc || !IsValidUtf8(name, nameLength)) return false;
      out->assign(name, strnlen(name, nameLength));
      return true;
    }
    at += 4u + size;
  }
  return false;
}

}  // namespace

bool IsPlainAscii(const char* text, size_t length) {
  for (size_t i = 0; i < length; ++i)
    if (static_cast<unsigned char>(text[i]) >= 0x80) return false;
  return true;
}

bool IsValidUtf8(const char* text, size_t length) {
  const unsigned char* p = reinterpret_cast<const unsigned char*>(text);
  for (size_t i = 0; i < length;) {
    unsigned char c = p[i];
    size_t more;
    uint32_t min, code;
    if (c < 0x80) {
      ++i;
      continue;
    } else if (c >= 0xC2 && c <= 0xDF) {
      more = 1, min = 0x80, code = c & 0x1F;
    } else if (c >= 0xE0 && c <= 0xEF) {
      more = 2, min = 0x800, code = c & 0x0F;
    } else if (c >= 0xF0 && c <= 0xF4) {
      more = 3, min = 0x10000, code = c & 0x07;
    } else {
      return false;
    }
    if (i + more >= length) return false;
    for (size_t k = 1; k <= more; ++k) {
      if ((p[i + k] & 0xC0) != 0x80) return false;
      code = code << 6 | (p[i + k] & 0x3F);
    }
    // Overlong forms, surrogates and values past U+10FFFF are not text.
    if (code < min || (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF) return false;
    i += more + 1;
  }
  return true;
}

std::string ZipEntryDisplayName(const char* stored, size_t storedLength, unsigned long flag,
                                unsigned long versionMadeBy, const char* extra, size_t extraLength) {
  std::string name;
  storedLength = strnlen(stored, storedLength);
  bool utf8 = IsPlainAscii(stored, storedLength) || IsValidUtf8(stored, storedLength);
  if (flag & kZipUtf8NameFlag) {
    if (utf8) name.assign(stored, storedLength);
    else FromCp437(stored, storedLength, &name);
  } else if (!UnicodePathName(stored, storedLength, extra, extraLength, &name)) {
    if (utf8 && (versionMadeBy >> 8) == kHostUnix) name.assign(stored, storedLength);
    else FromCp437(stored, storedLength, &name);
  }
  return name;
}

int ReadCurrentEntryName(unzFile zip, unz_file_info64* info, std::string* name) {
  // The extra field comes in the same read as the name: the header is parsed once, and a
  // plain ASCII name may still be the "?" stand-ins of a tool whose code page lacked the
  // letters, with the real name only in the Unicode Path field.
  thread_local char stored[kMaxStoredName + 1];
  thread_local char extra[kMaxStoredName];
  int result = unzGetCurrentFileInfo64(zip, info, stored, kMaxStoredName, extra, sizeof extra, nullptr, 0);
  if (result != UNZ_OK) {
    name->clear();
    return result;
  }
  size_t length = info->size_filename < kMaxStoredName ? static_cast<size_t>(info->size_filename) : kMaxStoredName;
  length = strnlen(stored, length);
  size_t extraLength = info->flag & kZipUtf8NameFlag ? 0 : std::min<size_t>(info->size_file_extra, sizeof extra);
  if (IsPlainAscii(stored, length) && !HasExtraTag(extra, extraLength, kUnicodePathTag)) {
    name->assign(stored, length);
    return UNZ_OK;
  }
  *name = ZipEntryDisplayName(stored, length, info->flag, info->version, extra, extraLength);
  return UNZ_OK;
}

int LocateEntryByDisplayName(unzFile zip, const char* name) {
  std::string wanted = name ? name : "";
  for (char& c : wanted)
    if (c == '\\') c = '/';
  std::string entry;
  for (int error = unzGoToFirstFile(zip); error == UNZ_OK; error = unzGoToNextFile(zip)) {
    unz_file_info64 info;
    if (ReadCurrentEntryName(zip, &info, &entry) != UNZ_OK || entry.size() != wanted.size()) continue;
    for (char& c : entry)
      if (c == '\\') c = '/';
    if (entry == wanted) return UNZ_OK;
  }
  return UNZ_END_OF_LIST_OF_FILE;
}
