#include "services/base.h"
#include "ui/entry_data_object.h"

#include "jobs/entry_name_safety.h"
#include "jobs/extract_job.h"
#include "services/log.h"
#include "ui/com_object.h"

#include <shlobj.h>
#include <shlwapi.h>

#include <cstring>
#include <set>

namespace {

const char kOwnFormatName[] = "Kestrelia entries";

CLIPFORMAT Registered(const char* name) { return static_cast<CLIPFORMAT>(RegisterClipboardFormatA(name)); }
CLIPFORMAT DescriptorFormat() { return Registered("FileGroupDescriptorW"); }  // CFSTR_FILEDESCRIPTORW
CLIPFORMAT ContentsFormat() { return Registered("FileContents"); }            // CFSTR_FILECONTENTS
CLIPFORMAT PreferredEffectFormat() { return Registered("Preferred DropEffect"); }
CLIPFORMAT PasteSucceededFormat() { return Registered("Paste Succeeded"); }
CLIPFORMAT OwnFormat() { return Registered(kOwnFormatName); }

std::wstring Wide(const std::string& text) {
  int n = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring out(static_cast<size_t>(n), L'\0');
  if (n) MultiByteToWideChar(CP_UTF8, 0, text.c_str(), static_cast<int>(text.size()), &out[0], n);
  return out;
}

HGLOBAL CopyToGlobal(const void* bytes, size_t count) {
  HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, count ? count : 1);
  if (!block) return nullptr;
  memcpy(GlobalLock(block), bytes, count);
  GlobalUnlock(block);
  return block;
}

// One line of the descriptor list: a folder (entry -1) or a file.
struct Descriptor {
  std::wstring name;
  int entry;
};

// A format a target stored on the object (the shell keeps its drag image and its answers here).
struct StoredFormat {
  FORMATETC format;
  STGMEDIUM medium;
};

struct EntryDataObject final : ComObject<IDataObject> {
  std::vector<TransferEntry> entries;
  std::vector<Descriptor> descriptors;
  EntrySource* source;
  DWORD preferredEffect;
  PasteReportProc onPasted;
  std::vector<StoredFormat> stored;
  std::string written;     // the folder CF_HDROP's files were written to, once asked for
  std::vector<std::wstring> topPaths;

  EntryDataObject(const std::vector<TransferEntry>& all, EntrySource* from, DWORD effect, PasteReportProc pasted)
      : source(from), preferredEffect(effect), onPasted(pasted) {
    std::set<std::wstring> folders;
    for (const TransferEntry& e : all) {
      std::wstring relative = Wide(e.relative);
      char reason[128] = "";
      if (relative.empty() || relative.size() >= MAX_PATH || relative.back() == L'\\' ||
          JudgeEntryName(e.relative.c_str(), reason, sizeof reason) != ENTRY_NAME_OK) {
        Log(2, GetVerbose(), "EntryDataObject: %s left out (%s)", e.relative.c_str(), *reason ? reason : "its name");
        continue;
      }
      // Every folder before what it holds, so a target makes them in order.
      for (size_t cut = relative.find(L'\\'); cut != std::wstring::npos; cut = relative.find(L'\\', cut + 1))
        if (folders.insert(relative.substr(0, cut)).second) descriptors.push_back({relative.substr(0, cut), -1});
      descriptors.push_back({relative, static_cast<int>(entries.size())});
      entries.push_back(e);
    }
  }
  ~EntryDataObject() {
    for (StoredFormat& s : stored) ReleaseStgMedium(&s.medium);
    delete source;
  }

