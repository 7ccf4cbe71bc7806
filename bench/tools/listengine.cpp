// Lists an archive of any kind through the table of kinds (the kind decided from its name,
// else from a ZIP signature) with the engine alone, no main window, and prints how long each
// stage took: the benchmarks use it to tell the engine's cost from the window's. Its list is a
// real (hidden) control, so it needs a display.
//   listengine ARCHIVE
// Exit code 0 when listed; 1 when no kind lists it, or the listing told of damage or a
// failure (its boxes go to standard error); 2 on wrong use.
#include "services/base.h"

#include "formats/formats.h"
#include "model/app_state.h"
#include "model/archive_kind.h"
#include "model/entry_rows.h"
#include "model/listing_totals.h"
#include "model/liststruct.h"
#include "model/namelist.h"
#include "services/prompts.h"
#include "test_support.h"
#include "ui/entry_list.h"

#include <cstdio>

namespace {

int g_complaints;

int NoteBox(HWND, const char* text, const char* title, UINT flags) {
  fprintf(stderr, "%s: %s\n", title, text);
  UINT icon = flags & MB_ICONMASK;
  if (icon == MB_ICONERROR || icon == MB_ICONWARNING) ++g_complaints;
  return IDOK;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  GetPrompts().messageBox = NoteBox;
  RegisterArchiveFormats();
  int kind = DecideArchiveKind(argv[1]);
  const ArchiveFormat* format = FindArchiveFormat(kind);
  if (!format || !format->ops.listing) {
    fprintf(stderr, "%s: no archive kind lists it\n", argv[1]);
    return 1;
  }
  LARGE_INTEGER frequency, t0, t1;
  QueryPerformanceFrequency(&frequency);
  HiddenEntryList window;
  ArchiveControlBlock block = {};
  block.list = window.list;
  block.kind = kind;
  NameListRecreate(&block.folders);
  snprintf(block.path, sizeof block.path, "%s", argv[1]);
  SetCurrentArchivePath(block.path);
  SetArchiveKind(kind);
  // A kind's library tells of damage in a box owned by the main window.
  SetMainWindowHandle(window.parent);
  QueryPerformanceCounter(&t0);
  format->ops.listing(&block);
  QueryPerformanceCounter(&t1);
  auto ms = [&](LARGE_INTEGER a, LARGE_INTEGER b) { return 1000.0 * (b.QuadPart - a.QuadPart) / frequency.QuadPart; };
  printf("%s listing %.1f ms, rows %d, %llu bytes\n", format->name, ms(t0, t1), window.Rows(),
         static_cast<unsigned long long>(GetListingTotals().uncompressed));
  // What a click on each column header costs.
  for (int column = 0; column < LISTSTRUCT_COLUMNS; ++column) {
    QueryPerformanceCounter(&t0);
    SortEntryRows(window.list, column, column % 2 == 1);
    QueryPerformanceCounter(&t1);
    printf("sort by column %d: %.1f ms\n", column, ms(t0, t1));
  }
  NameListDestroy(&block.folders);
  return g_complaints ? 1 : 0;
}
