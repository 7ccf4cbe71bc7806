// sevenzip.dll: 7z archives read through the 7-Zip project's own handler, linked in whole.
//
// The handler only pushes data: IInArchive::Extract decodes a block front to back and hands
// each entry's bytes to a stream the caller gives. The program pulls (one entry, then its
// bytes), so each handle runs the handler's extraction on a thread of its own over the entries
// of one block from the chosen one on, and the two meet one buffer at a time: the decoder
// waits while the reader takes a buffer, and the reader waits while the decoder makes the
// next. Nothing is decoded ahead of what is asked for, and an entry the reader passes over is
// decoded (a solid block cannot be entered in the middle) but handed to nobody.
#include <Common/Common.h>

#include <Common/MyCom.h>
#include <Common/MyString.h>
#include <Windows/PropVariant.h>
#include <7zip/Archive/IArchive.h>
#include <7zip/IPassword.h>
#include <7zip/PropID.h>
#include <C/7zVersion.h>

#include "kestrelia_7z.h"

#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

STDAPI CreateObject(const GUID* clsid, const GUID* iid, void** outObject);

namespace {

// The 7z handler's class identifier in the handlers' registry.
const GUID kSevenZipHandler = {0x23170F69, 0x40C1, 0x278A, {0x10, 0x00, 0x00, 0x01, 0x10, 0x07, 0x00, 0x00}};

UString WideOf(const char* utf8) {
  UString out;
  if (!utf8 || !*utf8) return out;
  int n = MultiByteToWideChar(CP_UTF8, 0, utf8, -1, nullptr, 0);
  if (n <= 1) return out;
  std::vector<wchar_t> buffer(static_cast<size_t>(n));
  MultiByteToWideChar(CP_UTF8, 0, utf8, -1, buffer.data(), n);
  out = buffer.data();
  return out;
}

// Into a fixed buffer, cut at a whole character when it does not fit.
void Utf8Into(const wchar_t* wide, char* out, size_t size) {
  out[0] = '\0';
  if (!wide) return;
  int n = WideCharToMultiByte(CP_UTF8, 0, wide, -1, out, static_cast<int>(size), nullptr, nullptr);
  if (n > 0) return;
  std::vector<char> whole(static_cast<size_t>(WideCharToMultiByte(CP_UTF8, 0, wide, -1, nullptr, 0, nullptr, nullptr)) + 1);
  WideCharToMultiByte(CP_UTF8, 0, wide, -1, whole.data(), static_cast<int>(whole.size()), nullptr, nullptr);
  size_t cut = size - 1;
  while (cut > 0 && (static_cast<unsigned char>(whole[cut]) & 0xC0) == 0x80) --cut;
  memcpy(out, whole.data(), cut);
  out[cut] = '\0';
}

HRESULT PasswordAnswer(const UString& password, BSTR* out) {
  *out = SysAllocString(password.Ptr());
  return *out ? S_OK : E_OUTOFMEMORY;
}

Z7_CLASS_IMP_COM_1(CFileInStream, IInStream)
  Z7_IFACE_COM7_IMP(ISequentialInStream)
 public:
  HANDLE file = INVALID_HANDLE_VALUE;
  ~CFileInStream() {
    if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
  }
};

Z7_COM7F_IMF(CFileInStream::Read(void* data, UInt32 size, UInt32* processed)) {
  DWORD n = 0;
  BOOL ok = ReadFile(file, data, size, &n, nullptr);
  if (processed) *processed = n;
  return ok ? S_OK : HRESULT_FROM_WIN32(GetLastError());
}

Z7_COM7F_IMF(CFileInStream::Seek(Int64 offset, UInt32 origin, UInt64* position)) {
  LARGE_INTEGER distance, now;
  distance.QuadPart = offset;
  if (!SetFilePointerEx(file, distance, &now, origin)) return HRESULT_FROM_WIN32(GetLastError());
  if (position) *position = static_cast<UInt64>(now.QuadPart);
  return S_OK;
}

