#include "services/base.h"
#include "sfx/sfx_cipher.h"

#include <bcrypt.h>

#include <cstring>

namespace {

const unsigned char kMagic[4] = {'K', 'S', 'X', '1'};
constexpr size_t kSalt = 16;
constexpr size_t kNoncePrefix = 8;

struct CipherState {
  BCRYPT_ALG_HANDLE aes = nullptr;
  BCRYPT_KEY_HANDLE key = nullptr;
  unsigned char header[kSfxSealHeader];
};

void Put32(unsigned char* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<unsigned char>(v >> (8 * i));
}
void Put64(unsigned char* p, uint64_t v) {
  for (int i = 0; i < 8; ++i) p[i] = static_cast<unsigned char>(v >> (8 * i));
}
uint32_t Get32(const unsigned char* p) {
  uint32_t v = 0;
  for (int i = 3; i >= 0; --i) v = (v << 8) | p[i];
  return v;
}
uint64_t Get64(const unsigned char* p) {
  uint64_t v = 0;
  for (int i = 7; i >= 0; --i) v = (v << 8) | p[i];
  return v;
}

void Release(CipherState* s) {
  if (s->key) BCryptDestroyKey(s->key);
  if (s->aes) BCryptCloseAlgorithmProvider(s->aes, 0);
  SecureZeroMemory(s, sizeof *s);
}

// The key from the password and the header's salt and iteration count.
bool MakeKey(CipherState* s, const char* password) {
  BCRYPT_ALG_HANDLE sha = nullptr;
  unsigned char key[32];
  bool ok = BCRYPT_SUCCESS(BCryptOpenAlgorithmProvider(&sha, BCRYPT_SHA256_ALGORITHM, nullptr, BCRYPT_ALG_HANDLE_HMAC_FLAG)) &&
            BCRYPT_SUCCESS(BCryptDeriveKeyPBKDF2(sha, reinterpret_cast<PUCHAR>(const_cast<char*>(password)),
                                                 static_cast<ULONG>(strlen(password)), s->header + 8, kSalt,
                                                 Get32(s->header + 4), key, sizeof key, 0));
  if (sha) BCryptCloseAlgorithmProvider(sha, 0);
  ok = ok && BCRYPT_SUCCESS(BCryptOpenAlgorithmProvider(&s->aes, BCRYPT_AES_ALGORITHM, nullptr, 0)) &&
       BCRYPT_SUCCESS(BCryptSetProperty(s->aes, BCRYPT_CHAINING_MODE, reinterpret_cast<PUCHAR>(const_cast<wchar_t*>(BCRYPT_CHAIN_MODE_GCM)),
                                        sizeof BCRYPT_CHAIN_MODE_GCM, 0)) &&
       BCRYPT_SUCCESS(BCryptGenerateSymmetricKey(s->aes, &s->key, nullptr, 0, key, sizeof key, 0));
  SecureZeroMemory(key, sizeof key);
  return ok;
}

// One piece through GCM: its nonce is the header's prefix and the piece number, and the
// header and whether it is the last piece are authenticated beside it.
bool Crypt(CipherState* s, bool seal, uint32_t index, bool last, const unsigned char* in, size_t size,
           unsigned char* out, unsigned char* tag) {
  unsigned char nonce[12];
  memcpy(nonce, s->header + 8 + kSalt, kNoncePrefix);
  Put32(nonce + kNoncePrefix, index);
  unsigned char aad[kSfxSealHeader + 1];
  memcpy(aad, s->header, kSfxSealHeader);
  aad[kSfxSealHeader] = last ? 1 : 0;
  BCRYPT_AUTHENTICATED_CIPHER_MODE_INFO info;
  BCRYPT_INIT_AUTH_MODE_INFO(info);
  info.pbNonce = nonce;
  info.cbNonce = sizeof nonce;
  info.pbAuthData = aad;
  info.cbAuthData = sizeof aad;
  info.pbTag = tag;
  info.cbTag = kSfxTag;
  ULONG done = 0;
  unsigned char dummy = 0;
  PUCHAR input = const_cast<PUCHAR>(size ? in : &dummy);
  PUCHAR output = size ? out : &dummy;
  NTSTATUS status = seal ? BCryptEncrypt(s->key, input, static_cast<ULONG>(size), &info, nullptr, 0, output,
                                         static_cast<ULONG>(size), &done, 0)
                         : BCryptDecrypt(s->key, input, static_cast<ULONG>(size), &info, nullptr, 0, output,
                                         static_cast<ULONG>(size), &done, 0);
  return BCRYPT_SUCCESS(status) && done == size;
}

}  // namespace

