// Opening an image and walking its headers. libarchive reads the image through callbacks
// of this file, which find where a Nero image's track begins and keep a hostile image's
// declared sizes from turning into allocations (ClampVolumeLength).
#include "services/base.h"
#include "iso_image.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr int64_t kSector = 2048;
constexpr size_t kReadSize = 1 << 20;
// Where a Nero image made in disc-at-once mode begins its track: after 150 sectors of lead-in.
constexpr int64_t kNeroLeadIn = 150 * kSector;

bool ReadAt(HANDLE file, int64_t offset, void* out, DWORD size) {
  LARGE_INTEGER at;
  at.QuadPart = offset;
  DWORD got = 0;
  return SetFilePointerEx(file, at, nullptr, FILE_BEGIN) && ReadFile(file, out, size, &got, nullptr) && got == size;
}

bool IsVolumeDescriptor(const unsigned char* sector) {
  return memcmp(sector + 1, "CD001", 5) == 0;
}

// A Nero image ends with "NER5" and a 64-bit offset, or "NERO" and a 32-bit one.
bool HasNeroFooter(HANDLE file, int64_t size) {
  unsigned char tail[12];
  if (size < 12 || !ReadAt(file, size - 12, tail, sizeof tail)) return false;
  return memcmp(tail, "NER5", 4) == 0 || memcmp(tail + 4, "NERO", 4) == 0;
}

// The first volume descriptor sits at sector 16 of the track.
int64_t FindTrack(HANDLE file, int64_t size) {
  unsigned char sector[kSector];
  if (ReadAt(file, 16 * kSector, sector, sizeof sector) && IsVolumeDescriptor(sector)) return 0;
  if (HasNeroFooter(file, size) && ReadAt(file, kNeroLeadIn + 16 * kSector, sector, sizeof sector) &&
      IsVolumeDescriptor(sector))
    return kNeroLeadIn;
  return 0;
}

void PutBothEndian32(unsigned char* field, uint32_t value) {
  for (int i = 0; i < 4; ++i) {
    field[i] = static_cast<unsigned char>(value >> (8 * i));
    field[7 - i] = static_cast<unsigned char>(value >> (8 * i));
  }
}

uint32_t LittleEndian32(const unsigned char* field) {
  return field[0] | field[1] << 8 | field[2] << 16 | static_cast<uint32_t>(field[3]) << 24;
}

// libarchive trusts the lengths the volume descriptors declare: it reads the root folder,
// and any folder that lies inside the declared volume, into one buffer of the folder's
// declared size. A hostile image of a few kilobytes could so ask for gigabytes. Both the
// volume and the root folder are held to twice what the file holds plus 64 MiB: a cut image
// still lists what its folders name, and no declared size reaches further than a small
// multiple of the real data.
void ClampVolumeLength(unsigned char* sector, int64_t fileLength) {
  if (sector[0] != 1 && sector[0] != 2) return;  // primary and supplementary descriptors
  if (!IsVolumeDescriptor(sector)) return;
  uint64_t limit = static_cast<uint64_t>(fileLength) * 2 + (64u << 20);
  if (LittleEndian32(sector + 80) > limit / kSector) PutBothEndian32(sector + 80, static_cast<uint32_t>(limit / kSector));
  // The root folder's record: its data length at offset 10 of the record at 156.
  if (LittleEndian32(sector + 166) > limit) PutBothEndian32(sector + 166, static_cast<uint32_t>(limit & ~(kSector - 1)));
}

la_ssize_t ReadImage(archive*, void* data, const void** block) {
  ImageFile* file = static_cast<ImageFile*>(data);
  DWORD got = 0;
  LARGE_INTEGER at;
  at.QuadPart = file->base + file->position;
  if (!SetFilePointerEx(file->file, at, nullptr, FILE_BEGIN) ||
      !ReadFile(file->file, file->buffer, kReadSize, &got, nullptr))
    return -1;
  // The descriptors are read once, in the first block of the track.
  for (int64_t sector = 16; file->image && sector < 64; ++sector) {
    int64_t offset = sector * kSector - file->position;
    if (offset < 0 || offset + kSector > got) continue;
    ClampVolumeLength(reinterpret_cast<unsigned char*>(file->buffer) + offset, file->length);
  }
  file->position += got;
  *block = file->buffer;
  return got;
}

la_int64_t SeekImage(archive*, void* data, la_int64_t offset, int whence) {
  ImageFile* file = static_cast<ImageFile*>(data);
  int64_t target = whence == SEEK_SET ? offset : whence == SEEK_CUR ? file->position + offset : file->length + offset;
  if (target < 0) return ARCHIVE_FATAL;
  file->position = target;
  return target;
}

