// The self-extracting program: the stub that carries an archive in its resources. Run with
// "/s /d DIR [/p PASSWORD]" it extracts without a window and answers by its exit code
// (StubResult); otherwise its small window asks where to and, for a protected archive, the
// password.
#include "services/base.h"

#include "sfx/stub_archive.h"

#include <commctrl.h>
#include <shellapi.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

enum Text {
  T_TITLE, T_ARCHIVE, T_CONTENTS, T_DESTINATION, T_BROWSE, T_PASSWORD, T_OVERWRITE_ALL, T_EXTRACT, T_CANCEL,
  T_CLOSE, T_DONE, T_PROBLEMS, T_WRONG_PASSWORD, T_ALTERED, T_CANCELLED, T_REPLACE, T_NO_ARCHIVE, T_CHOOSE,
  T_USAGE, T_NO_DESTINATION, T_EXTRACTING, T_SEALED, T_COUNT
};

// English and German, chosen by the user's language.
const wchar_t* const kTexts[T_COUNT][2] = {
    {L"Self-extracting archive", L"Selbstentpackendes Archiv"},
    {L"Archive: %ls", L"Archiv: %ls"},
    {L"%lu entries, %ls bytes", L"%lu Einträge, %ls Bytes"},
    {L"Extract to:", L"Entpacken nach:"},
    {L"&Browse...", L"&Durchsuchen..."},
    {L"Password:", L"Kennwort:"},
    {L"&Overwrite existing files without asking", L"Vorhandene Dateien ohne Rückfrage &überschreiben"},
    {L"&Extract", L"&Entpacken"},
    {L"Cancel", L"Abbrechen"},
    {L"Close", L"Schließen"},
    {L"%lu files extracted to %ls", L"%lu Dateien entpackt nach %ls"},
    {L"%lu files extracted; %lu entries refused (unsafe name or unknown method) and %lu failed, first: %ls",
     L"%lu Dateien entpackt; %lu Einträge abgelehnt (unsicherer Name oder unbekannte Methode) und %lu fehlerhaft, zuerst: %ls"},
    {L"The password is wrong. Nothing was extracted.", L"Das Kennwort ist falsch. Es wurde nichts entpackt."},
    {L"This program was altered after it was made. Nothing was extracted.",
     L"Dieses Programm wurde nach dem Erstellen verändert. Es wurde nichts entpackt."},
    {L"Extraction cancelled.", L"Entpacken abgebrochen."},
    {L"%ls already exists.\n\nReplace it?", L"%ls ist bereits vorhanden.\n\nErsetzen?"},
    {L"This program carries no readable archive.", L"Dieses Programm enthält kein lesbares Archiv."},
    {L"Choose the destination folder", L"Zielordner wählen"},
    {L"Usage: /s /d FOLDER [/p PASSWORD]", L"Aufruf: /s /d ORDNER [/p KENNWORT]"},
    {L"The destination folder cannot be made.", L"Der Zielordner kann nicht angelegt werden."},
    {L"Extracting...", L"Entpacke..."},
    {L"%ls bytes, protected by a password", L"%ls Bytes, durch ein Kennwort geschützt"},
};

int g_language = 0;

const wchar_t* Tx(Text text) { return kTexts[text][g_language]; }

std::wstring Format(const wchar_t* pattern, ...) {
  wchar_t buffer[2048];
  va_list args;
  va_start(args, pattern);
  // The system's formatting: the C library's would bring a whole printf into the stub.
  wvnsprintfW(buffer, 2047, pattern, args);
  va_end(args);
  buffer[2047] = 0;
  return buffer;
}

std::wstring Thousands(uint64_t value) {
  std::wstring digits, out;
  do digits.insert(digits.begin(), static_cast<wchar_t>(L'0' + value % 10));
  while (value /= 10);
  for (size_t i = 0; i < digits.size(); ++i) {
    if (i && (digits.size() - i) % 3 == 0) out += g_language ? L'.' : L',';
    out += digits[i];
  }
  return out;
}

std::wstring ModulePath() {
  wchar_t path[MAX_PATH * 4];
  DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH * 4);
  return std::wstring(path, length);
}

