#include "services/base.h"
#include "zip/extract.h"

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/rbtree.h"
#include "model/stack.h"
#include "services/log.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "zip/entry_names.h"
#include "zip/zip_open.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

void ToBackslashes(char* text) {
  for (char* p = text; *p; ++p)
    if (*p == '/') *p = '\\';
}

int Depth(const char* folder) {
  int depth = 0;
  for (const char* p = folder; *p; ++p)
    if (*p == '\\' || *p == '/') ++depth;
  return depth;
}

// Every entry name of the archive with "\" as separator, in order: an archive may spell its
// names either way, even both within one archive.
RBTree* IndexArchiveNames(unzFile zip) {
  RBTree* names = RBTreeCreate();
  if (!names) return nullptr;
  names->deleteKey = free;
  std::string name;
  for (int error = unzGoToFirstFile(zip); error == UNZ_OK; error = unzGoToNextFile(zip)) {
    unz_file_info64 info;
    if (ReadCurrentEntryName(zip, &info, &name) != UNZ_OK) continue;
    ToBackslashes(&name[0]);
    if (char* key = _strdup(name.c_str())) RBTreeInsert(names, key, nullptr);
  }
  return names;
}

// Copies the names below folder into selection; how many there were.
size_t SelectBelow(RBTree* names, const char* folder, RBTree* selection) {
  RBCompareFn ordered = names->compare;
  names->compare = RBStringPrefixCompare;
  Stack* range = RBTreeEnumerate(names, folder, folder);
  names->compare = ordered;
  size_t length = strlen(folder), found = 0;
  while (StackNotEmpty(range)) {
    const char* key = static_cast<const char*>(static_cast<RBNode*>(StackPop(range))->key);
    // The prefix compare also lets the folder's own parents ("a\" for "a\b\") into the range.
    if (strncmp(key, folder, length) != 0) continue;
    if (char* copy = _strdup(key)) {
      RBTreeInsert(selection, copy, nullptr);
      ++found;
    }
  }
  StackDestroy(range, nullptr);
  return found;
}

// The entries below the block's folder; null when the archive cannot be read, and *found 0
// when no entry lies below the folder.
RBTree* ChooseEntriesBelow(const char* archive, const char* folder, size_t* found) {
  *found = 0;
  unzFile zip = MyWaitunzOpen2_64(archive, 3000);
  if (!zip) {
    char text[kPathBuf * 2];
    snprintf(text, sizeof text, "ExtractTreeItemThread: (5) %s cannot be opened", archive);
    PromptMessageBox(GetForegroundWindow(), text, GetMessageText(KLANG_MSG_ERROR_TITLE),
                     MB_OK | MB_ICONERROR | MB_TOPMOST);
    return nullptr;
  }
  RBTree* names = IndexArchiveNames(zip);
  unzClose(zip);
  RBTree* selection = RBTreeCreate();
  if (!names || !selection) {
    RBTreeDestroy(&names);
    RBTreeDestroy(&selection);
    return nullptr;
  }
  selection->deleteKey = free;

  // Without its closing separator "a\b" would also take in "a\bc\".
  char wanted[kPathBuf];
  snprintf(wanted, sizeof wanted, "%s", folder);
  size_t length = strlen(wanted);
  if (length && wanted[length - 1] != '\\' && wanted[length - 1] != '/' && length + 1 < sizeof wanted) {
    wanted[length] = '\\';
    wanted[length + 1] = 0;
  }
  *found = SelectBelow(names, wanted, selection);
  if (!*found) {
    // A path taken from a "/" archive kind or typed by hand: the index spells it with "\".
    ToBackslashes(wanted);
    Log(5, GetVerbose(), "ExtractTreeItemThread nothing found yet will try it with: %3d%s%s", Depth(wanted), "*",
        wanted);
    *found = SelectBelow(names, wanted, selection);
  }
  RBTreeDestroy(&names);
  if (!*found) Log(2, GetVerbose(), "ExtractTreeItemThread nothing found - giving up\n--%s--", folder);
  return selection;
}

// The entries below folder of archive through the entry loop; -1 when the archive cannot be
// read, EXTRACT_NOTHING_FOUND when no entry lies below the folder (the run's starter says so).
int ExtractBelow(const char* archive, const char* folder, const char* password, int* overwriteMode,
                 const char* destination, int silent) {
  if (!archive || !*archive) {
    Log(1, GetVerbose(), "ExtractTreeItemThread: no archive");
    return -1;
  }
  size_t found = 0;
  RBTree* selection = ChooseEntriesBelow(archive, folder, &found);
  if (!selection) return -1;
  if (!found) {
    RBTreeDestroy(&selection);
    return EXTRACT_NOTHING_FOUND;
  }
  if (!password || !*password) password = GetCurrentPassword();
  int withoutPath = 0;
  return ExtractZipFilesFromIndex("ExtractTreeItemThread", archive, selection, &withoutPath, overwriteMode,
                                  password[0] ? password : nullptr, destination, silent);
}

int ExtractTreeItem(TreeExtractBlock* block) {
  const char* archive = block->archive[0] ? block->archive : GetCurrentArchivePath();
  int mode = block->overwriteMode;
  return ExtractBelow(archive, block->folder, block->password, &mode, block->destination, block->silent);
}

}  // namespace

DWORD WINAPI ExtractTreeItemThread(LPVOID parameter) {
  TreeExtractBlock* block = static_cast<TreeExtractBlock*>(parameter);
  if (!block) return 1;
  int result = ExtractTreeItem(block);
  // A run that gave up before the entry loop leaves the starter's dialog up.
  if (!block->silent && IsProgressDialogStarted()) CloseProgressDialog();
  if (block->result) *block->result = result;
  if (result == EXTRACT_CANCELLED && block->cancelled) *block->cancelled = 1;
  HANDLE done = block->done;
  free(block);
  Log(5, GetVerbose(), "ExtractTreeItemThread: finished with %d", result);
  if (done) SetEvent(done);
  return 0;
}

int ExtractZipFolder(ExtractJob* job, const char* folder) {
  int result = ExtractBelow(job->archive, folder, job->password, &job->overwriteMode, job->destination, job->silent);
  if (result == EXTRACT_CANCELLED && job->cancelled) *job->cancelled = 1;
  return result;
}
