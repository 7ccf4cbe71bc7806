#include "services/base.h"
#include "jobs/entry_failures.h"

#include "kestrelia_lang.h"
#include "services/log.h"
#include "services/prompts.h"

namespace {

// Failures beyond this many are counted, not listed: the box must fit on the screen.
constexpr size_t kListedFailures = 25;

}  // namespace

void AddEntryFailure(EntryFailures* failures, const char* caller, const char* name, int reason, const char* detail) {
  EntryFailure failure = {name ? name : "", reason, detail ? detail : ""};
  Log(-1, GetVerbose(), "%s: entry \"%s\" failed: %s", caller ? caller : "", failure.name.c_str(),
      EntryFailureReasonText(failure).c_str());
  if (failures) failures->items.push_back(std::move(failure));
}

std::string EntryFailureReasonText(const EntryFailure& failure) {
  // The system's own words say it all; "cannot be written" before them would add nothing.
  if (failure.reason == FAILURE_WRITE && !failure.detail.empty()) return failure.detail;
  std::string text = GetMessageText(failure.reason);
  if (!failure.detail.empty()) text += ": " + failure.detail;
  return text;
}

std::string EntryFailuresText(const EntryFailures& failures, const char* heading) {
  if (failures.items.empty()) return std::string();
  std::string text = heading ? heading : "";
  text += "\n";
  size_t listed = 0;
  for (const EntryFailure& failure : failures.items) {
    if (listed++ == kListedFailures) break;
    text += "\n" + failure.name + " - " + EntryFailureReasonText(failure);
  }
  if (failures.items.size() > kListedFailures)
    text += "\n... (" + std::to_string(failures.items.size() - kListedFailures) + ")";
  return text;
}

void ReportEntryFailures(const EntryFailures& failures, HWND owner, const char* heading) {
  std::string text = EntryFailuresText(failures, heading);
  if (text.empty()) return;
  PromptMessageBox(owner, text.c_str(), GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONWARNING);
}
