#include "services/base.h"
#include "services/external_app.h"

#include "kestrelia_lang.h"
#include "services/log.h"
#include "services/prompts.h"
#include "services/system_libraries.h"
#include "services/worker.h"

#include <objbase.h>
#include <shellapi.h>
#include <shlobj.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

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

bool EndsWith(const char* text, const char* ending) {
  size_t n = strlen(text), m = strlen(ending);
  return n >= m && !_stricmp(text + n - m, ending);
}

// The default value of a key below HKEY_CLASSES_ROOT; the registry's error code.
LONG ReadClassesValue(const char* key, char (&out)[kPathBuf]) {
  LONG size = sizeof out;
  out[0] = '\0';
  return RegQueryValueA(HKEY_CLASSES_ROOT, key, out, &size);
}

void TellCommandFailure(const char* text) {
  PromptMessageBox(GetForegroundWindow(), text, "CreateProcess failure", MB_OK | MB_ICONERROR);
}

// "c:\x\app.exe" args -> the application part expanded; false when it does not fit.
bool ExpandApplication(const char* command, char (&out)[kPathBuf]) {
  DWORD n = ExpandEnvironmentStringsA(command, out, sizeof out);
  if (n == 0 || n > sizeof out) {
    TellCommandFailure("cannot expand application path from registry");
    return false;
  }
  return true;
}

// Vista's own dialog where the system has it.
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
  Log(5, GetVerbose(), "OpenAs: SHOpenWithDialog %s returns 0x%lx", path, static_cast<unsigned long>(result));
  // Cancelled by the user counts as shown; anything else falls back to the registered command.
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
  if (!ShellExecuteExA(&info))
    Log(1, GetVerbose(), "CallApp: cannot open %s (%lu)", path, GetLastError());
  else
    Log(5, GetVerbose(), "CallApp: opened %s", path);
  CoUninitialize();
  free(path);
  return 0;
}

int OpenOnThread(const char* file) {
  char* copy = _strdup(file);
  if (copy && StartWorker("CallApp", OpenWithShellThread, copy)) return 0;
  Log(1, GetVerbose(), "CallApp: cannot start a thread for %s", file);
  free(copy);
  return 1;
}

// A name without an association goes to the program registered for text files.
int OpenAsText(const char* file) {
  char textClass[kPathBuf], key[kPathBuf], command[kPathBuf], application[kPathBuf];
  LONG error = ReadClassesValue(".txt", textClass);
  if (error != ERROR_SUCCESS || !textClass[0]) {
    Log(-1, GetVerbose(), "CallApp: cannot execute: GetStringValue (.txt ) returns error %d\n", static_cast<int>(error));
    // A system that registers the text class without mapping ".txt" to it (Wine does) still
    // has the program for text files under the class's usual name.
    snprintf(textClass, sizeof textClass, "txtfile");
  }
  snprintf(key, sizeof key, "%s\\shell\\open\\command", textClass);
  error = ReadClassesValue(key, command);
  if (error != ERROR_SUCCESS || !command[0]) {
    Log(-1, GetVerbose(), "CallApp: cannot execute: GetStringValue ( %s ) returns error %d\n", key,
        static_cast<int>(error));
    return 0;
  }
  char commandLine[kPathBuf];
  if (!ExpandApplication(command, application)) return 1;
  if (!ShapeCommandLine(application, file, commandLine)) {
    TellCommandFailure("cannot create commandline argument");
    return 1;
  }
  return StartProcess(nullptr, commandLine);
}

}  // namespace

bool IsProgramFile(const char* path) {
  static const char* const kPrograms[] = {".exe", ".com", ".bat", ".cmd", ".scr", ".pif", ".msi"};
  for (const char* ending : kPrograms)
    if (EndsWith(path, ending)) return true;
  return false;
}

