#include "services/base.h"
#include "services/long_path.h"

#include <vector>

namespace {

std::wstring Wide(const char* text) {
  int length = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text, -1, nullptr, 0);
  if (length <= 0) return std::wstring();
  std::wstring out(static_cast<size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text, -1, &out[0], length);
  out.resize(static_cast<size_t>(length - 1));
  return out;
}

// The full path through the wide call, which has no MAX_PATH limit.
std::wstring FullWide(const std::wstring& path) {
  DWORD length = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
  if (!length) return path;
  std::vector<wchar_t> full(length + 1);
  DWORD written = GetFullPathNameW(path.c_str(), length + 1, full.data(), nullptr);
  if (!written || written > length) return path;
  return std::wstring(full.data(), written);
}

bool HasLongPrefix(const std::wstring& path) { return path.compare(0, 4, L"\\\\?\\") == 0; }

}  // namespace

std::string Utf8FromWide(const wchar_t* text) {
  int length = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  if (length <= 0) return std::string();
  std::string out(static_cast<size_t>(length), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, -1, &out[0], length, nullptr, nullptr);
  out.resize(static_cast<size_t>(length - 1));
  return out;
}

namespace {

std::wstring Extended(const std::wstring& wide) {
  if (wide.empty() || HasLongPrefix(wide)) return wide;
  std::wstring full = FullWide(wide);
  if (full.compare(0, 2, L"\\\\") == 0) return L"\\\\?\\UNC\\" + full.substr(2);
  return L"\\\\?\\" + full;
}

}  // namespace

std::wstring WideFromUtf8(const char* text) {
  int length = MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
  if (length <= 0) return std::wstring();
  std::wstring out(static_cast<size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text, -1, &out[0], length);
  out.resize(static_cast<size_t>(length - 1));
  return out;
}

std::wstring WidePath(const char* path) {
  std::wstring wide = Wide(path ? path : "");
  // A folder to be made in the path takes 12 characters more than a file (room for an 8.3 name).
  if (wide.size() < MAX_PATH - 12) return wide;
  return Extended(wide);
}

std::wstring ExtendedWidePath(const char* path) { return Extended(Wide(path ? path : "")); }

std::string FullPathForDisplay(const char* path) {
  std::wstring wide = Wide(path ? path : "");
  if (wide.empty()) return path ? path : "";
  if (HasLongPrefix(wide)) wide.erase(0, 4);
  for (wchar_t& c : wide)
    if (c == L'/') c = L'\\';
  return Utf8FromWide(FullWide(wide).c_str());
}
