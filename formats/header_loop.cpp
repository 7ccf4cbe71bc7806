#include "services/base.h"
#include "formats/header_loop.h"

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/listing_totals.h"
#include "jobs/entry_file.h"
#include "jobs/zone_mark.h"
#include "services/log.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "jobs/entry_name_safety.h"
#include "jobs/extract_job.h"
#include "jobs/extract_run.h"
#include "jobs/system_words.h"
#include "jobs/overwrite_question.h"
#include "services/long_path.h"

#include <cstdio>
#include <cstring>
#include <unordered_set>

namespace {

bool IsBelow(const std::string& name, const std::string& folder) {
  return name.size() > folder.size() && name.compare(0, folder.size(), folder) == 0;
}

// The tree and the rows may give a name with either separator; entries carry "\".
std::string Backslashed(std::string name) {
  for (char& c : name)
    if (c == '/') c = '\\';
  return name;
}

// The entries a run takes: the chosen files, everything below a chosen folder (a name ending
// in "\") or below the run's folder, else all.
struct RunScope {
  bool all;
  std::unordered_set<std::string> names;
  std::vector<std::string> folders;

  explicit RunScope(const HeaderRun& run) : all(!run.chosen && run.folder.empty()) {
    if (run.chosen) {
      for (const std::string& chosen : run.chosen->names) {
        std::string name = Backslashed(chosen);
        if (!name.empty() && name.back() == '\\') folders.push_back(name);
        else names.insert(name);
      }
    }
    if (!run.folder.empty()) {
      std::string folder = Backslashed(run.folder);
      if (folder.back() != '\\') folder += '\\';
      folders.push_back(folder);
    }
  }
  bool Takes(const std::string& name) const {
    if (all || names.count(name)) return true;
    for (const std::string& folder : folders)
      if (IsBelow(name, folder)) return true;
    return false;
  }
};

// The progress dialog counts entries when there are many, else the percent of the bytes.
struct RunProgress {
  bool shown;
  bool perEntry;
  uint64_t total;
  uint64_t done;
  int percent;

  RunProgress(const HeaderRun& run)
      : shown(run.progress), perEntry(run.entries > 99 || !run.bytes), total(run.bytes), done(0), percent(0) {
    if (!shown) return;
    SetProgressMinimum(0);
    SetProgressMaximum(perEntry ? static_cast<int>(run.entries ? run.entries : 1) : 100);
    // A kind that could not count its entries beforehand: a bar that moves without a range
    // says the run goes on, where a range of one would stand still until the end.
    if (!run.entries && !run.bytes) SetProgressMarquee(true);
  }
  void Taken(uint64_t size) {
    if (!shown) return;
    HWND dialog = GetProgressDialog();
    if (perEntry) {
      ExecuteProgressStep(dialog);
      return;
    }
    done += size;
    int now = static_cast<int>(done >= total ? 100 : done * 100 / total);
    if (now != percent) ExecuteProgressPos(dialog, percent = now);
  }
};

// The folder the run writes below, with its last separator.
std::string RunFolder(const HeaderRun& run) {
  std::string folder = run.destination && *run.destination ? run.destination : ".";
  if (folder.back() != '\\' && folder.back() != '/') folder += '\\';
  return folder;
}

// Asks before an existing file is replaced; the answers "to all" hold for the rest of the run.
// A renamed entry is written under *name, the free name beside the existing file.
ExistingTarget AskOverwrite(const HeaderRun& run, const HeaderEntry& entry, std::string* name) {
  if (!run.overwriteMode || *run.overwriteMode == OVERWRITE_ALWAYS || *run.overwriteMode == OVERWRITE_ALL)
    return EXISTING_REPLACE;
  std::string folder = RunFolder(run);
  std::string target = folder + *name;
  if (GetFileAttributesW(WidePath(target.c_str()).c_str()) == INVALID_FILE_ATTRIBUTES) return EXISTING_REPLACE;
  const EntryStamp& t = entry.stamp;
  unsigned long dosDate = t.year >= 1980 ? (static_cast<unsigned long>(t.year - 1980) << 25) | (t.month << 21) |
                                               (t.day << 16) | (t.hour << 11) | (t.minute << 5) | (t.second / 2)
                                         : 0;
  std::string renamed;
  ExistingTarget answer = DecideExistingTarget(target.c_str(), IncomingFile{entry.size, dosDate}, run.overwriteMode,
                                               &renamed);
  if (answer == EXISTING_RENAME) *name = renamed.substr(folder.size());
  return answer;
}

}  // namespace

int ListHeaderEntries(ArchiveControlBlock* block, const HeaderSource& source) {
  ListingTotals& totals = GetListingTotals();
  HeaderEntry entry;
  int end;
  while ((end = source.next(source.context, &entry)) == 0) {
    if (!(entry.attributes & kHeaderFolder)) {
      ++totals.entries;
      totals.uncompressed += entry.size;
      totals.compressed += entry.packed;
      if (entry.encrypted) SetArchiveEncrypted(1);
      size_t slash = entry.name.rfind('\\');
      const char* part = slash == std::string::npos ? entry.name.c_str() : entry.name.c_str() + slash + 1;
      if (block->list)
        InsertEntryRow(block->list, entry.stamp, part, entry.name.c_str(), block->folders, entry.packed, entry.size,
                       entry.encrypted);
    }
    source.process(source.context, HEADER_SKIP, nullptr, nullptr);
  }
  return end;
}

