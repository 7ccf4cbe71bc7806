#include "services/base.h"
#include "zip/aes_entry.h"

#include <bcrypt.h>
#include <bzlib.h>
#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

constexpr uint16_t kAesTag = 0x9901;
constexpr unsigned kIterations = 1000;
constexpr unsigned kVerifierSize = 2;
constexpr unsigned kMacSize = 10;
constexpr unsigned kBlock = 16;
constexpr unsigned kInput = 65536;

uint16_t Le16(const char* p) {
  return static_cast<uint16_t>(static_cast<unsigned char>(p[0]) | static_cast<unsigned char>(p[1]) << 8);
}

unsigned KeySize(int strength) { return 8u + 8u * static_cast<unsigned>(strength); }

}  // namespace

struct AesReader {
  unzFile zip = nullptr;
  uint64_t dataStart = 0;
  AesField field = {};
  uint32_t expectedCrc = 0;
  uint64_t expectedSize = 0;
  BCRYPT_ALG_HANDLE aes = nullptr, sha1 = nullptr;
  BCRYPT_KEY_HANDLE key = nullptr;
  BCRYPT_HASH_HANDLE mac = nullptr;
  uint64_t counter = 0;  // the last block number used
  unsigned char stream[kBlock] = {};
  unsigned streamUsed = kBlock;
  uint64_t cipherLeft = 0;  // encrypted bytes not read yet
  std::vector<unsigned char> input, blocks;
  unsigned inputAt = 0, inputEnd = 0;
  z_stream inflater = {};
  bz_stream bunzip = {};
  bool decoderReady = false, finished = false, failed = false;
  uint32_t crc = 0;
  uint64_t produced = 0;

  ~AesReader() {
    if (decoderReady && field.method == 8) inflateEnd(&inflater);
    if (decoderReady && field.method == 12) BZ2_bzDecompressEnd(&bunzip);
    if (mac) BCryptDestroyHash(mac);
    if (key) BCryptDestroyKey(key);
    if (aes) BCryptCloseAlgorithmProvider(aes, 0);
    if (sha1) BCryptCloseAlgorithmProvider(sha1, 0);
  }

  // Counter mode: block n of the key stream is the encryption of n as a 16-byte
  // little-endian number, the first block being 1.
  bool Decrypt(unsigned char* data, size_t size) {
    size_t at = 0;
    while (at < size && streamUsed < kBlock) data[at++] ^= stream[streamUsed++];
    size_t whole = (size - at) / kBlock;
    if (whole) {
      blocks.assign(whole * kBlock, 0);
      for (size_t b = 0; b < whole; ++b) {
        uint64_t n = ++counter;
        for (int i = 0; i < 8; ++i) blocks[b * kBlock + i] = static_cast<unsigned char>(n >> (8 * i));
      }
      ULONG done = 0;
      if (!BCRYPT_SUCCESS(BCryptEncrypt(key, blocks.data(), static_cast<ULONG>(blocks.size()), nullptr, nullptr, 0,
                                        blocks.data(), static_cast<ULONG>(blocks.size()), &done, 0)))
        return false;
      for (size_t i = 0; i < whole * kBlock; ++i) data[at + i] ^= blocks[i];
      at += whole * kBlock;
    }
    if (at < size) {
      unsigned char block[kBlock] = {};
      uint64_t n = ++counter;
      for (int i = 0; i < 8; ++i) block[i] = static_cast<unsigned char>(n >> (8 * i));
      ULONG done = 0;
      if (!BCRYPT_SUCCESS(BCryptEncrypt(key, block, kBlock, nullptr, nullptr, 0, stream, kBlock, &done, 0)))
        return false;
      streamUsed = 0;
      while (at < size) data[at++] ^= stream[streamUsed++];
    }
    return true;
  }

  // The next piece of encrypted data, authenticated and decrypted into input.
  int Fill() {
    unsigned want = cipherLeft < kInput ? static_cast<unsigned>(cipherLeft) : kInput;
    int got = unzReadCurrentFile(zip, input.data(), want);
    if (got < 0) return got;
    if (static_cast<unsigned>(got) != want) return UNZ_ERRNO;
    if (!BCRYPT_SUCCESS(BCryptHashData(mac, input.data(), want, 0))) return UNZ_INTERNALERROR;
    if (!Decrypt(input.data(), want)) return UNZ_INTERNALERROR;
    cipherLeft -= want;
    inputAt = 0;
    inputEnd = want;
    return UNZ_OK;
  }
};