// Asked for the password while encrypted names are read.
class COpenCallback Z7_final : public IArchiveOpenCallback, public ICryptoGetTextPassword, public CMyUnknownImp {
  Z7_IFACES_IMP_UNK_2(IArchiveOpenCallback, ICryptoGetTextPassword)
 public:
  UString password;
  bool asked = false;
};

Z7_COM7F_IMF(COpenCallback::SetTotal(const UInt64*, const UInt64*)) { return S_OK; }
Z7_COM7F_IMF(COpenCallback::SetCompleted(const UInt64*, const UInt64*)) { return S_OK; }
Z7_COM7F_IMF(COpenCallback::CryptoGetTextPassword(BSTR* out)) {
  asked = true;
  if (password.IsEmpty()) return E_ABORT;
  return PasswordAnswer(password, out);
}

struct Archive;

// Windows' slim lock and condition variable. The runtime's portable ones wait on kernel
// objects, which cost a round trip to Wine's server at every hand-over; these stay in the
// process, and a walk of many small entries hands over several times per entry.
class SlimLock {
 public:
  void lock() { AcquireSRWLockExclusive(&lock_); }
  void unlock() { ReleaseSRWLockExclusive(&lock_); }
  PSRWLOCK native() { return &lock_; }

 private:
  SRWLOCK lock_ = SRWLOCK_INIT;
};

class SlimCondition {
 public:
  void notify_all() { WakeAllConditionVariable(&condition_); }
  template <typename Done>
  void wait(std::unique_lock<SlimLock>& hold, Done done) {
    while (!done()) SleepConditionVariableSRW(&condition_, hold.mutex()->native(), INFINITE, 0);
  }

 private:
  CONDITION_VARIABLE condition_ = CONDITION_VARIABLE_INIT;
};

// What the decoding thread and the reader share, under one lock.
struct Meeting {
  SlimLock lock;
  SlimCondition changed;
  UInt32 wanted = 0;        // the entry the reader reads
  UInt32 current = 0;       // the entry the decoder is at
  bool atWanted = false;    // the decoder has handed out the wanted entry's stream
  const Byte* pending = nullptr;
  size_t pendingSize = 0;   // bytes of the wanted entry the reader has not taken yet
  bool entryEnded = false;  // the wanted entry's data ended, with entryResult
  Int32 entryResult = 0;
  bool stop = false;        // the reader is gone or moved to another block
  bool finished = false;    // the extraction returned, with extractResult
  HRESULT extractResult = S_OK;
  bool passwordMissing = false;
};

// Hands the wanted entry's bytes to the reader; every other entry's bytes go nowhere.
Z7_CLASS_IMP_COM_1(CMeetingOutStream, ISequentialOutStream)
 public:
  Meeting* meeting = nullptr;
  UInt32 index = 0;
};

Z7_COM7F_IMF(CMeetingOutStream::Write(const void* data, UInt32 size, UInt32* processed)) {
  if (processed) *processed = size;
  std::unique_lock<SlimLock> hold(meeting->lock);
  if (meeting->stop) return E_ABORT;
  if (meeting->wanted != index || size == 0) return S_OK;
  meeting->pending = static_cast<const Byte*>(data);
  meeting->pendingSize = size;
  meeting->changed.notify_all();
  meeting->changed.wait(hold, [&] { return meeting->pendingSize == 0 || meeting->stop || meeting->wanted != index; });
  meeting->pendingSize = 0;
  meeting->pending = nullptr;
  return meeting->stop ? E_ABORT : S_OK;
}

class CExtractCallback Z7_final : public IArchiveExtractCallback, public ICryptoGetTextPassword, public CMyUnknownImp {
  Z7_IFACES_IMP_UNK_2(IArchiveExtractCallback, ICryptoGetTextPassword)
  Z7_IFACE_COM7_IMP(IProgress)
 public:
  Meeting* meeting = nullptr;
  UString password;
};

Z7_COM7F_IMF(CExtractCallback::SetTotal(UInt64)) { return S_OK; }
Z7_COM7F_IMF(CExtractCallback::SetCompleted(const UInt64*)) {
  std::lock_guard<SlimLock> hold(meeting->lock);
  return meeting->stop ? E_ABORT : S_OK;
}

