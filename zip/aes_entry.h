// WinZip AES entries (method 99, AE-1 and AE-2 with 128, 192 or 256-bit keys), decrypted with
// the platform's cryptography: PBKDF2-HMAC-SHA1 gives the keys and a two-byte verifier, the
// data is AES in counter mode (a little-endian block counter starting at 1) and ends with the
// first ten bytes of an HMAC-SHA1 of the encrypted data. Inside is a stored, deflate or
// bzip2 stream.
#pragma once
#include "services/base.h"

#include "unzip.h"

// The 0x9901 extra field.
struct AesField {
  int version;   // 1: AE-1 (the CRC is checked too), 2: AE-2 (the CRC field is unused)
  int strength;  // 1, 2, 3: 128, 192, 256-bit keys
  int method;    // the compression method under the encryption
};
// Reads the field from an extra block; false when there is none or it is malformed.
bool FindAesField(const char* extra, size_t length, AesField* field);
// The current entry's field, read from its central record.
bool ReadAesField(unzFile zip, AesField* field);

// Results beyond the library's own.
constexpr int kAesAuthenticationFailed = -300;  // AesClose: the HMAC does not match
constexpr int kAesWrongPassword = -301;         // AesOpen: the verifier does not match
constexpr int kAesUnavailable = -302;           // AesOpen: the platform cannot do it

struct AesReader;
// Opens the current entry raw and checks the password against its verifier before any
// data is read. UNZ_OK with *reader set, or one of the results above, or the library's.
int AesOpen(unzFile zip, const unz_file_info64& info, const AesField& field, const char* password,
            AesReader** reader);
// Where the entry's data begins in the archive file.
uint64_t AesDataStart(const AesReader* reader);
// Decrypted, decompressed bytes: as unzReadCurrentFile answers (0 at the end, negative on a
// data error).
int AesRead(AesReader* reader, void* buffer, unsigned size);
// Closes the entry (and the library's raw read): UNZ_OK, kAesAuthenticationFailed, or
// UNZ_CRCERROR for an AE-1 entry read to its end whose CRC does not match.
int AesClose(AesReader* reader);