bool FindAesField(const char* extra, size_t length, AesField* field) {
  for (size_t at = 0; extra && at + 4 <= length;) {
    uint16_t tag = Le16(extra + at), size = Le16(extra + at + 2);
    if (at + 4 + size > length) return false;
    const char* body = extra + at + 4;
    if (tag == kAesTag && size >= 7 && body[2] == 'A' && body[3] == 'E') {
      field->version = Le16(body);
      field->strength = static_cast<unsigned char>(body[4]);
      field->method = Le16(body + 5);
      return (field->version == 1 || field->version == 2) && field->strength >= 1 && field->strength <= 3;
    }
    at += 4u + size;
  }
  return false;
}

bool ReadAesField(unzFile zip, AesField* field) {
  unz_file_info64 info;
  if (unzGetCurrentFileInfo64(zip, &info, nullptr, 0, nullptr, 0, nullptr, 0) != UNZ_OK) return false;
  std::vector<char> extra(info.size_file_extra);
  if (extra.empty() ||
      unzGetCurrentFileInfo64(zip, nullptr, nullptr, 0, extra.data(), static_cast<uLong>(extra.size()), nullptr, 0) !=
          UNZ_OK)
    return false;
  return FindAesField(extra.data(), extra.size(), field);
}

int AesOpen(unzFile zip, const unz_file_info64& info, const AesField& field, const char* password,
            AesReader** out) {
  *out = nullptr;
  unsigned keySize = KeySize(field.strength), saltSize = keySize / 2;
  if (info.compressed_size < saltSize + kVerifierSize + kMacSize) return UNZ_BADZIPFILE;
  int method = 0, level = 0;
  int result = unzOpenCurrentFile2(zip, &method, &level, 1);
  if (result != UNZ_OK) return result;
  AesReader* reader = new AesReader();
  reader->zip = zip;
  reader->dataStart = static_cast<uint64_t>(unzGetCurrentFileZStreamPos64(zip));
  reader->field = field;
  reader->expectedCrc = static_cast<uint32_t>(info.crc);
  reader->expectedSize = info.uncompressed_size;
  reader->cipherLeft = info.compressed_size - saltSize - kVerifierSize - kMacSize;
  unsigned char head[16 + kVerifierSize];
  if (unzReadCurrentFile(zip, head, saltSize + kVerifierSize) != static_cast<int>(saltSize + kVerifierSize)) {
    AesClose(reader);
    return UNZ_ERRNO;
  }
  // Keys for the cipher and the code, then the verifier, from one derivation.
  unsigned char derived[2 * 32 + kVerifierSize];
  unsigned derivedSize = 2 * keySize + kVerifierSize;
  bool ready =
      BCRYPT_SUCCESS(BCryptOpenAlgorithmProvider(&reader->sha1, BCRYPT_SHA1_ALGORITHM, nullptr,
                                                 BCRYPT_ALG_HANDLE_HMAC_FLAG)) &&
      BCRYPT_SUCCESS(BCryptDeriveKeyPBKDF2(reader->sha1, reinterpret_cast<PUCHAR>(const_cast<char*>(password)),
                                           static_cast<ULONG>(strlen(password)), head, saltSize, kIterations, derived,
                                           derivedSize, 0));
  if (ready && memcmp(derived + 2 * keySize, head + saltSize, kVerifierSize) != 0) {
    SecureZeroMemory(derived, sizeof derived);
    AesClose(reader);
    return kAesWrongPassword;
  }
  ready = ready && BCRYPT_SUCCESS(BCryptOpenAlgorithmProvider(&reader->aes, BCRYPT_AES_ALGORITHM, nullptr, 0)) &&
          BCRYPT_SUCCESS(BCryptSetProperty(reader->aes, BCRYPT_CHAINING_MODE,
                                           reinterpret_cast<PUCHAR>(const_cast<wchar_t*>(BCRYPT_CHAIN_MODE_ECB)),
                                           sizeof BCRYPT_CHAIN_MODE_ECB, 0)) &&
          BCRYPT_SUCCESS(BCryptGenerateSymmetricKey(reader->aes, &reader->key, nullptr, 0, derived, keySize, 0)) &&
          BCRYPT_SUCCESS(BCryptCreateHash(reader->sha1, &reader->mac, nullptr, 0, derived + keySize, keySize, 0));
  SecureZeroMemory(derived, sizeof derived);
  if (ready && field.method == 8) ready = inflateInit2(&reader->inflater, -MAX_WBITS) == Z_OK;
  if (ready && field.method == 12) ready = BZ2_bzDecompressInit(&reader->bunzip, 0, 0) == BZ_OK;
  if (!ready) {
    AesClose(reader);
    return kAesUnavailable;
  }
  reader->decoderReady = true;
  reader->input.resize(kInput);
  *out = reader;
  return UNZ_OK;
}

