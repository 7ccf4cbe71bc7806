// Searching the data of archive entries for a text, every kind through its stream reader. An
// entry is read in chunks into one fixed buffer and searched as it streams, so memory stays
// the same whatever size an entry declares. An entry's data counts as a zero-terminated string: a zero byte ends
// the part that is searched.
#pragma once
#include "services/base.h"

#include <string>
#include <utility>
#include <vector>

// The text and its options, prepared once per search.
struct ContentPattern {
  unsigned char text[kPathBuf];  // ASCII letters upper-cased when case is ignored
  size_t length;
  int wholeWord;
  int matchCase;
};
void PrepareContentPattern(ContentPattern* pattern, const char* text, int wholeWord, int matchCase);

// Looks for the text in window[from, size). atEnd: the data ends with the window. An
// occurrence is accepted under whole word only when the byte after it ends the data or is
// one of " .,;:!\r\n\t"; the byte before is never looked at, and a refused occurrence is
// skipped whole (the search goes on after its end). Without a hit, *next receives the first
// position that a longer window still has to look at.
bool MatchContentWindow(const ContentPattern& pattern, const char* window, size_t size, size_t from, bool atEnd,
                        size_t* next);

// The window a stream is searched through: the overlap carried from the previous chunk in
// front, then one chunk.
constexpr size_t kContentChunk = 65536;
constexpr size_t kContentCarry = kPathBuf + 1;
constexpr size_t kContentBuffer = kContentCarry + kContentChunk;

enum ContentStreamResult {
  CONTENT_NO_HIT = 0,
  CONTENT_HIT = 1,
  CONTENT_READ_ERROR = -1,
};
// Reads up to size bytes into data; 0 at the end of the stream, negative on an error.
typedef int (*ContentReadFn)(void* source, char* data, unsigned size);
// Searches a stream chunk by chunk (chunk at most kContentChunk) through buffer
// (kContentBuffer bytes), never past limit bytes.
int SearchContentStream(const ContentPattern& pattern, ContentReadFn read, void* source, char* buffer,
                        unsigned chunk, uint64_t limit);

// What a content search walk reports to its caller, all optional.
struct ContentSearchHooks {
  void* context;
  // Each entry about to be searched (its ordinal among the archive's file entries).
  void (*entry)(void* context, const char* name, int ordinal);
  // Polled before each entry; non-zero ends the walk.
  int (*cancelled)(void* context);
};

enum ContentWalkEnd {
  CONTENT_WALK_HIT = 0,        // stopped at a hit
  CONTENT_WALK_LAST = 1,       // ran to the last entry without a hit
  CONTENT_WALK_CANCELLED = 2,
  CONTENT_WALK_FAILED = 3,     // the archive or an entry could not be read
};

// The state of one walk: in, start and highest; out, the rest.
struct ContentSearchWalk {
  int start;          // entries with an ordinal up to this one are counted, not read (-1: none)
  int* highest;       // raised to the ordinal of every entry searched, when given
  int end;            // ContentWalkEnd
  int entriesRead;    // entries read by this walk
};

// Walks the archive's file entries through its kind's reader, in the order the list numbers
// them, and returns the ordinal of the first one after walk->start holding the text, or -1.
int SearchArchiveEntries(int kind, const char* archive, const ContentPattern& pattern, ContentSearchWalk* walk,
                         const ContentSearchHooks* hooks);

// The same over the rows of a list that numbers them its own way (the folder list): rows
// holds each row's number and its entry's name ("\\" or "/"), and the answer is the number of
// the first row, in that numbering, whose entry holds the text, or -1. The archive is walked
// once in its own order; rows of the same name all take the first entry of that name.
// walk->start is not used; walk->highest is raised to the hit's number, or to the highest
// number searched when there is none.
int SearchArchiveRows(int kind, const char* archive, const std::vector<std::pair<int, std::string>>& rows,
                      const ContentPattern& pattern, ContentSearchWalk* walk, const ContentSearchHooks* hooks);

// Entries read by every search of the process, for tests that check what was read again.
long GetContentEntriesSearched();
