#include "services/base.h"
#include "zip/rewrite_output.h"

#include <cstdlib>
#include <cstring>

namespace {

// Large enough that a gigabyte costs a few hundred system calls, small enough that an entry
// of any size never needs more memory than this.
constexpr size_t kChunk = 4 << 20;
// Headers and directory records gather up to this much before they are written.
constexpr size_t kPendingLimit = 1 << 20;

void NoteFailure(RewriteFile* file) {
  if (!file->failed) {
    file->failed = true;
    file->systemError = GetLastError();
  }
}

bool WriteRaw(RewriteOutput* out, const void* data, size_t size) {
  const char* p = static_cast<const char*>(data);
  while (size) {
    uLong piece = static_cast<uLong>(size > kChunk ? kChunk : size);
    SetLastError(0);
    uLong written = out->file.functions.zwrite_file(out->file.functions.opaque, out->file.stream, p, piece);
    if (written != piece) {
      NoteFailure(&out->file);
      return false;
    }
    p += piece;
    size -= piece;
  }
  return true;
}

bool WritePending(RewriteOutput* out) {
  if (out->pending.empty()) return true;
  bool ok = WriteRaw(out, out->pending.data(), out->pending.size());
  out->pending.clear();
  return ok;
}

bool WriteQueuedCopy(RewriteOutput* out) {
  if (!out->copyLength) return true;
  RewriteFile* source = out->copySource;
  uint64_t from = out->copyFrom, left = out->copyLength;
  out->copyLength = 0;
  if (left + out->pending.size() <= kPendingLimit) {
    // Small stretches join the buffered bytes instead of costing a write of their own.
    size_t at = out->pending.size();
    out->pending.resize(at + left);
    if (!ReadRewriteFile(source, from, &out->pending[at], left)) {
      out->pending.resize(at);
      return false;
    }
    return true;
  }
  if (!WritePending(out)) return false;
  if (!out->chunk && !(out->chunk = static_cast<char*>(malloc(kChunk)))) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    NoteFailure(&out->file);
    return false;
  }
  while (left) {
    size_t piece = left > kChunk ? kChunk : static_cast<size_t>(left);
    if (!ReadRewriteFile(source, from, out->chunk, piece)) return false;
    if (!WriteRaw(out, out->chunk, piece)) return false;
    from += piece;
    left -= piece;
  }
  return true;
}

}  // namespace

bool OpenRewriteFile(RewriteFile* file, const zlib_filefunc64_def& functions, const char* path, bool create) {
  file->functions = functions;
  file->failed = false;
  file->systemError = 0;
  int mode = create ? (ZLIB_FILEFUNC_MODE_READ | ZLIB_FILEFUNC_MODE_WRITE | ZLIB_FILEFUNC_MODE_CREATE)
                    : (ZLIB_FILEFUNC_MODE_READ | ZLIB_FILEFUNC_MODE_EXISTING);
  SetLastError(0);
  file->stream = functions.zopen64_file(functions.opaque, path, mode);
  if (!file->stream) NoteFailure(file);
  return file->stream != nullptr;
}

bool CloseRewriteFile(RewriteFile* file) {
  if (!file->stream) return !file->failed;
  SetLastError(0);
  int result = file->functions.zclose_file(file->functions.opaque, file->stream);
  file->stream = nullptr;
  if (result != 0) NoteFailure(file);
  return result == 0 && !file->failed;
}

bool ReadRewriteFile(RewriteFile* file, uint64_t offset, void* out, size_t size) {
  const zlib_filefunc64_def& f = file->functions;
  SetLastError(0);
  if (f.zseek64_file(f.opaque, file->stream, offset, ZLIB_FILEFUNC_SEEK_SET) != 0) {
    NoteFailure(file);
    return false;
  }
  char* p = static_cast<char*>(out);
  while (size) {
    uLong piece = static_cast<uLong>(size > kChunk ? kChunk : size);
    uLong got = f.zread_file(f.opaque, file->stream, p, piece);
    if (got != piece) {
      if (!GetLastError()) SetLastError(ERROR_HANDLE_EOF);  // a cut archive
      NoteFailure(file);
      return false;
    }
    p += piece;
    size -= piece;
  }
  return true;
}

bool OpenRewriteOutput(RewriteOutput* out, const zlib_filefunc64_def& functions, const char* path) {
  out->position = 0;
  out->pending.clear();
  out->pending.reserve(kPendingLimit);
  out->copyLength = 0;
  return OpenRewriteFile(&out->file, functions, path, true);
}

bool WriteRewriteOutput(RewriteOutput* out, const void* data, size_t size) {
  if (!WriteQueuedCopy(out)) return false;
  if (out->pending.size() + size > kPendingLimit && !WritePending(out)) return false;
  out->pending.append(static_cast<const char*>(data), size);
  out->position += size;
  return true;
}

bool CopyToRewriteOutput(RewriteOutput* out, RewriteFile* source, uint64_t from, uint64_t length) {
  if (out->copyLength && (source != out->copySource || from != out->copyFrom + out->copyLength)) {
    if (!WriteQueuedCopy(out)) return false;
  }
  if (!out->copyLength) {
    out->copySource = source;
    out->copyFrom = from;
  }
  out->copyLength += length;
  out->position += length;
  return true;
}

bool FinishRewriteOutput(RewriteOutput* out) {
  bool ok = WriteQueuedCopy(out) && WritePending(out);
  free(out->chunk);
  out->chunk = nullptr;
  return CloseRewriteFile(&out->file) && ok;
}

void AbandonRewriteOutput(RewriteOutput* out) {
  out->pending.clear();
  out->copyLength = 0;
  free(out->chunk);
  out->chunk = nullptr;
  CloseRewriteFile(&out->file);
}