  HGLOBAL DescriptorBlock() {
    size_t count = descriptors.size();
    size_t bytes = sizeof(FILEGROUPDESCRIPTORW) + (count ? count - 1 : 0) * sizeof(FILEDESCRIPTORW);
    HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, bytes);
    if (!block) return nullptr;
    FILEGROUPDESCRIPTORW* group = static_cast<FILEGROUPDESCRIPTORW*>(GlobalLock(block));
    group->cItems = static_cast<UINT>(count);
    for (size_t i = 0; i < count; ++i) {
      FILEDESCRIPTORW& d = group->fgd[i];
      const Descriptor& line = descriptors[i];
      d.dwFlags = FD_ATTRIBUTES | FD_PROGRESSUI | FD_UNICODE;
      wcsncpy(d.cFileName, line.name.c_str(), MAX_PATH - 1);
      if (line.entry < 0) {
        d.dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY;
        continue;
      }
      const TransferEntry& e = entries[static_cast<size_t>(line.entry)];
      d.dwFlags |= FD_FILESIZE | FD_WRITESTIME;
      d.dwFileAttributes = FILE_ATTRIBUTE_NORMAL;
      d.nFileSizeHigh = static_cast<DWORD>(e.size >> 32);
      d.nFileSizeLow = static_cast<DWORD>(e.size);
      d.ftLastWriteTime = e.written;
    }
    GlobalUnlock(block);
    return block;
  }

  // The real files, written once, named by their top-level parts as the shell lists a drop.
  HGLOBAL FileListBlock() {
    if (written.empty()) {
      char folder[kPathBuf] = "", unused[kPathBuf];
      static unsigned s_serial;
      GetTempPathA(sizeof unused, unused);
      snprintf(folder, sizeof folder, "%sKestrelia_%lu_drop%u", unused, GetCurrentProcessId(), ++s_serial);
      if (!CreateDirectoryA(folder, nullptr)) return nullptr;
      AddTempFolder(folder);
      written = folder;
      if (source->WriteAll(entries, folder) != 0) Log(1, GetVerbose(), "EntryDataObject: not every entry was written");
      std::set<std::wstring> seen;
      for (const TransferEntry& e : entries) {
        std::string name = e.name;
        for (char& c : name)
          if (c == '/') c = '\\';
        std::string top = e.relative.substr(0, e.relative.find('\\'));
        std::string path = written + "\\" + name.substr(0, name.size() - e.relative.size()) + top;
        std::wstring wide = Wide(path);
        if (GetFileAttributesW(wide.c_str()) != INVALID_FILE_ATTRIBUTES && seen.insert(wide).second)
          topPaths.push_back(wide);
      }
    }
    size_t chars = 1;
    for (const std::wstring& p : topPaths) chars += p.size() + 1;
    HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, sizeof(DROPFILES) + chars * sizeof(wchar_t));
    if (!block) return nullptr;
    DROPFILES* drop = static_cast<DROPFILES*>(GlobalLock(block));
    drop->pFiles = sizeof(DROPFILES);
    drop->fWide = TRUE;
    wchar_t* at = reinterpret_cast<wchar_t*>(drop + 1);
    for (const std::wstring& p : topPaths) {
      memcpy(at, p.c_str(), (p.size() + 1) * sizeof(wchar_t));
      at += p.size() + 1;
    }
    GlobalUnlock(block);
    return block;
  }

  StoredFormat* FindStored(const FORMATETC* format) {
    for (StoredFormat& s : stored)
      if (s.format.cfFormat == format->cfFormat && (s.format.tymed & format->tymed)) return &s;
    return nullptr;
  }

  bool Offers(const FORMATETC* f) {
    if (f->cfFormat == ContentsFormat()) return (f->tymed & TYMED_ISTREAM) != 0;
    bool own = f->cfFormat == DescriptorFormat() || f->cfFormat == CF_HDROP || f->cfFormat == PreferredEffectFormat() ||
               f->cfFormat == OwnFormat();
    return own && (f->tymed & TYMED_HGLOBAL);
  }

  HRESULT STDMETHODCALLTYPE GetData(FORMATETC* format, STGMEDIUM* medium) override {
    if (!format || !medium) return E_INVALIDARG;
    memset(medium, 0, sizeof *medium);
    if (format->cfFormat == ContentsFormat() && (format->tymed & TYMED_ISTREAM)) {
      LONG index = format->lindex;
      if (index < 0 || static_cast<size_t>(index) >= descriptors.size() || descriptors[index].entry < 0)
        return DV_E_LINDEX;
      IStream* stream = nullptr;
      HRESULT result = source->Open(entries[static_cast<size_t>(descriptors[index].entry)], &stream);
      if (FAILED(result)) return result;
      medium->tymed = TYMED_ISTREAM;
      medium->pstm = stream;
      return S_OK;
    }
    if (StoredFormat* s = FindStored(format)) {
      medium->tymed = s->medium.tymed;
      if (s->medium.tymed == TYMED_ISTREAM && s->medium.pstm) {
        medium->pstm = s->medium.pstm;
        medium->pstm->AddRef();
        return S_OK;
      }
      if (s->medium.tymed != TYMED_HGLOBAL) return DV_E_TYMED;
      SIZE_T size = GlobalSize(s->medium.hGlobal);
      medium->hGlobal = CopyToGlobal(GlobalLock(s->medium.hGlobal), size);
      GlobalUnlock(s->medium.hGlobal);
      return medium->hGlobal ? S_OK : E_OUTOFMEMORY;
    }
    if (!(format->tymed & TYMED_HGLOBAL)) return DV_E_TYMED;
    HGLOBAL block = nullptr;
    if (format->cfFormat == DescriptorFormat()) {
      block = DescriptorBlock();
    } else if (format->cfFormat == CF_HDROP) {
      block = FileListBlock();
    } else if (format->cfFormat == PreferredEffectFormat()) {
      block = CopyToGlobal(&preferredEffect, sizeof preferredEffect);
    } else if (format->cfFormat == OwnFormat()) {
      DWORD process = GetCurrentProcessId();
      block = CopyToGlobal(&process, sizeof process);
    } else {
      return DV_E_FORMATETC;
    }
    if (!block) return E_OUTOFMEMORY;
    medium->tymed = TYMED_HGLOBAL;
    medium->hGlobal = block;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetDataHere(FORMATETC*, STGMEDIUM*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE QueryGetData(FORMATETC* format) override {
    if (!format) return E_INVALIDARG;
    return Offers(format) || FindStored(format) ? S_OK : DV_E_FORMATETC;
  }
  HRESULT STDMETHODCALLTYPE GetCanonicalFormatEtc(FORMATETC*, FORMATETC* out) override {
    if (out) out->ptd = nullptr;
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetData(FORMATETC* format, STGMEDIUM* medium, BOOL release) override {
    if (!format || !medium) return E_INVALIDARG;
    if (format->cfFormat == PasteSucceededFormat() && medium->tymed == TYMED_HGLOBAL && onPasted) {
      DWORD effect = *static_cast<DWORD*>(GlobalLock(medium->hGlobal));
      GlobalUnlock(medium->hGlobal);
      onPasted(effect);
    }
    StoredFormat copy = {*format, {}};
    if (release) {
      copy.medium = *medium;
    } else if (medium->tymed == TYMED_HGLOBAL) {
      copy.medium.tymed = TYMED_HGLOBAL;
      copy.medium.hGlobal = CopyToGlobal(GlobalLock(medium->hGlobal), GlobalSize(medium->hGlobal));
      GlobalUnlock(medium->hGlobal);
    } else {
      return DV_E_TYMED;
    }
    copy.format.ptd = nullptr;
    if (StoredFormat* old = FindStored(format)) {
      ReleaseStgMedium(&old->medium);
      *old = copy;
    } else {
      stored.push_back(copy);
    }
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE EnumFormatEtc(DWORD direction, IEnumFORMATETC** out) override {
    if (direction != DATADIR_GET) return E_NOTIMPL;
    // The virtual files first: a target that can read them never needs the written copy.
    FORMATETC formats[] = {
        {DescriptorFormat(), nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL},
        {ContentsFormat(), nullptr, DVASPECT_CONTENT, -1, TYMED_ISTREAM},
        {PreferredEffectFormat(), nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL},
        {OwnFormat(), nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL},
        {CF_HDROP, nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL},
    };
    return SHCreateStdEnumFmtEtc(sizeof formats / sizeof formats[0], formats, out);
  }
  HRESULT STDMETHODCALLTYPE DAdvise(FORMATETC*, DWORD, IAdviseSink*, DWORD*) override { return OLE_E_ADVISENOTSUPPORTED; }
  HRESULT STDMETHODCALLTYPE DUnadvise(DWORD) override { return OLE_E_ADVISENOTSUPPORTED; }
  HRESULT STDMETHODCALLTYPE EnumDAdvise(IEnumSTATDATA**) override { return OLE_E_ADVISENOTSUPPORTED; }
};

}  // namespace

IDataObject* CreateEntryDataObject(const std::vector<TransferEntry>& entries, EntrySource* source,
                                   DWORD preferredEffect, PasteReportProc onPasted) {
  return new EntryDataObject(entries, source, preferredEffect, onPasted);
}

bool IsOwnEntryData(IDataObject* data) {
  FORMATETC format = {OwnFormat(), nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL};
  STGMEDIUM medium = {};
  if (!data || data->GetData(&format, &medium) != S_OK) return false;
  DWORD process = *static_cast<DWORD*>(GlobalLock(medium.hGlobal));
  GlobalUnlock(medium.hGlobal);
  ReleaseStgMedium(&medium);
  return process == GetCurrentProcessId();
}
