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

// Items start on DWORD boundaries; the vector's storage itself is suitably aligned.
void AlignDword(std::vector<WORD>& out) {
  if (out.size() % 2) out.push_back(0);
}

}  // namespace

std::vector<WORD> BuildDialogTemplate(const DialogTemplateSpec& dialog, const DialogItemSpec* items, int itemCount) {
  std::vector<WORD> out;
  out.reserve(64 + itemCount * 32);
  DWORD style = dialog.style;
  if (dialog.fontFace) style |= DS_SETFONT;
  else style &= ~static_cast<DWORD>(DS_SETFONT);
  AppendDword(out, style);
  AppendDword(out, dialog.exStyle);
  out.push_back(static_cast<WORD>(itemCount > 0 ? itemCount : 0));
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
  for (int i = 0; i < itemCount; ++i) {
    const DialogItemSpec& item = items[i];
    AlignDword(out);
    AppendDword(out, item.style | WS_CHILD | WS_VISIBLE);
    AppendDword(out, item.exStyle);
    out.push_back(static_cast<WORD>(item.x));
    out.push_back(static_cast<WORD>(item.y));
    out.push_back(static_cast<WORD>(item.cx));
    out.push_back(static_cast<WORD>(item.cy));
    out.push_back(item.id);
    AppendText(out, item.className);
    AppendText(out, item.text);
    out.push_back(0);  // no creation data
  }
  return out;
}

INT_PTR RunTemplateDialog(const DialogTemplateSpec& dialog, HWND owner, DLGPROC procedure, LPARAM parameter) {
  std::vector<WORD> dialogTemplate = BuildDialogTemplate(dialog);
  return DialogBoxIndirectParamA(GetModuleHandleA(nullptr), reinterpret_cast<LPCDLGTEMPLATEA>(dialogTemplate.data()),
                                 owner, procedure, parameter);
}