// A folder named after the program, beside it.
std::wstring DefaultDestination() {
  std::wstring path = ModulePath();
  size_t dot = path.rfind(L'.'), slash = path.rfind(L'\\');
  if (dot != std::wstring::npos && (slash == std::wstring::npos || dot > slash)) path.resize(dot);
  return path;
}

std::wstring ProgramName() {
  std::wstring path = ModulePath();
  size_t slash = path.rfind(L'\\');
  return slash == std::wstring::npos ? path : path.substr(slash + 1);
}

std::wstring ResultText(int result, const StubExtractReport& report, const std::wstring& destination) {
  switch (result) {
    case STUB_OK: return Format(Tx(T_DONE), report.written, destination.c_str());
    case STUB_ENTRIES:
      return Format(Tx(T_PROBLEMS), report.written, report.refused, report.failed,
                    Widen(report.firstProblem.c_str()).c_str());
    case STUB_WRONG_PASSWORD: return Tx(T_WRONG_PASSWORD);
    case STUB_ALTERED: return Tx(T_ALTERED);
    case STUB_DESTINATION: return Tx(T_NO_DESTINATION);
    case STUB_CANCELLED: return Tx(T_CANCELLED);
    default: return Tx(T_NO_ARCHIVE);
  }
}

void PrintError(const std::wstring& text) {
  HANDLE error = GetStdHandle(STD_ERROR_HANDLE);
  if (!error || error == INVALID_HANDLE_VALUE) return;
  std::string line = Narrow(text.c_str()) + "\n";
  DWORD wrote;
  WriteFile(error, line.data(), static_cast<DWORD>(line.size()), &wrote, nullptr);
}

int RunSilent(StubArchive* archive, const std::wstring& destination, const std::string& password) {
  int result = STUB_OK;
  if (archive->sealed) result = UnsealStubArchive(archive, password.c_str());
  StubExtractReport report;
  if (result == STUB_OK)
    result = ExtractStubArchive(*archive, Narrow(destination.c_str()).c_str(), password.c_str(),
                                StubExtractCallbacks(), &report);
  if (result != STUB_OK) PrintError(ResultText(result, report, destination));
  return result;
}

// The window: plain controls on a plain window, the extraction on a thread of its own.
enum Control {
  ID_DESTINATION = 100, ID_BROWSE, ID_PASSWORD, ID_OVERWRITE_ALL, ID_PROGRESS, ID_RESULT, ID_EXTRACT, ID_CANCEL,
  ID_ARCHIVE, ID_CONTENTS
};
constexpr UINT WM_STUB_PROGRESS = WM_APP + 1;  // wParam: per mille
constexpr UINT WM_STUB_DONE = WM_APP + 2;      // wParam: StubResult
constexpr UINT WM_STUB_REPLACE = WM_APP + 3;   // lParam: the path (UTF-8); answers OverwriteAnswer
constexpr UINT WM_STUB_LISTED = WM_APP + 4;    // the protected archive is open and counted

struct StubWindow {
  HWND window = nullptr;
  StubArchive* archive = nullptr;
  StubListing listing;
  bool askPassword = false;
  std::wstring destination;
  std::string password;
  bool overwriteAll = false;
  volatile LONG cancel = 0;
  bool running = false;
  bool finished = false;
  int exitCode = STUB_CANCELLED;
  StubExtractReport report;
  HFONT font = nullptr;
};

StubWindow g_stub;

bool OnProgress(void* context, uint64_t done, uint64_t total) {
  StubWindow* w = static_cast<StubWindow*>(context);
  WPARAM permille = total ? static_cast<WPARAM>(done * 1000 / total) : 1000;
  PostMessageW(w->window, WM_STUB_PROGRESS, permille, 0);
  return !w->cancel;
}

int OnReplace(void* context, const char* path) {
  StubWindow* w = static_cast<StubWindow*>(context);
  return static_cast<int>(SendMessageW(w->window, WM_STUB_REPLACE, 0, reinterpret_cast<LPARAM>(path)));
}

