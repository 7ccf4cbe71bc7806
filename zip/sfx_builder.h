// Turns a ZIP archive into a self-extracting program: the stub this program carries (resource
// IDR_EXE 129 of its own module) is written to the target, and the archive goes into the
// target's resources behind a four-byte header (RT_RCDATA 111: 0x11, 0x01 when sealed with a
// password, else zeros) as 131,072-byte pieces numbered 112 and up.
#pragma once
#include "services/base.h"

struct SfxBuildJob {
  char archive[kPathBuf];   // the archive to embed: a temporary copy, deleted by the builder
  char password[kPathBuf];  // "" for none
  int encrypt;              // seal the archive with the password
  int error;                // set when the final resource commit fails
  HWND owner;               // of the boxes
  int showProgress;         // the builder runs the progress dialog once the target is known
};

enum SfxBuildResult { SFX_BUILD_OK = 0, SFX_BUILD_CANCELLED = 1, SFX_BUILD_FAILED = 2 };

constexpr WORD kSfxStubId = 129;
constexpr WORD kSfxHeaderId = 111;

// Asks for the target with the save dialog first.
int BuildSelfExtractingAsk(SfxBuildJob* job);
// The target given by the caller.
int BuildSelfExtracting(SfxBuildJob* job, const char* target);

// The ZIP kind's operation for the window: the builder with the save dialog and its progress
// dialog, on a copy of the archive (the builder deletes what it embeds). SFX_BUILD_*.
int MakeSelfExtractingProgram(const char* archive, const char* password, HWND owner);
