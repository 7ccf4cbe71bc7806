// The password dialog: asked when an encrypted archive is read and no password is known yet.
#pragma once
#include "services/base.h"

// Control identifiers IDC_PASSWORD_* (only the OK button's counts as acceptance).
#include "res/resource.h"

#include <string>

// What the next question is for, shown above the box: the archive, the entry (empty: the
// whole archive), and whether the password given before did not fit. Whoever asks sets it.
struct PasswordSubject {
  std::string archive;
  std::string entry;
  bool wrongBefore = false;
};
PasswordSubject& NextPasswordSubject();

// Shows the modal dialog; on OK typed (kPathBuf) receives the typed text (at most 259
// characters). Returns the identifier that ended the dialog: IDC_PASSWORD_OK, IDC_PASSWORD_CANCEL,
// or IDCANCEL for Escape and the close box.
int PasswordDialog(HWND owner, char* typed);
