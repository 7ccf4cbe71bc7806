#include "services/base.h"
#include "jobs/entry_name_safety.h"

#include <cstdio>
#include <cstring>

namespace {

bool IsSeparator(char c) { return c == '/' || c == '\\'; }

char Upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

bool SameNoCase(const char* a, size_t length, const char* b) {
  if (strlen(b) != length) return false;
  for (size_t i = 0; i < length; ++i)
    if (Upper(a[i]) != b[i]) return false;
  return true;
}

// Windows resolves these names to devices in every folder, whatever extension follows.
// The superscript digits (U+00B9, U+00B2, U+00B3, two bytes each in UTF-8) count as digits
// there too.
bool IsDeviceName(const char* base, size_t length) {
  static const char* const kPlain[] = {"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$", "CLOCK$"};
  for (const char* device : kPlain)
    if (SameNoCase(base, length, device)) return true;
  if (length != 4 && length != 5) return false;
  if (!SameNoCase(base, 3, "COM") && !SameNoCase(base, 3, "LPT")) return false;
  unsigned char digit = static_cast<unsigned char>(base[3]);
  if (length == 4) return digit >= '0' && digit <= '9';
  unsigned char second = static_cast<unsigned char>(base[4]);
  return digit == 0xC2 && (second == 0xB9 || second == 0xB2 || second == 0xB3);
}

// The device test looks at the part before the first dot, without the spaces Windows
// drops there ("con .txt" is the console too).
bool ComponentIsDevice(const char* component, size_t length) {
  size_t base = 0;
  while (base < length && component[base] != '.') ++base;
  while (base > 0 && component[base - 1] == ' ') --base;
  return IsDeviceName(component, base);
}

int Verdict(int verdict, const char* text, const char* component, size_t length, char* reason, size_t size) {
  if (reason && size) {
    if (component)
      snprintf(reason, size, "%s: \"%.*s\"", text, static_cast<int>(length), component);
    else
      snprintf(reason, size, "%s", text);
  }
  return verdict;
}

int JudgeComponent(const char* c, size_t length, char* reason, size_t size) {
  if (length == 0) return ENTRY_NAME_OK;
  if (length == 1 && c[0] == '.') return ENTRY_NAME_OK;
  if (length == 2 && c[0] == '.' && c[1] == '.')
    return Verdict(ENTRY_NAME_PARENT, "parent folder component", c, length, reason, size);
  // Stripping would make "a." overwrite "a" and "..." climb like ".."; refusing is the
  // only answer that writes what the archive names.
  if (c[length - 1] == '.' || c[length - 1] == ' ')
    return Verdict(ENTRY_NAME_TRAILING, "component ends in a dot or space", c, length, reason, size);
  if (ComponentIsDevice(c, length))
    return Verdict(ENTRY_NAME_DEVICE, "reserved device name", c, length, reason, size);
  return ENTRY_NAME_OK;
}

}  // namespace

int JudgeEntryName(const char* name, char* reason, size_t reasonSize) {
  if (reason && reasonSize) reason[0] = 0;
  if (!name || !*name) return Verdict(ENTRY_NAME_EMPTY, "empty name", nullptr, 0, reason, reasonSize);
  if (IsSeparator(name[0]))
    return Verdict(ENTRY_NAME_ABSOLUTE, "absolute name", nullptr, 0, reason, reasonSize);
  for (const char* p = name; *p; ++p) {
    unsigned char c = static_cast<unsigned char>(*p);
    if (c < 32 || c == 127)
      return Verdict(ENTRY_NAME_CONTROL, "control character", nullptr, 0, reason, reasonSize);
    if (c == ':')
      return Verdict(ENTRY_NAME_COLON, "drive letter or stream name", nullptr, 0, reason, reasonSize);
    if (strchr("<>\"|?*", c))
      return Verdict(ENTRY_NAME_RESERVED_CHAR, "character Windows does not allow", nullptr, 0, reason,
                     reasonSize);
  }
  const char* start = name;
  for (const char* p = name;; ++p) {
    if (*p && !IsSeparator(*p)) continue;
    int verdict = JudgeComponent(start, static_cast<size_t>(p - start), reason, reasonSize);
    if (verdict) return verdict;
    if (!*p) break;
    start = p + 1;
  }
  return ENTRY_NAME_OK;
}
