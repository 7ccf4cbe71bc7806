// ZIP entries as streams: the archive's directory walked in order, an entry opened on its
// first read (so walking past entries inflates nothing) and checked at its end.
#include "services/base.h"
#include "zip/zip_operations.h"

#include "services/log.h"
#include "zip/aes_entry.h"
#include "zip/entry_methods.h"
#include "zip/entry_names.h"
#include "zip/extract.h"
#include "zip/zip_open.h"

namespace {

class ZipReader : public ArchiveReader {
 public:
  explicit ZipReader(unzFile zip) : zip_(zip) {}
  ~ZipReader() override {
    CloseEntry();
    unzClose(zip_);
  }

  int Next(StreamEntry* entry) override {
    CloseEntry();
    current_ = false;
    for (;;) {
      int moved = placed_ ? unzGoToNextFile(zip_) : unzGoToFirstFile(zip_);
      if (moved == UNZ_END_OF_LIST_OF_FILE) return 1;
      if (moved != UNZ_OK) return STREAM_FAILED;
      placed_ = true;
      if (ReadCurrentEntryName(zip_, &info_, &entry->name) != UNZ_OK) return STREAM_FAILED;
      if (!*LastNamePart(entry->name.c_str())) continue;  // a folder has no row
      return Take(entry);
    }
  }

  int Find(const char* name, StreamEntry* entry) override {
    CloseEntry();
    current_ = false;
    if (LocateEntry(zip_, name) != UNZ_OK) return STREAM_NOT_FOUND;
    placed_ = true;
    if (ReadCurrentEntryName(zip_, &info_, &entry->name) != UNZ_OK) return STREAM_FAILED;
    if (!*LastNamePart(entry->name.c_str())) return STREAM_NOT_FOUND;
    return Take(entry);
  }

  int64_t Read(void* data, size_t size) override {
    if (!current_ || ended_) return ended_ ? end_ : STREAM_FAILED;
    if (!open_) {
      int opened = OpenCurrentEntryReader(zip_, &aes_);
      if (opened != UNZ_OK) return End(OpenFailure(opened));
      open_ = true;
    }
    unsigned want = size > (1u << 30) ? (1u << 30) : static_cast<unsigned>(size);
    int n = aes_ ? AesRead(aes_, data, want) : unzReadCurrentFile(zip_, data, want);
    if (n < 0) return End(Blame(STREAM_DAMAGED));
    if (n == 0) {
      if (done_ < info_.uncompressed_size) return End(Blame(STREAM_DAMAGED));
      int closed = CloseEntry();
      return End(closed == UNZ_OK ? 0 : Blame(STREAM_DAMAGED));
    }
    done_ += static_cast<unsigned>(n);
    // Inflating past what it declared: the whole chunk is withheld.
    if (done_ > info_.uncompressed_size) return End(Blame(STREAM_DAMAGED));
    return n;
  }

 private:
  int Take(StreamEntry* entry) {
    entry->size = info_.uncompressed_size;
    current_ = true;
    ended_ = false;
    done_ = 0;
    return 0;
  }

  int CloseEntry() {
    if (!open_) return UNZ_OK;
    open_ = false;
    AesReader* aes = aes_;
    aes_ = nullptr;
    return aes ? AesClose(aes) : unzCloseCurrentFile(zip_);
  }

  int64_t End(int result) {
    CloseEntry();
    ended_ = true;
    end_ = result;
    if (result) Log(1, GetVerbose(), "ZipReader: entry unreadable: %s", EntryStreamErrorText(result));
    return result;
  }

  static int OpenFailure(int opened) {
    switch (opened) {
      case EXTRACT_NO_PASSWORD: return STREAM_CANCELLED;
      case EXTRACT_WRONG_PASSWORD: return STREAM_WRONG_PASSWORD;
      case EXTRACT_UNDECODABLE: return STREAM_UNSUPPORTED;
      default: return STREAM_DAMAGED;
    }
  }

  // The traditional cipher's one check byte lets every 256th wrong password by: what fails
  // after it is the password. AES proved its password by the verifier.
  int Blame(int failure) const {
    bool traditional = (info_.flag & 1) && info_.compression_method != kMethodAes;
    return traditional ? STREAM_WRONG_PASSWORD : failure;
  }

  unzFile zip_;
  unz_file_info64 info_ = {};
  bool placed_ = false;   // the library stands at an entry
  bool current_ = false;  // a file entry was delivered
  bool open_ = false;
  bool ended_ = false;
  int end_ = 0;
  AesReader* aes_ = nullptr;
  uint64_t done_ = 0;
};

}  // namespace

std::unique_ptr<ArchiveReader> OpenZipReader(const char* archive, int* error) {
  unzFile zip = MyWaitunzOpen2_64(archive, 3000);
  if (!zip) {
    *error = STREAM_FAILED;
    return nullptr;
  }
  return std::unique_ptr<ArchiveReader>(new ZipReader(zip));
}