la_int64_t SkipImage(archive* reader, void* data, la_int64_t request) {
  ImageFile* file = static_cast<ImageFile*>(data);
  int64_t left = file->length - file->position;
  int64_t step = request < left ? request : left < 0 ? 0 : left;
  file->position += step;
  return step;
}

void CloseFile(ImageFile* file) {
  if (file->file != INVALID_HANDLE_VALUE) CloseHandle(file->file);
  file->file = INVALID_HANDLE_VALUE;
  free(file->buffer);
  file->buffer = nullptr;
}

// Archives made from "." name their entries ".\\a.txt": the leading "." is the archive itself.
std::string WithBackslashes(std::string name) {
  for (char& c : name)
    if (c == '/') c = '\\';
  while (!name.empty() && name.back() == '\\') name.pop_back();
  size_t lead = 0;
  while (name.compare(lead, 2, ".\\") == 0) lead += 2;
  return lead ? name.substr(lead) : name;
}

bool IsUtf8(const std::string& text) {
  return text.empty() ||
         MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), static_cast<int>(text.size()), nullptr, 0) > 0;
}

// The name's bytes as libarchive keeps them: Joliet names it turns from UTF-16 into UTF-8,
// Rock Ridge names are the bytes the image holds, UTF-8 on the systems that write images
// today. (Its wide form is no help: in the library's own "C" locale it reads every byte as
// one character.) Bytes that are no UTF-8 come from an older system's code page, taken as
// Windows-1252.
std::string NameUtf8(const char* raw) {
  std::string name = raw ? raw : "";
  if (!IsUtf8(name)) name = Utf8FromWide(Widen(name, 1252));
  return WithBackslashes(name);
}

// The local time of an entry, or false when it has none worth showing (a zeroed ISO date
// comes out before 1901).
bool LocalDate(time_t seconds, IsoDate* date, uint32_t* dosStamp) {
  constexpr int64_t k1901 = -2177452800LL;
  if (static_cast<int64_t>(seconds) < k1901) return false;
  uint64_t ticks = static_cast<uint64_t>(static_cast<int64_t>(seconds) + 11644473600LL) * 10000000ULL;
  FILETIME utc{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)}, local;
  SYSTEMTIME when;
  if (!FileTimeToLocalFileTime(&utc, &local) || !FileTimeToSystemTime(&local, &when)) return false;
  if (date) {
    date->year = when.wYear;
    date->month = when.wMonth;
    date->dayOfWeek = when.wDayOfWeek;
    date->day = when.wDay;
    date->hour = when.wHour;
    date->minute = when.wMinute;
    date->second = when.wSecond;
    date->milliseconds = 0;
  }
  WORD dosDate = 0, dosTime = 0;
  if (FileTimeToDosDateTime(&local, &dosDate, &dosTime)) *dosStamp = static_cast<uint32_t>(dosDate) << 16 | dosTime;
  return true;
}

// Cuts a UTF-8 text to at most limit bytes without splitting a character.
void CopyCut(char* out, size_t size, const std::string& text) {
  size_t n = text.size() < size - 1 ? text.size() : size - 1;
  while (n && n < text.size() && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80) --n;
  memcpy(out, text.data(), n);
  out[n] = '\0';
}

IsoImage* FromHandle(IsoHandle handle) { return static_cast<IsoImage*>(handle); }

// The one reader an archive is read with: guessing among all would let a file of one kind be
// read as another. Only the filters that decode in the process are taken (others would start
// programs). An RPM is a cpio archive behind the package's own header.
bool SupportFormat(archive* reader, const std::string& format) {
  if (format.empty()) return archive_read_support_format_iso9660(reader) == ARCHIVE_OK;
  if (format == "cpio" || format == "rpm") {
    archive_read_support_filter_gzip(reader);
    archive_read_support_filter_bzip2(reader);
    archive_read_support_filter_xz(reader);
    archive_read_support_filter_lzma(reader);
    archive_read_support_filter_zstd(reader);
    archive_read_support_filter_lz4(reader);
    if (format == "rpm") archive_read_support_filter_rpm(reader);
    return archive_read_support_format_cpio(reader) == ARCHIVE_OK;
  }
  static const struct {
    const char* name;
    int (*support)(archive*);
  } kFormats[] = {
      {"cab", archive_read_support_format_cab}, {"lha", archive_read_support_format_lha},
      {"ar", archive_read_support_format_ar},
  };
  for (const auto& known : kFormats)
    if (format == known.name) return known.support(reader) == ARCHIVE_OK;
  return false;
}

