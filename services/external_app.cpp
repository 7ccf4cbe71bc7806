#include "services/base.h"
#include "services/external_app.h"

#include "kestrelia_lang.h"
#include "services/log.h"
#include "services/prompts.h"
#include "services/system_libraries.h"

#include <objbase.h>
#include <shellapi.h>
#include <shlobj.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

bool FileExists(const char* path) {
  DWORD attributes = GetFileAttributesA(path);
  return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

// The path as given, else with its environment variables expanded; false when neither names
// a file.
bool ResolveExisting(const char* path, char (&out)[kPathBuf]) {
  snprintf(out, sizeof out, "%s", path ? path : "");
  if (FileExists(out)) return true;
  char expanded[kPathBuf];
  DWORD n = ExpandEnvironmentStringsA(out, expanded, sizeof expanded);
  if (n == 0 || n > sizeof expanded || !FileExists(expanded)) return false;
  snprintf(out, sizeof out, "%s", expanded);
  return true;
}

// Vista's own dialog where the system has it; older systems and Wine answer through
// rundll32's entry point for the same choice.
typedef struct {
  LPCWSTR pcszFile;
  LPCWSTR pcszClass;
  int oaifInFlags;
} OpenAsInfo;
constexpr int kOpenAsAllowRegistration = 0x1, kOpenAsExec = 0x4;

bool OpenWithDialog(const char* path) {
  Shell32::SHOpenWithDialogFn dialog = Shell32::SHOpenWithDialog();
  if (!dialog) return false;
  wchar_t wide[kPathBuf];
  if (!MultiByteToWideChar(CP_ACP, 0, path, -1, wide, kPathBuf)) return false;
  OpenAsInfo info = {wide, nullptr, kOpenAsAllowRegistration | kOpenAsExec};
  HRESULT result = dialog(GetForegroundWindow(), &info);
  Log(5, GetVerbose(), "CallApp: SHOpenWithDialog %s returns 0x%lx", path, static_cast<unsigned long>(result));
  // Cancelled by the user counts as shown; anything else falls back to rundll32.
  return SUCCEEDED(result) || result == HRESULT_FROM_WIN32(ERROR_CANCELLED);
}

DWORD WINAPI OpenWithShellThread(LPVOID parameter) {
  char* path = static_cast<char*>(parameter);
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
  SHELLEXECUTEINFOA info = {};
  info.cbSize = sizeof info;
  info.fMask = SEE_MASK_FLAG_NO_UI | SEE_MASK_NOASYNC;
  info.lpVerb = "open";
  info.lpFile = path;
  info.nShow = SW_SHOWNORMAL;
  if (!ShellExecuteExA(&info)) {
    DWORD error = GetLastError();
    Log(1, GetVerbose(), "OpenWithShellThread: cannot open %s (%lu)", path, error);
    // No program is associated with the name: let the user choose one.
    if (error == ERROR_NO_ASSOCIATION || reinterpret_cast<INT_PTR>(info.hInstApp) == SE_ERR_NOASSOC) CallApp(path);
  } else {
    Log(5, GetVerbose(), "OpenWithShellThread: opened %s", path);
  }
  CoUninitialize();
  free(path);
  return 0;
}

}  // namespace

bool IsProgramFile(const char* path) {
  static const char* const kPrograms[] = {".exe", ".com", ".bat", ".cmd", ".scr", ".pif", ".msi"};
  size_t length = strlen(path);
  for (const char* ending : kPrograms) {
    size_t n = strlen(ending);
    if (length >= n && !_stricmp(path + length - n, ending)) return true;
  }
  return false;
}

int StartProcess(const char* application, char* commandLine) {
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  if (!CreateProcessA(application, commandLine, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process)) {
    DWORD error = GetLastError();
    char text[3 * kPathBuf];
    snprintf(text, sizeof text, "error creating process\n%s\n%s\n#error: %d %d", application ? application : "",
             commandLine ? commandLine : "", static_cast<int>(error), 0);
    PromptMessageBox(GetForegroundWindow(), text, "CreateProcess failed", MB_OK | MB_ICONERROR);
    return 1;
  }
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return 0;
}

int CallApp(const char* path) {
  char file[kPathBuf];
  if (!ResolveExisting(path, file)) {
    Log(1, GetVerbose(), "CallApp: %s not found", path ? path : "");
    return 1;
  }
  if (OpenWithDialog(file)) return 0;
  char system[kPathBuf], rundll[kPathBuf], commandLine[3 * kPathBuf];
  if (!GetSystemDirectoryA(system, sizeof system)) snprintf(system, sizeof system, "c:\\windows\\system32");
  snprintf(rundll, sizeof rundll, "%s\\rundll32.exe", system);
  int n = snprintf(commandLine, sizeof commandLine, "\"%s\" shell32.dll,OpenAs_RunDLL %s", rundll, file);
  if (n < 0 || n >= static_cast<int>(sizeof commandLine)) {
    PromptMessageBox(GetForegroundWindow(), "cannot create commandline argument", "CreateProcess failure",
                     MB_OK | MB_ICONERROR);
    return 1;
  }
  return StartProcess(rundll, commandLine);
}

int OpenWithShell(const char* path) {
  char file[kPathBuf];
  if (!ResolveExisting(path, file)) {
    Log(1, GetVerbose(), "OpenWithShell: %s not found", path ? path : "");
    return 1;
  }
  if (IsProgramFile(file)) {
    char question[2 * kPathBuf + 8];
    snprintf(question, sizeof question, "%s?\n%s", GetMessageText(75), file);
    if (PromptMessageBox(GetForegroundWindow(), question, "Kestrelia",
                         MB_OKCANCEL | MB_ICONINFORMATION | MB_DEFBUTTON2) != IDOK)
      return 1;
  }
  char* copy = _strdup(file);
  HANDLE thread = copy ? CreateThread(nullptr, 0, OpenWithShellThread, copy, 0, nullptr) : nullptr;
  if (!thread) {
    Log(1, GetVerbose(), "OpenWithShell: cannot start a thread for %s", file);
    free(copy);
    return 1;
  }
  CloseHandle(thread);
  return 0;
}