int RunHeaderEntries(const HeaderSource& source, HeaderRun* run) {
  RunScope scope(*run);
  RunProgress progress(*run);
  bool writes = run->operation == HEADER_EXTRACT;
  HeaderEntry entry;
  int end, result = 0;
  while ((end = source.next(source.context, &entry)) == 0) {
    if (run->progress && IsCancelledByUser()) {
      Log(1, GetVerbose(), "%s: user stopped extraction", run->caller);
      result = 100;
      break;
    }
    bool folder = (entry.attributes & kHeaderFolder) != 0;
    // A whole archive or folder brings its empty folders along; a choice of rows names files.
    bool take = scope.Takes(entry.name) && !(entry.attributes & kHeaderHidden) &&
                (!folder || (!run->chosen && writes && !run->withoutPath));
    if (take) ++run->inScope;
    char reason[128] = "";
    if (take && writes && (JudgeEntryName(entry.name.c_str(), reason, sizeof reason) != ENTRY_NAME_OK ||
                           (entry.attributes & kHeaderLink))) {
      AddEntryFailure(&run->failures, run->caller, entry.name.c_str(), FAILURE_UNSAFE_NAME,
                      reason[0] ? reason : "link");
      take = false;
    }
    if (!take) {
      source.process(source.context, HEADER_SKIP, nullptr, nullptr);
      continue;
    }
    size_t slash = run->withoutPath ? entry.name.rfind('\\') : std::string::npos;
    std::string target = slash == std::string::npos ? entry.name : entry.name.substr(slash + 1);
    ExistingTarget answer = folder || !writes ? EXISTING_REPLACE : AskOverwrite(*run, entry, &target);
    if (answer == EXISTING_STOP) {
      Log(1, GetVerbose(), "%s: user stopped extraction", run->caller);
      result = 100;
      break;
    }
    if (answer == EXISTING_SKIP) {
      source.process(source.context, HEADER_SKIP, nullptr, nullptr);
      continue;
    }
    int failed = source.process(source.context, run->operation, run->destination, target.c_str());
    bool atCreate = false;
    DWORD error = failed == FAILURE_WRITE && source.systemError ? source.systemError(source.context, &atCreate) : 0;
    if (failed) AddEntryFailure(&run->failures, run->caller, entry.name.c_str(), failed, SystemErrorText(error).c_str());
    int asked = error && writes && run->progress
                     ? AskAfterWriteFailure((RunFolder(*run) + target).c_str(), error, atCreate)
                     : WRITE_FAILURE_GO_ON;
    // The entry, when the kind can take it again, and the ones after it go to the folder
    // chosen instead.
    if (asked == WRITE_FAILURE_MOVED) {
      char chosen[kPathBuf];
      GetCurrentDirectoryA(sizeof chosen, chosen);
      run->movedTo = chosen;
      run->destination = run->movedTo.c_str();
      if (source.rewind && source.rewind(source.context)) {
        run->failures.items.pop_back();
        continue;
      }
    }
    if (folder) continue;
    NoteEntryTaken();
    if (!failed && writes && IsZoneMarking())
      MarkExtractedFile(WideTargetName((RunFolder(*run) + target).c_str()).c_str());
    if (!failed) run->taken.push_back(target);
    progress.Taken(entry.size);
    if (asked == WRITE_FAILURE_STOP) {
      Log(1, GetVerbose(), "%s: stopped after a write failed", run->caller);
      result = 100;
      break;
    }
  }
  run->damaged = end == HEADER_WALK_DAMAGED;
  return result;
}

namespace {

// The message at the end of a run: the entries that failed, and why the walk ended early.
void ReportRun(const HeaderRun& run) {
  std::string damage = run.damage.empty() ? GetPluginText(KLANG_PLUGIN_TAR_DAMAGED) : run.damage;
  if (run.failures.items.empty()) {
    if (run.damaged)
      PromptMessageBox(GetMainWindowHandle(), damage.c_str(), GetMessageText(KLANG_MSG_ERROR_TITLE),
                       MB_OK | MB_ICONWARNING);
    return;
  }
  Log(1, GetVerbose(), "%s: %u entries not extracted", run.caller, static_cast<unsigned>(run.failures.items.size()));
  std::string text = EntryFailuresText(run.failures, GetMessageText(kEntryFailuresHeading));
  if (run.damaged) text += "\n\n" + damage;
  PromptMessageBox(GetMainWindowHandle(), text.c_str(), GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONWARNING);
}

// A wrong password is forgotten, so that the next run asks again.
void ForgetWrongPassword(const HeaderRun& run) {
  for (const EntryFailure& failure : run.failures.items)
    if (failure.reason == FAILURE_WRONG_PASSWORD) return SetCurrentPassword("");
}

// The run's size: the chosen rows', else the kind's count of the whole archive.
void SizeRun(const HeaderKind& kind, const char* archive, const EntrySelection* chosen, HeaderRun* run) {
  if (chosen) {
    run->entries = chosen->names.size();
    run->bytes = chosen->bytes;
  } else if (kind.count) {
    kind.count(archive, &run->entries, &run->bytes);
  }
}

}  // namespace

