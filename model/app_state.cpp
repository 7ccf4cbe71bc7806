#include "services/base.h"
#include "model/app_state.h"

#include <cstdio>
#include <cstdlib>

namespace {
ArchiveControlBlock* g_current = nullptr;
ArchiveControlBlock* g_second = nullptr;
int g_busy2 = 0;
int g_simulation = 0;
char g_archivePath[kPathBuf] = "";
int g_archiveEncrypted = 0;
HWND g_mainWindow = nullptr;
HWND g_statusBar = nullptr;
HWND g_modelessDialog = nullptr;
HINSTANCE g_instance = nullptr;
DWORD g_storedError = 0;
}  // namespace

bool AllocateControlBlocks() {
  if (!g_current) g_current = static_cast<ArchiveControlBlock*>(calloc(1, sizeof(ArchiveControlBlock)));
  if (!g_second) g_second = static_cast<ArchiveControlBlock*>(calloc(1, sizeof(ArchiveControlBlock)));
  return g_current && g_second;
}

ArchiveControlBlock* GetCurrentControlBlock() { return g_current; }

int IsBusy2() { return g_busy2; }
void SetBusy2(int on) { g_busy2 = on; }
int GetSimulationFlag() { return g_simulation; }
void SetSimulationFlag(int on) { g_simulation = on; }

const char* GetCurrentArchivePath() { return g_archivePath; }
void SetCurrentArchivePath(const char* path) { snprintf(g_archivePath, sizeof g_archivePath, "%s", path ? path : ""); }

int IsArchiveEncrypted() { return g_archiveEncrypted; }
void SetArchiveEncrypted(int on) { g_archiveEncrypted = on; }

HWND GetCurrentModelessDialog() { return g_modelessDialog; }
void SetCurrentModelessDialog(HWND dialog) { g_modelessDialog = dialog; }

HWND GetMainWindowHandle() { return g_mainWindow; }
void SetMainWindowHandle(HWND hwnd) { g_mainWindow = hwnd; }
HWND GetStatusBarHandle() { return g_statusBar; }
void SetStatusBarHandle(HWND hwnd) { g_statusBar = hwnd; }
HINSTANCE GetAppInstance() { return g_instance; }
void SetAppInstance(HINSTANCE instance) { g_instance = instance; }

DWORD GetStoredSystemError() { return g_storedError; }
void SetStoredSystemError(DWORD error) { g_storedError = error; }
