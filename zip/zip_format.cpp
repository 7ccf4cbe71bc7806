#include "services/base.h"
#include "zip/zip_format.h"

#include "formats/formats.h"
#include "zip/create.h"
#include "zip/extract_archive.h"
#include "zip/zip_listing.h"

void RegisterZipFormat() {
  ArchiveOperations ops = {};
  ops.listing = ListZipFilesThread;
  ops.extract = ExtractArchiveZipWorker;
  ops.view = ViewZipEntry;
  ops.create = ZipWorkDirectoryThread;
  RegisterArchiveOperations(ARCHIVE_ZIP, ops);
  RegisterArchiveOperations(ARCHIVE_ZIP64, ops);
}
