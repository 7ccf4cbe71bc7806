// Whether a newer release exists: the check at start (quiet unless there is news) and the
// one the user asks for from the Help menu (which always says what it found).
#pragma once
#include "services/base.h"

enum UpdateOutcome {
  UPDATE_NOT_RUN,          // the user turned the check off
  UPDATE_DOWNLOAD_FAILED,  // the document could not be fetched
  UPDATE_NO_XML_LIBRARY,   // xml.dll is missing: nothing is said
  UPDATE_NOT_READ,         // the document is not XML
  UPDATE_NONE,             // no newer release (or its date is not accepted)
  UPDATE_OFFERED,          // the update dialog told of a newer release
};

// The update dialog's end code when the user confirmed the download of a fetched document.
constexpr INT_PTR kUpdateConfirmed = 55551;

// What the check shows and starts; tests put their own in place.
struct UpdateCheckHooks {
  // The update dialog with the message; fetched says a document came (the news of a newer
  // release rather than the failure to learn it). Returns the dialog's end code.
  INT_PTR (*dialog)(HWND owner, const char* message, bool fetched);
  // The shell's open of the download address.
  void (*openAddress)(HWND owner, const char* address);
};
UpdateCheckHooks& GetUpdateCheckHooks();
void ResetUpdateCheckHooks();

// The check on the calling thread; owner is the main window, manual is non-zero for the
// user's request.
UpdateOutcome CheckForUpdate(HWND owner, int manual);
// The check on a thread of its own.
void StartUpdateCheck(HWND owner, int manual);
