// The built-in text viewer: an entry's text in a read-only rich edit control of a window of
// its own, with find, a font that can be kept, its place kept across runs, and printing.
#pragma once
#include "services/base.h"

#include <objidl.h>

#include <string>

// Names the viewer shows by their ending (texts, sources, settings, markup).
bool IsTextName(const char* name);
// Shows the text a stream holds (the viewer takes a reference and reads it as the control
// fills, a piece at a time, so a large entry never sits in memory twice). title names the
// entry. The window, or null when it could not be made.
HWND ShowTextViewer(IStream* text, const char* title);
// The text of a string, for the program's own texts (the source a class file was turned into).
HWND ShowTextViewerText(const std::string& text, const char* title);
// The message loop asks first: keys of a viewer window are the viewer's (true when taken).
bool TranslateViewerMessage(MSG* message);
