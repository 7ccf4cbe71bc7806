#include "services/base.h"
#include "model/liststruct.h"

#include "kestrelia_lang.h"
#include "model/compare.h"
#include "model/namelist.h"
#include "services/log.h"

#include <shellapi.h>

#include <cctype>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <unordered_map>
#include <unordered_set>

namespace {

constexpr size_t kScratchSize = 20;


// The shell answers by extension only (the file need not exist), so one question per
// extension serves every row that has it: a big archive holds few extensions.
struct ShellType {
  const char* type;  // shared
  int icon;
};
std::mutex g_typeLock;
std::unordered_map<std::string, ShellType> g_typeCache;
std::unordered_set<std::string> g_sharedTexts;  // under g_typeLock

std::string ExtensionKey(const char* fileName) {
  const char* dot = strrchr(fileName, '.');
  std::string key = dot ? dot : "";
  for (char& c : key) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
  return key;
}

// Archives mostly keep a folder's entries together: the folder just added is the one to
// test first, before the walk over every folder.
bool IsLastFolder(const NameList* folders, const char* path) {
  return folders->last && folders->last->element && strcmp(static_cast<char*>(folders->last->element), path) == 0;
}

}  // namespace

void FreeListStruct(liststruct* record) {
  if (!record) return;
  free(record->path);
  free(record->scratch);
  free(record);
}

bool SetEntryRecordNames(liststruct* record, const char* path, const char* name) {
  path = path ? path : "";
  name = name ? name : "";
  size_t pathSize = strlen(path) + 1, nameSize = strlen(name) + 1;
  char* block = static_cast<char*>(malloc(pathSize + nameSize));
  if (!block) return false;
  memcpy(block, path, pathSize);
  memcpy(block + pathSize, name, nameSize);
  free(record->path);
  record->path = block;
  record->filename = block + pathSize;
  return true;
}

const char* ShareRowText(const char* text) {
  std::lock_guard<std::mutex> hold(g_typeLock);
  return g_sharedTexts.insert(text ? text : "").first->c_str();
}

void MakeRateText(uint64_t compressed, uint64_t uncompressed, char (&out)[4]) {
  int64_t total = static_cast<int64_t>(uncompressed);
  if (total <= 0) {
    snprintf(out, sizeof out, " 0%%");
    return;
  }
  int64_t p = (100 * static_cast<int64_t>(compressed)) / total;
  if (p > 100) {
    snprintf(out, sizeof out, " 0%%");
    return;
  }
  unsigned long r = static_cast<unsigned long>(100 - p);
  if (r == 100)
    snprintf(out, sizeof out, "99%%");  // a fully packed entry never shows 100
  else if (r <= 9)
    snprintf(out, sizeof out, " %1.1lu%c", r, '%');
  else
    snprintf(out, sizeof out, "%2.2lu%c", r, '%');
}

void MakeEntryPath(const char* fileName, const char* fullName, char* out, size_t outSize) {
  size_t nameLen = strlen(fileName);
  size_t fullLen = strlen(fullName);
  if (nameLen >= fullLen) {
    if (outSize) out[0] = '\0';
    return;
  }
  // Walk both backwards while they agree: what is left of the full name is the folder part.
  const char* f = fullName + fullLen;
  const char* n = fileName + nameLen;
  while (n > fileName && f > fullName && f[-1] == n[-1]) --f, --n;
  size_t len = static_cast<size_t>(f - fullName);
  if (len >= outSize) len = outSize - 1;
  memcpy(out, fullName, len);
  out[len] = '\0';
}

void MakeFallbackTypeText(const char* fileName, char* out, size_t outSize) {
  const char* dot = strrchr(fileName, '.');
  if (!dot) {
    snprintf(out, outSize, "%s", GetGenericText(KLANG_GEN_FILE));
    return;
  }
  std::string ext = dot + 1;
  for (char& c : ext) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
  snprintf(out, outSize, "%s-%s", ext.c_str(), GetGenericText(KLANG_GEN_FILE));
}

