#include "services/base.h"
#include "formats/rar_format.h"

#include "formats/formats.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/listing_totals.h"
#include "model/liststruct.h"
#include "model/view_hooks.h"
#include "services/external_app.h"
#include "services/log.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "services/runtime_library.h"
#include "services/worker.h"
#include "jobs/entry_failures.h"
#include "jobs/entry_name_safety.h"
#include "jobs/extract_job.h"

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
// One library operation at a time: viewing waits on it; a plain word, as every flag between
// the program's threads is.
volatile int g_rarBusy;

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
  std::string* sink;         // RAR_TEST's data lands here, when set
  uint64_t sinkLimit;
};
thread_local RarRun* t_rarRun;

struct RunScope {
  explicit RunScope(RarRun* run) { t_rarRun = run; }
  ~RunScope() {
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
  if (!IsDebugConsole()) return -1;
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
  if (!IsDebugConsole()) return -1;
  printf("\nPassword required: ");
  fflush(stdout);
  ReadConsoleLine(password, size);
  return 0;
}

// The run's password, else the one given earlier in this session, else the program's dialog
// (once per operation) when no console is there to ask. -1 hands the request on to the
// console's narrow message.
int GivePassword(RarRun* run, wchar_t* out, size_t size) {
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

void AddListedEntry(ArchiveControlBlock* block, const RarHeader& header) {
  const RARHeaderDataEx& d = header.data;
  if (header.IsFolder()) return;
  uint64_t packed = (static_cast<uint64_t>(d.PackSizeHigh) << 32) | d.PackSize;
  uint64_t size = (static_cast<uint64_t>(d.UnpSizeHigh) << 32) | d.UnpSize;
  ListingTotals& totals = GetListingTotals();
  ++totals.entries;
  totals.compressed += packed;
  totals.uncompressed += size;
  if (d.Flags & RHDF_ENCRYPTED) SetArchiveEncrypted(1);
  const char* slash = strrchr(header.name.c_str(), '\\');
  const char* part = slash && slash[1] ? slash + 1 : header.name.c_str();
  if (block->list)
    InsertEntryRow(block->list, RarDosStamp(d.FileTime), part, header.name.c_str(), block->folders, packed, size,
                   (d.Flags & RHDF_ENCRYPTED) != 0);
}

// The damaged-header end of a loop: the console line, and the user is told the list or the
// run stops there.
void ReportBrokenHeader(const char* prefix) {
  printf("%s File header broken\n", prefix);
  PromptMessageBox(GetMainWindowHandle(), GetPluginText(KLANG_PLUGIN_TAR_DAMAGED), kLibraryTitle,
                   MB_OK | MB_ICONWARNING);
}

// Which entries a run takes: all, or the chosen full names, a name ending in "\" taking
// everything below it.
struct RarChoice {
  bool all = true;
  std::unordered_set<std::string> names;
  std::vector<std::string> folders;

  void Add(std::string name) {
    for (char& c : name)
      if (c == '/') c = '\\';
    all = false;
    if (!name.empty() && name.back() == '\\') folders.push_back(name);
    else names.insert(name);
  }
  bool Takes(const std::string& name) const {
    if (all || names.count(name)) return true;
    for (const std::string& folder : folders)
      if (name.compare(0, folder.size(), folder) == 0) return true;
    return false;
  }
};

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

// 0 write, 1 skip this one, 2 stop the run; the answer "all" turns the question off.
int AskOverwrite(const char* target, int* mode) {
  if (*mode != OVERWRITE_ASK) return 0;
  char text[kPathBuf * 2];
  snprintf(text, sizeof text, "%s %s %s ?", GetMessageText(KLANG_MSG_OVERWRITE_THE_FILE), target,
           GetMessageText(KLANG_MSG_OVERWRITE_EXISTS));
  switch (PromptOverwrite(GetForegroundWindow(), text, GetMessageText(KLANG_MSG_OVERWRITE_TITLE),
                          GetConfirmationDialogText())) {
    case 0: return 0;
    case 1: *mode = OVERWRITE_ALL; return 0;
    case 2: return 1;
    default: return 2;
  }
}

struct RarExtraction {
  RarApi api;
  RarHandle archive = nullptr;
  EntryFailures failures;
  std::unordered_set<std::wstring> folders;  // made (or found) by this run
  size_t wrongPasswords = 0;
  uint64_t written = 0;
};

// One wanted entry: judged, placed, asked about, written. 0 goes on; 2 ends the run; any
// other value is the library's error, which ends the loop.
int ExtractOneEntry(RarExtraction& run, const RarHeader& header, ExtractJob* job, const std::wstring& destination) {
  const char* name = header.name.c_str();
  char reason[128] = "";
  if (JudgeEntryName(name, reason, sizeof reason) != ENTRY_NAME_OK || header.data.RedirType != 0) {
    // A link could point anywhere; what is written after it through its name would follow.
    AddEntryFailure(&run.failures, "ExtractRarFilesFromList", name, FAILURE_UNSAFE_NAME,
                    header.data.RedirType ? "link" : reason);
    return run.api.RARProcessFileW(run.archive, RAR_SKIP, nullptr, nullptr);
  }
  const char* last = strrchr(name, '\\');
  std::wstring relative = Wide(job->withoutPath && last ? last + 1 : name);
  std::wstring target = destination + relative;
  if (header.IsFolder()) {
    if (!job->withoutPath) MakeFolders(target, destination.size(), &run.folders);
    return run.api.RARProcessFileW(run.archive, RAR_SKIP, nullptr, nullptr);
  }
  size_t folderEnd = target.rfind(L'\\');
  if (folderEnd != std::wstring::npos && folderEnd >= destination.size())
    MakeFolders(target.substr(0, folderEnd), destination.size(), &run.folders);
  // Only a run that asks needs to know what is there already: the library replaces.
  if (job->overwriteMode == OVERWRITE_ASK && GetFileAttributesW(target.c_str()) != INVALID_FILE_ATTRIBUTES) {
    int answer = AskOverwrite(name, &job->overwriteMode);
    if (answer == 1) return run.api.RARProcessFileW(run.archive, RAR_SKIP, nullptr, nullptr);
    if (answer == 2) return 2;
  }
  if (!job->silent) SetProgressTitle(name);
  int result = run.api.RARProcessFileW(run.archive, RAR_EXTRACT, nullptr, &target[0]);
  // RAR4 has no password check: a wrong password shows as a damaged encrypted entry.
  if (result == ERAR_BAD_PASSWORD || (result == ERAR_BAD_DATA && (header.data.Flags & RHDF_ENCRYPTED))) {
    // Told once at the end with the other entries; the password is asked again next time.
    ++run.wrongPasswords;
    AddEntryFailure(&run.failures, "ExtractRarFilesFromList", name, FAILURE_WRONG_PASSWORD);
    return 0;
  }
  if (result == 0) ++run.written;
  return result;
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
        if (run->sink->size() + static_cast<uint64_t>(p2) > run->sinkLimit) return -1;
        run->sink->append(reinterpret_cast<const char*>(p1), static_cast<size_t>(p2));
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
  ViewHooks& views = GetViewHooks();
  CoInitialize(nullptr);
  RarApi api;
  if (!EnsureRarApi(&api)) {
    CoUninitialize();
    ReleaseOperation(OPERATION_OPEN);
    return 0;
  }
  views.beginListing();
  views.lockUpdates(true);
  views.resetSortMark();
  ResetListingTotals();
  SetArchiveEncrypted(0);
  DWORD start = GetTickCount();
  RarRun run = {};
  RunScope scope(&run);
  RarOpen open;
  if (RarHandle archive = OpenRarArchive(api, block->path, RAR_OM_LIST, &open)) {
    if (open.data.Flags & ROADF_ENCHEADERS) SetArchiveEncrypted(1);
    std::unique_ptr<RarHeader> header(new RarHeader());
    int result;
    while ((result = ReadRarHeader(api, archive, header.get())) == 0) {
      AddListedEntry(block, *header);
      int skipped = api.RARProcessFile(archive, RAR_SKIP, nullptr, nullptr);
      if (skipped) {
        OutProcessFileError(skipped, header->name.c_str());
        break;
      }
    }
    if (result == ERAR_BAD_DATA) ReportBrokenHeader("\nRARReadHeaderEx error:");
    else if (result == ERAR_EOPEN) OutProcessFileError(result);
    api.RARCloseArchive(archive);
  } else {
    ReportOpenFailure(open, run);
  }
  Log(-1, GetVerbose(), "time measure: %d\n", static_cast<int>(GetTickCount() - start));
  views.lockUpdates(false);
  views.finishListing();
  views.rows.finished(block);
  views.rows.released(block);
  CoUninitialize();
  ReleaseOperation(OPERATION_OPEN);
  return 0;
}

int ExtractRarFilesFromList(ExtractJob* job) {
  RarChoice choice;
  size_t items = 0;
  if (job->chosen) {
    for (const std::string& name : job->chosen->names) choice.Add(name);
    items = job->chosen->names.size();
  } else {
    Log(2, GetVerbose(), "ExtractRarFilesFromList: extract all");
    items = static_cast<size_t>(GetListingTotals().entries);
  }
  if (!job->silent) {
    SetProgressMinimum(0);
    SetProgressMaximum(items ? static_cast<int>(items) : 1);
  }
  RarExtraction run;
  RarRun callback = {};
  snprintf(callback.password, sizeof callback.password, "%s", job->password);
  RunScope scope(&callback);
  int result = 0;
  RarOpen open;
  if (!EnsureRarApi(&run.api)) {
    result = 1;
  } else if (!(run.archive = OpenRarArchive(run.api, job->archive, RAR_OM_EXTRACT, &open))) {
    ReportOpenFailure(open, callback);
    result = 1;
  } else {
    char folder[kPathBuf];
    if (job->destination[0]) snprintf(folder, sizeof folder, "%s", job->destination);
    else GetCurrentDirectoryA(sizeof folder, folder);
    std::wstring destination = Wide(folder);
    if (destination.empty() || destination.back() != L'\\') destination += L'\\';
    std::unique_ptr<RarHeader> header(new RarHeader());
    int read;
    bool reported = false;
    while ((read = ReadRarHeader(run.api, run.archive, header.get())) == 0) {
      if (!job->silent && IsCancelledByUser()) {
        Log(2, GetVerbose(), "ExtractRarFilesFromList: user stopped extraction");
        result = EXTRACT_CANCELLED;
        break;
      }
      int outcome;
      if (choice.Takes(header->name)) {
        outcome = ExtractOneEntry(run, *header, job, destination);
        if (!job->silent && !header->IsFolder()) ExecuteProgressStep(GetProgressDialog());
      } else {
        outcome = run.api.RARProcessFileW(run.archive, RAR_SKIP, nullptr, nullptr);
      }
      if (outcome == 2) {
        result = EXTRACT_CANCELLED;
        break;
      }
      if (outcome) {
        OutProcessFileError(outcome, header->name.c_str());
        reported = true;
        break;
      }
    }
    if (read == ERAR_BAD_DATA && !reported) ReportBrokenHeader("\nRARReadHeaderEX error:");
    else if (read == ERAR_EOPEN && !reported) OutProcessFileError(read);
    run.api.RARCloseArchive(run.archive);
  }
  Log(2, GetVerbose(), "ExtractRarFilesFromListThread: Delete list %d", static_cast<int>(items));
  if (run.wrongPasswords) SetCurrentPassword("");
  if (!job->silent && IsProgressDialogStarted()) {
    if (IsCancelledByUser()) CloseProgressDialogAfterCancel();
    else CloseProgressDialog();
  }
  if (!run.failures.items.empty())
    ReportEntryFailures(run.failures, GetMainWindowHandle(), GetMessageText(kEntryFailuresHeading));
  if (result == EXTRACT_CANCELLED && job->cancelled) *job->cancelled = 1;
  if (job->done) SetEvent(job->done);
  return result;
}

int ExtractRarFolder(ExtractJob* job, const char* folder) {
  // The tree may give the folder with either separator, and with or without its last one;
  // a chosen name ending in "\" takes everything below it.
  std::string below = folder ? folder : "";
  for (char& c : below)
    if (c == '/') c = '\\';
  if (!below.empty() && below.back() != '\\') below += '\\';
  EntrySelection chosen;
  chosen.names.push_back(below);
  job->chosen = &chosen;
  int result = ExtractRarFilesFromList(job);
  job->chosen = nullptr;
  return result;
}

int ViewRarFile(const char* archive, const char* entryName, int openWith) {
  if (!entryName || !*entryName) {
    Log(2, GetVerbose(), "ViewRarFile: no File selected - cannot view");
    return 1;
  }
  const char* last = strrchr(entryName, '\\');
  char target[kPathBuf], folder[kPathBuf];
  if (!TempTarget(last ? last + 1 : entryName, target, folder)) return 1;
  RarApi api;
  if (!EnsureRarApi(&api)) return 1;
  while (g_rarBusy) {
    printf("RARSem!!");
    Sleep(10);
  }
  g_rarBusy = 1;
  RarRun callback = {};
  RunScope scope(&callback);
  RarOpen open;
  int result = 1;
  if (RarHandle handle = OpenRarArchive(api, archive, RAR_OM_EXTRACT, &open)) {
    std::wstring wideTarget = Wide(target);
    std::string wanted = entryName;
    for (char& c : wanted)
      if (c == '/') c = '\\';
    std::unique_ptr<RarHeader> header(new RarHeader());
    int read;
    while ((read = ReadRarHeader(api, handle, header.get())) == 0) {
      bool hit = header->name == wanted && !header->IsFolder() && header->data.RedirType == 0;
      int outcome = api.RARProcessFileW(handle, hit ? RAR_EXTRACT : RAR_SKIP, nullptr, hit ? &wideTarget[0] : nullptr);
      if (outcome) {
        OutProcessFileError(outcome, header->name.c_str());
        break;
      }
      if (hit) {
        result = 0;
        break;
      }
    }
    if (read == ERAR_BAD_DATA) ReportBrokenHeader("\nRARReadHeaderEx error:");
    api.RARCloseArchive(handle);
  } else {
    ReportOpenFailure(open, callback);
  }
  g_rarBusy = 0;
  Log(2, GetVerbose(), "ViewRarFile: Delete list %d", 1);
  if (result != 0) return result;
  AddTempFile(target);
  return openWith ? OpenAs(target) : CallApp(target);
}

void RegisterRarFormat() {
  // RAR is read only: no creation.
  ArchiveOperations ops = {};
  ops.listing = ListRarArchive;
  ops.extract = ExtractRarFilesFromList;
  ops.extractFolder = ExtractRarFolder;
  ops.view = ViewRarFile;
  RegisterArchiveOperations(ARCHIVE_RAR, ops);
}
