#include "services/base.h"
#include "services/dialog_template.h"

namespace {

void AppendText(std::vector<WORD>& out, const char* text) {
  if (!text || !*text) {
    out.push_back(0);
    return;
  }
  int n = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
  size_t at = out.size();
  out.resize(at + (n > 0 ? n : 1), 0);
  if (n > 0) MultiByteToWideChar(CP_ACP, 0, text, -1, reinterpret_cast<wchar_t*>(&out[at]), n);
}

void AppendDword(std::vector<WORD>& out, DWORD value) {
  out.push_back(LOWORD(value));
  out.push_back(HIWORD(value));
}

}  // namespace

DialogFrame ModalDialogFrame(const char* title, short cx, short cy, const char* fontFace) {
  return DialogFrame{title, WS_POPUP | WS_CAPTION | WS_SYSMENU | DS_MODALFRAME, 0, 0, 0, cx, cy, fontFace, 8};
}

std::vector<WORD> BuildDialogTemplate(const DialogFrame& dialog) {
  std::vector<WORD> out;
  out.reserve(64);
  DWORD style = dialog.style;
  if (dialog.fontFace) style |= DS_SETFONT;
  else style &= ~static_cast<DWORD>(DS_SETFONT);
  AppendDword(out, style);
  AppendDword(out, dialog.exStyle);
  out.push_back(0);  // no items
  out.push_back(static_cast<WORD>(dialog.x));
  out.push_back(static_cast<WORD>(dialog.y));
  out.push_back(static_cast<WORD>(dialog.cx));
  out.push_back(static_cast<WORD>(dialog.cy));
  out.push_back(0);  // no menu
  out.push_back(0);  // the standard dialog class
  AppendText(out, dialog.title);
  if (dialog.fontFace) {
    out.push_back(dialog.fontPoints);
    AppendText(out, dialog.fontFace);
  }
  return out;
}

INT_PTR RunTemplateDialog(const DialogFrame& dialog, HWND owner, DLGPROC procedure, LPARAM parameter) {
  std::vector<WORD> dialogTemplate = BuildDialogTemplate(dialog);
  return DialogBoxIndirectParamA(GetModuleHandleA(nullptr), reinterpret_cast<LPCDLGTEMPLATEA>(dialogTemplate.data()),
                                 owner, procedure, parameter);
}

namespace {

struct OkCancelRun {
  const OkCancelRoles* roles;
  LPARAM parameter;
};

INT_PTR CALLBACK OkCancelProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  const OkCancelRun* run = reinterpret_cast<const OkCancelRun*>(GetWindowLongPtrA(dialog, DWLP_USER));
  switch (message) {
    case WM_INITDIALOG:
      SetWindowLongPtrA(dialog, DWLP_USER, lParam);
      run = reinterpret_cast<const OkCancelRun*>(lParam);
      run->roles->init(dialog, run->parameter);
      return FALSE;  // init put the focus where it belongs
    case WM_COMMAND: {
      int id = LOWORD(wParam);
      if (id == run->roles->okId || (id == IDOK && run->roles->idOkAccepts)) {
        run->roles->accept(dialog, run->parameter);
        return TRUE;
      }
      if (id == run->roles->cancelId || id == IDCANCEL) {
        EndDialog(dialog, id);
        return TRUE;
      }
      return FALSE;
    }
    case WM_CLOSE:
      EndDialog(dialog, IDCANCEL);
      return TRUE;
    default:
      return FALSE;
  }
}

}  // namespace

INT_PTR RunOkCancelDialog(const DialogFrame& dialog, HWND owner, const OkCancelRoles& roles, LPARAM parameter) {
  OkCancelRun run = {&roles, parameter};
  return RunTemplateDialog(dialog, owner, OkCancelProc, reinterpret_cast<LPARAM>(&run));
}

HWND DialogLayout::Add(const char* cls, const char* text, DWORD style, int id, int x, int y, int cx, int cy,
                       DWORD exStyle) const {
  RECT pixels = {Scale(x), Scale(y), Scale(x) + Scale(cx), Scale(y) + Scale(cy)};
  return AddAt(cls, text, style, id, pixels, exStyle);
}

HWND DialogLayout::AddAt(const char* cls, const char* text, DWORD style, int id, const RECT& pixels,
                         DWORD exStyle) const {
  HWND control = CreateWindowExA(exStyle, cls, text, WS_CHILD | WS_VISIBLE | style, pixels.left, pixels.top,
                                 pixels.right - pixels.left, pixels.bottom - pixels.top, dialog_,
                                 reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)),
                                 reinterpret_cast<HINSTANCE>(GetWindowLongPtrA(dialog_, GWLP_HINSTANCE)), nullptr);
  if (control) SendMessageA(control, WM_SETFONT, SendMessageA(dialog_, WM_GETFONT, 0, 0), FALSE);
  return control;
}

void DialogLayout::Place(int id, int x, int y, int cx, int cy) const {
  if (HWND control = GetDlgItem(dialog_, id))
    SetWindowPos(control, nullptr, Scale(x), Scale(y), Scale(cx), Scale(cy), SWP_NOZORDER | SWP_NOACTIVATE);
}

void DialogLayout::SizeClient(int width, int height, DialogPlace place) const {
  SizeClientPixels(Scale(width), Scale(height), place);
}

void DialogLayout::SizeClientPixels(int width, int height, DialogPlace place) const {
  RECT frame = {0, 0, width, height};
  AdjustWindowRectEx(&frame, static_cast<DWORD>(GetWindowLongPtrA(dialog_, GWL_STYLE)), FALSE,
                     static_cast<DWORD>(GetWindowLongPtrA(dialog_, GWL_EXSTYLE)));
  int cx = frame.right - frame.left, cy = frame.bottom - frame.top;
  RECT over = {0, 0, GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)};
  HWND owner = GetWindow(dialog_, GW_OWNER);
  if (place == DialogPlace::kOwnerCentre && owner) GetWindowRect(owner, &over);
  UINT flags = SWP_NOZORDER | SWP_NOACTIVATE | (place == DialogPlace::kStay ? SWP_NOMOVE : 0);
  SetWindowPos(dialog_, nullptr, over.left + (over.right - over.left - cx) / 2,
               over.top + (over.bottom - over.top - cy) / 2, cx, cy, flags);
}

SIZE DialogLayout::MeasureText(const char* text, int maxWidth) const {
  RECT r = {0, 0, maxWidth, 0};
  HDC dc = GetDC(dialog_);
  HGDIOBJ old = SelectObject(dc, reinterpret_cast<HGDIOBJ>(SendMessageA(dialog_, WM_GETFONT, 0, 0)));
  UINT flags = DT_CALCRECT | DT_NOPREFIX | (maxWidth > 0 ? DT_WORDBREAK | DT_EDITCONTROL : DT_SINGLELINE);
  DrawTextA(dc, text, -1, &r, flags);
  SelectObject(dc, old);
  ReleaseDC(dialog_, dc);
  return SIZE{r.right - r.left, r.bottom - r.top};
}