Z7_COM7F_IMF(CExtractCallback::GetStream(UInt32 index, ISequentialOutStream** out, Int32)) {
  *out = nullptr;
  std::unique_lock<SlimLock> hold(meeting->lock);
  meeting->current = index;
  // The reader has not chosen this entry or one after it yet: wait, so nothing is decoded
  // ahead of what is asked for.
  meeting->changed.wait(hold, [&] { return meeting->stop || meeting->wanted >= index; });
  if (meeting->stop) return E_ABORT;
  if (meeting->wanted != index) return S_OK;
  meeting->atWanted = true;
  meeting->entryEnded = false;
  meeting->changed.notify_all();
  CMeetingOutStream* stream = new CMeetingOutStream;
  stream->meeting = meeting;
  stream->index = index;
  CMyComPtr<ISequentialOutStream> keep(stream);
  *out = keep.Detach();
  return S_OK;
}

Z7_COM7F_IMF(CExtractCallback::PrepareOperation(Int32)) { return S_OK; }

Z7_COM7F_IMF(CExtractCallback::SetOperationResult(Int32 result)) {
  std::lock_guard<SlimLock> hold(meeting->lock);
  if (meeting->atWanted && meeting->current == meeting->wanted && !meeting->entryEnded) {
    meeting->entryEnded = true;
    meeting->entryResult = result;
    meeting->changed.notify_all();
  }
  return meeting->stop ? E_ABORT : S_OK;
}

Z7_COM7F_IMF(CExtractCallback::CryptoGetTextPassword(BSTR* out)) {
  if (password.IsEmpty()) {
    std::lock_guard<SlimLock> hold(meeting->lock);
    meeting->passwordMissing = true;
    return E_ABORT;
  }
  return PasswordAnswer(password, out);
}

// One extraction over the entries of a block from the chosen one on.
struct Session {
  Meeting meeting;
  UInt32 block = SZ_NO_BLOCK;
  std::thread thread;
};

struct Entry {
  UInt32 block;
  UInt64 size;
  bool encrypted;
};

struct Archive {
  CMyComPtr<IInArchive> handler;
  std::vector<Entry> entries;
  UString password;
  Session* session = nullptr;
  UInt32 selected = 0;
  bool hasSelection = false;
  UInt64 read = 0;    // bytes of the selected entry handed out
  int end = 1;        // 1 while the selected entry's data goes on, then how it ended

  ~Archive() {
    StopSession();
    if (handler) handler->Close();
  }

  void StopSession() {
    if (!session) return;
    {
      std::lock_guard<SlimLock> hold(session->meeting.lock);
      session->meeting.stop = true;
      session->meeting.changed.notify_all();
    }
    session->thread.join();
    delete session;
    session = nullptr;
  }

  void StartSession(UInt32 index) {
    Session* s = new Session;
    s->block = entries[index].block;
    s->meeting.wanted = index;
    std::vector<UInt32> indices;
    for (UInt32 i = index; i < entries.size(); ++i)
      if (entries[i].block == s->block) indices.push_back(i);
    CExtractCallback* callback = new CExtractCallback;
    callback->meeting = &s->meeting;
    callback->password = password;
    CMyComPtr<IArchiveExtractCallback> keep(callback);
    IInArchive* h = handler;
    s->thread = std::thread([s, h, keep, indices]() {
      HRESULT result;
      try {
        result = h->Extract(indices.data(), static_cast<UInt32>(indices.size()), 0, keep);
      } catch (...) {
        result = E_FAIL;
      }
      std::lock_guard<SlimLock> hold(s->meeting.lock);
      s->meeting.finished = true;
      s->meeting.extractResult = result;
      s->meeting.changed.notify_all();
    });
    session = s;
  }
};

int ResultOfEntry(Int32 result, bool encrypted) {
  using namespace NArchive::NExtract::NOperationResult;
  switch (result) {
    case kOK: return 0;
    case kWrongPassword: return SZ_WRONG_PASSWORD;
    case kUnsupportedMethod: return SZ_UNSUPPORTED;
    // AES has no check of its own: a wrong key shows as data that does not decode.
    default: return encrypted ? SZ_WRONG_PASSWORD : SZ_DAMAGED;
  }
}

}  // namespace

