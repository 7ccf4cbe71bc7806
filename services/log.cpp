#include "services/base.h"
#include "services/log.h"

#include <shlobj.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <io.h>
#include <string>

namespace {

// Plain words read by every thread without a lock: set at start-up, read afterwards.
int g_verbose = 0;
int g_printToLogFile = 0;
int g_debugConsole = 0;

FILE* g_logFile = nullptr;
bool g_logFileTried = false;
char g_logFileName[kPathBuf] = "";
CRITICAL_SECTION g_openLock;
bool g_openLockReady = [] { InitializeCriticalSection(&g_openLock); return true; }();

FILE* LogFile() {
  if (g_logFile || g_logFileTried) return g_logFile;
  // Two threads logging their first line at once must not create two files.
  EnterCriticalSection(&g_openLock);
  if (!g_logFile && !g_logFileTried) {
    char program[MAX_PATH] = "";
    GetModuleFileNameA(nullptr, program, MAX_PATH);
    MakeLogFileName(program, time(nullptr), g_logFileName, sizeof g_logFileName);
    g_logFile = fopen(g_logFileName, "wb");
    g_logFileTried = true;
  }
  LeaveCriticalSection(&g_openLock);
  return g_logFile;
}

// Formats once, so each stream gets the whole message in one write.
std::string Format(const char* format, va_list args) {
  char small[1024];
  va_list copy;
  va_copy(copy, args);
  int n = vsnprintf(small, sizeof small, format, copy);
  va_end(copy);
  if (n < 0) return std::string();
  if (n < static_cast<int>(sizeof small)) return std::string(small, n);
  std::string big(static_cast<size_t>(n) + 1, '\0');
  vsnprintf(&big[0], big.size(), format, args);
  big.resize(n);
  return big;
}

void WriteLine(const std::string& text) {
  std::string out = text + "\n";
  fwrite(out.data(), 1, out.size(), stdout);
  if (!g_printToLogFile) return;
  if (FILE* f = LogFile()) {
    std::string line = text + "\r\n";
    fwrite(line.data(), 1, line.size(), f);
    fflush(f);
  }
}

}  // namespace

int Log(int level, int verbosity, const char* format, ...) {
  // The level test comes first: comparisons log at levels 8 and 9 on every step.
  if (level >= verbosity && level != -1) return 0;
  va_list args;
  va_start(args, format);
  std::string text = Format(format, args);
  va_end(args);
  WriteLine(text);
  return 0;
}

void SetVerbose(int level) {
  printf("Setting verbose to level: %d\n", level);
  g_verbose = level;
}

int GetVerbose() { return g_verbose; }
void SetPrintToLogFile(int on) { g_printToLogFile = on ? 1 : 0; }
int IsPrintToLogFile() { return g_printToLogFile; }
int IsDebugConsole() { return g_debugConsole; }

void OpenDebugConsole(int on) {
  if (!on) return;
  g_debugConsole = 1;
  AllocConsole();
  HANDLE out = GetStdHandle(STD_OUTPUT_HANDLE);
  int fd = _open_osfhandle(reinterpret_cast<intptr_t>(out), _O_TEXT);
  if (fd != -1) {
    if (FILE* f = _fdopen(fd, "w")) {
      *stdout = *f;
      setvbuf(stdout, nullptr, _IONBF, 0);
    }
  }
  printf("writing to console output\n");
}

void MakeLogFileName(const char* programPath, time_t start, char* out, size_t outSize) {
  char base[kPathBuf];
  snprintf(base, sizeof base, "%s", programPath ? programPath : "");
  if (char* dot = strrchr(base, '.')) *dot = '\0';
  char stamp[32];
  struct tm local;
  localtime_s(&local, &start);
  strftime(stamp, sizeof stamp, "%Y%m%d_%H%M%S", &local);
  snprintf(out, outSize, "%s_log_%s.txt", base, stamp);
}

const char* GetLogFileName() { return g_logFileName; }

void CloseLogFile() {
  if (g_logFile) fclose(g_logFile);
  g_logFile = nullptr;
  g_logFileTried = false;
  g_logFileName[0] = '\0';
}

int GetUserAppDataDirectory(char* out, size_t outSize) {
  char appData[MAX_PATH];
  if (FAILED(SHGetFolderPathA(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, appData)))
    return 0;
  snprintf(out, outSize, "%s\\%s", appData, "Kestrelia");
  return 1;
}

BOOL CheckExistenceUserAppDataDirectory() {
  char dir[kPathBuf];
  if (!GetUserAppDataDirectory(dir, sizeof dir)) return FALSE;
  DWORD attributes = GetFileAttributesA(dir);
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    printf("CheckExistenceUserAppDataDirectory error: %lu\n", GetLastError());
    return FALSE;
  }
  return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}
