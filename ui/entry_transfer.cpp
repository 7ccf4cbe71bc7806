#include "services/base.h"
#include "ui/entry_transfer.h"

#include "formats/formats.h"
#include "jobs/entry_stream.h"
#include "jobs/extract_job.h"
#include "model/app_state.h"
#include "model/archive_kind.h"
#include "model/entry_rows.h"
#include "model/liststruct.h"
#include "services/log.h"
#include "services/password_dialog.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "services/worker.h"
#include "settings/values.h"
#include "ui/com_object.h"
#include "ui/drop_target.h"

#include <commctrl.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <cstdio>
#include <cstring>

namespace {

std::wstring Wide(const std::string& text) {
  int n = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, nullptr, 0);
  std::wstring out(static_cast<size_t>(n > 0 ? n - 1 : 0), L'\0');
  if (n > 1) MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, &out[0], n);
  return out;
}

std::string Backslashed(std::string name) {
  for (char& c : name)
    if (c == '/') c = '\\';
  return name;
}

// A folder of the temporary folder that no earlier transfer used, deleted at shut-down.
bool FreshTempFolder(char (&fresh)[kPathBuf]) {
  char unused[kPathBuf], folder[kPathBuf];
  TempTarget("", unused, folder);
  static unsigned s_serial;
  for (int attempt = 0; attempt < 100; ++attempt) {
    snprintf(fresh, sizeof fresh, "%sKestrelia_%lu_t%u", folder, GetCurrentProcessId(), ++s_serial);
    if (CreateDirectoryA(fresh, nullptr)) {
      AddTempFolder(fresh);
      return true;
    }
    if (GetLastError() != ERROR_ALREADY_EXISTS) break;
  }
  Log(1, GetVerbose(), "FreshTempFolder: no folder in %s (%lu)", folder, GetLastError());
  return false;
}

// The kind's extraction worker, silent, on the calling thread; it holds the one operation
// claim while it runs, so no rewrite changes the archive under it.
int WriteEntries(const char* archive, int kind, const std::vector<std::string>& names, const char* folder,
                 const char* password) {
  const ArchiveFormat* format = FindArchiveFormat(kind);
  if (!format || !format->ops.extract || names.empty()) return -1;
  if (ClaimOperation(OPERATION_JOB) != OPERATION_NONE) {
    Log(1, GetVerbose(), "WriteEntries: another operation runs");
    return -1;
  }
  EntrySelection chosen;
  chosen.names = names;
  ExtractJob job;
  memset(&job, 0, sizeof job);
  snprintf(job.destination, sizeof job.destination, "%s", folder);
  snprintf(job.archive, sizeof job.archive, "%s", archive);
  snprintf(job.password, sizeof job.password, "%s", password ? password : "");
  job.overwriteMode = OVERWRITE_ALWAYS;
  job.silent = 1;
  job.countEntries = 1;
  job.mainWindow = GetMainWindowHandle();
  job.chosen = &chosen;
  CancelProgress(0);
  ClearLastRunReport();
  int result = format->ops.extract(&job);
  SecureZeroMemory(job.password, sizeof job.password);
  ReleaseOperation(OPERATION_JOB);
  return result;
}

// An entry's bytes as COM asks for them, pulled from the kind's reader piece by piece.
struct ReaderStream final : ComObject<IStream, ISequentialStream> {
  std::unique_ptr<ArchiveReader> reader;
  StreamEntry entry;
  uint64_t position = 0;
  bool ended = false;
  ReaderStream(std::unique_ptr<ArchiveReader> from, const StreamEntry& found) : reader(std::move(from)), entry(found) {}

