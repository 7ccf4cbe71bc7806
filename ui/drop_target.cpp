#include "services/base.h"
#include "ui/drop_target.h"

#include "services/log.h"
#include "ui/com_object.h"
#include "ui/entry_data_object.h"

#include <ole2.h>
#include <shellapi.h>

namespace {

const FORMATETC kFileList = {CF_HDROP, nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL};

// A plain COM object; its life is counted, the window holds one reference until revoked.
struct FileDropTarget final : ComObject<IDropTarget> {
  FileDropProc onDrop;
  OwnEntriesDropProc onOwnEntries;
  bool acceptable = false;
  bool own = false;  // rows of this window, which move rather than add

  FileDropTarget(FileDropProc proc, OwnEntriesDropProc ownProc) : onDrop(proc), onOwnEntries(ownProc) {}

  DWORD OwnEffect(POINTL at, bool release) {
    return onOwnEntries && onOwnEntries(at, release) ? DROPEFFECT_MOVE : DROPEFFECT_NONE;
  }

  HRESULT STDMETHODCALLTYPE DragEnter(IDataObject* data, DWORD, POINTL at, DWORD* effect) override {
    FORMATETC format = kFileList;
    own = IsOwnEntryData(data);
    acceptable = !own && data && data->QueryGetData(&format) == S_OK;
    *effect = own ? OwnEffect(at, false) : acceptable ? DROPEFFECT_COPY : DROPEFFECT_NONE;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE DragOver(DWORD, POINTL at, DWORD* effect) override {
    *effect = own ? OwnEffect(at, false) : acceptable ? DROPEFFECT_COPY : DROPEFFECT_NONE;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE DragLeave() override {
    if (own && onOwnEntries) onOwnEntries(POINTL{-32768, -32768}, false);
    acceptable = own = false;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Drop(IDataObject* data, DWORD, POINTL at, DWORD* effect) override {
    *effect = DROPEFFECT_NONE;
    if (own) {
      own = false;
      *effect = OwnEffect(at, true);
      return S_OK;
    }
    FORMATETC format = kFileList;
    STGMEDIUM medium = {};
    if (!data || data->GetData(&format, &medium) != S_OK) return S_OK;
    // The names are copied out first: the callback may ask questions while the medium waits.
    std::vector<char> names;
    int count = DroppedFileNames(static_cast<HDROP>(medium.hGlobal), names);
    ReleaseStgMedium(&medium);
    if (count && onDrop) {
      *effect = DROPEFFECT_COPY;
      onDrop(reinterpret_cast<char (*)[kPathBuf]>(names.data()), count);
    }
    acceptable = false;
    return S_OK;
  }
};

}  // namespace

int DroppedFileNames(HDROP drop, std::vector<char>& names) {
  UINT count = DragQueryFileA(drop, 0xFFFFFFFF, nullptr, 0);
  names.assign(static_cast<size_t>(count ? count : 1) * kPathBuf, '\0');
  for (UINT i = 0; i < count; ++i) DragQueryFileA(drop, i, &names[static_cast<size_t>(i) * kPathBuf], kPathBuf);
  return static_cast<int>(count);
}

bool RegisterFileDropTarget(HWND window, FileDropProc onDrop, OwnEntriesDropProc onOwnEntries) {
  FileDropTarget* target = new FileDropTarget(onDrop, onOwnEntries);
  HRESULT result = RegisterDragDrop(window, target);
  // OLE keeps its own reference while registered.
  target->Release();
  if (FAILED(result)) {
    Log(1, GetVerbose(), "RegisterFileDropTarget: RegisterDragDrop failed 0x%lx", static_cast<unsigned long>(result));
    return false;
  }
  return true;
}

void RevokeFileDropTarget(HWND window) { RevokeDragDrop(window); }