DWORD WINAPI ExtractThread(LPVOID) {
  StubWindow* w = &g_stub;
  int result = STUB_OK;
  if (w->archive->sealed && w->archive->opened.empty()) {
    result = UnsealStubArchive(w->archive, w->password.c_str());
    if (result == STUB_OK && ListStubArchive(*w->archive, &w->listing)) PostMessageW(w->window, WM_STUB_LISTED, 0, 0);
  }
  if (result == STUB_OK) {
    StubExtractCallbacks callbacks;
    callbacks.context = w;
    callbacks.progress = OnProgress;
    callbacks.overwrite = w->overwriteAll ? nullptr : OnReplace;
    w->report = StubExtractReport();
    result = ExtractStubArchive(*w->archive, Narrow(w->destination.c_str()).c_str(), w->password.c_str(), callbacks,
                                &w->report);
  }
  PostMessageW(w->window, WM_STUB_DONE, result, 0);
  return 0;
}

HWND Child(HWND parent, const wchar_t* type, const wchar_t* text, DWORD style, int x, int y, int cx, int cy, int id,
           DWORD exStyle = 0) {
  HWND control = CreateWindowExW(exStyle, type, text, WS_CHILD | WS_VISIBLE | style, x, y, cx, cy, parent,
                                 reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), GetModuleHandleW(nullptr), nullptr);
  SendMessageW(control, WM_SETFONT, reinterpret_cast<WPARAM>(g_stub.font), TRUE);
  return control;
}

void Layout(HWND window) {
  StubWindow* w = &g_stub;
  int y = 12;
  Child(window, L"STATIC", Format(Tx(T_ARCHIVE), ProgramName().c_str()).c_str(), SS_LEFT | SS_NOPREFIX, 12, y, 456, 18,
        ID_ARCHIVE);
  y += 22;
  Child(window, L"STATIC", Format(Tx(T_CONTENTS), w->listing.entries, Thousands(w->listing.bytes).c_str()).c_str(),
        SS_LEFT, 12, y, 456, 18, ID_CONTENTS);
  y += 30;
  Child(window, L"STATIC", Tx(T_DESTINATION), SS_LEFT, 12, y, 456, 18, 0);
  y += 20;
  Child(window, L"EDIT", w->destination.c_str(), WS_TABSTOP | ES_AUTOHSCROLL, 12, y, 350, 23, ID_DESTINATION,
        WS_EX_CLIENTEDGE);
  Child(window, L"BUTTON", Tx(T_BROWSE), WS_TABSTOP | BS_PUSHBUTTON, 370, y - 1, 98, 25, ID_BROWSE);
  y += 32;
  if (w->askPassword) {
    Child(window, L"STATIC", Tx(T_PASSWORD), SS_LEFT, 12, y + 3, 100, 18, 0);
    Child(window, L"EDIT", L"", WS_TABSTOP | ES_AUTOHSCROLL | ES_PASSWORD, 120, y, 242, 23, ID_PASSWORD,
          WS_EX_CLIENTEDGE);
    y += 32;
  }
  Child(window, L"BUTTON", Tx(T_OVERWRITE_ALL), WS_TABSTOP | BS_AUTOCHECKBOX, 12, y, 456, 20, ID_OVERWRITE_ALL);
  y += 30;
  Child(window, PROGRESS_CLASSW, L"", 0, 12, y, 456, 18, ID_PROGRESS);
  SendMessageW(GetDlgItem(window, ID_PROGRESS), PBM_SETRANGE32, 0, 1000);
  y += 26;
  Child(window, L"STATIC", L"", SS_LEFT | SS_NOPREFIX, 12, y, 456, 36, ID_RESULT);
  y += 44;
  Child(window, L"BUTTON", Tx(T_EXTRACT), WS_TABSTOP | BS_DEFPUSHBUTTON, 262, y, 100, 26, ID_EXTRACT);
  Child(window, L"BUTTON", Tx(T_CANCEL), WS_TABSTOP | BS_PUSHBUTTON, 368, y, 100, 26, ID_CANCEL);
  y += 38;
  RECT frame = {0, 0, 480, y};
  AdjustWindowRectEx(&frame, WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX, FALSE, 0);
  SetWindowPos(window, nullptr, 0, 0, frame.right - frame.left, frame.bottom - frame.top, SWP_NOMOVE | SWP_NOZORDER);
  SetFocus(GetDlgItem(window, w->askPassword ? ID_PASSWORD : ID_EXTRACT));
}

std::wstring ControlText(HWND window, int id) {
  HWND control = GetDlgItem(window, id);
  std::wstring text(GetWindowTextLengthW(control) + 1, L'\0');
  GetWindowTextW(control, &text[0], static_cast<int>(text.size()));
  text.resize(wcslen(text.c_str()));
  return text;
}

