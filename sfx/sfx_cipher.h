// The password protection of a self-extracting program's archive, shared by the builder that
// seals it and the stub that opens it. The key comes from the password by PBKDF2-HMAC-SHA256
// with a random salt; every 131,072-byte piece of the archive is sealed with AES-256-GCM under
// its own nonce, and the header fields and the piece's place (number, last or not) are
// authenticated with it, so a wrong password, an altered byte, a dropped, reordered or
// appended piece are all found before a single byte of the archive is used.
//
// Sealed stream: the 40-byte header (magic "KSX1", iteration count, salt, nonce prefix,
// archive size; all numbers little-endian), then for every piece its ciphertext (as long as
// the piece) followed by its 16-byte tag.
#pragma once
#include "services/base.h"

#include <string>
#include <vector>

constexpr size_t kSfxPiece = 131072;
constexpr size_t kSfxSealHeader = 40;
constexpr size_t kSfxTag = 16;
constexpr uint32_t kSfxIterations = 200000;

struct SfxSealer {
  void* state;  // CNG handles, owned
};

// Starts a stream for an archive of archiveSize bytes: derives the key (the slow step) and
// fills header with the 40 bytes that open the sealed stream. false when CNG refuses.
bool SfxSealBegin(SfxSealer* sealer, const char* password, uint64_t archiveSize, unsigned char* header,
                  uint32_t iterations = kSfxIterations);
// Seals piece number index (from 0; every piece but the last has kSfxPiece bytes) into out:
// the ciphertext and its tag.
bool SfxSealPiece(SfxSealer* sealer, uint32_t index, bool last, const unsigned char* piece, size_t size,
                  std::vector<unsigned char>* out);
void SfxSealEnd(SfxSealer* sealer);

enum SfxOpenResult {
  SFX_OPEN_OK = 0,
  SFX_OPEN_DAMAGED = 1,         // not a sealed stream, or cut short or lengthened
  SFX_OPEN_WRONG_PASSWORD = 2,  // the first piece does not open: the password (or that piece)
  SFX_OPEN_ALTERED = 3,         // a later piece does not open: the program was changed
  SFX_OPEN_SYSTEM = 4           // CNG refused
};

// Opens a whole sealed stream into archive; nothing is put there unless every piece opened.
int SfxOpen(const unsigned char* sealed, size_t size, const char* password, std::vector<unsigned char>* archive);
// The size a sealed stream of an archive of archiveSize bytes has.
uint64_t SfxSealedSize(uint64_t archiveSize);
