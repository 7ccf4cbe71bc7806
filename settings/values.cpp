#include "services/base.h"
#include "settings/values.h"

#include "settings/options.h"
#include "settings/recent.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr int kDefaultPictureLabelWidth = 160;
constexpr int kDefaultPictureLabelHeight = 120;
constexpr int kDefaultFontPrintSize = 60;

DWORD g_colorMenuHigh = kUnsetDword;
DWORD g_colorMenuLow = kUnsetDword;
DWORD g_colorMenuSelection = kUnsetDword;
DWORD g_viewXY = kUnsetDword;
DWORD g_viewWH = kUnsetDword;
int g_minPicSize = kUnsetNumber;
int g_dragLayered = kUnsetNumber;
int g_skipCRCCheck = kUnsetNumber;
int g_pictureLabelWidth = kDefaultPictureLabelWidth;
int g_pictureLabelHeight = kDefaultPictureLabelHeight;
int g_deleteSimulation = 0;
int g_keepBrokenFiles = 0;
int g_dragAsThread = 0;
int g_displayCompanyLogo = 0;
char g_fontConfiguration[kPathBuf] = "Tahoma";
char g_testMethod[kPathBuf] = "";
char g_jadPath[kPathBuf] = "";
char g_richEdit[kRichEditStringSize] = "";
char g_fontPrint[kPathBuf] = "Arial";
char g_updateAddress[kUpdateAddressBuf] = "";
int g_fontPrintSize = kDefaultFontPrintSize;
int g_noConfiguration = 0;
GradientFillProc g_gradientFill = nullptr;

template <size_t N>
void Copy(char (&to)[N], const char* from) {
  snprintf(to, N, "%s", from ? from : "");
}

}  // namespace

DWORD GetColorMenuHigh() { return g_colorMenuHigh; }
void SetColorMenuHigh(DWORD color) { g_colorMenuHigh = color; }
DWORD GetColorMenuLow() { return g_colorMenuLow; }
void SetColorMenuLow(DWORD color) { g_colorMenuLow = color; }
DWORD GetColorMenuSelection() { return g_colorMenuSelection; }
void SetColorMenuSelection(DWORD color) { g_colorMenuSelection = color; }

DWORD GetViewXY() { return g_viewXY; }
void SetViewXY(DWORD packed) { g_viewXY = packed; }
DWORD GetViewWH() { return g_viewWH; }
void SetViewWH(DWORD packed) { g_viewWH = packed; }

DWORD PackViewXY(int left, int top) {
  return (static_cast<DWORD>(std::max(left, 0)) << 16) + static_cast<DWORD>(std::max(top, 0));
}

DWORD PackViewWH(int width, int height) {
  return (static_cast<DWORD>(width) << 16) + static_cast<DWORD>(height);
}

bool GetViewerRect(RECT* rect) {
  if (g_viewXY == kUnsetDword || g_viewWH == kUnsetDword) return false;
  rect->left = static_cast<LONG>(g_viewXY >> 16);
  rect->top = static_cast<LONG>(g_viewXY & 0xFFFF);
  rect->right = rect->left + static_cast<LONG>(g_viewWH >> 16);
  rect->bottom = rect->top + static_cast<LONG>(g_viewWH & 0xFFFF);
  return true;
}

int GetMinPicSize() { return g_minPicSize; }
void SetMinPicSize(int size) { g_minPicSize = size; }
int GetDragLayered() { return g_dragLayered; }
void SetDragLayered(int alpha) { g_dragLayered = alpha; }
int GetSkipCRCCheck() { return g_skipCRCCheck; }
void SetSkipCRCCheck(int skip) { g_skipCRCCheck = skip; }

void SetPictureLabelWidth(int width) { g_pictureLabelWidth = width; }
void SetPictureLabelHeight(int height) { g_pictureLabelHeight = height; }
int IsKeepBrokenFiles() { return g_keepBrokenFiles; }
void SetKeepBrokenFiles(int on) { g_keepBrokenFiles = on ? 1 : 0; }
int IsDeleteSimulation() { return g_deleteSimulation; }
void SetDeleteSimulation(int on) { g_deleteSimulation = on; }
int IsDragAsThread() { return g_dragAsThread; }
void SetDragAsThread(int on) { g_dragAsThread = on; }
void SetDisplayCompanyLogo(int on) { g_displayCompanyLogo = on; }

const char* GetFontConfiguration() { return g_fontConfiguration; }
void SetFontConfiguration(const char* face) { Copy(g_fontConfiguration, face); }
const char* GetTestMethod() { return g_testMethod; }
void SetTestMethod(const char* method) { Copy(g_testMethod, method); }
const char* GetJadPath() { return g_jadPath; }
void SetJadPath(const char* path) { Copy(g_jadPath, path); }
const char* GetRichEditString() { return g_richEdit; }
void SetRichEditString(const char* text) { Copy(g_richEdit, text); }
const char* GetFontPrint() { return g_fontPrint; }
// The product's web server (the name is reserved for it until it is published; until then
// nothing answers there and the check ends quietly).
const char kDefaultUpdateAddress[] = "http://www.kestrelia.example/version_info.xml";
const char* GetUpdateAddress() { return *g_updateAddress ? g_updateAddress : kDefaultUpdateAddress; }
void SetUpdateAddress(const char* address) { Copy(g_updateAddress, address); }
void SetFontPrint(const char* face) { Copy(g_fontPrint, face); }
int GetFontPrintSize() { return g_fontPrintSize; }
void SetFontPrintSize(int size) { g_fontPrintSize = size; }

int IsNoConfiguration() { return g_noConfiguration; }
void SetNoConfiguration(int on) { g_noConfiguration = on; }

GradientFillProc GetGradientFill() { return g_gradientFill; }
void SetGradientFill(GradientFillProc proc) { g_gradientFill = proc; }

void ResetSettings() {
  ResetOptions();
  g_colorMenuHigh = g_colorMenuLow = g_colorMenuSelection = kUnsetDword;
  g_viewXY = g_viewWH = kUnsetDword;
  g_minPicSize = g_dragLayered = g_skipCRCCheck = kUnsetNumber;
  g_pictureLabelWidth = kDefaultPictureLabelWidth;
  g_pictureLabelHeight = kDefaultPictureLabelHeight;
  g_deleteSimulation = g_dragAsThread = g_displayCompanyLogo = 0;
  Copy(g_fontConfiguration, kDefaultFontConfiguration);
  Copy(g_testMethod, "");
  Copy(g_jadPath, "");
  Copy(g_richEdit, "");
  Copy(g_fontPrint, kDefaultFontPrint);
  Copy(g_updateAddress, "");
  g_fontPrintSize = kDefaultFontPrintSize;
  g_noConfiguration = 0;
  ClearRecentSlots();
}