void Browse(HWND window) {
  BROWSEINFOW info = {};
  info.hwndOwner = window;
  info.lpszTitle = Tx(T_CHOOSE);
  info.ulFlags = BIF_RETURNONLYFSDIRS | BIF_NEWDIALOGSTYLE;
  LPITEMIDLIST chosen = SHBrowseForFolderW(&info);
  if (!chosen) return;
  wchar_t path[MAX_PATH];
  if (SHGetPathFromIDListW(chosen, path)) SetDlgItemTextW(window, ID_DESTINATION, path);
  CoTaskMemFree(chosen);
}

void StartExtraction(HWND window) {
  StubWindow* w = &g_stub;
  w->destination = ControlText(window, ID_DESTINATION);
  if (w->askPassword) w->password = Narrow(ControlText(window, ID_PASSWORD).c_str());
  w->overwriteAll = IsDlgButtonChecked(window, ID_OVERWRITE_ALL) == BST_CHECKED;
  w->cancel = 0;
  w->running = true;
  for (int id : {ID_DESTINATION, ID_BROWSE, ID_PASSWORD, ID_OVERWRITE_ALL, ID_EXTRACT})
    if (HWND control = GetDlgItem(window, id)) EnableWindow(control, FALSE);
  SetDlgItemTextW(window, ID_RESULT, Tx(T_EXTRACTING));
  SendDlgItemMessageW(window, ID_PROGRESS, PBM_SETPOS, 0, 0);
  HANDLE thread = CreateThread(nullptr, 0, ExtractThread, nullptr, 0, nullptr);
  if (thread) CloseHandle(thread);
}

void Finish(HWND window, int result) {
  StubWindow* w = &g_stub;
  w->running = false;
  w->exitCode = result;
  SetDlgItemTextW(window, ID_RESULT, ResultText(result, w->report, w->destination).c_str());
  if (result == STUB_OK || result == STUB_ENTRIES) {
    SendDlgItemMessageW(window, ID_PROGRESS, PBM_SETPOS, 1000, 0);
    w->finished = true;
    SetDlgItemTextW(window, ID_CANCEL, Tx(T_CLOSE));
    SetFocus(GetDlgItem(window, ID_CANCEL));
    return;
  }
  // A wrong password or an unmade folder can be put right and tried again.
  bool retry = result == STUB_WRONG_PASSWORD || result == STUB_DESTINATION || result == STUB_CANCELLED;
  for (int id : {ID_DESTINATION, ID_BROWSE, ID_PASSWORD, ID_OVERWRITE_ALL, ID_EXTRACT})
    if (HWND control = GetDlgItem(window, id)) EnableWindow(control, retry);
  if (!retry) SetDlgItemTextW(window, ID_CANCEL, Tx(T_CLOSE));
}

LRESULT CALLBACK StubProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  StubWindow* w = &g_stub;
  switch (message) {
    case WM_COMMAND:
      switch (LOWORD(wParam)) {
        case ID_BROWSE: Browse(window); return 0;
        case IDOK:  // Enter in a box
        case ID_EXTRACT:
          if (!w->running && !w->finished) StartExtraction(window);
          else if (w->finished) DestroyWindow(window);
          return 0;
        case IDCANCEL:
        case ID_CANCEL:
          if (w->running)
            InterlockedExchange(&w->cancel, 1);
          else
            DestroyWindow(window);
          return 0;
      }
      break;
    case WM_STUB_PROGRESS: SendDlgItemMessageW(window, ID_PROGRESS, PBM_SETPOS, wParam, 0); return 0;
    case WM_STUB_DONE: Finish(window, static_cast<int>(wParam)); return 0;
    case WM_STUB_REPLACE: {
      std::wstring question = Format(Tx(T_REPLACE), Widen(reinterpret_cast<const char*>(lParam)).c_str());
      int answer = MessageBoxW(window, question.c_str(), Tx(T_TITLE), MB_YESNOCANCEL | MB_ICONQUESTION);
      return answer == IDYES ? OVERWRITE_YES : answer == IDNO ? OVERWRITE_NO : OVERWRITE_CANCEL;
    }
    case WM_CLOSE:
      if (w->running) {
        InterlockedExchange(&w->cancel, 1);
        return 0;
      }
      DestroyWindow(window);
      return 0;
    case WM_STUB_LISTED:
      SetDlgItemTextW(window, ID_CONTENTS,
                      Format(Tx(T_CONTENTS), w->listing.entries, Thousands(w->listing.bytes).c_str()).c_str());
      return 0;
    case WM_DESTROY: PostQuitMessage(w->exitCode); return 0;
  }
  return DefWindowProcW(window, message, wParam, lParam);
}

