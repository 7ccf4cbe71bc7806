// Lists an archive with the engine alone (no main window) and prints how long each stage
// took: the benchmarks use it to tell the engine's cost from the window's.
//   listengine ARCHIVE
#include "services/base.h"

#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/liststruct.h"
#include "model/namelist.h"
#include "test_support.h"
#include "ui/entry_list.h"
#include "zip/zip_listing.h"
#include "zip/zip_open.h"

#include <cstdio>

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  LARGE_INTEGER frequency, t0, t1, t2;
  QueryPerformanceFrequency(&frequency);
  HiddenEntryList window;
  ArchiveControlBlock block = {};
  block.list = window.list;
  NameListRecreate(&block.folders);
  snprintf(block.path, sizeof block.path, "%s", argv[1]);
  QueryPerformanceCounter(&t0);
  unzFile archive = MyWaitunzOpen2_64(block.path, 0);
  if (!archive) return 1;
  QueryPerformanceCounter(&t1);
  do_listing(archive, &block, 0);
  QueryPerformanceCounter(&t2);
  unzClose(archive);
  auto ms = [&](LARGE_INTEGER a, LARGE_INTEGER b) { return 1000.0 * (b.QuadPart - a.QuadPart) / frequency.QuadPart; };
  printf("open %.1f ms, listing %.1f ms, rows %d\n", ms(t0, t1), ms(t1, t2), window.Rows());
  // What a click on each column header costs.
  for (int column = 0; column < LISTSTRUCT_COLUMNS; ++column) {
    QueryPerformanceCounter(&t0);
    SortEntryRows(window.list, column, column % 2 == 1);
    QueryPerformanceCounter(&t1);
    printf("sort by column %d: %.1f ms\n", column, ms(t0, t1));
  }
  return 0;
}