const char* SharedTypeText(const char* fileName, int* iconIndex) {
  std::string key = ExtensionKey(fileName);
  ShellType found;
  bool cached;
  {
    std::lock_guard<std::mutex> hold(g_typeLock);
    auto it = g_typeCache.find(key);
    cached = it != g_typeCache.end();
    if (cached) found = it->second;
  }
  if (!cached) {
    SHFILEINFOA info = {};
    SHGetFileInfoA(fileName, FILE_ATTRIBUTE_NORMAL, &info, sizeof info,
                   SHGFI_USEFILEATTRIBUTES | SHGFI_SYSICONINDEX | SHGFI_SMALLICON | SHGFI_TYPENAME);
    found.icon = info.iIcon;
    char text[kPathBuf];
    if (info.szTypeName[0])
      snprintf(text, sizeof text, "%s", info.szTypeName);
    else
      MakeFallbackTypeText(fileName, text, sizeof text);
    found.type = ShareRowText(text);
    std::lock_guard<std::mutex> hold(g_typeLock);
    g_typeCache.emplace(key, found);
  }
  if (iconIndex) *iconIndex = found.icon;
  return found.type;
}

void MakeTypeText(const char* fileName, char* out, size_t outSize, int* iconIndex) {
  snprintf(out, outSize, "%s", SharedTypeText(fileName, iconIndex));
}

liststruct* MakeEntryRecord(const EntryStamp& stamp, const char* fileName, const char* fullName,
                            NameList* folderList, uint64_t compressed, uint64_t uncompressed) {
  liststruct* record = static_cast<liststruct*>(calloc(1, sizeof(liststruct)));
  if (!record) return nullptr;
  record->uncompressed = uncompressed;
  record->compressed = compressed;

  // Sized to the name: a folder part longer than any fixed buffer is still the whole one.
  char small[kPathBuf];
  size_t fullSize = strlen(fullName) + 1;
  std::string large(fullSize > sizeof small ? fullSize : 0, '\0');
  char* path = fullSize > sizeof small ? &large[0] : small;
  MakeEntryPath(fileName, fullName, path, fullSize);
  if (!SetEntryRecordNames(record, path, fileName)) {
    free(record);
    return nullptr;
  }
  if (folderList && !IsLastFolder(folderList, path) && !NameListSearch(folderList, path) &&
      !NameListAppendCopy(folderList, path))
    printf("cannot insert %s\n", path);
  record->type = SharedTypeText(fileName, nullptr);

  record->date.wYear = static_cast<WORD>(stamp.year);
  record->date.wMonth = static_cast<WORD>(stamp.month + 1);
  record->date.wDay = static_cast<WORD>(stamp.day);
  record->date.wHour = static_cast<WORD>(stamp.hour);
  record->date.wMinute = static_cast<WORD>(stamp.minute);
  MakeRateText(compressed, uncompressed, record->rate);
  return record;
}

liststruct* MakeFolderRecord(const char* path, const char* name) {
  static const std::string type = [] {
    SHFILEINFOA info = {};
    SHGetFileInfoA("folder", FILE_ATTRIBUTE_DIRECTORY, &info, sizeof info, SHGFI_USEFILEATTRIBUTES | SHGFI_TYPENAME);
    return std::string(info.szTypeName);
  }();
  liststruct* record = static_cast<liststruct*>(calloc(1, sizeof(liststruct)));
  if (!record) return nullptr;
  if (!SetEntryRecordNames(record, path, name)) {
    free(record);
    return nullptr;
  }
  record->type = ShareRowText(type.c_str());
  record->folder = true;
  return record;
}

// Made only for a row that gets a mark: most rows of most archives never do.
void SetEntryEncryptedText(liststruct* record, const char* text) {
  if (!record->scratch && !(record->scratch = calloc(1, kScratchSize))) return;
  snprintf(static_cast<char*>(record->scratch), kScratchSize, "%s", text ? text : "");
}

const char* GetEntryEncryptedText(const liststruct* record) {
  return record->scratch ? static_cast<const char*>(record->scratch) : "";
}
