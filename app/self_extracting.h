// Self-extracting programs from the window: the command that turns the open archive into
// one, and the program that follows a creation run when the option asks for it.
#pragma once
#include "services/base.h"

// The open archive's kind can make a self-extracting program.
bool CanMakeSelfExtracting();
// File > Make self-extracting archive, and the list's context menu.
void CmdSelfExtracting();
// Called on a creation's worker once the archive is written: with the option
// CreateSelfExecutable set, the archive also becomes a self-extracting program.
void SelfExtractingAfterCreation(const char* archive);
