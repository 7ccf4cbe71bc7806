#include "services/base.h"
#include "ui/picture_viewer.h"

#include "kestrelia_lang.h"
#include "res/resource.h"
#include "services/log.h"
#include "settings/options.h"
#include "settings/values.h"
#include "ui/entry_transfer.h"

#include <wincodec.h>

#include <cstdio>
#include <cstring>

namespace {

const char kPictureClass[] = "KestreliaPictureViewer";
// A picture's bytes and its pixels are held whole: both are bounded, so a hostile entry that
// claims a giant picture is refused rather than allocated.
constexpr size_t kMostPictureBytes = 256u << 20;
constexpr uint64_t kMostPixels = 64u << 20;
constexpr double kZoomStep = 1.25;

struct Picture {
  UINT width = 0, height = 0;
  std::vector<uint32_t> pixels;  // top-down BGRA, laid on the window's background
};

template <typename T>
void Drop(T*& p) {
  if (p) p->Release();
  p = nullptr;
}

bool DecodePicture(const std::string& bytes, Picture* out) {
  IWICImagingFactory* factory = nullptr;
  IWICStream* stream = nullptr;
  IWICBitmapDecoder* decoder = nullptr;
  IWICBitmapFrameDecode* frame = nullptr;
  IWICFormatConverter* converter = nullptr;
  bool done = false;
  if (SUCCEEDED(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER, IID_IWICImagingFactory,
                                 reinterpret_cast<void**>(&factory))) &&
      SUCCEEDED(factory->CreateStream(&stream)) &&
      SUCCEEDED(stream->InitializeFromMemory(reinterpret_cast<BYTE*>(const_cast<char*>(bytes.data())),
                                             static_cast<DWORD>(bytes.size()))) &&
      SUCCEEDED(factory->CreateDecoderFromStream(stream, nullptr, WICDecodeMetadataCacheOnDemand, &decoder)) &&
      SUCCEEDED(decoder->GetFrame(0, &frame)) && SUCCEEDED(factory->CreateFormatConverter(&converter)) &&
      SUCCEEDED(converter->Initialize(frame, GUID_WICPixelFormat32bppPBGRA, WICBitmapDitherTypeNone, nullptr, 0,
                                      WICBitmapPaletteTypeCustom)) &&
      SUCCEEDED(converter->GetSize(&out->width, &out->height)) && out->width && out->height &&
      static_cast<uint64_t>(out->width) * out->height <= kMostPixels) {
    out->pixels.assign(static_cast<size_t>(out->width) * out->height, 0);
    done = SUCCEEDED(converter->CopyPixels(nullptr, out->width * 4, static_cast<UINT>(out->pixels.size() * 4),
                                           reinterpret_cast<BYTE*>(out->pixels.data())));
  }
  Drop(converter);
  Drop(frame);
  Drop(decoder);
  Drop(stream);
  Drop(factory);
  if (!done) return false;
  // Premultiplied colours over the background: what a transparent part shows.
  COLORREF back = GetSysColor(COLOR_WINDOW);
  uint32_t r = GetRValue(back), g = GetGValue(back), b = GetBValue(back);
  for (uint32_t& p : out->pixels) {
    uint32_t a = p >> 24, keep = 255 - a;
    uint32_t pb = (p & 0xFF) + b * keep / 255, pg = ((p >> 8) & 0xFF) + g * keep / 255,
             pr = ((p >> 16) & 0xFF) + r * keep / 255;
    p = 0xFF000000u | (pr > 255 ? 255 : pr) << 16 | (pg > 255 ? 255 : pg) << 8 | (pb > 255 ? 255 : pb);
  }
  return true;
}

