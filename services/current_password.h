// The password the user gave for the open archive: asked once, then used by every entry of
// every run until another archive is opened.
#pragma once
#include "services/base.h"

const char* GetCurrentPassword();
void SetCurrentPassword(const char* password);