int ExtractHeaderEntries(const HeaderKind& kind, ExtractJob* job, const char* folder) {
  std::string caller = std::string("Extract") + kind.name + "FilesFromList";
  HeaderRun run = {};
  run.caller = caller.c_str();
  run.operation = HEADER_EXTRACT;
  run.destination = job->destination;
  run.chosen = job->chosen;
  if (folder) run.folder = folder;
  run.withoutPath = job->withoutPath != 0;
  run.password = job->password;
  run.progress = !job->silent;
  run.overwriteMode = &job->overwriteMode;
  if (!job->chosen && !folder) Log(2, GetVerbose(), "%sThread: extract all", run.caller);
  SizeRun(kind, job->archive, job->chosen, &run);
  // The run's questions after a failed write are asked once per run.
  BeginExtractionRun(job->mainWindow, false, job->silent != 0);
  int result = kind.walk(job->archive, &run);
  EndExtractionRun(job->mainWindow);
  Log(2, GetVerbose(), "%sThread: Delete list %d", run.caller, static_cast<int>(job->chosen ? job->chosen->names.size() : 0));
  if (folder && result == 0 && !run.inScope && !run.damaged) result = EXTRACT_NOTHING_FOUND;
  if (result == 100 && job->cancelled) *job->cancelled = 1;
  CloseRunProgress(job->silent != 0);
  ForgetWrongPassword(run);
  if (result != 1) ReportRun(run);
  // The run's own list too, for its outcome (the exit code of "-x" and the tools); the
  // message above has told the user already.
  for (const EntryFailure& failure : run.failures.items)
    AddRunFailure(failure.name.c_str(), failure.reason, failure.detail.empty() ? nullptr : failure.detail.c_str());
  if (run.damaged) AddRunFailure(job->archive, FAILURE_TRUNCATED, run.damage.empty() ? nullptr : run.damage.c_str());
  if (result != 1) MarkRunFailuresTold();
  if (job->done) SetEvent(job->done);
  return result;
}

int TestHeaderEntries(const HeaderKind& kind, const char* archive, const EntrySelection* chosen, int silent,
                      uint64_t* tested) {
  std::string caller = std::string("Test") + kind.name + "Files";
  HeaderRun run = {};
  run.caller = caller.c_str();
  run.operation = HEADER_TEST;
  run.chosen = chosen;
  run.progress = !silent;
  SizeRun(kind, archive, chosen, &run);
  BeginExtractionRun(GetMainWindowHandle(), true);
  int result = kind.walk(archive, &run);
  for (const EntryFailure& failure : run.failures.items)
    AddRunFailure(failure.name.c_str(), failure.reason, failure.detail.empty() ? nullptr : failure.detail.c_str());
  // The walk stopped early: what lay behind it was never tested.
  if (run.damaged) AddRunFailure(archive, FAILURE_TRUNCATED, run.damage.empty() ? nullptr : run.damage.c_str());
  EndExtractionRun(GetMainWindowHandle());
  if (tested) *tested = run.taken.size();
  return result == 1 ? -1 : result;
}

int WriteHeaderEntryToTemp(const HeaderKind& kind, const char* archive, const char* entryName,
                           char (&written)[kPathBuf]) {
  std::string caller = std::string("Write") + kind.name + "EntryToTemp";
  written[0] = 0;
  if (!entryName || !*entryName) {
    Log(2, GetVerbose(), "%s: no File selected - cannot view", caller.c_str());
    return 1;
  }
  const char* last = strrchr(entryName, '\\');
  char target[kPathBuf], folder[kPathBuf];
  if (!TempTarget(last ? last + 1 : entryName, target, folder)) return 1;
  EntrySelection one;
  one.names.push_back(entryName);
  HeaderRun run = {};
  run.caller = caller.c_str();
  run.operation = HEADER_EXTRACT;
  run.destination = folder;
  run.chosen = &one;
  run.withoutPath = true;
  if (kind.walk(archive, &run) == 1) return 1;
  ForgetWrongPassword(run);
  if (run.taken.empty()) {
    // A hidden entry, or one that could not be written: the message says which.
    if (!run.failures.items.empty() || run.damaged) ReportRun(run);
    else
      PromptMessageBox(GetMainWindowHandle(), GetMessageText(KLANG_MSG_ENTRY_CANNOT_BE_SHOWN),
                       GetMessageText(KLANG_MSG_ERROR_TITLE), MB_OK | MB_ICONERROR);
    return 1;
  }
  AddTempFile(target);
  snprintf(written, kPathBuf, "%s", target);
  return 0;
}