bool ReadFileBytes(const char* path, std::string& bytes) {
  HANDLE file = CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  LARGE_INTEGER size = {};
  bool ok = GetFileSizeEx(file, &size) && static_cast<uint64_t>(size.QuadPart) <= kMostPictureBytes;
  if (ok) {
    bytes.resize(static_cast<size_t>(size.QuadPart));
    DWORD got = 0;
    ok = bytes.empty() || (ReadFile(file, &bytes[0], static_cast<DWORD>(bytes.size()), &got, nullptr) && got == bytes.size());
  }
  CloseHandle(file);
  return ok;
}

struct PictureViewer {
  HWND window;
  HACCEL keys;
  PictureSource source;
  size_t index;
  Picture picture;
  double zoom;  // 0: fit to the window
  int scrollX, scrollY;
};

PictureViewer* ViewerOf(HWND window) { return reinterpret_cast<PictureViewer*>(GetWindowLongPtrA(window, GWLP_USERDATA)); }

bool LoadPicture(const PictureSource& source, size_t index, Picture* out) {
  std::string bytes;
  const char* name = source.names[index].c_str();
  bool read = source.archive.empty() ? ReadFileBytes(name, bytes)
                                     : ReadEntryBytes(source.archive.c_str(), source.kind, name, kMostPictureBytes, bytes);
  if (!read || !DecodePicture(bytes, out)) {
    Log(1, GetVerbose(), "ShowPictureViewer: %s cannot be shown", name);
    return false;
  }
  return true;
}

double Scale(const PictureViewer* v) {
  if (v->zoom > 0) return v->zoom;
  RECT client;
  GetClientRect(v->window, &client);
  double fitX = static_cast<double>(client.right) / v->picture.width;
  double fitY = static_cast<double>(client.bottom) / v->picture.height;
  double fit = fitX < fitY ? fitX : fitY;
  // Fitting shrinks a large picture; a small one keeps its own size.
  return fit < 1 ? fit : 1;
}

// The picture's place in the client area, scrolled and centred as the options say.
RECT PictureRect(PictureViewer* v) {
  RECT client;
  GetClientRect(v->window, &client);
  double scale = Scale(v);
  int w = static_cast<int>(v->picture.width * scale + 0.5), h = static_cast<int>(v->picture.height * scale + 0.5);
  bool bars = IsShowPicturesWithScrollBars() != 0;
  int left = 0, top = 0;
  if (IsShowPicturesCentered()) {
    left = w < client.right ? (client.right - w) / 2 : 0;
    top = h < client.bottom ? (client.bottom - h) / 2 : 0;
  }
  int rangeX = w > client.right ? w - client.right : 0, rangeY = h > client.bottom ? h - client.bottom : 0;
  if (v->scrollX > rangeX) v->scrollX = rangeX;
  if (v->scrollY > rangeY) v->scrollY = rangeY;
  if (bars) {
    SCROLLINFO info = {sizeof info, SIF_RANGE | SIF_PAGE | SIF_POS, 0, w, static_cast<UINT>(client.right), v->scrollX};
    SetScrollInfo(v->window, SB_HORZ, &info, TRUE);
    info = {sizeof info, SIF_RANGE | SIF_PAGE | SIF_POS, 0, h, static_cast<UINT>(client.bottom), v->scrollY};
    SetScrollInfo(v->window, SB_VERT, &info, TRUE);
  }
  return RECT{left - v->scrollX, top - v->scrollY, left - v->scrollX + w, top - v->scrollY + h};
}

void Paint(PictureViewer* v) {
  PAINTSTRUCT ps;
  HDC dc = BeginPaint(v->window, &ps);
  RECT client;
  GetClientRect(v->window, &client);
  HDC memory = CreateCompatibleDC(dc);
  HBITMAP canvas = CreateCompatibleBitmap(dc, client.right ? client.right : 1, client.bottom ? client.bottom : 1);
  HGDIOBJ old = SelectObject(memory, canvas);
  FillRect(memory, &client, GetSysColorBrush(COLOR_WINDOW));
  if (!v->picture.pixels.empty()) {
    RECT at = PictureRect(v);
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = static_cast<LONG>(v->picture.width);
    info.bmiHeader.biHeight = -static_cast<LONG>(v->picture.height);
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    SetStretchBltMode(memory, HALFTONE);
    SetBrushOrgEx(memory, 0, 0, nullptr);
    StretchDIBits(memory, at.left, at.top, at.right - at.left, at.bottom - at.top, 0, 0, v->picture.width,
                  v->picture.height, v->picture.pixels.data(), &info, DIB_RGB_COLORS, SRCCOPY);
  }
  BitBlt(dc, 0, 0, client.right, client.bottom, memory, 0, 0, SRCCOPY);
  SelectObject(memory, old);
  DeleteObject(canvas);
  DeleteDC(memory);
  EndPaint(v->window, &ps);
}