int RunWindow(StubArchive* archive, const std::wstring& destination) {
  StubWindow* w = &g_stub;
  w->archive = archive;
  w->destination = destination;
  // A protected archive can be counted only after it is opened: its line says so until then.
  if (!archive->sealed && !ListStubArchive(*archive, &w->listing)) {
    MessageBoxW(nullptr, Tx(T_NO_ARCHIVE), Tx(T_TITLE), MB_ICONERROR);
    return STUB_NO_ARCHIVE;
  }
  w->askPassword = archive->sealed || w->listing.encryptedEntries;
  INITCOMMONCONTROLSEX controls = {sizeof controls, ICC_PROGRESS_CLASS | ICC_STANDARD_CLASSES};
  InitCommonControlsEx(&controls);
  NONCLIENTMETRICSW metrics = {};
  metrics.cbSize = sizeof metrics;
  SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
  w->font = CreateFontIndirectW(&metrics.lfMessageFont);
  WNDCLASSW type = {};
  type.lpfnWndProc = StubProc;
  type.hInstance = GetModuleHandleW(nullptr);
  type.hCursor = LoadCursor(nullptr, IDC_ARROW);
  type.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
  type.lpszClassName = L"KestreliaSelfExtractor";
  type.hIcon = LoadIcon(nullptr, IDI_APPLICATION);
  RegisterClassW(&type);
  w->window = CreateWindowExW(WS_EX_DLGMODALFRAME, type.lpszClassName, Tx(T_TITLE), WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX,
                              CW_USEDEFAULT, CW_USEDEFAULT, 480, 300, nullptr, nullptr, type.hInstance, nullptr);
  Layout(w->window);
  if (archive->sealed)
    SetDlgItemTextW(w->window, ID_CONTENTS, Format(Tx(T_SEALED), Thousands(archive->size).c_str()).c_str());
  ShowWindow(w->window, SW_SHOW);
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    if (!IsDialogMessageW(w->window, &message)) {
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
  }
  return static_cast<int>(message.wParam);
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int) {
  g_language = PRIMARYLANGID(GetUserDefaultUILanguage()) == LANG_GERMAN ? 1 : 0;
  int argc = 0;
  wchar_t** argv = CommandLineToArgvW(GetCommandLineW(), &argc);
  // A script's run never waits on a box, wherever its /s stands.
  bool silent = false;
  for (int i = 1; i < argc; ++i) silent = silent || !_wcsicmp(argv[i], L"/s");
  std::wstring destination;
  std::string password;
  for (int i = 1; i < argc; ++i) {
    std::wstring option = argv[i];
    for (auto& c : option) c = towlower(c);
    if (option == L"/s")
      continue;
    else if (option == L"/d" && i + 1 < argc)
      destination = argv[++i];
    else if (option == L"/p" && i + 1 < argc)
      password = Narrow(argv[++i]);
    else {
      if (!silent) MessageBoxW(nullptr, Tx(T_USAGE), Tx(T_TITLE), MB_ICONINFORMATION);
      PrintError(Tx(T_USAGE));
      return STUB_USAGE;
    }
  }
  LocalFree(argv);
  if (silent && destination.empty()) {
    PrintError(Tx(T_USAGE));
    return STUB_USAGE;
  }
  StubArchive archive;
  if (!LoadStubArchive(&archive)) {
    if (silent)
      PrintError(Tx(T_NO_ARCHIVE));
    else
      MessageBoxW(nullptr, Tx(T_NO_ARCHIVE), Tx(T_TITLE), MB_ICONERROR);
    return STUB_NO_ARCHIVE;
  }
  if (silent) return RunSilent(&archive, destination, password);
  return RunWindow(&archive, destination.empty() ? DefaultDestination() : destination);
}
