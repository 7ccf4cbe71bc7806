#include "services/base.h"
#include "zip/sfx_builder.h"

#include "kestrelia_lang.h"
#include "services/log.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "sfx/sfx_cipher.h"

#include <cstdio>
#include <cstring>
#include <vector>

namespace {

constexpr WORD kNeutral = MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL);
// Resource identifiers are 16-bit: the pieces end at 65535.
constexpr uint64_t kMostPieces = 0xFFFF - kSfxHeaderId;

void Box(HWND owner, const char* title, UINT icon, const char* format, ...) {
  char text[kPathBuf + 128];
  va_list args;
  va_start(args, format);
  vsnprintf(text, sizeof text, format, args);
  va_end(args);
  Log(1, GetVerbose(), "self-extracting builder: %s", text);
  PromptMessageBox(owner, text, title, MB_OK | icon | MB_TOPMOST);
}

void Fail(HWND owner, const char* format, int a, int b = 0) { Box(owner, "Kestrelia", MB_ICONERROR, format, a, b); }

// Advances the caller's bar by whole hundredths of the bytes to go through.
struct Steps {
  uint64_t step, count = 0;
  int taken = 0;
  void Add(uint64_t bytes) {
    count += bytes;
    HWND dialog = GetProgressDialog();
    while (taken < 100 && count > (static_cast<uint64_t>(taken) + 1) * step) {
      ++taken;
      if (dialog) ExecuteProgressStep(dialog);
    }
  }
};

uint64_t FileSize(FILE* file) {
  _fseeki64(file, 0, SEEK_END);
  uint64_t size = static_cast<uint64_t>(_ftelli64(file));
  _fseeki64(file, 0, SEEK_SET);
  return size;
}

// The first pass of a protected archive: the archive sealed piece by piece into the
// temporary file, which then takes the archive's place. 0, or the failure already told.
int Seal(SfxBuildJob* job, bool secondForm, FILE** archive, uint64_t* size, Steps* steps) {
  char temp[kPathBuf] = "";
  const char* folder = getenv("TEMP");
  snprintf(temp, sizeof temp, "%s\\temp2.zip", folder && *folder ? folder : ".");
  FILE* sealed = fopen(temp, "wb");
  if (!sealed) {
    if (secondForm)
      Box(job->owner, "Kestrelia error", MB_ICONERROR, "cannot open temp2.zip for writing");
    else
      Box(job->owner, "Kestrelia", MB_ICONERROR, "cannot open testfile2.zip for writing");
    return 1;
  }
  SfxSealer sealer = {};
  unsigned char header[kSfxSealHeader];
  std::vector<unsigned char> piece(kSfxPiece), out;
  bool ok = SfxSealBegin(&sealer, job->password, *size, header) && fwrite(header, 1, sizeof header, sealed) == sizeof header;
  uint64_t done = 0;
  for (uint32_t index = 0; ok && (done < *size || index == 0); ++index) {
    size_t got = fread(piece.data(), 1, kSfxPiece, *archive);
    done += got;
    ok = (got == kSfxPiece || done == *size) &&
         SfxSealPiece(&sealer, index, done == *size, piece.data(), got, &out) &&
         fwrite(out.data(), 1, out.size(), sealed) == out.size();
    steps->Add(got);
  }
  SfxSealEnd(&sealer);
  ok = fclose(sealed) == 0 && ok;
  fclose(*archive);
  *archive = nullptr;
  if (!ok) {
    Box(job->owner, "Kestrelia", MB_ICONERROR, "cannot open testfile2.zip for writing");
    remove(temp);
    return 1;
  }
  remove(job->archive);
  if (!MoveFileExA(temp, job->archive, MOVEFILE_COPY_ALLOWED | MOVEFILE_REPLACE_EXISTING) ||
      !(*archive = fopen(job->archive, "rb"))) {
    Box(job->owner, "Kestrelia", MB_ICONERROR, "cannot open testfile.zip for reading");
    remove(temp);
    return 1;
  }
  *size = FileSize(*archive);
  return 0;
}

// Writes the stub to the target. 0, or the failure already told.
int WriteStub(SfxBuildJob* job, FILE* target, const char* path) {
  HMODULE module = GetModuleHandleA(nullptr);
  HRSRC found = FindResourceA(module, MAKEINTRESOURCEA(kSfxStubId), "IDR_EXE");
  if (!found) {
    Fail(job->owner, "!hResLoad %d", static_cast<int>(GetLastError()));
    return 1;
  }
  HGLOBAL loaded = LoadResource(module, found);
  if (!loaded) {
    Fail(job->owner, "hResData is null", 0);
    return 1;
  }
  const void* data = LockResource(loaded);
  if (!data) {
    Fail(job->owner, "data is null", 0);
    return 1;
  }
  DWORD size = SizeofResource(module, found);
  if (fwrite(data, 1, size, target) != size || fflush(target) != 0) {
    Box(job->owner, GetMessageText(94), MB_ICONERROR, "cannot create self extracting file: %s", path);
    return 1;
  }
  return 0;
}

