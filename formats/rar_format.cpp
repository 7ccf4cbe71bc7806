#include "services/base.h"
#include "formats/rar_format.h"

#include "formats/formats.h"
#include "formats/header_loop.h"
#include "formats/open_archive.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/listing_totals.h"
#include "model/liststruct.h"
#include "services/log.h"
#include "services/long_path.h"
#include "services/prompts.h"
#include "services/runtime_library.h"
#include "jobs/entry_failures.h"
#include "jobs/entry_stream.h"
#include "jobs/extract_job.h"
#include "jobs/extract_run.h"

#include <objbase.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

KESTRELIA_RUNTIME_LIBRARY(UnrarDll, KESTRELIA_UNRAR_FILE, KESTRELIA_UNRAR_API_LIST)

namespace {

constexpr unsigned kCommentSize = 16384;
constexpr DWORD kDirectoryAttribute = 0x10;
constexpr char kLibraryTitle[] = "RAR library";

int g_rarLoaded;
// One library operation at a time: every walk waits its turn.
volatile LONG g_rarBusy;

struct RarBusy {
  RarBusy() {
    while (InterlockedCompareExchange(&g_rarBusy, 1, 0) != 0) {
      printf("RARSem!!");
      Sleep(10);
    }
  }
  ~RarBusy() { InterlockedExchange(&g_rarBusy, 0); }
};

// The twelve entry points, resolved together: a library that lacks one is not used at all.
struct RarApi {
#define KESTRELIA_RAR_MEMBER(name, result, parameters) UnrarDll::name##Fn name;
  KESTRELIA_UNRAR_API_LIST(KESTRELIA_RAR_MEMBER)
#undef KESTRELIA_RAR_MEMBER
};

bool ResolveRarApi(RarApi* api) {
  bool whole = true;
#define KESTRELIA_RAR_RESOLVE(name, result, parameters)  \
  api->name = UnrarDll::name();                          \
  if (!api->name) {                                      \
    printf("%s not found\n", #name);                     \
    whole = false;                                       \
  }
  KESTRELIA_UNRAR_API_LIST(KESTRELIA_RAR_RESOLVE)
#undef KESTRELIA_RAR_RESOLVE
  return whole;
}

void ShowLibraryMessage(int genericText) {
  PromptMessageBox(GetMainWindowHandle(), GetGenericText(genericText), GetMessageText(KLANG_MSG_ERROR_TITLE),
                   MB_OK | MB_ICONERROR);
}

// The library, loaded and whole, or a message to the user and false.
bool EnsureRarApi(RarApi* api) {
  if (!LoadRarLibrary()) {
    ShowLibraryMessage(KLANG_GEN_RAR_LIBRARY_MISSING);
    return false;
  }
  if (ResolveRarApi(api)) return true;
  ShowLibraryMessage(KLANG_GEN_RAR_FUNCTION_MISSING);
  return false;
}

std::wstring Wide(const char* text) {
  int n = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
  if (n <= 0) return std::wstring();
  std::wstring wide(static_cast<size_t>(n), L'\0');
  MultiByteToWideChar(CP_ACP, 0, text, -1, &wide[0], n);
  wide.resize(static_cast<size_t>(n - 1));
  return wide;
}

// The entry's name as the program keeps names: the code page of its "A" functions, cut to
// the fixed buffer's length.
std::string Narrow(const wchar_t* wide) {
  char name[kPathBuf];
  if (!WideCharToMultiByte(CP_ACP, 0, wide, -1, name, sizeof name, nullptr, nullptr)) {
    // Longer than the buffer: the conversion stops short and says so; keep what fits.
    int n = WideCharToMultiByte(CP_ACP, 0, wide, -1, nullptr, 0, nullptr, nullptr);
    std::string whole(n > 0 ? static_cast<size_t>(n) : 1, '\0');
    if (n > 0) WideCharToMultiByte(CP_ACP, 0, wide, -1, &whole[0], n, nullptr, nullptr);
    whole.resize(strnlen(whole.c_str(), kPathBuf - 1));
    return whole;
  }
  return name;
}

// What the callback needs of the operation that runs on its thread.
struct RarRun {
  char password[kPathBuf];   // known for this operation; empty: ask
  bool askedPassword;        // the dialog was shown once in this operation
  bool silent;               // nobody is asked anything: a request for a password or volume fails
  PushSink* sink;            // RAR_TEST's data goes here, when set
};
thread_local RarRun* t_rarRun;

struct CallbackScope {
  explicit CallbackScope(RarRun* run) { t_rarRun = run; }
  ~CallbackScope() {
    if (t_rarRun) SecureZeroMemory(t_rarRun->password, sizeof t_rarRun->password);
    t_rarRun = nullptr;
  }
};

void ReadConsoleLine(char* buffer, size_t size) {
  if (!fgets(buffer, static_cast<int>(size), stdin)) buffer[0] = '\0';
  buffer[strcspn(buffer, "\r\n")] = '\0';
}

int AskVolumeOnConsole(char* volume) {
  // Nobody can answer a console that is not there: stop instead of waiting for ever.
  if (!IsDebugConsole() || (t_rarRun && t_rarRun->silent)) return -1;
  printf("\n\nVolume %s is required\nPossible options:\n", volume);
  printf("\nEnter - try again");
  printf("\n'R'   - specify a new volume name");
  printf("\n'Q'   - quit");
  printf("\nEnter your choice: ");
  fflush(stdout);
  char answer[kPathBuf];
  ReadConsoleLine(answer, sizeof answer);
  if (answer[0] == 'Q' || answer[0] == 'q') return -1;
  if (answer[0] == 'R' || answer[0] == 'r') {
    printf("\nEnter new name: ");
    fflush(stdout);
    ReadConsoleLine(answer, sizeof answer);
    snprintf(volume, kPathBuf, "%s", answer);
  }
  return 0;
}

// Without the console the user chooses the next volume in a file chooser.
// A refusal ends the operation with the library's "volume open error" message.
int AskVolumeInDialog(wchar_t* volume) {
  char path[kPathBuf];
  snprintf(path, sizeof path, "%s", Narrow(volume).c_str());
  Log(2, GetVerbose(), "RarCallback: volume %s is required", path);
  if (!GetPrompts().openFile(GetMainWindowHandle(), "rar", GetPluginText(KLANG_PLUGIN_VOLUME_MISSING), path) ||
      !path[0]) {
    return -1;
  }
  std::wstring chosen = Wide(path);
  if (chosen.empty() || chosen.size() >= kPathBuf) return -1;
  wcscpy(volume, chosen.c_str());
  return 0;
}

int AskPasswordOnConsole(char* password, size_t size) {
  if (!IsDebugConsole() || (t_rarRun && t_rarRun->silent)) return -1;
  printf("\nPassword required: ");
  fflush(stdout);
  ReadConsoleLine(password, size);
  return 0;
}

// The run's password, else the one given earlier in this session, else the program's dialog
// (once per operation) when no console is there to ask. -1 hands the request on to the
// console's narrow message.
int GivePassword(RarRun* run, wchar_t* out, size_t size) {
  if (run && run->silent) return -1;
  const char* known = run && run->password[0] ? run->password : GetCurrentPassword();
  char typed[kPathBuf] = "";
  if (!known[0]) {
    if (IsDebugConsole() || !run || run->askedPassword) return -1;
    run->askedPassword = true;
    if (!PromptPassword(GetMainWindowHandle(), typed) || !typed[0]) return -1;
    SetCurrentPassword(typed);
    known = typed;
  }
  if (run && known != run->password) snprintf(run->password, sizeof run->password, "%s", known);
  std::wstring wide = Wide(known);
  SecureZeroMemory(typed, sizeof typed);
  if (wide.empty() || wide.size() >= size) return -1;
  wcscpy(out, wide.c_str());
  SecureZeroMemory(&wide[0], wide.size() * sizeof(wchar_t));
  return 0;
}

struct RarErrorText {
  int code;
  const char* console;
  int pluginText;
};
const RarErrorText kRarErrors[] = {
    {ERAR_BAD_DATA, "CRC error", 7},
    {ERAR_BAD_ARCHIVE, "Bad volume", 1},
    {ERAR_UNKNOWN_FORMAT, "Unknown archive format", 0},
    {ERAR_EOPEN, "Volume open error", 3},
    {ERAR_ECREATE, "File create error", 2},
    {ERAR_ECLOSE, "File close error", 4},
    {ERAR_EREAD, "Read error", 5},
    {ERAR_EWRITE, "Write error", 6},
    {ERAR_UNKNOWN, "Unknown error", 8},
    {ERAR_MISSING_PASSWORD, "Password for encrypted file is not specified", 9},
};

// The open record: the archive's name both ways, the comment buffer, the callback.
struct RarOpen {
  RAROpenArchiveDataEx data;
  std::wstring wideName;
  std::vector<char> comment;
};

RarHandle OpenRarArchive(const RarApi& api, const char* archive, unsigned mode, RarOpen* open) {
  memset(&open->data, 0, sizeof open->data);
  open->wideName = Wide(archive);
  open->comment.assign(kCommentSize, '\0');
  open->data.ArcName = const_cast<char*>(archive);
  open->data.ArcNameW = &open->wideName[0];
  open->data.OpenMode = mode;
  open->data.CmtBuf = open->comment.data();
  open->data.CmtBufSize = kCommentSize;
  // Encrypted headers ask for the password while the archive opens, before any entry.
  open->data.Callback = RarCallback;
  RarHandle handle = api.RAROpenArchiveEx(&open->data);
  if (!handle || open->data.OpenResult != 0) {
    Log(1, GetVerbose(), "RAROpenArchiveEx: %s not opened (%u)", archive, open->data.OpenResult);
    if (handle) api.RARCloseArchive(handle);
    return nullptr;
  }
  if (open->data.CmtState == 1) printf("\nComment:\n%s\n", open->comment.data());
  api.RARSetCallback(handle, RarCallback, 0);
  return handle;
}

// A failed open told to the user: a wrong password for encrypted headers, or the library's
// text for the code.
void ReportOpenFailure(const RarOpen& open, const RarRun& run) {
  int code = static_cast<int>(open.data.OpenResult);
  if (code == ERAR_BAD_PASSWORD || (code == ERAR_BAD_DATA && run.password[0])) {
    SetCurrentPassword("");
    PromptMessageBox(GetMainWindowHandle(), GetMessageText(KLANG_MSG_WRONG_PASSWORD),
                     GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONERROR);
    return;
  }
  OutProcessFileError(code ? code : ERAR_UNKNOWN);
}

struct RarHeader {
  RARHeaderDataEx data;
  std::string name;  // the wide name in the program's code page
  bool IsFolder() const { return (data.FileAttr & kDirectoryAttribute) || (data.Flags & RHDF_DIRECTORY); }
};

// The next header, or the loop's end: ERAR_END_ARCHIVE, or the error that ended it.
int ReadRarHeader(const RarApi& api, RarHandle archive, RarHeader* header) {
  int result = api.RARReadHeaderEx(archive, &header->data);
  if (result == 0) header->name = Narrow(header->data.FileNameW);
  return result;
}

// The damaged-header end of a listing: the console line, and the user is told the list stops
// there.
void ReportBrokenHeader(const char* prefix) {
  printf("%s File header broken\n", prefix);
  PromptMessageBox(GetMainWindowHandle(), GetPluginText(KLANG_PLUGIN_TAR_DAMAGED), kLibraryTitle,
                   MB_OK | MB_ICONWARNING);
}

// Creates every folder of path from offset on (the destination itself exists). The folders
// made are remembered: entries come folder by folder, and every creation that finds its
// folder there already is a round trip to the file system for nothing.
void MakeFolders(const std::wstring& path, size_t from, std::unordered_set<std::wstring>* made) {
  if (made->count(path)) return;
  for (size_t i = from; i <= path.size(); ++i) {
    if (i < path.size() && path[i] != L'\\') continue;
    std::wstring folder = path.substr(0, i);
    if (made->insert(folder).second) CreateDirectoryW(folder.c_str(), nullptr);
  }
}

// One open archive as a walk of headers.
struct RarWalk {
  RarApi api;
  RarHandle archive = nullptr;
  RarOpen open;
  RarRun callback = {};
  std::unique_ptr<RarHeader> header{new RarHeader()};
  int error = 0;           // the library's code that ended the walk early
  std::string errorEntry;  // the entry it happened on, when one
  std::wstring destination;  // with its last "\"; set by the first write, and again when the folder changes
  std::string destinationOf;  // the folder it was made from
  DWORD systemError = 0;     // behind the last failed write
  bool failedAtCreate = false;  // the last failed write could not make its file
  std::unordered_set<std::wstring> folders;  // made (or found) by this walk
  uint64_t archiveSize = 0;  // of an archive of one volume; 0 otherwise
  uint64_t packed = 0;       // the entries' data so far
  int lastCode = 0;          // the library's answer for the last entry processed
  unsigned long written = 0; // files written, for their working names
  std::string path;          // the archive, and the mode it was opened in, to open it again
  unsigned mode = 0;
  uint64_t headersRead = 0;  // since it was opened
};

// Opens the archive for the walk (false: the open record says why).
bool OpenWalk(RarWalk* walk, const char* archive, unsigned mode) {
  walk->path = archive;
  walk->mode = mode;
  walk->headersRead = 0;
  if (!(walk->archive = OpenRarArchive(walk->api, archive, mode, &walk->open))) return false;
  WIN32_FILE_ATTRIBUTE_DATA file;
  if (!(walk->open.data.Flags & ROADF_VOLUME) &&
      GetFileAttributesExW(walk->open.wideName.c_str(), GetFileExInfoStandard, &file))
    walk->archiveSize = (static_cast<uint64_t>(file.nFileSizeHigh) << 32) | file.nFileSizeLow;
  return true;
}

int NextRarHeader(void* context, HeaderEntry* entry) {
  RarWalk* walk = static_cast<RarWalk*>(context);
  if (walk->error) return HEADER_WALK_DAMAGED;
  int result = ReadRarHeader(walk->api, walk->archive, walk->header.get());
  // The library ends a cut archive as quietly as a whole one; entries whose data reach past
  // its end tell the two apart.
  if (result == ERAR_END_ARCHIVE && walk->packed > walk->archiveSize && walk->archiveSize) result = ERAR_BAD_DATA;
  if (result == ERAR_END_ARCHIVE) return HEADER_WALK_END;
  if (result) {
    walk->error = result;
    walk->errorEntry.clear();
    return HEADER_WALK_DAMAGED;
  }
  ++walk->headersRead;
  const RARHeaderDataEx& d = walk->header->data;
  entry->name = walk->header->name;
  entry->size = (static_cast<uint64_t>(d.UnpSizeHigh) << 32) | d.UnpSize;
  entry->packed = (static_cast<uint64_t>(d.PackSizeHigh) << 32) | d.PackSize;
  walk->packed += entry->packed;
  // The other attribute bits are the entry's own: a hidden file of a Windows archive is
  // written like any other.
  entry->attributes = (walk->header->IsFolder() ? kHeaderFolder : 0) | (d.RedirType ? kHeaderLink : 0);
  entry->encrypted = (d.Flags & RHDF_ENCRYPTED) != 0;
  entry->stamp = RarDosStamp(d.FileTime);
  return 0;
}

// Opens the archive again and passes over its first done entries. The library ends a failed
// write by unwinding from the middle of the entry, and its archive cannot be read on from
// there: the walk goes on after the failed entry. false when that failed too.
bool ReopenPast(RarWalk* walk, uint64_t done) {
  walk->api.RARCloseArchive(walk->archive);
  std::string path = walk->path;
  if (!OpenWalk(walk, path.c_str(), walk->mode)) {
    walk->archive = nullptr;
    return false;
  }
  // The data of the entries passed over counts again as it is read again.
  walk->packed = 0;
  for (; walk->headersRead < done; ++walk->headersRead) {
    if (ReadRarHeader(walk->api, walk->archive, walk->header.get()) ||
        walk->api.RARProcessFileW(walk->archive, RAR_SKIP, nullptr, nullptr))
      return false;
    walk->packed += (static_cast<uint64_t>(walk->header->data.PackSizeHigh) << 32) | walk->header->data.PackSize;
  }
  return true;
}

// Why the library could not write: the system's error when it kept one, else a full volume
// when the entry needs more room than is left (the library's unwinding loses the error).
DWORD WriteError(const std::wstring& folder, uint64_t size) {
  DWORD error = GetLastError();
  ULARGE_INTEGER available;
  if (!error && GetDiskFreeSpaceExW(folder.c_str(), &available, nullptr, nullptr) && available.QuadPart < size)
    error = ERROR_DISK_FULL;
  return error;
}

// Writes the entry of the last header below folder (the current directory when empty).
int WriteRarEntry(RarWalk* walk, const char* folder, const char* name) {
  if (walk->destination.empty() || walk->destinationOf != (folder ? folder : "")) {
    walk->destinationOf = folder ? folder : "";
    char here[kPathBuf];
    if (!folder || !*folder) GetCurrentDirectoryA(sizeof here, here);
    // Whole and in the "\\?\" form: the entries' paths below it may be of any length.
    walk->destination = ExtendedWidePath(folder && *folder ? folder : here);
    if (walk->destination.empty() || walk->destination.back() != L'\\') walk->destination += L'\\';
  }
  std::wstring target = walk->destination + Wide(name);
  size_t from = walk->destination.size();
  if (walk->header->IsFolder()) {
    MakeFolders(target, from, &walk->folders);
    return walk->api.RARProcessFileW(walk->archive, RAR_SKIP, nullptr, nullptr);
  }
  size_t folderEnd = target.rfind(L'\\');
  if (folderEnd != std::wstring::npos && folderEnd >= from) MakeFolders(target.substr(0, folderEnd), from, &walk->folders);
  // The library writes where it is told: a working name beside the target, which takes the
  // target's name only when the library found the entry whole (a failed or damaged entry
  // leaves nothing, and harms no file it was to replace).
  std::wstring working = target.substr(0, folderEnd == std::wstring::npos ? 0 : folderEnd + 1);
  wchar_t part[48];
  swprintf(part, sizeof part / sizeof part[0], L"~kst%lx-r%lx.part", GetCurrentProcessId(),
           static_cast<unsigned long>(++walk->written));
  working += part;
  // Made here first, so the name is this run's own and a folder that refuses says why in the
  // system's words (the library's own create leaves an unrelated error behind).
  HANDLE made = CreateFileW(working.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (made == INVALID_HANDLE_VALUE) {
    walk->systemError = GetLastError();
    walk->failedAtCreate = true;
    walk->api.RARProcessFileW(walk->archive, RAR_SKIP, nullptr, nullptr);
    return ERAR_ECREATE;
  }
  CloseHandle(made);
  int code = walk->api.RARProcessFileW(walk->archive, RAR_EXTRACT, nullptr, &working[0]);
  if (code == 0 && MoveFileExW(working.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING)) return 0;
  const RARHeaderDataEx& d = walk->header->data;
  walk->systemError = code == 0 || code == ERAR_ECREATE || code == ERAR_EWRITE
                          ? WriteError(target.substr(0, folderEnd + 1), (static_cast<uint64_t>(d.UnpSizeHigh) << 32) | d.UnpSize)
                          : 0;
  walk->failedAtCreate = code == ERAR_ECREATE;
  // What damaged data gave may be kept for what could be read; what a wrong password gave never.
  bool keep = code == ERAR_BAD_DATA && !(d.Flags & RHDF_ENCRYPTED) && KeepsBrokenEntries();
  if (!keep || !MoveFileExW(working.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING)) DeleteFileW(working.c_str());
  if (code == ERAR_EWRITE && !ReopenPast(walk, walk->headersRead)) {
    walk->error = code;
    walk->errorEntry = walk->header->name;
  }
  return code ? code : ERAR_ECREATE;
}

int ProcessRarEntry(void* context, HeaderOperation operation, const char* folder, const char* name) {
  RarWalk* walk = static_cast<RarWalk*>(context);
  int code = operation == HEADER_EXTRACT ? WriteRarEntry(walk, folder, name)
                                         : walk->api.RARProcessFileW(walk->archive, operation == HEADER_TEST ? RAR_TEST
                                                                                                              : RAR_SKIP,
                                                                     nullptr, nullptr);
  bool encrypted = (walk->header->data.Flags & RHDF_ENCRYPTED) != 0;
  walk->lastCode = code;
  switch (code) {
    case 0: return 0;
    case ERAR_ECREATE:
    case ERAR_EWRITE:
    case ERAR_ECLOSE: return FAILURE_WRITE;
    case ERAR_BAD_PASSWORD:
    case ERAR_MISSING_PASSWORD: return FAILURE_WRONG_PASSWORD;
    case ERAR_BAD_DATA:
      // RAR4 has no password check: a wrong password shows as a damaged encrypted entry.
      if (encrypted) return FAILURE_WRONG_PASSWORD;
      if (operation != HEADER_SKIP) return FAILURE_CRC;
      break;
    default: break;
  }
  // Anything else leaves the library where the next header cannot be trusted: the walk ends,
  // with the entry named (a missing volume, a read error).
  walk->error = code;
  walk->errorEntry = walk->header->name;
  return operation == HEADER_SKIP ? 0 : code == ERAR_EOPEN ? FAILURE_TRUNCATED : FAILURE_DATA_ERROR;
}

DWORD RarSystemError(void* context, bool* atCreate) {
  *atCreate = static_cast<RarWalk*>(context)->failedAtCreate;
  return static_cast<RarWalk*>(context)->systemError;
}

// The entry just processed comes again with the next header.
bool RewindRarWalk(void* context) {
  RarWalk* walk = static_cast<RarWalk*>(context);
  if (!walk->headersRead || walk->error) return false;
  if (ReopenPast(walk, walk->headersRead - 1)) return true;
  walk->error = ERAR_EOPEN;
  return false;
}

HeaderSource SourceOf(RarWalk* walk) { return {walk, NextRarHeader, ProcessRarEntry, RarSystemError, RewindRarWalk}; }

// The user's text for the code that ended a walk early.
std::string WalkEndText(int code) {
  if (code == ERAR_BAD_DATA) return GetPluginText(KLANG_PLUGIN_TAR_DAMAGED);
  for (const RarErrorText& error : kRarErrors)
    if (error.code == code) return GetPluginText(error.pluginText);
  return GetPluginText(KLANG_PLUGIN_TAR_DAMAGED);
}

// A run over one archive; 0, 100 when cancelled, 1 when it could not start (the user was
// told why). An early end leaves its text in run->damage.
int WalkRarArchive(const char* archive, HeaderRun* run) {
  RarWalk walk;
  if (!EnsureRarApi(&walk.api)) return 1;
  RarBusy busy;
  snprintf(walk.callback.password, sizeof walk.callback.password, "%s", run->password ? run->password : "");
  CallbackScope scope(&walk.callback);
  if (!OpenWalk(&walk, archive, RAR_OM_EXTRACT)) {
    ReportOpenFailure(walk.open, walk.callback);
    return 1;
  }
  int result = RunHeaderEntries(SourceOf(&walk), run);
  if (walk.archive) walk.api.RARCloseArchive(walk.archive);
  if (walk.error) {
    run->damage = WalkEndText(walk.error);
    if (!walk.errorEntry.empty()) run->damage += "\n\n" + walk.errorEntry;
  }
  return result;
}

// The whole archive's size, for the progress dialog, when it is the archive listed.
void CountRarFiles(const char* archive, uint64_t* entries, uint64_t* bytes) {
  if (_stricmp(archive, GetCurrentArchivePath()) != 0) return;
  *entries = GetListingTotals().entries;
  *bytes = GetListingTotals().uncompressed;
}

const HeaderKind kRarKind = {"Rar", WalkRarArchive, CountRarFiles};

// The list's names and the walk's may differ in their separators only.
bool SameEntryName(std::string a, std::string b) {
  for (std::string* s : {&a, &b})
    for (char& c : *s)
      if (c == '/') c = '\\';
  return a == b;
}

// Unix permission bits as the attributes Windows shows: no write permission is read-only.
uint32_t RarAttributes(const RARHeaderDataEx& d) {
  constexpr uint32_t kUnixHost = 3;
  if (d.HostOS != kUnixHost) return d.FileAttr;
  uint32_t attributes = (d.FileAttr & 0170000) == 0040000 ? FILE_ATTRIBUTE_DIRECTORY : 0;
  return (d.FileAttr & 0200) ? attributes : attributes | FILE_ATTRIBUTE_READONLY;
}

// The entry's own record: how it was packed (and encrypted), its checksum and attributes.
int ReadRarEntryDetails(const char* archive, const char* entryName, EntryDetails* out) {
  RarWalk walk;
  if (!EnsureRarApi(&walk.api)) return 1;
  RarBusy busy;
  snprintf(walk.callback.password, sizeof walk.callback.password, "%s", GetCurrentPassword());
  CallbackScope scope(&walk.callback);
  if (!OpenWalk(&walk, archive, RAR_OM_LIST)) return 1;
  int result = 1;
  HeaderEntry entry;
  while (NextRarHeader(&walk, &entry) == 0) {
    if (SameEntryName(entry.name, entryName)) {
      static const char* const kMethods[] = {"Store", "Fastest", "Fast", "Normal", "Good", "Best"};
      const RARHeaderDataEx& d = walk.header->data;
      unsigned level = d.Method >= 0x30 ? d.Method - 0x30 : 6;
      out->method = std::string(d.UnpVer >= 50 ? "RAR5 " : "RAR ") +
                    (level < 6 ? kMethods[level] : ("m" + std::to_string(d.Method)).c_str());
      if (entry.encrypted) out->method = std::string(d.UnpVer >= 50 ? "AES-256, " : "AES-128, ") + out->method;
      // A newer archive may keep a BLAKE2 hash in place of the CRC.
      constexpr uint32_t kBlake2 = 2;
      out->hasCrc = d.HashType != kBlake2;
      out->crc = d.FileCRC;
      out->attributes = RarAttributes(d);
      result = 0;
      break;
    }
    if (walk.api.RARProcessFileW(walk.archive, RAR_SKIP, nullptr, nullptr)) break;
  }
  walk.api.RARCloseArchive(walk.archive);
  return result;
}

// The library pushes an entry's data through the callback while RAR_TEST reads it: a walk of
// its own, turned into a reader by ReaderFromPushWalk. It asks for a password or a volume as
// the other walks do; it leaves the busy flag alone, for a reader may stay open while the
// window views an entry.
int StreamEndOf(int code, bool encrypted) {
  switch (code) {
    case 0: return 0;
    case ERAR_BAD_PASSWORD: return STREAM_WRONG_PASSWORD;
    case ERAR_MISSING_PASSWORD: return STREAM_CANCELLED;
    case ERAR_BAD_DATA: return encrypted ? STREAM_WRONG_PASSWORD : STREAM_DAMAGED;
    default: return STREAM_DAMAGED;
  }
}

int PushRarEntries(const std::string& archive, PushSink* sink) {
  RarWalk walk;
  if (!LoadRarLibrary() || !ResolveRarApi(&walk.api)) return STREAM_UNSUPPORTED;
  walk.callback.sink = sink;
  CallbackScope scope(&walk.callback);
  if (!OpenWalk(&walk, archive.c_str(), RAR_OM_EXTRACT)) {
    unsigned code = walk.open.data.OpenResult;
    return code == ERAR_BAD_PASSWORD ? STREAM_WRONG_PASSWORD : code == ERAR_MISSING_PASSWORD ? STREAM_CANCELLED
                                                                                             : STREAM_FAILED;
  }
  HeaderEntry entry;
  int end;
  while ((end = NextRarHeader(&walk, &entry)) == 0) {
    bool wanted = !(entry.attributes & kHeaderFolder) && sink->Entry({entry.name, entry.size});
    if (!wanted && sink->Stopped()) break;
    ProcessRarEntry(&walk, wanted ? HEADER_TEST : HEADER_SKIP, nullptr, nullptr);
    if (wanted && sink->Stopped()) break;
    if (wanted) sink->EntryEnd(StreamEndOf(walk.lastCode, entry.encrypted));
  }
  walk.api.RARCloseArchive(walk.archive);
  if (sink->Stopped()) return STREAM_CANCELLED;
  return end == HEADER_WALK_END ? 0 : STREAM_FAILED;
}

std::unique_ptr<ArchiveReader> OpenRarReader(const char* archive, int* error) {
  *error = STREAM_UNSUPPORTED;
  RarApi api;
  if (!LoadRarLibrary() || !ResolveRarApi(&api)) return nullptr;
  *error = 0;
  std::string path = archive;
  return ReaderFromPushWalk([path](PushSink* sink) { return PushRarEntries(path, sink); });
}

}  // namespace

EntryStamp RarDosStamp(uint32_t t) {
  return EntryStamp{0,
                    static_cast<int>((t >> 5) & 0x3F),
                    static_cast<int>((t >> 11) & 0x1F),
                    static_cast<int>((t >> 16) & 0x1F),
                    static_cast<int>((t >> 21) & 0x0F) - 1,
                    static_cast<int>(t >> 25) + 1980};
}

bool LoadRarLibrary() {
  if (g_rarLoaded) return true;
  if (!LoadRuntimeLibrary(&UnrarDll::Library())) {
    printf("could not find \"%s\"\n", UNRAR_DLL_NAME);
    return false;
  }
  g_rarLoaded = 1;
  return true;
}

int __stdcall RarCallback(unsigned int message, intptr_t userData, intptr_t p1, intptr_t p2) {
  RarRun* run = t_rarRun;
  switch (message) {
    case UCM_CHANGEVOLUMEW:
      // The console asks in the narrow message that follows an unchanged name.
      if (p2 == RAR_VOL_ASK && run && run->silent) return -1;
      if (p2 == RAR_VOL_ASK && !IsDebugConsole()) return AskVolumeInDialog(reinterpret_cast<wchar_t*>(p1));
      return 0;
    case UCM_CHANGEVOLUME:
      if (p2 == RAR_VOL_NOTIFY) {
        printf("\n  ... volume %s\n", reinterpret_cast<char*>(p1));
        return 0;
      }
      return AskVolumeOnConsole(reinterpret_cast<char*>(p1));
    case UCM_PROCESSDATA:
      if (run && run->sink) {
        // The reader is gone: the library stops reading this entry.
        if (!run->sink->Data(reinterpret_cast<const void*>(p1), static_cast<size_t>(p2))) return -1;
      } else if (userData) {
        fwrite(reinterpret_cast<const void*>(p1), 1, static_cast<size_t>(p2), stdout);
      }
      return 0;
    case UCM_NEEDPASSWORDW:
      return GivePassword(run, reinterpret_cast<wchar_t*>(p1), static_cast<size_t>(p2));
    case UCM_NEEDPASSWORD:
      return AskPasswordOnConsole(reinterpret_cast<char*>(p1), static_cast<size_t>(p2));
    default:
      return 0;
  }
}

void OutProcessFileError(int code, const char* entry) {
  for (const RarErrorText& error : kRarErrors) {
    if (error.code != code) continue;
    printf("%s\n", error.console);
    std::string text = GetPluginText(error.pluginText);
    if (entry && *entry) text += std::string("\n\n") + entry;
    PromptMessageBox(nullptr, text.c_str(), kLibraryTitle, MB_OK | MB_ICONERROR);
    return;
  }
  printf("OutProcessFileError ( RAR Archive ) unknown error %d\n", code);
}

DWORD WINAPI ListRarArchive(LPVOID parameter) {
  ArchiveControlBlock* block = static_cast<ArchiveControlBlock*>(parameter);
  CoInitialize(nullptr);
  RarWalk walk;
  if (!EnsureRarApi(&walk.api)) return EndListingThread();
  BeginListing();
  DWORD start = GetTickCount();
  {
    RarBusy busy;
    CallbackScope scope(&walk.callback);
    if (OpenWalk(&walk, block->path, RAR_OM_LIST)) {
      if (walk.open.data.Flags & ROADF_ENCHEADERS) SetArchiveEncrypted(1);
      ListHeaderEntries(block, SourceOf(&walk));
      walk.api.RARCloseArchive(walk.archive);
      if (walk.error == ERAR_BAD_DATA) ReportBrokenHeader("\nRARReadHeaderEx error:");
      else if (walk.error) OutProcessFileError(walk.error, walk.errorEntry.c_str());
    } else {
      ReportOpenFailure(walk.open, walk.callback);
    }
  }
  Log(-1, GetVerbose(), "time measure: %d\n", static_cast<int>(GetTickCount() - start));
  FinishListing(block);
  return EndListingThread();
}

int ExtractRarFilesFromList(ExtractJob* job) { return ExtractHeaderEntries(kRarKind, job, nullptr); }

int ExtractRarFolder(ExtractJob* job, const char* folder) { return ExtractHeaderEntries(kRarKind, job, folder); }

int TestRarFiles(const char* archive, const EntrySelection* chosen, int silent, uint64_t* tested) {
  return TestHeaderEntries(kRarKind, archive, chosen, silent, tested);
}

int WriteRarEntryToTemp(const char* archive, const char* entryName, char (&written)[kPathBuf]) {
  return WriteHeaderEntryToTemp(kRarKind, archive, entryName, written);
}

int DetectRarEncryption(const char* archive) {
  RarWalk walk;
  if (!LoadRarLibrary() || !ResolveRarApi(&walk.api)) return -1;
  RarBusy busy;
  walk.callback.silent = true;
  CallbackScope scope(&walk.callback);
  if (!OpenWalk(&walk, archive, RAR_OM_LIST)) {
    // Encrypted headers cannot even be opened without the password.
    unsigned code = walk.open.data.OpenResult;
    if (code != ERAR_MISSING_PASSWORD && code != ERAR_BAD_PASSWORD) return -1;
    SetArchiveEncrypted(1);
    return 0;
  }
  bool encrypted = (walk.open.data.Flags & ROADF_ENCHEADERS) != 0;
  HeaderEntry entry;
  while (!encrypted && NextRarHeader(&walk, &entry) == 0) {
    encrypted = entry.encrypted;
    ProcessRarEntry(&walk, HEADER_SKIP, nullptr, nullptr);
  }
  walk.api.RARCloseArchive(walk.archive);
  SetArchiveEncrypted(encrypted ? 1 : 0);
  return 0;
}

void RegisterRarFormat() {
  // RAR is read only: no creation.
  ArchiveOperations ops = {};
  ops.listing = ListRarArchive;
  ops.extract = ExtractRarFilesFromList;
  ops.extractFolder = ExtractRarFolder;
  ops.writeTemp = WriteRarEntryToTemp;
  ops.test = TestRarFiles;
  ops.detectEncryption = DetectRarEncryption;
  ops.openReader = OpenRarReader;
  ops.details = ReadRarEntryDetails;
  RegisterArchiveOperations(ARCHIVE_RAR, ops);
}
