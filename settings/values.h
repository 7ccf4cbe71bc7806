// Every setting besides the option word: a process-wide value with a getter and a setter,
// filled once by LoadSettings and changed by whoever owns the setting.
#pragma once
#include "services/base.h"

// The "unset" state of the numbers kept in HKEY_CURRENT_USER: all bits set.
constexpr DWORD kUnsetDword = 0xFFFFFFFF;
constexpr int kUnsetNumber = -1;

// Menu colours, kUnsetDword while unset.
DWORD GetColorMenuHigh();
void SetColorMenuHigh(DWORD color);
DWORD GetColorMenuLow();
void SetColorMenuLow(DWORD color);
DWORD GetColorMenuSelection();
void SetColorMenuSelection(DWORD color);

// The text viewer's placement, packed: left << 16 | top, and width << 16 | height.
DWORD GetViewXY();
void SetViewXY(DWORD packed);
DWORD GetViewWH();
void SetViewWH(DWORD packed);
// Negative edges count as 0.
DWORD PackViewXY(int left, int top);
DWORD PackViewWH(int width, int height);
// The viewer's rectangle from the packed values; false while either is unset.
bool GetViewerRect(RECT* rect);

int GetMinPicSize();  // kUnsetNumber while unset
void SetMinPicSize(int size);
int GetDragLayered();  // 0..255 alpha of the drag image; kUnsetNumber while unset
void SetDragLayered(int alpha);
int GetSkipCRCCheck();  // above 0: no CRC pass before a file is added
void SetSkipCRCCheck(int skip);

// Switches set by hand in HKEY_LOCAL_MACHINE.
void SetPictureLabelWidth(int width);
void SetPictureLabelHeight(int height);
// Off by default: a damaged entry's file is removed, not left under its name half right.
int IsKeepBrokenFiles();
void SetKeepBrokenFiles(int on);
int IsDeleteSimulation();
void SetDeleteSimulation(int on);
int IsDragAsThread();
void SetDragAsThread(int on);
void SetDisplayCompanyLogo(int on);

// Strings, each in a fixed buffer (kPathBuf, the RichEdit string 256 bytes); longer texts are cut.
constexpr int kRichEditStringSize = 256;
constexpr char kDefaultFontConfiguration[] = "Tahoma";
constexpr char kDefaultFontPrint[] = "Arial";
const char* GetFontConfiguration();  // dialog font face, "Tahoma" by default
void SetFontConfiguration(const char* face);
const char* GetTestMethod();  // the method the Ctrl+5 test hook calls
void SetTestMethod(const char* method);
const char* GetJadPath();
void SetJadPath(const char* path);
const char* GetRichEditString();
void SetRichEditString(const char* text);
// Where the update check fetches the release document; the product's server unless set.
constexpr int kUpdateAddressBuf = 2048;
extern const char kDefaultUpdateAddress[];
const char* GetUpdateAddress();
void SetUpdateAddress(const char* address);
const char* GetFontPrint();  // printing font face, "Arial" by default
void SetFontPrint(const char* face);
int GetFontPrintSize();
void SetFontPrintSize(int size);

// Set when the start-up load found no "configuration" and so read nothing else.
int IsNoConfiguration();
void SetNoConfiguration(int on);

// msimg32's GradientFill for the menu gradients; null when unavailable.
typedef BOOL(WINAPI* GradientFillProc)(HDC, PTRIVERTEX, ULONG, PVOID, ULONG, ULONG);
GradientFillProc GetGradientFill();
void SetGradientFill(GradientFillProc proc);

// Every value here, the option word and the recent list back to their built-in defaults.
void ResetSettings();
