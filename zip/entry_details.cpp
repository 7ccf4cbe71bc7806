#include "services/base.h"
#include "zip/zip_operations.h"

#include "jobs/entry_details.h"
#include "zip/aes_entry.h"
#include "zip/entry_methods.h"
#include "zip/entry_names.h"
#include "zip/zip_open.h"

#include <cstdio>
#include <vector>

namespace {

// Systems whose archivers keep the low 16 bits of the external attributes as DOS attributes:
// MS-DOS and FAT, VFAT, NTFS.
bool DosAttributes(unsigned long versionMadeBy) {
  unsigned long system = versionMadeBy >> 8;
  return system == 0 || system == 11 || system == 14;
}

uint32_t WindowsAttributes(const unz_file_info64& info) {
  if (DosAttributes(info.version)) return static_cast<uint32_t>(info.external_fa & 0xFFFF);
  // Unix keeps its mode in the high 16 bits: no write bit for anyone reads as read-only.
  uint32_t mode = static_cast<uint32_t>(info.external_fa >> 16);
  uint32_t attributes = (mode & 0170000) == 0040000 ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_ARCHIVE;
  if (mode && !(mode & 0222)) attributes |= FILE_ATTRIBUTE_READONLY;
  return attributes;
}

std::string MethodText(unzFile zip, const unz_file_info64& info) {
  char number[32];
  int method = static_cast<int>(info.compression_method);
  std::string encryption;
  AesField aes;
  if (method == kMethodAes && ReadAesField(zip, &aes)) {
    encryption = "AES-" + std::to_string(64 + 64 * aes.strength);
    method = aes.method;
  } else if (info.flag & 1) {
    encryption = "ZipCrypto";
  }
  std::string text = CompressionMethodName(method, number, sizeof number);
  return encryption.empty() ? text : encryption + ", " + text;
}

}  // namespace

int ReadZipEntryDetails(const char* archive, const char* entryName, EntryDetails* out) {
  *out = EntryDetails{};
  unzFile zip = MyWaitunzOpen2_64(archive, 3000);
  if (!zip) return -1;
  unz_file_info64 info = {};
  int result = LocateEntryByDisplayName(zip, entryName);
  if (result == UNZ_OK) result = unzGetCurrentFileInfo64(zip, &info, nullptr, 0, nullptr, 0, nullptr, 0);
  std::vector<char> comment(info.size_file_comment + 1, '\0');
  if (result == UNZ_OK && info.size_file_comment)
    result = unzGetCurrentFileInfo64(zip, &info, nullptr, 0, nullptr, 0, comment.data(), comment.size());
  if (result == UNZ_OK) {
    out->method = MethodText(zip, info);
    // AE-2 leaves the CRC field empty: the authentication code stands in for it.
    AesField aes;
    out->hasCrc = !(info.compression_method == kMethodAes && ReadAesField(zip, &aes) && aes.version == 2);
    out->crc = static_cast<uint32_t>(info.crc);
    out->attributes = WindowsAttributes(info);
    // The comment's bytes follow the name's rules (bit 11 covers both).
    if (info.size_file_comment)
      out->comment = ZipEntryDisplayName(comment.data(), info.size_file_comment, info.flag, info.version, nullptr, 0);
  }
  unzClose(zip);
  return result == UNZ_OK ? 0 : -1;
}

int ReadZipComment(const char* archive, std::string* comment) {
  comment->clear();
  unzFile zip = MyWaitunzOpen2_64(archive, 3000);
  if (!zip) return -1;
  unz_global_info64 global = {};
  int result = unzGetGlobalInfo64(zip, &global);
  if (result == UNZ_OK && global.size_comment) {
    std::vector<char> bytes(global.size_comment + 1, '\0');
    int read = unzGetGlobalComment(zip, bytes.data(), bytes.size());
    // No flag says how the archive's comment is written: as valid UTF-8 it is taken so.
    if (read > 0) *comment = ZipEntryDisplayName(bytes.data(), static_cast<size_t>(read), 0, 3 << 8, nullptr, 0);
  }
  unzClose(zip);
  return result == UNZ_OK ? 0 : -1;
}