bool SfxSealBegin(SfxSealer* sealer, const char* password, uint64_t archiveSize, unsigned char* header,
                  uint32_t iterations) {
  CipherState* s = new CipherState();
  sealer->state = s;
  memcpy(s->header, kMagic, 4);
  Put32(s->header + 4, iterations);
  Put64(s->header + 8 + kSalt + kNoncePrefix, archiveSize);
  bool ok = BCRYPT_SUCCESS(BCryptGenRandom(nullptr, s->header + 8, kSalt + kNoncePrefix, BCRYPT_USE_SYSTEM_PREFERRED_RNG)) &&
            MakeKey(s, password);
  memcpy(header, s->header, kSfxSealHeader);
  return ok;
}

bool SfxSealPiece(SfxSealer* sealer, uint32_t index, bool last, const unsigned char* piece, size_t size,
                  std::vector<unsigned char>* out) {
  out->resize(size + kSfxTag);
  return Crypt(static_cast<CipherState*>(sealer->state), true, index, last, piece, size, out->data(),
               out->data() + size);
}

void SfxSealEnd(SfxSealer* sealer) {
  CipherState* s = static_cast<CipherState*>(sealer->state);
  if (!s) return;
  Release(s);
  delete s;
  sealer->state = nullptr;
}

uint64_t SfxSealedSize(uint64_t archiveSize) {
  uint64_t pieces = archiveSize ? (archiveSize + kSfxPiece - 1) / kSfxPiece : 1;
  return kSfxSealHeader + archiveSize + pieces * kSfxTag;
}

int SfxOpen(const unsigned char* sealed, size_t size, const char* password, std::vector<unsigned char>* archive) {
  if (size < kSfxSealHeader || memcmp(sealed, kMagic, 4) != 0) return SFX_OPEN_DAMAGED;
  uint64_t archiveSize = Get64(sealed + 8 + kSalt + kNoncePrefix);
  if (archiveSize > size || SfxSealedSize(archiveSize) != size) return SFX_OPEN_DAMAGED;
  CipherState s;
  memcpy(s.header, sealed, kSfxSealHeader);
  if (!MakeKey(&s, password)) {
    Release(&s);
    return SFX_OPEN_SYSTEM;
  }
  std::vector<unsigned char> plain(static_cast<size_t>(archiveSize));
  const unsigned char* in = sealed + kSfxSealHeader;
  int result = SFX_OPEN_OK;
  uint32_t index = 0;
  for (size_t done = 0; done < archiveSize || index == 0; ++index) {
    size_t piece = static_cast<size_t>(std::min<uint64_t>(kSfxPiece, archiveSize - done));
    bool last = done + piece == archiveSize;
    unsigned char tag[kSfxTag];
    memcpy(tag, in + piece, kSfxTag);
    if (!Crypt(&s, false, index, last, in, piece, plain.data() + done, tag)) {
      result = index == 0 ? SFX_OPEN_WRONG_PASSWORD : SFX_OPEN_ALTERED;
      break;
    }
    in += piece + kSfxTag;
    done += piece;
  }
  Release(&s);
  if (result == SFX_OPEN_OK) archive->swap(plain);
  return result;
}
