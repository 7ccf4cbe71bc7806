// The entries of an archive as the shell takes files: one data object that drags, the
// clipboard and pastes share. It offers the entries as virtual files (a descriptor per file
// and folder, each file's bytes as a stream read from the archive only when the target asks)
// and, for targets that want real paths, the same entries written to a temporary folder the
// first time such a target asks.
#pragma once
#include "services/base.h"

#include <objidl.h>

#include <string>
#include <vector>

struct TransferEntry {
  std::string name;      // the entry as its list names it (the archive's separator)
  std::string relative;  // where it lands below the target folder, "\"-separated
  uint64_t size;
  FILETIME written;      // UTC
};

// Where the data object reads the entries. Both calls come on the thread that owns the
// object (the shell's reads are marshalled there).
struct EntrySource {
  virtual ~EntrySource() {}
  // A stream over one entry from its first byte.
  virtual HRESULT Open(const TransferEntry& entry, IStream** out) = 0;
  // Writes the entries below folder with the archive's own paths; 0 when every one was written.
  virtual int WriteAll(const std::vector<TransferEntry>& entries, const char* folder) = 0;
};

// A target's report that a paste or a moving drop is complete (the shell's "Paste Succeeded"),
// with the effect it performed.
typedef void (*PasteReportProc)(DWORD effect);

// The object takes the source. preferredEffect is DROPEFFECT_MOVE for a cut, else COPY.
// Entries whose relative name the name judge refuses, or that a descriptor cannot hold
// (259 characters), are left out.
IDataObject* CreateEntryDataObject(const std::vector<TransferEntry>& entries, EntrySource* source,
                                   DWORD preferredEffect, PasteReportProc onPasted);
// True for a data object this process made (rows dragged within the window).
bool IsOwnEntryData(IDataObject* data);
