// The entry record behind every list row and the texts it keeps.
#pragma once
#include "services/base.h"

struct NameList;

// An entry's modification time as archive readers deliver it (month counted from 0).
struct EntryStamp {
  int second, minute, hour, day, month, year;
};

// A million rows are a million records: each is one block for itself and one for its two
// names, and shares the texts that many rows have alike.
struct liststruct {
  uint64_t uncompressed;
  uint64_t compressed;
  char* path;        // folder part with its trailing separator, "" at the top level; owns
                     // the block that filename lies in (SetEntryRecordNames)
  char* filename;    // name without folders
  SYSTEMTIME date;   // day of week, second and millisecond stay 0
  char rate[4];      // at most 3 characters
  const char* type;  // shared with every row of its extension (ShareRowText); never freed
  void* scratch;     // null, or 20 bytes: the "Encrypted" column's text
  int ordinal;       // the order its list received it in: archive order for a listing
  bool folder;       // a subfolder's row in the folder list: no sizes or date of its own
};

enum ListColumn {
  LISTSTRUCT_FILENAME = 0,
  LISTSTRUCT_ENCRYPTED = 1,
  LISTSTRUCT_COMPRESSED = 2,
  LISTSTRUCT_UNCOMPRESSED = 3,
  LISTSTRUCT_RATE = 4,
  LISTSTRUCT_DATE = 5,
  LISTSTRUCT_TYPE = 6,
  LISTSTRUCT_PATH = 7,
  LISTSTRUCT_COLUMNS = 8,
};

void FreeListStruct(liststruct* record);
// Gives the record its folder part and name (both copied into one block); false without memory.
bool SetEntryRecordNames(liststruct* record, const char* path, const char* name);
// A text kept for the life of the process, one copy however often it is asked for: for the
// texts rows share (types).
const char* ShareRowText(const char* text);

// The "Rate" text: " 0%" for nothing saved or an empty entry, "99%" for everything saved.
void MakeRateText(uint64_t compressed, uint64_t uncompressed, char (&out)[4]);
// The folder part of a full name given its file name part ("dir\sub\" for "dir\sub\a.txt").
void MakeEntryPath(const char* fileName, const char* fullName, char* out, size_t outSize);
// "EXT-<generic 36>", or generic text 36 alone for a name without a dot.
void MakeFallbackTypeText(const char* fileName, char* out, size_t outSize);
// The shell's type name for a file of this name, or "EXT-<generic 36>" when it has none.
// iconIndex (optional) receives the small system icon.
void MakeTypeText(const char* fileName, char* out, size_t outSize, int* iconIndex);
// The same, shared: the row's type without a copy.
const char* SharedTypeText(const char* fileName, int* iconIndex);
// A new record for an entry (the caller owns it) whose folder part joins the folder list.
liststruct* MakeEntryRecord(const EntryStamp& stamp, const char* fileName, const char* fullName,
                            NameList* folderList, uint64_t compressed, uint64_t uncompressed);
// A subfolder's row of the folder list ("docs\" and "img" for docs\img), typed as the shell
// types folders.
liststruct* MakeFolderRecord(const char* path, const char* name);
// The "Encrypted" column's text: empty at insertion, the mark for an entry that needs a
// password. A mark, not a word, so it reads alike in every language.
constexpr char kEncryptedMark[] = "+";
void SetEntryEncryptedText(liststruct* record, const char* text);
const char* GetEntryEncryptedText(const liststruct* record);
