// The configuration dialog: every option of the option word and the settings beside it, on
// tabs. OK writes them all through SaveConfiguration; Cancel leaves everything as it was.
#pragma once
#include "services/base.h"

// What OK changed that the window must apply at once.
struct ConfigurationChanges {
  bool language;
  bool menuStyle;  // the modern menu style or its colours
  bool history;    // the history switched on or off
  bool historyPassword;
};

// The actions of the dialog's buttons that reach beyond the settings.
struct ConfigurationActions {
  void (*checkNow)(HWND owner);      // look for a new version now
  void (*clearHistory)(HWND owner);  // empty the history of extractions
};

// true when OK was pressed (and *changes filled), false for Cancel.
bool ShowConfigurationDialog(HWND owner, const ConfigurationActions& actions, ConfigurationChanges* changes);

// "RRGGBB" of a colour (R first, as people write colours), "" for the unset -1; and back:
// false for a text that is neither empty nor six hex digits.
void FormatMenuColor(DWORD color, char* out, size_t size);
bool ParseMenuColor(const char* text, DWORD* color);
