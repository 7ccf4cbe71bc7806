// The text viewer's font as it is kept in "RichEdit": the face name and the LOGFONT numbers,
// then the text colour, each field closed by "|".
#pragma once
#include "services/base.h"

#include <richedit.h>

struct RichEditFont {
  LOGFONTA font;
  COLORREF color;
};

// "face|height|width|...|pitch and family|colour|" into out (kRichEditStringSize bytes).
void FormatRichEditString(const RichEditFont& font, char* out, size_t outSize);
// Fields that are missing stay 0; returns how many fields the text had (at most 15).
int ParseRichEditString(const char* text, RichEditFont* font);

// Between the rich edit control's character format and the stored font; dpiY is the
// screen's vertical resolution, which turns twips into pixel heights and back.
void RichEditFontFromCharFormat(const CHARFORMATA& format, int dpiY, RichEditFont* font);
void CharFormatFromRichEditFont(const RichEditFont& font, int dpiY, CHARFORMATA* format);