void ShowTitle(PictureViewer* v) {
  const std::string& name = v->source.names[v->index];
  size_t cut = name.find_last_of("\\/");
  char title[kPathBuf + 64];
  snprintf(title, sizeof title, "%s (%u/%u, %ux%u) - Kestrelia", name.c_str() + (cut == std::string::npos ? 0 : cut + 1),
           static_cast<unsigned>(v->index + 1), static_cast<unsigned>(v->source.names.size()), v->picture.width,
           v->picture.height);
  SetWindowTextA(v->window, title);
}

void Refresh(PictureViewer* v) {
  if (!IsShowPicturesWithScrollBars()) {
    ShowScrollBar(v->window, SB_BOTH, FALSE);
  }
  InvalidateRect(v->window, nullptr, FALSE);
}

// The next picture that can be shown, stepping by step round the end; the current one stays
// when none other can.
void Step(PictureViewer* v, int step) {
  size_t count = v->source.names.size();
  for (size_t tried = 1; tried < count; ++tried) {
    long long at = (static_cast<long long>(v->index) + step * static_cast<long long>(tried)) % static_cast<long long>(count);
    size_t next = static_cast<size_t>(at < 0 ? at + static_cast<long long>(count) : at);
    Picture picture;
    if (!LoadPicture(v->source, next, &picture)) continue;
    v->picture = std::move(picture);
    v->index = next;
    v->zoom = 0;
    v->scrollX = v->scrollY = 0;
    ShowTitle(v);
    Refresh(v);
    return;
  }
}

void Zoom(PictureViewer* v, double factor) {
  double now = Scale(v) * factor;
  v->zoom = now < 0.02 ? 0.02 : now > 32 ? 32 : now;
  Refresh(v);
}

void Scroll(PictureViewer* v, int bar, int code) {
  SCROLLINFO info = {sizeof info, SIF_ALL};
  GetScrollInfo(v->window, bar, &info);
  int pos = info.nPos;
  switch (code) {
    case SB_LINEUP: pos -= 32; break;
    case SB_LINEDOWN: pos += 32; break;
    case SB_PAGEUP: pos -= static_cast<int>(info.nPage); break;
    case SB_PAGEDOWN: pos += static_cast<int>(info.nPage); break;
    case SB_THUMBTRACK:
    case SB_THUMBPOSITION: pos = info.nTrackPos; break;
    default: break;
  }
  if (pos < 0) pos = 0;
  (bar == SB_HORZ ? v->scrollX : v->scrollY) = pos;
  Refresh(v);
}

void OnCommand(PictureViewer* v, int id) {
  switch (id) {
    case IDM_VIEWER_ZOOM_IN: Zoom(v, kZoomStep); break;
    case IDM_VIEWER_ZOOM_OUT: Zoom(v, 1 / kZoomStep); break;
    case IDM_VIEWER_FIT:
      v->zoom = 0;
      v->scrollX = v->scrollY = 0;
      Refresh(v);
      break;
    case IDM_VIEWER_NEXT: Step(v, 1); break;
    case IDM_VIEWER_PREVIOUS: Step(v, -1); break;
    case IDM_VIEWER_CLOSE: DestroyWindow(v->window); break;
    default: break;
  }
}

