#include "services/base.h"
#include "jobs/system_words.h"

#include <cstdio>

std::string SystemErrorText(DWORD error) {
  if (!error) return std::string();
  // The wide form: the narrow one converts through the process code page, and a text the
  // system keeps in another script would come out as question marks.
  wchar_t wide[512];
  DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0, wide,
                                sizeof wide / sizeof wide[0], nullptr);
  while (length && (wide[length - 1] == L'\n' || wide[length - 1] == L'\r' || wide[length - 1] == L' ')) --length;
  char text[1536];
  int bytes = length ? WideCharToMultiByte(CP_UTF8, 0, wide, static_cast<int>(length), text, sizeof text, nullptr,
                                           nullptr)
                     : 0;
  if (bytes <= 0) bytes = snprintf(text, sizeof text, "error %lu", static_cast<unsigned long>(error));
  return std::string(text, static_cast<size_t>(bytes));
}

bool IsDiskFullError(DWORD error) { return error == ERROR_DISK_FULL || error == ERROR_HANDLE_DISK_FULL; }