// Moves on to the next entry, leaving the one before behind; an ISO_ result.
int NextEntry(IsoImage* image) {
  if (image->ended) return ISO_END_ARCHIVE;
  int status = archive_read_next_header(image->reader, &image->entry);
  // The root folder, as ".", is the archive itself, not an entry of it.
  while (status >= ARCHIVE_WARN && archive_entry_filetype(image->entry) == AE_IFDIR &&
         (EntryPath(image->entry) == "." || EntryPath(image->entry).empty()))
    status = archive_read_next_header(image->reader, &image->entry);
  if (status == ARCHIVE_EOF || status < ARCHIVE_WARN) {
    image->ended = true;
    image->entry = nullptr;
    return status == ARCHIVE_EOF ? ISO_END_ARCHIVE : ISO_BAD_ARCHIVE;
  }
  image->name = EntryPath(image->entry);
  image->dataRead = image->streaming = false;
  CloseDataSource(image);
  // libarchive hands out the second of two entries with the same data as a hard link to the
  // first; a chain of them all lead back to the one that is none. A CPIO puts the data in the
  // last link instead, which then declares its size: that one holds its own data.
  image->borrowed = !EntryHardlink(image->entry).empty() &&
                    !(archive_entry_size_is_set(image->entry) && archive_entry_size(image->entry) > 0);
  if (!image->borrowed) {
    image->dataName = image->name;
    // A folder's extent holds its records, nothing a user takes out of it.
    bool folder = archive_entry_filetype(image->entry) == AE_IFDIR;
    image->dataSize = !folder && archive_entry_size_is_set(image->entry) ? archive_entry_size(image->entry) : 0;
    image->dataWritten.clear();
  }
  return ISO_OK;
}

}  // namespace

std::wstring Widen(const std::string& text, unsigned codePage) {
  int size = static_cast<int>(text.size());
  int length = size ? MultiByteToWideChar(codePage, 0, text.data(), size, nullptr, 0) : 0;
  std::wstring wide(static_cast<size_t>(length > 0 ? length : 0), L'\0');
  if (length > 0) MultiByteToWideChar(codePage, 0, text.data(), size, &wide[0], length);
  return wide;
}

std::string Utf8FromWide(const std::wstring& wide) {
  int size = static_cast<int>(wide.size());
  int length = size ? WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, nullptr, 0, nullptr, nullptr) : 0;
  std::string text(static_cast<size_t>(length > 0 ? length : 0), '\0');
  if (length > 0) WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, &text[0], length, nullptr, nullptr);
  return text;
}

// A kind that stores its names as UTF-16 (7z, CAB's Unicode names) leaves only the
// wide form, which the library's "C" locale cannot turn into bytes.
std::string EntryPath(archive_entry* entry) {
  const char* raw = archive_entry_pathname(entry);
  const wchar_t* wide = raw ? nullptr : archive_entry_pathname_w(entry);
  return wide ? WithBackslashes(Utf8FromWide(wide)) : NameUtf8(raw);
}

std::string EntryHardlink(archive_entry* entry) {
  const char* raw = archive_entry_hardlink(entry);
  const wchar_t* wide = raw ? nullptr : archive_entry_hardlink_w(entry);
  return wide ? WithBackslashes(Utf8FromWide(wide)) : raw ? NameUtf8(raw) : std::string();
}