bool ShapeCommandLine(const char* command, const char* path, char (&out)[kPathBuf]) {
  std::string shaped = command;
  if (EndsWith(command, "\"%1\"")) {
    shaped.resize(shaped.size() - 4);
    shaped += "\"" + std::string(path) + "\"";
  } else if (EndsWith(command, "%1")) {
    shaped.resize(shaped.size() - 2);
    shaped += path;
  } else if (EndsWith(command, "/e") || EndsWith(command, "/dde")) {
    shaped += " \"" + std::string(path) + "\"";
  } else {
    shaped += path;
  }
  if (shaped.size() >= sizeof out) return false;
  snprintf(out, sizeof out, "%s", shaped.c_str());
  return true;
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
  // Every program file asks, "setup.exe" and "install.exe" too: an archive's installer is as
  // much a stranger's program as any other.
  if (IsProgramFile(file)) {
    char question[2 * kPathBuf + 8];
    snprintf(question, sizeof question, "%s?\n%s", GetMessageText(KLANG_MSG_START_PROGRAM_QUESTION), file);
    if (PromptMessageBox(GetForegroundWindow(), question, "Kestrelia",
                         MB_OKCANCEL | MB_ICONINFORMATION | MB_DEFBUTTON2) != IDOK)
      return 1;
    if (EndsWith(file, ".exe")) {
      char commandLine[kPathBuf + 2];
      snprintf(commandLine, sizeof commandLine, "\"%s\"", file);
      return StartProcess(file, commandLine);
    }
  }
  const char* dot = nullptr;
  for (const char* p = file; *p; ++p) {
    if (*p == '.') dot = p;
    if (*p == '\\') dot = nullptr;
  }
  char association[kPathBuf];
  if (dot && ReadClassesValue(dot, association) == ERROR_SUCCESS && association[0]) return OpenOnThread(file);
  return OpenAsText(file);
}

int OpenAs(const char* path) {
  char file[kPathBuf];
  if (!ResolveExisting(path, file)) {
    Log(1, GetVerbose(), "OpenAs: %s not found", path ? path : "");
    return 1;
  }
  if (OpenWithDialog(file)) return 0;
  char command[kPathBuf], application[kPathBuf];
  LONG error = ReadClassesValue("Unknown\\shell\\openas\\command", command);
  if (error != ERROR_SUCCESS || !command[0]) {
    Log(1, GetVerbose(), "OpenAs: no open-with command (%d)", static_cast<int>(error));
    return 1;
  }
  if (!EndsWith(command, ".exe")) {
    const char* exe = strstr(command, "exe");
    if (exe) command[exe - command + 3] = '\0';
  }
  if (!ExpandApplication(command, application)) return 1;
  char commandLine[kPathBuf];
  if (snprintf(commandLine, sizeof commandLine, "%s \"%s\"", application, file) >= static_cast<int>(sizeof commandLine)) {
    TellCommandFailure("cannot create commandline argument");
    return 1;
  }
  return StartProcess(nullptr, commandLine);
}

bool ProcessJad(const char* jadPath, const char* classFile, std::string& text) {
  text.clear();
  SECURITY_ATTRIBUTES inherit = {sizeof inherit, nullptr, TRUE};
  HANDLE readEnd = nullptr, writeEnd = nullptr, ownRead = nullptr;
  if (!jadPath || !*jadPath || !CreatePipe(&readEnd, &writeEnd, &inherit, 65535)) return false;
  // The child must not hold the end this side reads, or the pipe never ends.
  DuplicateHandle(GetCurrentProcess(), readEnd, GetCurrentProcess(), &ownRead, 0, FALSE, DUPLICATE_SAME_ACCESS);
  CloseHandle(readEnd);
  char line[2 * kPathBuf + 64];
  snprintf(line, sizeof line, "%s -p -t4 -lradix10 -radix10 %s", jadPath, classFile);
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES | STARTF_USESHOWWINDOW;
  startup.wShowWindow = SW_HIDE;
  startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
  startup.hStdOutput = writeEnd;
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION process = {};
  bool started = CreateProcessA(nullptr, line, nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr, nullptr, &startup, &process);
  if (!started) {
    Log(1, GetVerbose(), "ProcessJad: cannot CreateProcess %s err: %lu", line, GetLastError());
  } else {
    Log(5, GetVerbose(), "ProcessJad: CreateProcess was successful %s", line);
    WaitForSingleObject(process.hProcess, 5000);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
  }
  CloseHandle(writeEnd);
  char piece[1024];
  DWORD got = 0;
  while (started && ReadFile(ownRead, piece, sizeof piece, &got, nullptr) && got) text.append(piece, got);
  CloseHandle(ownRead);
  return started;
}
