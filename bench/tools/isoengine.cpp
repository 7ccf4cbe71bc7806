// Lists or extracts a CD image through iso.dll alone, as the adapter's walk calls it, and
// prints how long the calls took: the benchmarks use it to tell the library's cost from
// Wine's start.
//   isoengine list IMAGE
//   isoengine extract IMAGE DESTINATION
#include "services/base.h"

#include "plugins/include/kestrelia_iso.h"

#define ISO_ENTRY_TYPE(name, result, parameters) typedef result(__cdecl* name##Fn) parameters;
KESTRELIA_ISO_API_LIST(ISO_ENTRY_TYPE)

#include <cstdio>
#include <cstring>

#define ISO_CALL(library, name) \
  reinterpret_cast<name##Fn>(reinterpret_cast<void*>(GetProcAddress(library, #name)))

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  HMODULE library = LoadLibraryA(ISO_DLL_NAME);
  if (!library) return 3;
  bool extract = strcmp(argv[1], "extract") == 0 && argc > 3;
  LARGE_INTEGER frequency, t0, t1;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&t0);
  unsigned long long count = 0, bytes = 0, failed = 0;
  IsoHandle image = ISO_CALL(library, iso_open)(argv[2]);
  if (image && ISO_CALL(library, iso_init)(image)) {
    auto readHeader = ISO_CALL(library, ReadHeader);
    auto processFile = ISO_CALL(library, ProcessFile);
    IsoHeaderRecord header;
    static char full[ISO_FULL_NAME_SIZE];
    uint64_t progress = 0;
    for (IsoDate date; readHeader(image, &header, &date, full) == ISO_OK;) {
      if (!(header.fileAttributes & ISO_ATTRIBUTE_FOLDER)) {
        ++count;
        bytes += header.unpackedSize;
      }
      if (processFile(image, extract ? ISO_EXTRACT : ISO_SKIP, extract ? argv[3] : nullptr, full, nullptr, nullptr,
                      nullptr, &progress) != ISO_OK)
        ++failed;
    }
  }
  ISO_CALL(library, iso_close)(&image);
  QueryPerformanceCounter(&t1);
  printf("%s %.1f ms, %llu entries, %llu bytes, %llu failed\n", argv[1],
         1000.0 * (t1.QuadPart - t0.QuadPart) / frequency.QuadPart, count, bytes, failed);
  return 0;
}
