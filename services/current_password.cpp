#include "services/base.h"
#include "services/current_password.h"

#include <cstdio>

namespace {
char g_password[kPathBuf] = "";
}  // namespace

const char* GetCurrentPassword() { return g_password; }
void SetCurrentPassword(const char* password) { snprintf(g_password, sizeof g_password, "%s", password ? password : ""); }
