#include "services/base.h"
#include "formats/header_loop.h"

#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/entry_rows.h"
#include "model/listing_totals.h"
#include "services/log.h"
#include "services/progress.h"
#include "services/prompts.h"
#include "jobs/extract_job.h"

#include <unordered_set>

namespace {

bool IsBelow(const std::string& name, const std::string& folder) {
  return name.size() > folder.size() && name.compare(0, folder.size(), folder) == 0;
}

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

enum OverwriteAnswer { WRITE_IT, SKIP_IT, STOP_RUN };

// Asks before an existing file is replaced; "yes to all" turns the question off for the run.
OverwriteAnswer AskOverwrite(const HeaderRun& run, const std::string& name) {
  if (!run.overwriteMode || *run.overwriteMode != OVERWRITE_ASK) return WRITE_IT;
  std::string target = run.destination && *run.destination ? run.destination : ".";
  if (target.back() != '\\' && target.back() != '/') target += '\\';
  target += name;
  if (GetFileAttributesA(target.c_str()) == INVALID_FILE_ATTRIBUTES) return WRITE_IT;
  std::string text = std::string(GetMessageText(KLANG_MSG_OVERWRITE_THE_FILE)) + " " + target + " " +
                     GetMessageText(KLANG_MSG_OVERWRITE_EXISTS) + " ?";
  switch (PromptOverwrite(GetForegroundWindow(), text.c_str(), GetMessageText(KLANG_MSG_OVERWRITE_TITLE),
                          GetConfirmationDialogText())) {
    case 0: return WRITE_IT;
    case 1: *run.overwriteMode = OVERWRITE_ALL; return WRITE_IT;
    case 2: return SKIP_IT;
    default: return STOP_RUN;
  }
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
      totals.compressed += entry.size;
      size_t slash = entry.name.rfind('\\');
      const char* part = slash == std::string::npos ? entry.name.c_str() : entry.name.c_str() + slash + 1;
      if (block->list)
        InsertEntryRow(block->list, entry.stamp, part, entry.name.c_str(), block->folders, entry.size, entry.size);
    }
    source.process(source.context, HEADER_SKIP, nullptr, nullptr);
  }
  return end;
}

int RunHeaderEntries(const HeaderSource& source, HeaderRun* run) {
  std::unordered_set<std::string> wanted;
  if (run->chosen)
    for (const std::string& name : run->chosen->names) wanted.insert(name);
  RunProgress progress(*run);
  HeaderEntry entry;
  int end, result = 0;
  while ((end = source.next(source.context, &entry)) == 0) {
    if (run->progress && IsCancelledByUser()) {
      Log(1, GetVerbose(), "%s: user stopped extraction", run->caller);
      result = 100;
      break;
    }
    bool folder = (entry.attributes & kHeaderFolder) != 0;
    bool inScope = run->chosen ? wanted.count(entry.name) != 0 : run->folder.empty() || IsBelow(entry.name, run->folder);
    // A whole archive or folder brings its empty folders along; a choice of rows names files.
    bool take = inScope && !(entry.attributes & kHeaderHidden) &&
                (!folder || (!run->chosen && run->operation == HEADER_EXTRACT));
    if (!take) {
      source.process(source.context, HEADER_SKIP, nullptr, nullptr);
      continue;
    }
    OverwriteAnswer answer = folder || run->operation != HEADER_EXTRACT ? WRITE_IT : AskOverwrite(*run, entry.name);
    if (answer == STOP_RUN) {
      Log(1, GetVerbose(), "%s: user stopped extraction", run->caller);
      result = 100;
      break;
    }
    if (answer == SKIP_IT) {
      source.process(source.context, HEADER_SKIP, nullptr, nullptr);
      continue;
    }
    int failed = source.process(source.context, run->operation, run->destination, entry.name.c_str());
    if (failed) AddEntryFailure(&run->failures, run->caller, entry.name.c_str(), failed);
    if (folder) continue;
    if (!failed) run->taken.push_back(entry.name);
    progress.Taken(entry.size);
  }
  run->damaged = end == HEADER_WALK_DAMAGED;
  return result;
}
