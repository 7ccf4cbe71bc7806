// The password dialog: asked when an encrypted archive is read and no password is known yet.
#pragma once
#include "services/base.h"

// Control identifiers IDC_PASSWORD_* (only the OK button's counts as acceptance).
#include "res/resource.h"

// Shows the modal dialog; on OK typed (kPathBuf) receives the typed text (at most 259
// characters). Returns the identifier that ended the dialog: IDC_PASSWORD_OK, IDC_PASSWORD_CANCEL,
// or IDCANCEL for Escape and the close box.
int PasswordDialog(HWND owner, char* typed);