  // A failure ends the stream with an error, so a target never keeps a partial file as good.
  HRESULT STDMETHODCALLTYPE Read(void* data, ULONG size, ULONG* read) override {
    ULONG got = 0;
    while (got < size && !ended) {
      int64_t n = reader->Read(static_cast<char*>(data) + got, size - got);
      if (n < 0) {
        Log(1, GetVerbose(), "ReaderStream: %s: %s", entry.name.c_str(), EntryStreamErrorText(static_cast<int>(n)));
        if (read) *read = 0;
        return E_FAIL;
      }
      if (n == 0) ended = true;
      got += static_cast<ULONG>(n);
    }
    position += got;
    if (read) *read = got;
    return got < size ? S_FALSE : S_OK;
  }
  HRESULT STDMETHODCALLTYPE Write(const void*, ULONG, ULONG*) override { return STG_E_ACCESSDENIED; }
  // Only forward: what a target skips is read and dropped.
  HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* now) override {
    int64_t target = origin == STREAM_SEEK_SET ? move.QuadPart
                     : origin == STREAM_SEEK_CUR ? static_cast<int64_t>(position) + move.QuadPart
                                                 : static_cast<int64_t>(entry.size) + move.QuadPart;
    if (target < static_cast<int64_t>(position)) return STG_E_INVALIDFUNCTION;
    char piece[65536];
    while (static_cast<int64_t>(position) < target && !ended) {
      uint64_t want = static_cast<uint64_t>(target) - position;
      ULONG got = 0;
      if (FAILED(Read(piece, static_cast<ULONG>(want < sizeof piece ? want : sizeof piece), &got))) return E_FAIL;
    }
    if (now) now->QuadPart = position;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE CopyTo(IStream* to, ULARGE_INTEGER count, ULARGE_INTEGER* read, ULARGE_INTEGER* written) override {
    char piece[65536];
    uint64_t done = 0;
    while (done < count.QuadPart) {
      ULONG got = 0, put = 0;
      uint64_t want = count.QuadPart - done;
      HRESULT result = Read(piece, static_cast<ULONG>(want < sizeof piece ? want : sizeof piece), &got);
      if (FAILED(result)) return result;
      if (!got) break;
      if (FAILED(to->Write(piece, got, &put)) || put != got) return STG_E_WRITEFAULT;
      done += got;
    }
    if (read) read->QuadPart = done;
    if (written) written->QuadPart = done;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE Revert() override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return STG_E_INVALIDFUNCTION; }
  HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return STG_E_INVALIDFUNCTION; }
  HRESULT STDMETHODCALLTYPE Stat(STATSTG* stat, DWORD flags) override {
    memset(stat, 0, sizeof *stat);
    stat->type = STGTY_STREAM;
    stat->cbSize.QuadPart = entry.size;
    if (!(flags & STATFLAG_NONAME)) {
      std::wstring name = Wide(entry.name);
      stat->pwcsName = static_cast<wchar_t*>(CoTaskMemAlloc((name.size() + 1) * sizeof(wchar_t)));
      if (stat->pwcsName) memcpy(stat->pwcsName, name.c_str(), (name.size() + 1) * sizeof(wchar_t));
    }
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Clone(IStream**) override { return E_NOTIMPL; }
};

struct ArchiveEntrySource final : EntrySource {
  std::string archive, password;
  int kind;
  ArchiveEntrySource(const char* a, int k, const char* p) : archive(a), password(p ? p : ""), kind(k) {}
  ~ArchiveEntrySource() override { SecureZeroMemory(&password[0], password.size()); }
  HRESULT Open(const TransferEntry& entry, IStream** out) override {
    return OpenEntryIStream(archive.c_str(), kind, entry.name.c_str(), password.c_str(), out);
  }
  int WriteAll(const std::vector<TransferEntry>& entries, const char* folder) override {
    std::vector<std::string> names;
    for (const TransferEntry& e : entries) names.push_back(e.name);
    return WriteEntries(archive.c_str(), kind, names, folder, password.c_str());
  }
};

FILETIME EntryTime(const liststruct* record) {
  FILETIME local = {}, utc = {};
  if (SystemTimeToFileTime(&record->date, &local)) LocalFileTimeToFileTime(&local, &utc);
  return utc;
}

TransferEntry EntryOfRecord(const liststruct* record, size_t keepFrom) {
  std::string name = std::string(record->path ? record->path : "") + (record->filename ? record->filename : "");
  std::string relative = Backslashed(name);
  relative = keepFrom <= relative.size() ? relative.substr(keepFrom) : relative;
  return TransferEntry{name, relative, record->uncompressed, EntryTime(record)};
}

