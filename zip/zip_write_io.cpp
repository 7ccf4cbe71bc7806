#include "services/base.h"
#include "zip/zip_write_io.h"

#include "zip/zip_io.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t kBufferSize = 1 << 20;

struct WriteFile64 {
  FilePlace place;  // first: the shared tell, seek and error read it; size counts the buffer
  unsigned char* buffer;
  uint64_t bufferStart;  // file offset of buffer[0]
  size_t bufferLength;   // bytes of buffer that are pending
};

bool WriteAt(WriteFile64* f, uint64_t offset, const void* data, size_t size) {
  const unsigned char* p = static_cast<const unsigned char*>(data);
  while (size) {
    OVERLAPPED at = {};
    at.Offset = static_cast<DWORD>(offset);
    at.OffsetHigh = static_cast<DWORD>(offset >> 32);
    DWORD chunk = size > 0x40000000 ? 0x40000000 : static_cast<DWORD>(size);
    DWORD written = 0;
    if (!WriteFile(f->place.handle, p, chunk, &written, &at) || written != chunk) {
      f->place.error = 1;
      return false;
    }
    p += chunk;
    offset += chunk;
    size -= chunk;
  }
  return true;
}

bool Flush(WriteFile64* f) {
  if (!f->bufferLength) return true;
  bool ok = WriteAt(f, f->bufferStart, f->buffer, f->bufferLength);
  f->bufferLength = 0;
  return ok;
}

voidpf ZCALLBACK OpenFn(voidpf, const void* name, int mode) {
  DWORD access = GENERIC_READ, disposition = OPEN_EXISTING;
  if ((mode & ZLIB_FILEFUNC_MODE_READWRITEFILTER) != ZLIB_FILEFUNC_MODE_READ) access |= GENERIC_WRITE;
  if (mode & ZLIB_FILEFUNC_MODE_CREATE) disposition = CREATE_ALWAYS;
  HANDLE h = CreateFileA(static_cast<const char*>(name), access, 0, nullptr, disposition, FILE_ATTRIBUTE_NORMAL,
                         nullptr);
  if (h == INVALID_HANDLE_VALUE) return nullptr;
  WriteFile64* f = static_cast<WriteFile64*>(calloc(1, sizeof(WriteFile64)));
  unsigned char* buffer = static_cast<unsigned char*>(malloc(kBufferSize));
  if (!f || !buffer) {
    free(f);
    free(buffer);
    CloseHandle(h);
    return nullptr;
  }
  SetFilePlace(&f->place, h);
  f->buffer = buffer;
  return f;
}

uLong ZCALLBACK ReadFn(voidpf, voidpf stream, void* out, uLong size) {
  // Reads come only while an archive to append to is opened: rare, so no read buffer.
  WriteFile64* f = static_cast<WriteFile64*>(stream);
  if (!Flush(f)) return 0;
  OVERLAPPED at = {};
  at.Offset = static_cast<DWORD>(f->place.position);
  at.OffsetHigh = static_cast<DWORD>(f->place.position >> 32);
  DWORD got = 0;
  if (!ReadFile(f->place.handle, out, size, &got, &at) && GetLastError() != ERROR_HANDLE_EOF) f->place.error = 1;
  f->place.position += got;
  return got;
}

uLong ZCALLBACK WriteFn(voidpf, voidpf stream, const void* data, uLong size) {
  WriteFile64* f = static_cast<WriteFile64*>(stream);
  uint64_t end = f->bufferStart + f->bufferLength;
  bool inside = f->bufferLength && f->place.position >= f->bufferStart && f->place.position <= end &&
                f->place.position + size <= f->bufferStart + kBufferSize;
  if (!inside) {
    if (!Flush(f)) return 0;
    f->bufferStart = f->place.position;
    if (size >= kBufferSize) {
      if (!WriteAt(f, f->place.position, data, size)) return 0;
      f->place.position += size;
      if (f->place.position > f->place.size) f->place.size = f->place.position;
      return size;
    }
  }
  size_t offset = static_cast<size_t>(f->place.position - f->bufferStart);
  memcpy(f->buffer + offset, data, size);
  if (offset + size > f->bufferLength) f->bufferLength = offset + size;
  f->place.position += size;
  if (f->place.position > f->place.size) f->place.size = f->place.position;
  return size;
}

int ZCALLBACK CloseFn(voidpf, voidpf stream) {
  WriteFile64* f = static_cast<WriteFile64*>(stream);
  bool ok = Flush(f) && !f->place.error;
  // A complete archive is on the disk before anyone may replace an older one with it.
  if (ok && !FlushFileBuffers(f->place.handle)) ok = false;
  if (!CloseHandle(f->place.handle)) ok = false;
  free(f->buffer);
  free(f);
  return ok ? 0 : -1;
}

}  // namespace

void FillWriteBufferedFileFunctions(zlib_filefunc64_def* functions) {
  FillPlaceFunctions(functions, OpenFn, ReadFn, WriteFn, CloseFn);
}
