// The archive types opened by this program for the current user alone: keys under
// HKEY_CURRENT_USER\Software\Classes, which need no elevation and override the machine's
// classes for this user only. Taking a type over remembers what opened it before, and giving
// it back restores exactly that.
#pragma once
#include "services/base.h"

// The class every type points at, the same the installer registers machine-wide.
constexpr char kArchiveClass[] = "ZipFile";

// Whether the type (".zip") opens with this program's class for the current user.
bool IsUserAssociated(const char* extension);
// Points the type at the class, which opens program ("%s" "%1") with its first icon. 0 or 1.
int AssociateForUser(const char* extension, const char* program);
// Gives the type back to the class it had before (or none), and removes the class once no
// type of this program's uses it, when it was this program's to begin with. 0 or 1.
int UnassociateForUser(const char* extension);
