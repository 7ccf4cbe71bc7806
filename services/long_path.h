// Paths for the system's wide calls. The narrow calls go through buffers of MAX_PATH
// characters; the wide ones take longer paths in the "\\?\" form, which the system passes on
// as it is: no "/" turned into "\", no "." or ".." resolved, no relative path.
#pragma once
#include "services/base.h"

#include <string>

// The UTF-8 path as UTF-16; a path too long for MAX_PATH becomes "\\?\" and its full path
// ("\\?\UNC\server\share\..." for a network path). "" when the text is no UTF-8.
std::wstring WidePath(const char* path);
// The "\\?\" form of the full path whatever its length, for a folder below which longer
// paths are joined as wide text ("" when the text is no UTF-8).
std::wstring ExtendedWidePath(const char* path);
// The full path with every "/" turned into "\" (relative paths against the working
// folder), as the user reads a path; the text itself when the system cannot make it whole.
std::string FullPathForDisplay(const char* path);
std::string Utf8FromWide(const wchar_t* text);
// UTF-8 text as UTF-16 for the wide calls; a byte that is no UTF-8 becomes U+FFFD.
std::wstring WideFromUtf8(const char* text);
