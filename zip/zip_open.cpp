#include "services/base.h"
#include "zip/zip_open.h"

#include "kestrelia_texts.h"
#include "model/app_state.h"
#include "services/log.h"
#include "zip/zip_io.h"

#include <cstdio>
#include <cstring>
#include <vector>

namespace {

int g_unzipError = 0;

const char* const kUnzipErrors[] = {
    "unzip is ok",
    "unzip end of list of file",
    "unzip unknown error",
    "unzip EOF",
    "unzip parameter error",
    "unzip bad zip file",
    "unzip internal error",
    "unzip crc error",
    "unzip base error",
    "unzip file stream error",
    "unzip central dir error",
    "unzip seek error",
    "unzip signature error",
    "unzip number disk error",
    "unzip number disk cd error",
    "unzip total number cd disk error",
    "unzip total number cd error",
    "unzip size cd error",
    "unzip offset cd error",
    "unzip comment length error",
    "unzip copyright error",
};

constexpr int kFileStreamError = 9;
constexpr int kBadZipFile = 5;

unzFile OpenOnce(const char* path, zlib_filefunc64_def* functions) {
  SetLastError(0);
  unzFile archive = unzOpen2_64(path, functions);
  if (!archive) {
    DWORD error = GetLastZipFileOpenError();
    g_unzipError = error ? kFileStreamError : kBadZipFile;
    SetLastError(error);
  }
  return archive;
}

}  // namespace

// The end record sits in the last 22 bytes plus a comment of up to 65,535; a file that has
// none is either no ZIP archive or one whose end was cut off, which its first local header tells.
int ZipOpenFailureText(const char* path) {
  FILE* f = fopen(path, "rb");
  if (!f) return KLANG_MSG_MISSING_OR_IN_USE;
  unsigned char head[4] = {};
  size_t headRead = fread(head, 1, sizeof head, f);
  _fseeki64(f, 0, SEEK_END);
  long long size = _ftelli64(f);
  long long tail = size < 65557 ? size : 65557;
  std::vector<unsigned char> end(static_cast<size_t>(tail));
  _fseeki64(f, size - tail, SEEK_SET);
  size_t endRead = tail ? fread(end.data(), 1, end.size(), f) : 0;
  fclose(f);
  for (size_t i = endRead >= 4 ? endRead - 4 + 1 : 0; i-- > 0;)
    if (memcmp(&end[i], "PK\x05\x06", 4) == 0) return KLANG_MSG_OPEN_DAMAGED;
  if (headRead == 4 && memcmp(head, "PK\x03\x04", 4) == 0) return KLANG_MSG_OPEN_CUT_SHORT;
  return KLANG_MSG_OPEN_NOT_ZIP;
}

int GetUnzipErrorIndex() { return g_unzipError; }

const char* GetUnzipErrorText(int index) {
  if (index < 0 || index > 20) return "unzip unknown error";
  return kUnzipErrors[index];
}

unzFile MyWaitunzOpen2_64(const char* path, DWORD wait) {
  zlib_filefunc64_def functions;
  FillBufferedFileFunctions(&functions);
  return MyWaitunzOpen2_64With(path, wait, &functions);
}

unzFile MyWaitunzOpen2_64With(const char* path, DWORD wait, zlib_filefunc64_def* functions) {
  if (wait == 0xFFFFFFFF) wait = 3000;
  g_unzipError = 0;
  unzFile archive = OpenOnce(path, functions);
  printf("%s %d unzfile: %p\n", "ziphelper", __LINE__, archive);
  if (GetLastError() == ERROR_SHARING_VIOLATION) {
    printf("error ERROR_SHARING_VIOLATION occurred\n");
    SetStoredSystemError(ERROR_SHARING_VIOLATION);
  }
  if (archive) return archive;

  // Any failure is retried: a program that is still writing the file may let go of it.
  // The limit is wall-clock time: on a loaded machine each retry takes far longer than its
  // 10 ms sleep, and counting sleeps stretched a 3 s wait to many times that.
  ULONGLONG start = GetTickCount64();
  DWORD waited = 0;
  while (!archive && waited < wait) {
    Sleep(10);
    archive = OpenOnce(path, functions);
    waited = static_cast<DWORD>(GetTickCount64() - start);
  }
  if (waited) printf("MyWaitunzOpen2_64 slept millis %lu\n", waited);
  if (!archive) {
    printf("unzip error: (%d) %s\n", g_unzipError, GetUnzipErrorText(g_unzipError));
  } else if (GetStoredSystemError() == ERROR_SHARING_VIOLATION) {
    SetStoredSystemError(0);  // the wait worked: nothing left to report
  }
  return archive;
}
