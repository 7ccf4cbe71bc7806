// The question before an extraction replaces a file that is there already: one question for
// every kind, naming the file by its whole path and setting the two files' sizes and dates
// side by side.
#pragma once
#include "services/base.h"

#include <cstdint>
#include <string>

// The overwrite question's answers, in the order of GetConfirmationDialogText's labels.
enum OverwriteAnswer {
  OVERWRITE_ANSWER_YES = 0,
  OVERWRITE_ANSWER_YES_ALL = 1,
  OVERWRITE_ANSWER_NO = 2,
  OVERWRITE_ANSWER_CANCEL = 3,
  OVERWRITE_ANSWER_NO_ALL = 4,
  OVERWRITE_ANSWER_RENAME = 5,
};

enum ExistingTarget {
  EXISTING_REPLACE,  // write over it
  EXISTING_SKIP,     // leave it, go on with the next entry
  EXISTING_RENAME,   // write the entry beside it under a free name
  EXISTING_STOP,     // end the run
};

// What the archive would put in the existing file's place.
struct IncomingFile {
  uint64_t size;
  unsigned long dosDate;  // local date and time, 0 when unknown
};

// Decides about an existing target by the run's OverwriteMode, asking while it is
// OVERWRITE_ASK (the answers "to all" set the mode for the rest of the run). With
// EXISTING_RENAME, *renamed holds the free name to write instead, in target's own form
// (relative stays relative).
ExistingTarget DecideExistingTarget(const char* target, const IncomingFile& incoming, int* mode,
                                    std::string* renamed);

// The first free name of the form "name (2).txt", "name (3).txt", ... beside target.
std::string FreeTargetName(const char* target);

// The question's text: the whole path with "\" and both files' sizes and dates.
std::string OverwriteQuestionText(const char* target, const IncomingFile& incoming);
