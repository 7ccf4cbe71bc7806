// One entry's file on its way to the disk. It is written under a working name beside its
// target and takes the target's name only when it is whole and checked, so a write that fails
// (a full disk, a cancel, damage found at the end) leaves no file under the entry's name and
// never harms a file the entry was to replace.
#pragma once
#include "services/base.h"

#include <string>

// Every write of an entry's bytes goes through here; tests put a failing one in. null puts
// WriteFile back.
typedef BOOL(WINAPI* EntryWriteProc)(HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped);
void SetEntryWriteProc(EntryWriteProc proc);
// Writes all of data; 0, or the system's error (ERROR_WRITE_FAULT for a write that put nothing).
DWORD WriteEntryBytes(HANDLE file, const void* data, size_t length);

struct EntryFile {
  HANDLE handle = INVALID_HANDLE_VALUE;
  std::wstring target;
  std::wstring working;
};

// The target's name as the system takes it: UTF-8 to UTF-16, relative to the working directory
// while short, else whole in the "\\?\" form that takes paths of any length.
std::wstring WideTargetName(const char* target);
// Whether a file or folder of the target's name is there.
bool EntryTargetExists(const char* target);
// Makes the working file beside target (the target itself is not touched); 0, or the system's
// error (the folder refuses, is missing, the name is too long).
DWORD OpenEntryFile(EntryFile* file, const char* target);
// OpenEntryFile after making the folders of the target's path that are missing (the archive
// has no entry for them, or it comes later). A destination that refuses answers with the
// folder's error ("access denied"), where the file's own create would only say that its
// folder is missing.
DWORD OpenEntryFileMakingFolders(EntryFile* file, const char* target);
// Creates a folder with its parents (jobs/extract_dirs.cpp); 0 when the folder is there, else
// the system's error for the first folder that could not be made (a read-only destination
// answers "access denied" here, where a file's own create would only say that its folder is
// missing).
DWORD MakeFolderPath(const char* path);
// Closes the working file and gives it the target's name, replacing what was there; 0, or the
// system's error (the working file is then gone and the target as it was).
DWORD CommitEntryFile(EntryFile* file);
// Closes the working file of an entry that did not come out whole and removes it; with
// keepUnderName it takes the target's name instead (for "keep broken files").
void AbandonEntryFile(EntryFile* file, bool keepUnderName = false);
