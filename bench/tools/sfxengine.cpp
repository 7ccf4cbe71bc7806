// Makes a self-extracting program from an archive without a window, for scripts, benches and
// checks: the builder's own run on a copy of the archive (the builder deletes what it
// embeds), its boxes printed instead of shown. Exits 0 when the program was made.
//   sfxengine ARCHIVE.zip TARGET.exe [PASSWORD]
#include "services/base.h"

#include "services/prompts.h"
#include "zip/sfx_builder.h"

#include <cstdio>
#include <cstring>

namespace {

int Print(HWND, const char* text, const char* title, UINT) {
  fprintf(stderr, "%s: %s\n", title, text);
  return IDOK;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    fprintf(stderr, "usage: sfxengine ARCHIVE.zip TARGET.exe [PASSWORD]\n");
    return 2;
  }
  GetPrompts().messageBox = Print;
  SfxBuildJob job = {};
  char folder[MAX_PATH];
  GetTempPathA(sizeof folder, folder);
  if (!GetTempFileNameA(folder, "sfx", 0, job.archive) || !CopyFileA(argv[1], job.archive, FALSE)) {
    fprintf(stderr, "cannot copy %s\n", argv[1]);
    DeleteFileA(job.archive);
    return 1;
  }
  if (argc > 3) {
    snprintf(job.password, sizeof job.password, "%s", argv[3]);
    job.encrypt = 1;
  }
  LARGE_INTEGER frequency, t0, t1;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&t0);
  int result = BuildSelfExtracting(&job, argv[2]);
  QueryPerformanceCounter(&t1);
  printf("self-extracting program %.1f ms, result %d\n", 1000.0 * (t1.QuadPart - t0.QuadPart) / frequency.QuadPart,
         result);
  return result == SFX_BUILD_OK && !job.error ? 0 : 1;
}
