// The folder tree derived from the entries' paths: five ordered string indexes, their depth
// keys, and the records the folder list and the folder properties are read from.
//
// Keys of TVRBTreeFolder and TVRBTreeDataReady begin with a depth printed "%3d" and a "*":
// a space sorts before every digit, so plain strcmp orders them level by level, parents
// before children, and puts the entries that lie directly in one folder in one run.
#pragma once
#include "services/base.h"

#include "model/listing_totals.h"
#include "model/liststruct.h"

#include <functional>

struct RBTree;
struct RBNode;

// The five indexes; every synchronisation destroys and re-creates them. Keys are heap copies
// that the indexes free.
RBTree* GetTVRBTreeFolder();     // "%3d*" + every folder path and each of its prefixes
RBTree* GetTVRBTreeDataReady();  // "%3d*" + each string of TVRBTreeRows
RBTree* GetTVRBTreeCombo();      // the folder paths for the address box, in strcmp order
void RecreateFolderTreeIndexes();
void DestroyFolderTreeIndexes();

// The tree is marked in step once derived from the current rows; opening an archive and any
// change of its entries clear the mark, so the next switch to the tree derives it again.
int IsTreeInStep();
void SetTreeInStep(int on);

// Set while a folder-list fill runs; at most one runs at a time.
int GetTVNSem();
void SetTVNSem(int on);
// The newest selection key that arrived while a fill ran (kept for the log only).
void SetTvnCached(const char* key);
// Set from a selection change that emptied the folder list until its fill ends: the listing's
// status bar writes stay away meanwhile.
int IsTreeListRefilling();
void SetTreeListRefilling(int on);
// The folder list's entry count and size sums.
ListingTotals& GetFolderListTotals();

// The separator of the current archive kind; an unknown kind is logged under the caller's
// name and taken as ZIP.
char TreeSeparator(const char* caller);

// "%3d*%s" of depth and text.
void MakeDepthKey(int depth, const char* text, char* out, size_t outSize);
// The depth before the first "*" (atoi) and, in text, what follows it ("" without a "*").
int ReadDepthKey(const char* key, const char** text);
// Non-empty separator-delimited pieces of the whole record, minus one. The pieces behind the
// first "*" count too; names, dates and types without a separator keep it the folder depth.
int CountRecordDepth(const char* record, char separator);
// The row's record "%s%s*%s*%s*%s*%s*%s*%s": path and name, encrypted, compressed,
// uncompressed, rate, date, type. The date is always "dd.mm.yyyy hh:mm", whatever the
// user's locale shows, so the folder list reads it back by position.
void MakeTreeRowRecord(const liststruct* row, char* out, size_t outSize);

// The derivation's steps over the rows, given the separator.
void AddRowToFolderIndexes(const liststruct* row);  // its Path (once) and its record
void BuildFolderKeys(char separator);               // every folder and each of its prefixes
void BuildDataReadyKeys(char separator);            // every non-empty record with its depth
void BuildComboPaths();                             // the folder paths, without depth

// Switches the index to the prefix compare, finds the first key that begins with prefix and
// calls visit for it and each following key that still does; strcmp again afterwards.
// Returns the number of keys visited (0: none begins with the prefix).
size_t WalkPrefixRun(RBTree* index, const char* prefix, const std::function<void(RBNode*)>& visit);

// One record of TVRBTreeDataReady read back, fields split with runs of "*" as one delimiter.
struct TreeRecordFields {
  char fullName[kPathBuf * 3];  // as long as the record: a name past 259 characters stays whole
  const char* displayName;  // behind the last separator of fullName; "" for a folder record
  uint64_t compressed;
  uint64_t uncompressed;
  EntryStamp stamp;         // by position from "dd.mm.yyyy hh:mm", month from 0
  bool hasSizes;            // both size fields were there
  bool encrypted;           // the record carries the encrypted mark
};
void ReadTreeRecord(const char* dataReadyKey, char separator, TreeRecordFields* out);

// "%s %s" of a size divided by 1024 while above 999 (up to GB), printed "%1.2f", "%2.1f" or
// "%3.0f", grouped with the system locale's separators, and its unit.
void FormatTreeSizeText(double value, char* out, size_t outSize);

// The whole subtree of a folder (path with its trailing separator, its entries' depth):
// every record level by level, and the folders below it. The root is depth 0 and "".
struct FolderTotals {
  int entries;
  int folders;
  uint64_t compressed;
  uint64_t uncompressed;
  bool found;  // the data index held anything below the folder
};
// -1 when the data index is empty or missing.
int GetDataReadyMaxDepth();
void CollectFolderTotals(int depth, const char* path, FolderTotals* out);
