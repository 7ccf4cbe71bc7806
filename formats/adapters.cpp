#include "services/base.h"
#include "formats/formats.h"

#include "formats/iso_format.h"
#include "formats/libarchive_kinds.h"
#include "formats/rar_format.h"
#include "formats/sevenzip_format.h"
#include "formats/tar_format.h"
#include "formats/zip_format.h"

// One call per kind whose adapter is linked in; a kind without one keeps null operations and
// is refused with the program's message.
void RegisterArchiveFormats() {
  InstallKindTable();
  RegisterZipFormat();
  RegisterTarFormat();
  RegisterRarFormat();
  RegisterIsoFormat();
  RegisterArchiveOperations(ARCHIVE_7Z, SevenZipOperations());
  RegisterLibarchiveKinds();
}
