#include "services/base.h"
#include "formats/zip_format.h"

#include "formats/formats.h"
#include "zip/zip_operations.h"
#include "zip/create.h"
#include "zip/extract.h"
#include "zip/sfx_builder.h"
#include "zip/zip_listing.h"

void RegisterZipFormat() {
  ArchiveOperations ops = {};
  ops.listing = ListZipFilesThread;
  ops.extract = ExtractArchiveZipWorker;
  ops.extractFolder = ExtractZipFolder;
  ops.writeTemp = WriteZipEntryToTemp;
  ops.test = TestZipFiles;
  ops.create = ZipWorkDirectoryThread;
  ops.add = ZipWorkDirectoryThread;
  ops.remove = DeleteZipEntries;
  ops.rename = RenameZipEntries;
  ops.detectEncryption = DetectArchiveEncryption;
  ops.selfExtracting = MakeSelfExtractingProgram;
  ops.openReader = OpenZipReader;
  ops.details = ReadZipEntryDetails;
  ops.comment = ReadZipComment;
  RegisterArchiveOperations(ARCHIVE_ZIP, ops);
  RegisterArchiveOperations(ARCHIVE_ZIP64, ops);
  SetLargeZipKind(ARCHIVE_ZIP64);
}
