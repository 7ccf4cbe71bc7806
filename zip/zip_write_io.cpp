#include "services/base.h"
#include "zip/zip_write_io.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t kBufferSize = 1 << 20;

struct WriteFile64 {
  HANDLE handle;
  uint64_t position;   // where the caller is
  uint64_t size;       // of the file as the caller sees it, buffer included
  unsigned char* buffer;
  uint64_t bufferStart;  // file offset of buffer[0]
  size_t bufferLength;   // bytes of buffer that are pending
  int error;
};

bool WriteAt(WriteFile64* f, uint64_t offset, const void* data, size_t size) {
  const unsigned char* p = static_cast<const unsigned char*>(data);
  while (size) {
    OVERLAPPED at = {};
    at.Offset = static_cast<DWORD>(offset);
    at.OffsetHigh = static_cast<DWORD>(offset >> 32);
    DWORD chunk = size > 0x40000000 ? 0x40000000 : static_cast<DWORD>(size);
    DWORD written = 0;
    if (!WriteFile(f->handle, p, chunk, &written, &at) || written != chunk) {
      f->error = 1;
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
  f->handle = h;
  f->buffer = buffer;
  LARGE_INTEGER size = {};
  GetFileSizeEx(h, &size);
  f->size = static_cast<uint64_t>(size.QuadPart);
  return f;
}

uLong ZCALLBACK ReadFn(voidpf, voidpf stream, void* out, uLong size) {
  // Reads come only while an archive to append to is opened: rare, so no read buffer.
  WriteFile64* f = static_cast<WriteFile64*>(stream);
  if (!Flush(f)) return 0;
  OVERLAPPED at = {};
  at.Offset = static_cast<DWORD>(f->position);
  at.OffsetHigh = static_cast<DWORD>(f->position >> 32);
  DWORD got = 0;
  if (!ReadFile(f->handle, out, size, &got, &at) && GetLastError() != ERROR_HANDLE_EOF) f->error = 1;
  f->position += got;
  return got;
}

uLong ZCALLBACK WriteFn(voidpf, voidpf stream, const void* data, uLong size) {
  WriteFile64* f = static_cast<WriteFile64*>(stream);
  uint64_t end = f->bufferStart + f->bufferLength;
  bool inside = f->bufferLength && f->position >= f->bufferStart && f->position <= end &&
                f->position + size <= f->bufferStart + kBufferSize;
  if (!inside) {
    if (!Flush(f)) return 0;
    f->bufferStart = f->position;
    if (size >= kBufferSize) {
      if (!WriteAt(f, f->position, data, size)) return 0;
      f->position += size;
      if (f->position > f->size) f->size = f->position;
      return size;
    }
  }
  size_t offset = static_cast<size_t>(f->position - f->bufferStart);
  memcpy(f->buffer + offset, data, size);
  if (offset + size > f->bufferLength) f->bufferLength = offset + size;
  f->position += size;
  if (f->position > f->size) f->size = f->position;
  return size;
}

ZPOS64_T ZCALLBACK TellFn(voidpf, voidpf stream) { return static_cast<WriteFile64*>(stream)->position; }

long ZCALLBACK SeekFn(voidpf, voidpf stream, ZPOS64_T offset, int origin) {
  WriteFile64* f = static_cast<WriteFile64*>(stream);
  switch (origin) {
    case ZLIB_FILEFUNC_SEEK_CUR: f->position += offset; break;
    case ZLIB_FILEFUNC_SEEK_END: f->position = f->size + offset; break;
    case ZLIB_FILEFUNC_SEEK_SET: f->position = offset; break;
    default: return -1;
  }
  return 0;
}

int ZCALLBACK CloseFn(voidpf, voidpf stream) {
  WriteFile64* f = static_cast<WriteFile64*>(stream);
  bool ok = Flush(f) && !f->error;
  // A complete archive is on the disk before anyone may replace an older one with it.
  if (ok && !FlushFileBuffers(f->handle)) ok = false;
  if (!CloseHandle(f->handle)) ok = false;
  free(f->buffer);
  free(f);
  return ok ? 0 : -1;
}

int ZCALLBACK ErrorFn(voidpf, voidpf stream) { return static_cast<WriteFile64*>(stream)->error; }

}  // namespace

void FillWriteBufferedFileFunctions(zlib_filefunc64_def* functions) {
  functions->zopen64_file = OpenFn;
  functions->zread_file = ReadFn;
  functions->zwrite_file = WriteFn;
  functions->ztell64_file = TellFn;
  functions->zseek64_file = SeekFn;
  functions->zclose_file = CloseFn;
  functions->zerror_file = ErrorFn;
  functions->opaque = nullptr;
}
