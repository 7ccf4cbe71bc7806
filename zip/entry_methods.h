// Which entries the engine can decode: compression methods and encryptions by number, and
// the names the user is told for the ones it cannot.
#pragma once
#include "services/base.h"

#include "unzip.h"

constexpr int kMethodStored = 0;
constexpr int kMethodDeflate = 8;
constexpr int kMethodBzip2 = 12;
constexpr int kMethodLzma = 14;  // LZMA, Zstandard and XZ: zip/newer_methods.c
constexpr int kMethodZstd = 93;
constexpr int kMethodXz = 95;
constexpr int kMethodAes = 99;  // WinZip AES: the real method is in the 0x9901 extra field

// The method's name as the format's documentation calls it ("LZMA", "PPMd"), or
// "method N" for a number it does not name.
const char* CompressionMethodName(int method, char* buffer, size_t size);
// Whether the engine inflates this method (with no encryption around it).
bool IsDecodableMethod(int method);

// Why the current entry cannot be decoded, known before anything is read: 0 when it can,
// else an EntryFailureReason with detail (a method's or encryption's name) filled in. An AES
// entry is judged by the method its 0x9901 field names.
int UndecodableReason(unzFile zip, const unz_file_info64& info, char* detail, size_t detailSize);
