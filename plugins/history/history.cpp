#include "services/base.h"

#include "kestrelia_history.h"
#include "sfx/sfx_cipher.h"

#include <shlobj.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

struct HistoryItem {
  std::string fields[HISTORY_FIELDS];
};

namespace {

// The file: the plain text below, or the sealed marker followed by the sealed text. The text
// is a header line, one line per item (oldest first, the fields separated by tabs), and an
// end line with the number of items, so a file that lost its tail is known as damaged.
constexpr char kFileName[] = "history.dat";
constexpr char kNewSuffix[] = ".new";
constexpr char kPlainHeader[] = "KHIS 1\n";
constexpr char kSealedHeader[] = "KHIS sealed\n";

std::vector<HistoryItem*> g_items;  // oldest first
std::string g_folder;
std::string g_password;
bool g_open = false;
bool g_statusOK = true;

std::string FilePath() { return g_folder + "\\" + kFileName; }

void Forget() {
  for (HistoryItem* item : g_items) delete item;
  g_items.clear();
}

void ForgetPassword() {
  if (!g_password.empty()) SecureZeroMemory(&g_password[0], g_password.size());
  g_password.clear();
}

// Tabs and line ends would break the line; no path holds them, but nothing relies on that.
std::string Clean(const char* text) {
  std::string out = text ? text : "";
  for (char& c : out)
    if (c == '\t' || c == '\n' || c == '\r') c = ' ';
  return out;
}

std::string Serialize() {
  std::string text = kPlainHeader;
  for (const HistoryItem* item : g_items) {
    for (int f = 0; f < HISTORY_FIELDS; ++f) {
      text += item->fields[f];
      text += f + 1 < HISTORY_FIELDS ? '\t' : '\n';
    }
  }
  text += "end " + std::to_string(g_items.size()) + "\n";
  return text;
}

bool Parse(const std::string& text, std::vector<HistoryItem*>* items) {
  if (text.compare(0, strlen(kPlainHeader), kPlainHeader) != 0) return false;
  size_t at = strlen(kPlainHeader);
  while (at < text.size()) {
    size_t end = text.find('\n', at);
    if (end == std::string::npos) return false;
    std::string line = text.substr(at, end - at);
    at = end + 1;
    if (line.compare(0, 4, "end ") == 0)
      return at == text.size() && strtoul(line.c_str() + 4, nullptr, 10) == items->size();
    HistoryItem* item = new HistoryItem();
    items->push_back(item);
    size_t start = 0;
    for (int f = 0; f < HISTORY_FIELDS; ++f) {
      size_t tab = f + 1 < HISTORY_FIELDS ? line.find('\t', start) : line.size();
      if (tab == std::string::npos) return false;
      item->fields[f] = line.substr(start, tab - start);
      start = tab + 1;
    }
  }
  return false;
}

bool Seal(const std::string& text, const std::string& password, std::string* out) {
  SfxSealer sealer = {};
  unsigned char header[kSfxSealHeader];
  if (!SfxSealBegin(&sealer, password.c_str(), text.size(), header)) return false;
  *out = kSealedHeader;
  out->append(reinterpret_cast<const char*>(header), sizeof header);
  bool sealed = true;
  const unsigned char* data = reinterpret_cast<const unsigned char*>(text.data());
  uint32_t index = 0;
  for (size_t at = 0; sealed && at < text.size(); at += kSfxPiece, ++index) {
    size_t size = text.size() - at < kSfxPiece ? text.size() - at : kSfxPiece;
    std::vector<unsigned char> piece;
    sealed = SfxSealPiece(&sealer, index, at + size == text.size(), data + at, size, &piece);
    out->append(reinterpret_cast<const char*>(piece.data()), piece.size());
  }
  SfxSealEnd(&sealer);
  return sealed;
}

bool ReadWhole(const std::string& path, std::string* out, bool* missing) {
  *missing = false;
  // A writer may put a new file in this one's place while it is read.
  HANDLE file = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING, 0,
                            nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    DWORD error = GetLastError();
    *missing = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
    return false;
  }
  LARGE_INTEGER size;
  bool ok = GetFileSizeEx(file, &size) && size.QuadPart < (1LL << 30);
  if (ok) {
    out->resize(static_cast<size_t>(size.QuadPart));
    DWORD read = 0;
    ok = out->empty() || (ReadFile(file, &(*out)[0], static_cast<DWORD>(out->size()), &read, nullptr) &&
                          read == out->size());
  }
  CloseHandle(file);
  return ok;
}