// Holds the mouse's drag: DoDragDrop asks it whether to go on and which pointer to show.
struct EntryDropSource final : ComObject<IDropSource> {
  HRESULT STDMETHODCALLTYPE QueryContinueDrag(BOOL escape, DWORD keys) override {
    if (escape) return DRAGDROP_S_CANCEL;
    if (!(keys & (MK_LBUTTON | MK_RBUTTON))) return DRAGDROP_S_DROP;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GiveFeedback(DWORD) override { return DRAGDROP_S_USEDEFAULTCURSORS; }
};

// The rows' picture as the list draws it, in a 32-bit bitmap whose background is clear and
// whose rows are as opaque as "DragLayered" says (fully while it is unset).
HBITMAP LayeredRowsPicture(HIMAGELIST image, SIZE* size) {
  int width = 0, height = 0;
  if (!ImageList_GetIconSize(image, &width, &height) || width <= 0 || height <= 0) return nullptr;
  BITMAPINFO info = {};
  info.bmiHeader = {sizeof info.bmiHeader, width, -height, 1, 32, BI_RGB};
  void* bits = nullptr;
  HDC dc = CreateCompatibleDC(nullptr);
  HBITMAP picture = CreateDIBSection(dc, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
  if (!picture) {
    DeleteDC(dc);
    return nullptr;
  }
  HGDIOBJ old = SelectObject(dc, picture);
  const COLORREF key = RGB(255, 0, 255);
  HBRUSH back = CreateSolidBrush(key);
  RECT all = {0, 0, width, height};
  FillRect(dc, &all, back);
  DeleteObject(back);
  ImageList_Draw(image, 0, dc, 0, 0, ILD_NORMAL);
  GdiFlush();
  int alpha = GetDragLayered();
  uint32_t opacity = alpha >= 0 && alpha <= 255 ? static_cast<uint32_t>(alpha) : 255;
  uint32_t* p = static_cast<uint32_t*>(bits);
  for (int i = 0; i < width * height; ++i) {
    uint32_t c = p[i] & 0xFFFFFF;
    if (c == 0xFF00FF) {
      p[i] = 0;
      continue;
    }
    // Premultiplied, as the drag helper takes a 32-bit picture.
    uint32_t r = (c >> 16) * opacity / 255, g = ((c >> 8) & 0xFF) * opacity / 255, b = (c & 0xFF) * opacity / 255;
    p[i] = opacity << 24 | r << 16 | g << 8 | b;
  }
  SelectObject(dc, old);
  DeleteDC(dc);
  *size = SIZE{width, height};
  return picture;
}

void SetDragImage(IDataObject* data, HWND list) {
  IDragSourceHelper* helper = nullptr;
  if (!list || FAILED(CoCreateInstance(CLSID_DragDropHelper, nullptr, CLSCTX_INPROC_SERVER, IID_IDragSourceHelper,
                                       reinterpret_cast<void**>(&helper))))
    return;
  POINT at = {};
  GetCursorPos(&at);
  ScreenToClient(list, &at);
  POINT origin = {};
  HIMAGELIST image = ListView_CreateDragImage(list, ListView_GetNextItem(list, -1, LVNI_SELECTED), &origin);
  SHDRAGIMAGE drag = {};
  drag.hbmpDragImage = image ? LayeredRowsPicture(image, &drag.sizeDragImage) : nullptr;
  drag.ptOffset = {at.x - origin.x, at.y - origin.y};
  drag.crColorKey = CLR_NONE;
  if (!drag.hbmpDragImage)
    helper->InitializeFromWindow(list, &at, data);
  else if (FAILED(helper->InitializeFromBitmap(&drag, data)))
    DeleteObject(drag.hbmpDragImage);
  if (image) ImageList_Destroy(image);
  helper->Release();
}

DWORD RunDrag(IDataObject* data, HWND list) {
  SetDragImage(data, list);
  EntryDropSource* source = new EntryDropSource();
  DWORD effect = DROPEFFECT_NONE;
  // Moving is offered for the folder list's rows dropped on a folder of the tree; a target
  // outside never takes entries out of the archive.
  HRESULT result = DoDragDrop(data, source, DROPEFFECT_COPY | DROPEFFECT_MOVE, &effect);
  source->Release();
  Log(5, GetVerbose(), "DragEntriesOut: DoDragDrop 0x%lx, effect %lu", static_cast<unsigned long>(result), effect);
  return result == DRAGDROP_S_DROP ? effect : DROPEFFECT_NONE;
}

struct DragThreadBlock {
  std::vector<TransferEntry> entries;
  std::string archive, password;
  int kind;
};

// A drag of its own keeps the window painting while a slow target reads the entries.
DWORD WINAPI DragThread(LPVOID parameter) {
  DragThreadBlock* block = static_cast<DragThreadBlock*>(parameter);
  if (SUCCEEDED(OleInitialize(nullptr))) {
    IDataObject* data = CreateEntryDataObject(
        block->entries, NewArchiveEntrySource(block->archive.c_str(), block->kind, block->password.c_str()),
        DROPEFFECT_COPY, nullptr);
    RunDrag(data, nullptr);
    data->Release();
    OleUninitialize();
  }
  SecureZeroMemory(&block->password[0], block->password.size());
  delete block;
  return 0;
}

bool EnsureTransferPassword() {
  if (!IsArchiveEncrypted() || GetCurrentPassword()[0]) return true;
  NextPasswordSubject() = {GetCurrentArchivePath(), "", false};
  char typed[kPathBuf] = "";
  if (!PromptPassword(GetMainWindowHandle(), typed)) return false;
  SetCurrentPassword(typed);
  SecureZeroMemory(typed, sizeof typed);
  return true;
}

}  // namespace

HRESULT OpenEntryIStream(const char* archive, int kind, const char* entry, const char* password, IStream** out) {
  *out = nullptr;
  int error = 0;
  StreamEntry found;
  std::unique_ptr<ArchiveReader> reader = OpenEntryStream(kind, archive, entry, &found, &error);
  if (reader) {
    *out = new ReaderStream(std::move(reader), found);
    return S_OK;
  }
  if (error != STREAM_UNSUPPORTED) {
    Log(1, GetVerbose(), "OpenEntryIStream: %s: %s", entry, EntryStreamErrorText(error));
    return E_FAIL;
  }
  char folder[kPathBuf];
  if (!FreshTempFolder(folder)) return E_FAIL;
  if (WriteEntries(archive, kind, {entry}, folder, password) != 0) return E_FAIL;
  std::string path = std::string(folder) + "\\" + Backslashed(entry);
  HRESULT result = SHCreateStreamOnFileEx(Wide(path).c_str(), STGM_READ | STGM_SHARE_DENY_WRITE, 0, FALSE, nullptr, out);
  if (FAILED(result)) Log(1, GetVerbose(), "OpenEntryIStream: %s was not written (0x%lx)", entry, static_cast<unsigned long>(result));
  return result;
}

bool ReadEntryBytes(const char* archive, int kind, const char* entry, size_t limit, std::string& bytes) {
  bytes.clear();
  IStream* stream = nullptr;
  if (FAILED(OpenEntryIStream(archive, kind, entry, GetCurrentPassword(), &stream))) return false;
  char piece[65536];
  ULONG got = 0;
  bool whole = true;
  while (SUCCEEDED(stream->Read(piece, sizeof piece, &got)) && got) {
    if (bytes.size() + got > limit) {
      whole = false;
      break;
    }
    bytes.append(piece, got);
  }
  stream->Release();
  return whole;
}

EntrySource* NewArchiveEntrySource(const char* archive, int kind, const char* password) {
  return new ArchiveEntrySource(archive, kind, password);
}

std::vector<TransferEntry> TransferEntriesOfRows(HWND list, const std::vector<int>& rows, const char* base,
                                                 HWND fullList) {
  std::vector<TransferEntry> entries;
  std::string prefix = Backslashed(base ? base : "");
  for (int row : rows) {
    const liststruct* record = GetRowRecord(list, row);
    if (!record || !record->filename || !*record->filename) continue;
    std::string path = Backslashed(record->path ? record->path : "");
    if (record->folder) {
      std::string folder = path + record->filename + "\\";
      std::vector<TransferEntry> below = TransferEntriesBelowFolder(fullList, folder.c_str());
      entries.insert(entries.end(), below.begin(), below.end());
      continue;
    }
    entries.push_back(EntryOfRecord(record, path.compare(0, prefix.size(), prefix) == 0 ? prefix.size() : 0));
  }
  return entries;
}

std::vector<TransferEntry> TransferEntriesBelowFolder(HWND list, const char* folder) {
  std::string inside = Backslashed(folder ? folder : "");
  if (!inside.empty() && inside.back() != '\\') inside += '\\';
  // The folder itself lands: its name is kept, what is above it is not.
  size_t nameStart = inside.size() > 1 ? inside.rfind('\\', inside.size() - 2) : std::string::npos;
  size_t keepFrom = nameStart == std::string::npos ? 0 : nameStart + 1;
  std::vector<TransferEntry> entries;
  size_t count = GetEntryRowCount(list);
  for (size_t row = 0; row < count; ++row) {
    const liststruct* record = GetRowRecord(list, static_cast<int>(row));
    if (!record || !record->filename || !*record->filename) continue;
    std::string path = Backslashed(record->path ? record->path : "");
    if (path.compare(0, inside.size(), inside) == 0) entries.push_back(EntryOfRecord(record, keepFrom));
  }
  return entries;
}

IDataObject* MakeWindowDataObject(const std::vector<TransferEntry>& entries, DWORD preferredEffect) {
  const char* archive = GetCurrentArchivePath();
  if (entries.empty() || !*archive || !EnsureTransferPassword()) return nullptr;
  return CreateEntryDataObject(entries, NewArchiveEntrySource(archive, GetArchiveKind(), GetCurrentPassword()),
                               preferredEffect, nullptr);
}

DWORD DragEntriesOut(const std::vector<TransferEntry>& entries, HWND dragImageFrom) {
  if (entries.empty() || !*GetCurrentArchivePath() || !EnsureTransferPassword()) return DROPEFFECT_NONE;
  if (IsDragAsThread()) {
    DragThreadBlock* block = new DragThreadBlock{entries, GetCurrentArchivePath(), GetCurrentPassword(), GetArchiveKind()};
    if (StartWorker("DragEntriesOut", DragThread, block)) return DROPEFFECT_NONE;
    delete block;
  }
  IDataObject* data = MakeWindowDataObject(entries, DROPEFFECT_COPY);
  if (!data) return DROPEFFECT_NONE;
  DWORD effect = RunDrag(data, dragImageFrom);
  data->Release();
  return effect;
}

bool CopyEntriesToClipboard(const std::vector<TransferEntry>& entries, bool cut, PasteReportProc onPasted) {
  const char* archive = GetCurrentArchivePath();
  if (entries.empty() || !*archive || !EnsureTransferPassword()) return false;
  IDataObject* data = CreateEntryDataObject(entries, NewArchiveEntrySource(archive, GetArchiveKind(), GetCurrentPassword()),
                                            cut ? DROPEFFECT_MOVE : DROPEFFECT_COPY, cut ? onPasted : nullptr);
  HRESULT result = OleSetClipboard(data);
  data->Release();
  if (FAILED(result)) Log(1, GetVerbose(), "CopyEntriesToClipboard: OleSetClipboard 0x%lx", static_cast<unsigned long>(result));
  return SUCCEEDED(result);
}

std::vector<std::string> ClipboardFileNames() {
  std::vector<std::string> names;
  IDataObject* data = nullptr;
  if (FAILED(OleGetClipboard(&data)) || !data) return names;
  FORMATETC format = {CF_HDROP, nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL};
  STGMEDIUM medium = {};
  // The program's own entries would be written out only to be added back.
  if (!IsOwnEntryData(data) && data->GetData(&format, &medium) == S_OK) {
    std::vector<char> buffer;
    int count = DroppedFileNames(static_cast<HDROP>(medium.hGlobal), buffer);
    for (int i = 0; i < count; ++i) names.emplace_back(&buffer[static_cast<size_t>(i) * kPathBuf]);
    ReleaseStgMedium(&medium);
  }
  data->Release();
  return names;
}

void ReleaseOwnClipboard() {
  IDataObject* data = nullptr;
  if (SUCCEEDED(OleGetClipboard(&data)) && data) {
    bool own = IsOwnEntryData(data);
    data->Release();
    if (own) OleSetClipboard(nullptr);
  }
}
