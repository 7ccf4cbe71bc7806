#include "services/base.h"
#include "zip/zip_format.h"

#include "formats/formats.h"
#include "zip/create.h"
#include "jobs/extract_archive.h"
#include "zip/zip_listing.h"

void RegisterZipFormat() {
  const ArchiveOperations ops = {ListZipFilesThread, ExtractArchiveZipWorker, ViewZipEntry, ZipWorkDirectoryThread};
  RegisterArchiveOperations(ARCHIVE_ZIP, ops);
  RegisterArchiveOperations(ARCHIVE_ZIP64, ops);
}