int Build(SfxBuildJob* job, const char* target, bool secondForm) {
  job->error = 0;
  FILE* out = fopen(target, "wb");
  if (!out) {
    Box(job->owner, GetMessageText(94), MB_ICONERROR, "cannot create self extracting file: %s", target);
    remove(job->archive);
    if (IsProgressDialogStarted()) CloseProgressDialog();
    return SFX_BUILD_FAILED;
  }
  // From here on a failure removes the half-made program with the archive: a program that
  // looks whole but extracts nothing must not be left behind.
  int written = WriteStub(job, out, target);
  fclose(out);
  auto failed = [&]() {
    if (IsProgressDialogStarted()) CloseProgressDialog();
    remove(job->archive);
    DeleteFileA(target);
    return SFX_BUILD_FAILED;
  };
  if (written) return failed();
  HANDLE update = BeginUpdateResourceA(target, FALSE);
  if (!update) {
    Fail(job->owner, "BeginUpdateResource failed %d", static_cast<int>(GetLastError()));
    return failed();
  }
  auto abandon = [&]() {
    EndUpdateResourceA(update, TRUE);
    return failed();
  };
  FILE* archive = fopen(job->archive, "rb");
  if (!archive) {
    Box(job->owner, "Kestrelia", MB_ICONERROR, "cannot open testfile.zip for reading");
    return abandon();
  }
  uint64_t size = FileSize(archive);
  bool seal = job->encrypt && job->password[0];
  unsigned char header[4] = {0, 0, 0, 0};
  Steps steps{seal ? 2 * size / 100 : size / 100};
  if (seal) {
    header[0] = 0x11;
    header[1] = 0x01;
    if (Seal(job, secondForm, &archive, &size, &steps)) {
      if (archive) fclose(archive);
      return abandon();
    }
  }
  if ((size + kSfxPiece - 1) / kSfxPiece > kMostPieces) {
    fclose(archive);
    Fail(job->owner, "UpdateResource failed counter %d error %d", static_cast<int>(kMostPieces + 1),
         ERROR_FILE_TOO_LARGE);
    return abandon();
  }
  bool ok = UpdateResourceA(update, RT_RCDATA, MAKEINTRESOURCEA(kSfxHeaderId), kNeutral, header, sizeof header);
  int counter = 1;
  std::vector<unsigned char> piece;
  try {
    piece.resize(kSfxPiece);
  } catch (...) {
    fclose(archive);
    Box(job->owner, secondForm ? "Kestrelia error" : "Kestrelia", MB_ICONERROR, "memory error!");
    return abandon();
  }
  if (!ok) {
    fclose(archive);
    Fail(job->owner, "UpdateResource failed counter %d error %d", 0, static_cast<int>(GetLastError()));
    return abandon();
  }
  for (uint64_t done = 0; done < size; ++counter) {
    size_t got = fread(piece.data(), 1, kSfxPiece, archive);
    if (!got) break;
    done += got;
    steps.Add(got);
    if (!UpdateResourceA(update, RT_RCDATA, MAKEINTRESOURCEA(kSfxHeaderId + counter), kNeutral, piece.data(),
                         static_cast<DWORD>(got))) {
      fclose(archive);
      Fail(job->owner, "UpdateResource failed counter %d error %d", counter + 1, static_cast<int>(GetLastError()));
      return abandon();
    }
  }
  fclose(archive);
  remove(job->archive);
  if (!EndUpdateResourceA(update, FALSE)) {
    Fail(job->owner, "EndUpdateResource failed %d", static_cast<int>(GetLastError()));
    job->error = 1;
    if (IsProgressDialogStarted()) CloseProgressDialog();
    DeleteFileA(target);
    return SFX_BUILD_FAILED;
  }
  if (IsProgressDialogStarted()) CloseProgressDialog();
  Box(job->owner, "Successful operation", MB_ICONINFORMATION, "%s %s", GetMessageText(24), target);
  return SFX_BUILD_OK;
}

void ShowTarget(const SfxBuildJob* job, const char* target) {
  if (!job->showProgress) return;
  char text[kPathBuf + 128];
  snprintf(text, sizeof text, "%s \"%s\"", GetMessageText(23), target);
  StartProgressDialog(false, text);
  SetProgressMinimum(0);
  SetProgressMaximum(100);
}

}  // namespace

int BuildSelfExtractingAsk(SfxBuildJob* job) {
  char target[kPathBuf] = "";
  bool chosen = GetPrompts().saveFile(job->owner, "exe", GetMessageText(22), false, target);
  if (chosen && GetFileAttributesA(target) != INVALID_FILE_ATTRIBUTES) {
    char question[kPathBuf + 128];
    snprintf(question, sizeof question, "%s \"%s\" %s?", GetMessageText(14), target, GetMessageText(15));
    chosen = PromptMessageBox(job->owner, question, GetMessageText(16), MB_YESNO | MB_ICONQUESTION) == IDYES;
  }
  if (!chosen) {
    remove(job->archive);
    return SFX_BUILD_CANCELLED;
  }
  ShowTarget(job, target);
  return Build(job, target, false);
}

int MakeSelfExtractingProgram(const char* archive, const char* password, HWND owner) {
  SfxBuildJob job = {};
  char folder[MAX_PATH];
  if (!GetTempPathA(sizeof folder, folder) || !GetTempFileNameA(folder, "ksx", 0, job.archive) ||
      !CopyFileA(archive, job.archive, FALSE)) {
    Box(owner, GetMessageText(94), MB_ICONERROR, "cannot create self extracting file: %s", job.archive);
    DeleteFileA(job.archive);
    return SFX_BUILD_FAILED;
  }
  snprintf(job.password, sizeof job.password, "%s", password ? password : "");
  job.encrypt = job.password[0] != 0;
  job.owner = owner;
  job.showProgress = 1;
  int result = BuildSelfExtractingAsk(&job);
  SecureZeroMemory(job.password, sizeof job.password);
  return result;
}

int BuildSelfExtracting(SfxBuildJob* job, const char* target) {
  ShowTarget(job, target);
  return Build(job, target, true);
}