uint64_t AesDataStart(const AesReader* reader) { return reader ? reader->dataStart : 0; }

int AesRead(AesReader* reader, void* buffer, unsigned size) {
  if (!reader || reader->failed) return Z_DATA_ERROR;
  unsigned char* out = static_cast<unsigned char*>(buffer);
  unsigned written = 0;
  while (written < size && !reader->finished) {
    if (reader->inputAt == reader->inputEnd) {
      if (reader->cipherLeft == 0) {
        // Stored data ends with its bytes; a compressed stream that has not ended is cut.
        if (reader->field.method != 0) break;
        reader->finished = true;
        break;
      }
      int filled = reader->Fill();
      if (filled != UNZ_OK) {
        reader->failed = true;
        return filled;
      }
    }
    unsigned char* in = reader->input.data() + reader->inputAt;
    unsigned available = reader->inputEnd - reader->inputAt;
    unsigned room = size - written;
    if (reader->field.method == 0) {
      unsigned n = available < room ? available : room;
      memcpy(out + written, in, n);
      reader->inputAt += n;
      written += n;
      continue;
    }
    unsigned consumed, made;
    int status;
    if (reader->field.method == 8) {
      z_stream& z = reader->inflater;
      z.next_in = in;
      z.avail_in = available;
      z.next_out = out + written;
      z.avail_out = room;
      status = inflate(&z, Z_SYNC_FLUSH);
      consumed = available - z.avail_in;
      made = room - z.avail_out;
      if (status == Z_STREAM_END) reader->finished = true;
      bool fine = status == Z_OK || status == Z_STREAM_END || (status == Z_BUF_ERROR && made == 0 && consumed == 0);
      status = fine ? Z_OK : Z_DATA_ERROR;
    } else {
      bz_stream& b = reader->bunzip;
      b.next_in = reinterpret_cast<char*>(in);
      b.avail_in = available;
      b.next_out = reinterpret_cast<char*>(out + written);
      b.avail_out = room;
      status = BZ2_bzDecompress(&b);
      consumed = available - b.avail_in;
      made = room - b.avail_out;
      if (status == BZ_STREAM_END) reader->finished = true;
      status = (status == BZ_OK || status == BZ_STREAM_END) ? Z_OK : Z_DATA_ERROR;
    }
    reader->inputAt += consumed;
    written += made;
    if (status != Z_OK) {
      reader->failed = true;
      return Z_DATA_ERROR;
    }
    if (!consumed && !made) break;  // the decoder wants more than the entry has
  }
  reader->crc = static_cast<uint32_t>(crc32(reader->crc, out, written));
  reader->produced += written;
  return static_cast<int>(written);
}

int AesClose(AesReader* reader) {
  if (!reader) return UNZ_PARAMERROR;
  int result = UNZ_OK;
  if (reader->mac && !reader->failed) {
    // Whatever the decoder left of the data still counts for the code.
    while (reader->cipherLeft > 0 && result == UNZ_OK) result = reader->Fill();
    unsigned char stored[kMacSize], computed[20];
    if (result == UNZ_OK) {
      if (unzReadCurrentFile(reader->zip, stored, kMacSize) != static_cast<int>(kMacSize) ||
          !BCRYPT_SUCCESS(BCryptFinishHash(reader->mac, computed, sizeof computed, 0)) ||
          memcmp(stored, computed, kMacSize) != 0)
        result = kAesAuthenticationFailed;
    }
    BCryptDestroyHash(reader->mac);
    reader->mac = nullptr;
  }
  if (result == UNZ_OK && reader->field.version == 1 && reader->finished &&
      reader->produced == reader->expectedSize && reader->crc != reader->expectedCrc)
    result = UNZ_CRCERROR;
  unzCloseCurrentFile(reader->zip);
  delete reader;
  return result;
}
