// The writers, each called at the moment its setting changes; every one opens, writes and
// closes the key at once.
#pragma once
#include "services/base.h"

#include "settings/richedit_font.h"

// The configuration dialog was confirmed: the option word (creating the key the first
// time), the menu colours, the Jad path, the language when the user changed it, and the
// picture size, which is kept when its check box is ticked and removed when it is cleared.
int SaveConfiguration(int languageChanged, int minPicSizeChecked, int minPicSize);
// The language library's current language into "language". When that cannot be written the
// number lands in "configuration" instead, over the option word: a known quirk, kept.
int SaveLanguage();

// The text viewer closed at this rectangle: "ViewXY" and "ViewWH", each unless unset.
int SaveViewerPlacement(const RECT& rect);
// The text viewer's font into "RichEdit" (and the setting).
int SaveRichEditString(const RichEditFont& font);