LRESULT CALLBACK PictureViewerProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  PictureViewer* v = ViewerOf(window);
  if (!v) return DefWindowProcA(window, message, wParam, lParam);
  switch (message) {
    case WM_PAINT:
      Paint(v);
      return 0;
    case WM_ERASEBKGND:
      return 1;
    case WM_SIZE:
      Refresh(v);
      return 0;
    case WM_GETMINMAXINFO: {
      // "MinPicSize": the picture area never gets smaller than that.
      int least = GetMinPicSize();
      if (least > 0) {
        RECT frame = {0, 0, least, least};
        AdjustWindowRect(&frame, WS_OVERLAPPEDWINDOW, TRUE);
        reinterpret_cast<MINMAXINFO*>(lParam)->ptMinTrackSize = {frame.right - frame.left, frame.bottom - frame.top};
      }
      return 0;
    }
    case WM_MOUSEWHEEL:
      if (GET_KEYSTATE_WPARAM(wParam) & MK_CONTROL)
        Zoom(v, GET_WHEEL_DELTA_WPARAM(wParam) > 0 ? kZoomStep : 1 / kZoomStep);
      else
        Step(v, GET_WHEEL_DELTA_WPARAM(wParam) > 0 ? -1 : 1);
      return 0;
    case WM_HSCROLL:
    case WM_VSCROLL:
      Scroll(v, message == WM_HSCROLL ? SB_HORZ : SB_VERT, LOWORD(wParam));
      return 0;
    case WM_COMMAND:
      OnCommand(v, LOWORD(wParam));
      return 0;
    case WM_DESTROY:
      DestroyAcceleratorTable(v->keys);
      SetWindowLongPtrA(window, GWLP_USERDATA, 0);
      delete v;
      return 0;
    default:
      return DefWindowProcA(window, message, wParam, lParam);
  }
}

HACCEL BuildPictureKeys() {
  ACCEL keys[] = {
      {FVIRTKEY, VK_ADD, IDM_VIEWER_ZOOM_IN},        {FVIRTKEY, VK_OEM_PLUS, IDM_VIEWER_ZOOM_IN},
      {FVIRTKEY | FSHIFT, VK_OEM_PLUS, IDM_VIEWER_ZOOM_IN},
      {FVIRTKEY, VK_SUBTRACT, IDM_VIEWER_ZOOM_OUT},  {FVIRTKEY, VK_OEM_MINUS, IDM_VIEWER_ZOOM_OUT},
      {FVIRTKEY, VK_MULTIPLY, IDM_VIEWER_FIT},       {FVIRTKEY, '0', IDM_VIEWER_FIT},
      {FVIRTKEY, VK_NEXT, IDM_VIEWER_NEXT},          {FVIRTKEY, VK_SPACE, IDM_VIEWER_NEXT},
      {FVIRTKEY, VK_PRIOR, IDM_VIEWER_PREVIOUS},     {FVIRTKEY, VK_BACK, IDM_VIEWER_PREVIOUS},
      {FVIRTKEY, VK_ESCAPE, IDM_VIEWER_CLOSE},       {FVIRTKEY | FCONTROL, 'W', IDM_VIEWER_CLOSE},
  };
  return CreateAcceleratorTableA(keys, sizeof keys / sizeof keys[0]);
}

HMENU BuildPictureMenu() {
  HMENU bar = CreateMenu(), view = CreatePopupMenu();
  const struct {
    int id;
    const char* key;
  } items[] = {{IDM_VIEWER_ZOOM_IN, "+"},    {IDM_VIEWER_ZOOM_OUT, "-"},       {IDM_VIEWER_FIT, "*"}, {0, nullptr},
               {IDM_VIEWER_NEXT, "PgDn"},    {IDM_VIEWER_PREVIOUS, "PgUp"},    {0, nullptr},
               {IDM_VIEWER_CLOSE, "Esc"}};
  char caption[kPathBuf];
  for (const auto& item : items) {
    if (!item.id) {
      AppendMenuA(view, MF_SEPARATOR, 0, nullptr);
      continue;
    }
    snprintf(caption, sizeof caption, "%s\t%s", GetMenuItemText(item.id), item.key);
    AppendMenuA(view, MF_STRING, item.id, caption);
  }
  AppendMenuA(bar, MF_POPUP, reinterpret_cast<UINT_PTR>(view), GetMenuText(IDM_MENU_VIEW));
  return bar;
}