extern "C" {

SzHandle SzOpenArchive(const char* path, const char* password, int* result) {
  int ignored;
  if (!result) result = &ignored;
  *result = SZ_FAILED;
  UString widePath = WideOf(path);
  CFileInStream* file = new CFileInStream;
  CMyComPtr<IInStream> stream(file);
  file->file = CreateFileW(widePath.Ptr(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file->file == INVALID_HANDLE_VALUE) return nullptr;
  Archive* archive = new Archive;
  if (CreateObject(&kSevenZipHandler, &IID_IInArchive, reinterpret_cast<void**>(&archive->handler)) != S_OK) {
    delete archive;
    return nullptr;
  }
  COpenCallback* callback = new COpenCallback;
  CMyComPtr<IArchiveOpenCallback> keep(callback);
  callback->password = WideOf(password);
  archive->password = callback->password;
  const UInt64 scanLimit = 1 << 16;
  HRESULT opened;
  try {
    opened = archive->handler->Open(stream, &scanLimit, keep);
  } catch (...) {
    opened = E_FAIL;
  }
  if (opened != S_OK) {
    if (callback->asked) *result = callback->password.IsEmpty() ? SZ_NEED_PASSWORD : SZ_WRONG_PASSWORD;
    else *result = opened == S_FALSE ? SZ_NOT_ARCHIVE : opened == E_OUTOFMEMORY ? SZ_FAILED : SZ_DAMAGED;
    archive->handler.Release();
    delete archive;
    return nullptr;
  }
  UInt32 count = 0;
  archive->handler->GetNumberOfItems(&count);
  archive->entries.resize(count);
  for (UInt32 i = 0; i < count; ++i) {
    NWindows::NCOM::CPropVariant block, size, encrypted;
    archive->handler->GetProperty(i, kpidBlock, &block);
    archive->handler->GetProperty(i, kpidSize, &size);
    archive->handler->GetProperty(i, kpidEncrypted, &encrypted);
    archive->entries[i] = {block.vt == VT_UI4 ? block.ulVal : SZ_NO_BLOCK, size.vt == VT_UI8 ? size.uhVal.QuadPart : 0,
                           encrypted.vt == VT_BOOL && encrypted.boolVal != VARIANT_FALSE};
  }
  *result = 0;
  return archive;
}

void SzCloseArchive(SzHandle handle) { delete static_cast<Archive*>(handle); }

uint32_t SzEntryCount(SzHandle handle) {
  return handle ? static_cast<uint32_t>(static_cast<Archive*>(handle)->entries.size()) : 0;
}

int SzGetEntry(SzHandle handle, uint32_t index, SzEntryRecord* record) {
  Archive* archive = static_cast<Archive*>(handle);
  if (!archive || !record || index >= archive->entries.size()) return SZ_FAILED;
  memset(record, 0, sizeof *record);
  IInArchive* h = archive->handler;
  NWindows::NCOM::CPropVariant path, packed, modified, attributes, crc, folder, method;
  h->GetProperty(index, kpidPath, &path);
  h->GetProperty(index, kpidPackSize, &packed);
  h->GetProperty(index, kpidMTime, &modified);
  h->GetProperty(index, kpidAttrib, &attributes);
  h->GetProperty(index, kpidCRC, &crc);
  h->GetProperty(index, kpidIsDir, &folder);
  h->GetProperty(index, kpidMethod, &method);
  const Entry& entry = archive->entries[index];
  record->size = entry.size;
  record->block = entry.block;
  record->encrypted = entry.encrypted;
  if (packed.vt == VT_UI8) record->packed = packed.uhVal.QuadPart;
  if (modified.vt == VT_FILETIME)
    record->modified = (static_cast<uint64_t>(modified.filetime.dwHighDateTime) << 32) | modified.filetime.dwLowDateTime;
  if (attributes.vt == VT_UI4) record->attributes = attributes.ulVal;
  if (crc.vt == VT_UI4) {
    record->crc = crc.ulVal;
    record->hasCrc = 1;
  }
  record->folder = folder.vt == VT_BOOL && folder.boolVal != VARIANT_FALSE;
  uint32_t mode = record->attributes >> 16;
  record->link = (record->attributes & FILE_ATTRIBUTE_REPARSE_POINT) ||
                 ((record->attributes & 0x8000) && (mode & 0170000) == 0120000);
  if (method.vt == VT_BSTR) Utf8Into(method.bstrVal, record->method, sizeof record->method);
  if (path.vt == VT_BSTR) Utf8Into(path.bstrVal, record->name, sizeof record->name);
  for (char* c = record->name; *c; ++c)
    if (*c == '/') *c = '\\';
  return 0;
}

void SzSetPassword(SzHandle handle, const char* password) {
  Archive* archive = static_cast<Archive*>(handle);
  if (!archive) return;
  UString wide = WideOf(password);
  if (wide == archive->password) return;
  archive->password = wide;
  // A decoding that began with the old password cannot take the new one.
  archive->StopSession();
}

int SzSelectEntry(SzHandle handle, uint32_t index) {
  Archive* archive = static_cast<Archive*>(handle);
  if (!archive || index >= archive->entries.size()) return SZ_FAILED;
  archive->selected = index;
  archive->hasSelection = true;
  archive->read = 0;
  archive->end = 1;
  UInt32 block = archive->entries[index].block;
  if (block == SZ_NO_BLOCK) return 0;  // no data: nothing to decode
  Session* s = archive->session;
  if (s) {
    std::unique_lock<SlimLock> hold(s->meeting.lock);
    // The decoding goes on when it has not passed the entry yet.
    bool ahead = s->meeting.current > index || (s->meeting.current == index && s->meeting.atWanted &&
                                                s->meeting.wanted == index);
    if (s->block == block && !s->meeting.finished && !ahead && s->meeting.wanted <= index) {
      s->meeting.wanted = index;
      s->meeting.atWanted = false;
      s->meeting.entryEnded = false;
      s->meeting.changed.notify_all();
      return 0;
    }
  }
  archive->StopSession();
  archive->StartSession(index);
  return 0;
}

int64_t SzReadData(SzHandle handle, void* buffer, uint32_t size) {
  Archive* archive = static_cast<Archive*>(handle);
  if (!archive || !archive->hasSelection) return SZ_FAILED;
  if (archive->end <= 0) return archive->end;
  const Entry& entry = archive->entries[archive->selected];
  if (entry.block == SZ_NO_BLOCK) return archive->end = 0;
  Session* s = archive->session;
  if (!s) return archive->end = SZ_FAILED;
  Meeting& m = s->meeting;
  std::unique_lock<SlimLock> hold(m.lock);
  m.changed.wait(hold, [&] { return (m.atWanted && (m.pendingSize > 0 || m.entryEnded)) || m.finished; });
  if (m.atWanted && m.pendingSize > 0) {
    size_t n = m.pendingSize < size ? m.pendingSize : size;
    if (archive->read + n > entry.size) {
      m.stop = true;
      m.changed.notify_all();
      return archive->end = SZ_DAMAGED;
    }
    memcpy(buffer, m.pending, n);
    m.pending += n;
    m.pendingSize -= n;
    archive->read += n;
    if (m.pendingSize == 0) m.changed.notify_all();
    return static_cast<int64_t>(n);
  }
  if (m.atWanted && m.entryEnded) {
    int result = ResultOfEntry(m.entryResult, entry.encrypted);
    if (result == 0 && archive->read != entry.size) result = SZ_DAMAGED;
    return archive->end = result;
  }
  // The extraction ended before the entry's data did.
  if (m.passwordMissing) return archive->end = SZ_NEED_PASSWORD;
  if (m.extractResult == E_OUTOFMEMORY) return archive->end = SZ_FAILED;
  return archive->end = entry.encrypted ? SZ_WRONG_PASSWORD : SZ_DAMAGED;
}

const char* SzVersion(void) { return MY_VERSION; }

}  // extern "C"