// The whole history into a new file, flushed, then moved over the old one: whatever moment
// the process dies at, one of the two files is whole and the old one is only replaced by a
// whole new one.
bool Write() {
  std::string bytes;
  std::string text = Serialize();
  if (g_password.empty())
    bytes = text;
  else if (!Seal(text, g_password, &bytes))
    return g_statusOK = false;
  SecureZeroMemory(&text[0], text.size());
  std::string path = FilePath(), fresh = path + kNewSuffix;
  HANDLE file = CreateFileA(fresh.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return g_statusOK = false;
  DWORD written = 0;
  bool ok = WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
            written == bytes.size() && FlushFileBuffers(file);
  CloseHandle(file);
  ok = ok && MoveFileExA(fresh.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
  if (!ok) DeleteFileA(fresh.c_str());
  return g_statusOK = ok;
}

HistoryItem* NewestAt(int index) {
  if (index < 0 || index >= static_cast<int>(g_items.size())) return nullptr;
  return g_items[g_items.size() - 1 - static_cast<size_t>(index)];
}

}  // namespace

extern "C" {

int CheckExistenceUserAppDataDirectory(char* folder, int size) {
  char base[MAX_PATH];
  if (!folder || size <= 0 || FAILED(SHGetFolderPathA(nullptr, CSIDL_APPDATA | CSIDL_FLAG_CREATE, nullptr, 0, base)))
    return 1;
  if (snprintf(folder, static_cast<size_t>(size), "%s\\Kestrelia", base) >= size) return 1;
  if (!CreateDirectoryA(folder, nullptr) && GetLastError() != ERROR_ALREADY_EXISTS) return 1;
  return 0;
}

int OpenHistory(const char* folder, const char* password) {
  Forget();
  ForgetPassword();
  g_open = false;
  g_folder = folder ? folder : "";
  std::string bytes;
  bool missing = false;
  if (!ReadWhole(FilePath(), &bytes, &missing) && !missing) {
    g_statusOK = false;
    return HISTORY_OPEN_FAILED;
  }
  std::string text;
  bool sealed = false;
  if (missing) {
    text = std::string(kPlainHeader) + "end 0\n";
  } else if (bytes.compare(0, strlen(kSealedHeader), kSealedHeader) == 0) {
    if (!password || !*password) return HISTORY_OPEN_WRONG_PASSWORD;
    sealed = true;
    size_t skip = strlen(kSealedHeader);
    std::vector<unsigned char> opened;
    int result = SfxOpen(reinterpret_cast<const unsigned char*>(bytes.data()) + skip, bytes.size() - skip, password,
                         &opened);
    if (result == SFX_OPEN_WRONG_PASSWORD) return HISTORY_OPEN_WRONG_PASSWORD;
    if (result != SFX_OPEN_OK) return HISTORY_OPEN_DAMAGED;
    text.assign(opened.begin(), opened.end());
    SecureZeroMemory(opened.data(), opened.size());
  } else {
    text = bytes;
  }
  std::vector<HistoryItem*> items;
  bool whole = Parse(text, &items);
  if (!text.empty()) SecureZeroMemory(&text[0], text.size());
  if (!whole) {
    for (HistoryItem* item : items) delete item;
    return HISTORY_OPEN_DAMAGED;
  }
  g_items.swap(items);
  if (password) g_password = password;
  g_open = true;
  g_statusOK = true;
  // A password given for a history still in the open is the moment it gets sealed.
  if (!sealed && !g_password.empty() && !missing) Write();
  return HISTORY_OPEN_OK;
}

void CloseHistory(void) {
  Forget();
  ForgetPassword();
  g_open = false;
}

int IsHistoryActivated(void) { return g_open ? 1 : 0; }
int IsHistoryStatusOK(void) { return g_statusOK ? 1 : 0; }

HistoryItem* CreateNewHistoryItem(void) {
  HistoryItem* item = new HistoryItem();
  SYSTEMTIME now;
  GetLocalTime(&now);
  char text[32];
  snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u", now.wYear, now.wMonth, now.wDay, now.wHour,
           now.wMinute, now.wSecond);
  item->fields[HISTORY_TIME] = text;
  return item;
}

int AddDataToHistoryItem(HistoryItem* item, int field, const char* text) {
  if (!item || field < 0 || field >= HISTORY_FIELDS) return 1;
  item->fields[field] = Clean(text);
  return 0;
}

int AddHistoryItem(HistoryItem* item) {
  if (!item) return 1;
  if (!g_open) {
    delete item;
    return 1;
  }
  g_items.push_back(item);
  return Write() ? 0 : 1;
}

const HistoryItem* GetLastAddedItem(void) { return g_items.empty() ? nullptr : g_items.back(); }

int GetHistoryItemCount(void) { return static_cast<int>(g_items.size()); }

const char* GetHistoryItemData(int index, int field) {
  HistoryItem* item = NewestAt(index);
  if (!item || field < 0 || field >= HISTORY_FIELDS) return "";
  return item->fields[field].c_str();
}

int DeleteHistoryItem(int index) {
  HistoryItem* item = NewestAt(index);
  if (!g_open || !item) return 1;
  g_items.erase(g_items.end() - 1 - index);
  delete item;
  return Write() ? 0 : 1;
}

int ClearHistory(void) {
  if (!g_open) return 1;
  Forget();
  return Write() ? 0 : 1;
}

int SetHistoryPassword(const char* password) {
  if (!g_open) return 1;
  ForgetPassword();
  if (password) g_password = password;
  return Write() ? 0 : 1;
}

}  // extern "C"