bool RegisterPictureClass() {
  static ATOM atom;
  if (atom) return true;
  WNDCLASSEXA wc = {};
  wc.cbSize = sizeof wc;
  wc.style = CS_HREDRAW | CS_VREDRAW;
  wc.lpfnWndProc = PictureViewerProc;
  wc.hInstance = GetModuleHandleA(nullptr);
  wc.hIcon = LoadIconA(wc.hInstance, MAKEINTRESOURCEA(IDI_KESTRELIA));
  wc.hCursor = LoadCursorA(nullptr, MAKEINTRESOURCEA(32512));
  wc.lpszClassName = kPictureClass;
  atom = RegisterClassExA(&wc);
  return atom != 0;
}

bool EndsWithNoCase(const char* name, const char* ending) {
  size_t n = strlen(name), e = strlen(ending);
  return n >= e && !_stricmp(name + n - e, ending);
}

}  // namespace

bool IsPictureName(const char* name) {
  static const char* const kEndings[] = {".jpg", ".jpeg", ".jpe", ".png", ".gif", ".bmp", ".dib", ".ico", ".tif", ".tiff"};
  for (const char* ending : kEndings)
    if (name && EndsWithNoCase(name, ending)) return true;
  return false;
}

HWND ShowPictureViewer(const PictureSource& source, size_t index) {
  if (index >= source.names.size() || !RegisterPictureClass()) return nullptr;
  Picture picture;
  if (!LoadPicture(source, index, &picture)) return nullptr;
  // The picture's own size where the screen has room for it.
  RECT work = {};
  SystemParametersInfoA(SPI_GETWORKAREA, 0, &work, 0);
  int least = GetMinPicSize() > 0 ? GetMinPicSize() : 200;
  LONG w = static_cast<LONG>(picture.width), h = static_cast<LONG>(picture.height);
  RECT frame = {0, 0, w < least ? least : w, h < least ? least : h};
  AdjustWindowRect(&frame, WS_OVERLAPPEDWINDOW, TRUE);
  int width = frame.right - frame.left, height = frame.bottom - frame.top;
  int roomX = (work.right - work.left) * 9 / 10, roomY = (work.bottom - work.top) * 9 / 10;
  DWORD style = WS_OVERLAPPEDWINDOW | (IsShowPicturesWithScrollBars() ? WS_HSCROLL | WS_VSCROLL : 0);
  HWND window = CreateWindowExA(0, kPictureClass, "Kestrelia", style, CW_USEDEFAULT, CW_USEDEFAULT,
                                width < roomX ? width : roomX, height < roomY ? height : roomY, nullptr,
                                BuildPictureMenu(), GetModuleHandleA(nullptr), nullptr);
  if (!window) return nullptr;
  PictureViewer* v = new PictureViewer{window, BuildPictureKeys(), source, index, std::move(picture), 0, 0, 0};
  SetWindowLongPtrA(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(v));
  ShowTitle(v);
  Refresh(v);
  ShowWindow(window, SW_SHOW);
  SetForegroundWindow(window);
  return window;
}

bool TranslatePictureMessage(MSG* message) {
  HWND top = message->hwnd ? GetAncestor(message->hwnd, GA_ROOT) : nullptr;
  char name[32] = "";
  if (!top || !GetClassNameA(top, name, sizeof name) || strcmp(name, kPictureClass) != 0) return false;
  PictureViewer* v = ViewerOf(top);
  return v && TranslateAcceleratorA(top, v->keys, message);
}
