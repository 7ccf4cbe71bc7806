#include "services/base.h"
#include "jobs/overwrite_question.h"

#include "kestrelia_lang.h"
#include "jobs/extract_job.h"
#include "jobs/extract_run.h"
#include "services/long_path.h"
#include "services/progress.h"
#include "services/prompts.h"

#include <cstdio>
#include <cstring>

namespace {

bool Exists(const std::string& path) { return GetFileAttributesW(WidePath(path.c_str()).c_str()) != INVALID_FILE_ATTRIBUTES; }

std::string SizeText(uint64_t size) { return GroupedCount(size) + " " + GetMessageText(KLANG_MSG_BYTES); }

std::string DateText(const SYSTEMTIME& local) {
  char date[64] = "", time[64] = "";
  GetDateFormatA(LOCALE_USER_DEFAULT, DATE_SHORTDATE, &local, nullptr, date, sizeof date);
  GetTimeFormatA(LOCALE_USER_DEFAULT, TIME_NOSECONDS, &local, nullptr, time, sizeof time);
  return std::string(date) + " " + time;
}

std::string ExistingFacts(const char* target) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!GetFileAttributesExW(WidePath(target).c_str(), GetFileExInfoStandard, &data)) return "";
  uint64_t size = (static_cast<uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
  FILETIME local;
  SYSTEMTIME parts;
  std::string facts = SizeText(size);
  if (FileTimeToLocalFileTime(&data.ftLastWriteTime, &local) && FileTimeToSystemTime(&local, &parts))
    facts += ", " + DateText(parts);
  return facts;
}

std::string IncomingFacts(const IncomingFile& incoming) {
  std::string facts = SizeText(incoming.size);
  FILETIME local;
  SYSTEMTIME parts;
  if (incoming.dosDate && DosDateTimeToFileTime(HIWORD(incoming.dosDate), LOWORD(incoming.dosDate), &local) &&
      FileTimeToSystemTime(&local, &parts))
    facts += ", " + DateText(parts);
  return facts;
}

}  // namespace

std::string FreeTargetName(const char* target) {
  std::string path = target;
  size_t folder = path.find_last_of("\\/");
  size_t dot = path.rfind('.');
  // A dot that begins the name (".profile") or lies in a folder is no extension.
  if (dot == std::string::npos || (folder != std::string::npos && dot <= folder + 1) ||
      (folder == std::string::npos && dot == 0))
    dot = path.size();
  std::string stem = path.substr(0, dot), extension = path.substr(dot);
  for (int n = 2;; ++n) {
    std::string candidate = stem + " (" + std::to_string(n) + ")" + extension;
    if (!Exists(candidate)) return candidate;
  }
}

std::string OverwriteQuestionText(const char* target, const IncomingFile& incoming) {
  std::string text = std::string(GetMessageText(KLANG_MSG_OVERWRITE_THE_FILE)) + " " + FullPathForDisplay(target) +
                     " " + GetMessageText(KLANG_MSG_OVERWRITE_EXISTS) + " ?\n\n";
  std::string existing = ExistingFacts(target);
  if (!existing.empty()) text += std::string(GetMessageText(KLANG_MSG_OVERWRITE_EXISTING)) + " " + existing + "\n";
  text += std::string(GetMessageText(KLANG_MSG_OVERWRITE_INCOMING)) + " " + IncomingFacts(incoming);
  return text;
}

ExistingTarget DecideExistingTarget(const char* target, const IncomingFile& incoming, int* mode, std::string* renamed) {
  if (*mode == OVERWRITE_SKIP_ALL) {
    NoteEntrySkipped();
    return EXISTING_SKIP;
  }
  if (*mode != OVERWRITE_ASK) return EXISTING_REPLACE;
  std::string text = OverwriteQuestionText(target, incoming);
  // The progress dialog would stand in front of the question.
  HWND dialog = GetProgressDialog();
  bool hidden = dialog && IsWindowVisible(dialog);
  if (hidden) ShowWindow(dialog, SW_HIDE);
  int answer = PromptOverwrite(GetForegroundWindow(), text.c_str(), GetMessageText(KLANG_MSG_OVERWRITE_TITLE),
                               GetConfirmationDialogText());
  if (hidden) ShowWindow(dialog, SW_SHOW);
  switch (answer) {
    case OVERWRITE_ANSWER_YES:
      return EXISTING_REPLACE;
    case OVERWRITE_ANSWER_YES_ALL:
      *mode = OVERWRITE_ALL;
      return EXISTING_REPLACE;
    case OVERWRITE_ANSWER_NO:
      NoteEntrySkipped();
      return EXISTING_SKIP;
    case OVERWRITE_ANSWER_NO_ALL:
      *mode = OVERWRITE_SKIP_ALL;
      NoteEntrySkipped();
      return EXISTING_SKIP;
    case OVERWRITE_ANSWER_RENAME:
      *renamed = FreeTargetName(target);
      return EXISTING_RENAME;
    default:
      return EXISTING_STOP;
  }
}