bool OpenImageReader(IsoImage* image) {
  ImageFile& file = image->file;
  file.file = CreateFileW(Widen(image->path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE,
                          nullptr, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
  LARGE_INTEGER size;
  if (file.file == INVALID_HANDLE_VALUE || !GetFileSizeEx(file.file, &size)) {
    CloseFile(&file);
    return false;
  }
  file.image = image->format.empty();
  file.base = file.image ? FindTrack(file.file, size.QuadPart) : 0;
  file.length = size.QuadPart - file.base;
  file.position = 0;
  file.buffer = static_cast<char*>(malloc(kReadSize));
  image->reader = archive_read_new();
  if (!file.buffer || !image->reader) {
    CloseImageReader(image);
    return false;
  }
  if (!SupportFormat(image->reader, image->format)) {
    CloseImageReader(image);
    return false;
  }
  archive_read_set_callback_data(image->reader, &file);
  archive_read_set_read_callback(image->reader, ReadImage);
  archive_read_set_seek_callback(image->reader, SeekImage);
  archive_read_set_skip_callback(image->reader, SkipImage);
  if (archive_read_open1(image->reader) != ARCHIVE_OK) {
    CloseImageReader(image);
    return false;
  }
  return true;
}

void CloseImageReader(IsoImage* image) {
  CloseDataSource(image);
  if (image->reader) archive_read_free(image->reader);
  image->reader = nullptr;
  image->entry = nullptr;
  CloseFile(&image->file);
}

extern "C" {

IsoHandle __cdecl ArchiveOpen(const char* path, const char* format) {
  if (!path || !*path) return nullptr;
  IsoImage* image = new IsoImage();
  image->path = path;
  image->format = format ? format : "";
  if (!OpenImageReader(image)) {
    delete image;
    return nullptr;
  }
  return image;
}

IsoHandle __cdecl iso_open(const char* path) { return ArchiveOpen(path, nullptr); }

// Reading the first header is what makes libarchive read the descriptors and the root
// folder; the header is kept for the first ReadHeader.
int __cdecl iso_init(IsoHandle handle) {
  IsoImage* image = FromHandle(handle);
  if (!image || !image->reader) return 0;
  if (image->initialised) return 1;
  int status = NextEntry(image);
  if (status == ISO_BAD_ARCHIVE) return 0;
  image->initialised = true;
  image->pending = status == ISO_OK;
  return 1;
}

int __cdecl ReadHeader(IsoHandle handle, IsoHeaderRecord* header, IsoDate* date, char* fullName) {
  IsoImage* image = FromHandle(handle);
  if (!image || !image->reader || !header) return ISO_BAD_ARCHIVE;
  if (!image->initialised && !iso_init(handle)) return ISO_BAD_ARCHIVE;
  if (image->pending) {
    image->pending = false;
  } else {
    int status = NextEntry(image);
    if (status != ISO_OK) return status;
  }
  if (!image->entry) return image->ended ? ISO_END_ARCHIVE : ISO_BAD_ARCHIVE;
  archive_entry* entry = image->entry;
  memset(header, 0, sizeof *header);
  CopyCut(header->fileName, sizeof header->fileName, image->name);
  if (fullName) CopyCut(fullName, ISO_FULL_NAME_SIZE, image->name);
  unsigned type = archive_entry_filetype(entry);
  // A hard link has no data of its own: it is as long as the entry that has.
  int64_t size = image->dataSize;
  header->unpackedSize = header->packedSize = static_cast<uint32_t>(size);
  header->method = 0x30;
  unsigned long set = 0, clear = 0;
  archive_entry_fflags(entry, &set, &clear);
  header->fileAttributes = type == AE_IFDIR ? ISO_ATTRIBUTE_FOLDER
                           : type == AE_IFLNK ? ISO_ATTRIBUTE_LINK | ISO_ATTRIBUTE_FILE
                                              : ISO_ATTRIBUTE_FILE;
  // The existence bit of an image's record; other kinds' hidden attribute hides nothing here.
  if (image->format.empty() && (set & ISO_ATTRIBUTE_HIDDEN)) header->fileAttributes |= ISO_ATTRIBUTE_HIDDEN;
  if (archive_entry_is_data_encrypted(entry)) header->flags |= ISO_FLAG_ENCRYPTED;
  LocalDate(archive_entry_mtime(entry), date, &header->fileTime);
  return ISO_OK;
}

int __cdecl ProcessFile(IsoHandle handle, int operation, const char* destinationFolder,
                        const char* destinationName, void*, void*, void*, uint64_t* progress) {
  IsoImage* image = FromHandle(handle);
  if (!image || !image->entry) return ISO_NO_ENTRY;
  if (operation == ISO_SKIP) return ISO_OK;  // the next header skips the data
  return ProcessCurrentEntry(image, operation, destinationFolder, destinationName, progress);
}

int __cdecl iso_close(IsoHandle* handle) {
  if (!handle || !*handle) return 0;
  IsoImage* image = FromHandle(*handle);
  CloseImageReader(image);
  delete image;
  *handle = nullptr;
  return 1;
}

int64_t __cdecl IsoReadData(IsoHandle handle, void* buffer, uint32_t size, uint64_t* entrySize) {
  IsoImage* image = FromHandle(handle);
  if (!image || !image->entry) return -1;
  if (entrySize) *entrySize = static_cast<uint64_t>(image->dataSize);
  return size ? ReadCurrentEntryData(image, buffer, size) : 0;
}

int __cdecl IsoFileCount(const char* path, uint64_t* totalBytes) {
  if (totalBytes) *totalBytes = 0;
  IsoHandle handle = iso_open(path);
  if (!handle || !iso_init(handle)) {
    iso_close(&handle);
    return 0;
  }
  int files = 0;
  IsoHeaderRecord header;
  for (IsoDate date; ReadHeader(handle, &header, &date, nullptr) == ISO_OK;) {
    if (header.fileAttributes & ISO_ATTRIBUTE_FOLDER) continue;
    ++files;
    if (totalBytes) *totalBytes += FromHandle(handle)->dataSize;
  }
  iso_close(&handle);
  return files;
}

}  // extern "C"
