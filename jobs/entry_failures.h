// Entries an operation over an archive could not handle, each with its reason: extraction,
// testing and viewing collect them as they go (each one logged at once) and tell the user in
// one message at the end, never one box per entry: a damaged archive may hold thousands.
#pragma once
#include "services/base.h"

#include <string>
#include <vector>

// Why an entry failed; each reason is a numbered text of the language library.
enum EntryFailureReason {
  FAILURE_UNSAFE_NAME = 104,
  FAILURE_CRC = 105,
  FAILURE_DATA_ERROR = 106,
  FAILURE_OVERRUN = 107,         // it inflates past the size it declares
  FAILURE_TRUNCATED = 108,       // its data ends before the size it declares
  FAILURE_METHOD = 109,          // a compression method nothing here decodes; detail: its name
  FAILURE_ENCRYPTION = 110,      // an encryption nothing here decrypts
  FAILURE_WRONG_PASSWORD = 111,
  FAILURE_NAME_TOO_LONG = 112,   // the destination cannot take the whole path
  FAILURE_OVERLAP = 113,         // its data lies inside another entry's (a zip bomb)
  FAILURE_TOO_LARGE = 114,       // too large to be read into memory
  FAILURE_WRITE = 115,           // detail: the system's words, shown alone
  FAILURE_AUTHENTICATION = 116,  // an AES entry whose authentication code does not match
};
// The heading of the message of an extraction run.
constexpr int kEntryFailuresHeading = 103;

struct EntryFailure {
  std::string name;    // the entry's display name
  int reason;          // EntryFailureReason
  std::string detail;  // what the reason's text is followed by (a method's name), or empty
};

struct EntryFailures {
  std::vector<EntryFailure> items;
};

// Records a failure and logs it with caller as the first word.
void AddEntryFailure(EntryFailures* failures, const char* caller, const char* name, int reason,
                     const char* detail = nullptr);
// "reason" or "reason: detail" in the current language.
std::string EntryFailureReasonText(const EntryFailure& failure);
// The one message: the heading, then "name - reason" for the first 25 failures, then how
// many more there were. Empty when there is none.
std::string EntryFailuresText(const EntryFailures& failures, const char* heading);
// Shows that message as a warning box (nothing when there is no failure).
void ReportEntryFailures(const EntryFailures& failures, HWND owner, const char* heading);
