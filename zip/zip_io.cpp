#include "services/base.h"
#include "zip/zip_io.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t kBufferSize = 1 << 20;

thread_local DWORD t_lastOpenError = 0;

// Extraction alternates between two places: the central directory (the next entry's
// record) and the entry's own data far away. One window per place keeps both in memory;
// with a single window every entry would read a whole megabyte twice.
constexpr int kWindows = 2;

struct ReadWindow {
  unsigned char* buffer;
  uint64_t start;  // file offset of buffer[0]
  size_t length;
  uint64_t lastUse;
};

struct BufferedFile {
  FilePlace place;  // first: the shared tell, seek and error read it
  ReadWindow windows[kWindows];
  uint64_t uses;
  size_t windowSize;
};

ReadWindow* WindowHolding(BufferedFile* f, uint64_t at) {
  for (ReadWindow& w : f->windows)
    if (at >= w.start && at < w.start + w.length) return &w;
  return nullptr;
}

ReadWindow* LeastRecentWindow(BufferedFile* f) {
  ReadWindow* oldest = &f->windows[0];
  for (ReadWindow& w : f->windows)
    if (w.lastUse < oldest->lastUse) oldest = &w;
  return oldest;
}

bool ReadAt(BufferedFile* f, uint64_t offset, void* out, DWORD size, DWORD* got) {
  OVERLAPPED at = {};
  at.Offset = static_cast<DWORD>(offset);
  at.OffsetHigh = static_cast<DWORD>(offset >> 32);
  *got = 0;
  if (ReadFile(f->place.handle, out, size, got, &at)) return true;
  return GetLastError() == ERROR_HANDLE_EOF;
}

// The layer's opaque word carries the window size (null: the default).
voidpf ZCALLBACK OpenFile(voidpf opaque, const void* name, int mode) {
  DWORD access = GENERIC_READ, share = FILE_SHARE_READ, disposition = OPEN_EXISTING;
  if ((mode & ZLIB_FILEFUNC_MODE_READWRITEFILTER) != ZLIB_FILEFUNC_MODE_READ) {
    access = GENERIC_READ | GENERIC_WRITE;
    share = 0;
    disposition = (mode & ZLIB_FILEFUNC_MODE_CREATE) ? CREATE_ALWAYS : OPEN_EXISTING;
  }
  HANDLE h = CreateFileA(static_cast<const char*>(name), access, share, nullptr, disposition,
                         FILE_ATTRIBUTE_NORMAL | FILE_FLAG_RANDOM_ACCESS, nullptr);
  if (h == INVALID_HANDLE_VALUE) {
    t_lastOpenError = GetLastError();
    SetLastError(t_lastOpenError);
    return nullptr;
  }
  t_lastOpenError = 0;
  BufferedFile* f = static_cast<BufferedFile*>(calloc(1, sizeof(BufferedFile)));
  SetFilePlace(&f->place, h);
  f->windowSize = opaque ? reinterpret_cast<uintptr_t>(opaque) : kBufferSize;
  return f;
}

uLong ZCALLBACK ReadFileFn(voidpf, voidpf stream, void* out, uLong size) {
  BufferedFile* f = static_cast<BufferedFile*>(stream);
  unsigned char* dest = static_cast<unsigned char*>(out);
  uLong done = 0;
  while (done < size) {
    uint64_t at = f->place.position;
    if (ReadWindow* w = WindowHolding(f, at)) {
      size_t offset = static_cast<size_t>(at - w->start);
      size_t take = w->length - offset;
      if (take > size - done) take = size - done;
      memcpy(dest + done, w->buffer + offset, take);
      w->lastUse = ++f->uses;
      done += static_cast<uLong>(take);
      f->place.position += take;
      continue;
    }
    DWORD got = 0;
    if (size - done >= f->windowSize) {
      // Large reads go straight to the caller's memory.
      if (!ReadAt(f, at, dest + done, size - done, &got)) f->place.error = 1;
      done += got;
      f->place.position += got;
      break;
    }
    ReadWindow* w = LeastRecentWindow(f);
    if (!w->buffer) w->buffer = static_cast<unsigned char*>(malloc(f->windowSize));
    if (!w->buffer) {
      f->place.error = 1;
      break;
    }
    w->length = 0;
    if (!ReadAt(f, at, w->buffer, static_cast<DWORD>(f->windowSize), &got)) f->place.error = 1;
    w->start = at;
    w->length = got;
    w->lastUse = ++f->uses;
    if (got == 0) break;
  }
  return done;
}

uLong ZCALLBACK WriteFileFn(voidpf, voidpf stream, const void* data, uLong size) {
  BufferedFile* f = static_cast<BufferedFile*>(stream);
  OVERLAPPED at = {};
  at.Offset = static_cast<DWORD>(f->place.position);
  at.OffsetHigh = static_cast<DWORD>(f->place.position >> 32);
  DWORD written = 0;
  if (!WriteFile(f->place.handle, data, size, &written, &at)) f->place.error = 1;
  // What was buffered for reading may now be stale.
  for (ReadWindow& w : f->windows) w.length = 0;
  f->place.position += written;
  if (f->place.position > f->place.size) f->place.size = f->place.position;
  return written;
}

int ZCALLBACK CloseFn(voidpf, voidpf stream) {
  BufferedFile* f = static_cast<BufferedFile*>(stream);
  int result = CloseHandle(f->place.handle) ? 0 : -1;
  for (ReadWindow& w : f->windows) free(w.buffer);
  free(f);
  return result;
}

}  // namespace

void FillBufferedFileFunctions(zlib_filefunc64_def* functions) {
  FillPlaceFunctions(functions, OpenFile, ReadFileFn, WriteFileFn, CloseFn);
}

void FillSmallWindowFileFunctions(zlib_filefunc64_def* functions) {
  FillBufferedFileFunctions(functions);
  functions->opaque = reinterpret_cast<voidpf>(static_cast<uintptr_t>(64 << 10));
}

namespace {

ZPOS64_T ZCALLBACK PlaceTell(voidpf, voidpf stream) { return static_cast<FilePlace*>(stream)->position; }

long ZCALLBACK PlaceSeek(voidpf, voidpf stream, ZPOS64_T offset, int origin) {
  FilePlace* f = static_cast<FilePlace*>(stream);
  switch (origin) {
    case ZLIB_FILEFUNC_SEEK_CUR: f->position += offset; break;
    case ZLIB_FILEFUNC_SEEK_END: f->position = f->size + offset; break;
    case ZLIB_FILEFUNC_SEEK_SET: f->position = offset; break;
    default: return -1;
  }
  return 0;
}

int ZCALLBACK PlaceError(voidpf, voidpf stream) { return static_cast<FilePlace*>(stream)->error; }

}  // namespace

void SetFilePlace(FilePlace* place, HANDLE handle) {
  place->handle = handle;
  LARGE_INTEGER size = {};
  GetFileSizeEx(handle, &size);
  place->size = static_cast<uint64_t>(size.QuadPart);
}

void FillPlaceFunctions(zlib_filefunc64_def* functions, open64_file_func open, read_file_func read,
                        write_file_func write, close_file_func close) {
  functions->zopen64_file = open;
  functions->zread_file = read;
  functions->zwrite_file = write;
  functions->zclose_file = close;
  functions->opaque = nullptr;
  functions->ztell64_file = PlaceTell;
  functions->zseek64_file = PlaceSeek;
  functions->zerror_file = PlaceError;
}

DWORD GetLastZipFileOpenError() { return t_lastOpenError; }
