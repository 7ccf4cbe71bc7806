// The built-in picture viewer: JPEG, PNG, GIF, BMP, ICO and TIFF decoded by the system's
// imaging components, fitted to the window or zoomed, and the archive's other pictures a key
// away.
#pragma once
#include "services/base.h"

#include <string>
#include <vector>

// Where the viewer gets a picture's bytes: an entry of the open archive, or a file.
struct PictureSource {
  std::string archive;              // "" for files on the disk
  int kind;
  std::vector<std::string> names;   // every picture in the list's order (entries or paths)
};

// Names the viewer shows, by their ending.
bool IsPictureName(const char* name);
// Shows names[index] of the source; the window, or null when that picture cannot be shown.
HWND ShowPictureViewer(const PictureSource& source, size_t index);
// The message loop asks first: keys of a picture window are the viewer's (true when taken).
bool TranslatePictureMessage(MSG* message);
