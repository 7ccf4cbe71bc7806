#include "services/base.h"
#include "zip/entry_methods.h"

#include "zip/aes_entry.h"
#include "jobs/entry_failures.h"

#include <cstdio>

namespace {

struct MethodName {
  int method;
  const char* name;
};

const MethodName kMethodNames[] = {
    {0, "Stored"},         {1, "Shrink"},          {2, "Reduce"},       {3, "Reduce"},   {4, "Reduce"},
    {5, "Reduce"},         {6, "Implode"},         {7, "Tokenize"},     {8, "Deflate"},  {9, "Deflate64"},
    {10, "PKWARE DCL Implode"}, {12, "BZip2"},     {14, "LZMA"},        {16, "IBM z/OS CMPSC"},
    {18, "IBM TERSE"},     {19, "IBM LZ77"},       {20, "Zstandard"},   {93, "Zstandard"}, {94, "MP3"},
    {95, "XZ"},            {96, "JPEG"},           {97, "WavPack"},     {98, "PPMd"},    {99, "AES"},
};

// General-purpose bit 6: PKWARE's strong encryption, whose keys nothing here knows.
constexpr unsigned long kStrongEncryption = 0x40;

}  // namespace

const char* CompressionMethodName(int method, char* buffer, size_t size) {
  for (const MethodName& known : kMethodNames)
    if (known.method == method) return known.name;
  snprintf(buffer, size, "method %d", method);
  return buffer;
}

bool IsDecodableMethod(int method) {
  return method == kMethodStored || method == kMethodDeflate || method == kMethodBzip2 || method == kMethodLzma ||
         method == kMethodZstd || method == kMethodXz;
}

int UndecodableReason(unzFile zip, const unz_file_info64& info, char* detail, size_t detailSize) {
  if (detail && detailSize) detail[0] = 0;
  int method = static_cast<int>(info.compression_method);
  if ((info.flag & 1) && (info.flag & kStrongEncryption)) {
    snprintf(detail, detailSize, "PKWARE strong encryption");
    return FAILURE_ENCRYPTION;
  }
  if (method == kMethodAes) {
    AesField field;
    if (!ReadAesField(zip, &field)) {
      snprintf(detail, detailSize, "WinZip AES");
      return FAILURE_ENCRYPTION;
    }
    method = field.method;
  }
  // The AES reader decodes the three oldest methods itself; the newer ones only in the clear.
  bool aesDecodes = method == kMethodStored || method == kMethodDeflate || method == kMethodBzip2;
  if (!IsDecodableMethod(method) || (info.compression_method == kMethodAes && !aesDecodes)) {
    char number[32];
    snprintf(detail, detailSize, "%s", CompressionMethodName(method, number, sizeof number));
    return FAILURE_METHOD;
  }
  return 0;
}
