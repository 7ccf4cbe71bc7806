// Help > About: the program's name and version and the libraries it is built on.
#pragma once
#include "services/base.h"

#include <string>

#include "services/version.h"

void ShowAboutDialog(HWND owner);
// One line per library: "name version (licence)", lines ending in "\r\n".
std::string GetLibrariesText();
