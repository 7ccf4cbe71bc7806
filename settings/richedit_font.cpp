#include "services/base.h"
#include "settings/richedit_font.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int kFields = 15;
constexpr int kQuality = 4;  // the viewer always asks for this rendering quality

// Fields 2 to 14 are the LOGFONT numbers in their declared order, 15 the colour.
void StoreNumber(RichEditFont* f, int field, int value) {
  LOGFONTA& l = f->font;
  BYTE byte = static_cast<BYTE>(value);
  switch (field) {
    case 2: l.lfHeight = value; break;
    case 3: l.lfWidth = value; break;
    case 4: l.lfEscapement = value; break;
    case 5: l.lfOrientation = value; break;
    case 6: l.lfWeight = value; break;
    case 7: l.lfItalic = byte; break;
    case 8: l.lfUnderline = byte; break;
    case 9: l.lfStrikeOut = byte; break;
    case 10: l.lfCharSet = byte; break;
    case 11: l.lfOutPrecision = byte; break;
    case 12: l.lfClipPrecision = byte; break;
    case 13: l.lfQuality = byte; break;
    case 14: l.lfPitchAndFamily = byte; break;
    case 15: f->color = static_cast<COLORREF>(value); break;
    default: break;
  }
}

}  // namespace

void FormatRichEditString(const RichEditFont& f, char* out, size_t outSize) {
  const LOGFONTA& l = f.font;
  char face[LF_FACESIZE];
  snprintf(face, sizeof face, "%s", l.lfFaceName);
  snprintf(out, outSize, "%s|%d|%d|%d|%d|%d|%d|%d|%d|%d|%d|%d|%d|%d|%d|", face, static_cast<int>(l.lfHeight),
           static_cast<int>(l.lfWidth), static_cast<int>(l.lfEscapement), static_cast<int>(l.lfOrientation),
           static_cast<int>(l.lfWeight), l.lfItalic, l.lfUnderline, l.lfStrikeOut, l.lfCharSet, l.lfOutPrecision,
           l.lfClipPrecision, l.lfQuality, l.lfPitchAndFamily, static_cast<int>(f.color));
}

int ParseRichEditString(const char* text, RichEditFont* f) {
  memset(f, 0, sizeof *f);
  if (!text || !*text) return 0;
  int field = 0;
  const char* start = text;
  while (*start && field < kFields) {
    const char* end = strchr(start, '|');
    size_t length = end ? static_cast<size_t>(end - start) : strlen(start);
    ++field;
    if (field == 1) {
      size_t keep = length < LF_FACESIZE - 1 ? length : LF_FACESIZE - 1;
      memcpy(f->font.lfFaceName, start, keep);
      f->font.lfFaceName[keep] = '\0';
    } else {
      StoreNumber(f, field, atoi(start));
    }
    if (!end) break;
    start = end + 1;
  }
  return field;
}

void RichEditFontFromCharFormat(const CHARFORMATA& format, int dpiY, RichEditFont* f) {
  memset(f, 0, sizeof *f);
  snprintf(f->font.lfFaceName, sizeof f->font.lfFaceName, "%s", format.szFaceName);
  f->font.lfHeight = -MulDiv(format.yHeight, dpiY, 1440);
  f->font.lfWeight = (format.dwEffects & CFE_BOLD) ? FW_BOLD : 0;
  f->font.lfItalic = (format.dwEffects & CFE_ITALIC) ? 1 : 0;
  f->font.lfUnderline = (format.dwEffects & CFE_UNDERLINE) ? 1 : 0;
  f->font.lfStrikeOut = (format.dwEffects & CFE_STRIKEOUT) ? 1 : 0;
  f->font.lfCharSet = format.bCharSet;
  f->font.lfQuality = kQuality;
  f->font.lfPitchAndFamily = format.bPitchAndFamily;
  f->color = format.crTextColor;
}

void CharFormatFromRichEditFont(const RichEditFont& f, int dpiY, CHARFORMATA* format) {
  memset(format, 0, sizeof *format);
  format->cbSize = sizeof *format;
  format->dwMask = CFM_FACE | CFM_SIZE | CFM_BOLD | CFM_ITALIC | CFM_UNDERLINE | CFM_STRIKEOUT | CFM_CHARSET | CFM_COLOR;
  snprintf(format->szFaceName, sizeof format->szFaceName, "%s", f.font.lfFaceName);
  LONG height = f.font.lfHeight < 0 ? -f.font.lfHeight : f.font.lfHeight;
  format->yHeight = dpiY > 0 ? MulDiv(height, 1440, dpiY) : 0;
  LONG weight = f.font.lfWeight;
  if (weight == FW_SEMIBOLD || weight == FW_BOLD || weight == FW_EXTRABOLD) format->dwEffects |= CFE_BOLD;
  if (f.font.lfItalic) format->dwEffects |= CFE_ITALIC;
  if (f.font.lfUnderline) format->dwEffects |= CFE_UNDERLINE;
  if (f.font.lfStrikeOut) format->dwEffects |= CFE_STRIKEOUT;
  format->bCharSet = f.font.lfCharSet;
  format->bPitchAndFamily = f.font.lfPitchAndFamily;
  format->crTextColor = f.color;
}
