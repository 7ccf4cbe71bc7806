// Creation of ZIP archives and additions to them: files dropped on the window, chosen in a
// dialog or named on the command line, or a folder walked, written by one worker thread
// beside the progress dialog.
#pragma once
#include "services/base.h"

#include "jobs/create_job.h"

#include "zip.h"

// The run's copy buffer: half the total (at least 128 bytes) up to 65535 bytes, else 64 KiB.
size_t CreationBufferSize(uint64_t totalBytes);
// The entry name of one element under the run's rules ("/" separators, a folder keeps its
// trailing "/"); out holds kPathBuf.
void MakeZipEntryName(const zfts& options, const char* path, size_t baseLength, char* out);

// Writes every element into the open archive. 0 when the list was walked (single files that
// fail are logged, skipped and listed in GetLastSkippedFiles), 1 for an empty list, -104
// when the copy buffer cannot be had, -105 when a write to the archive failed (the run stops
// there). Polls the cancellation flag after every chunk.
int ZipFileList_64(ZipListElement* list, zfts* options, zipFile zip, uint64_t progressStep, uint64_t totalBytes);
// The same without the progress dialog: a percentage in the log.
int ZipFileListSilent(ZipListElement* list, zfts* options, zipFile zip, uint64_t progressStep,
                      uint64_t totalBytes);
// Silent runs report their percentage ("%2.0f%%") here instead of a dialog; nullptr logs it.
typedef void (*SilentProgressReporter)(const char* percent);
void SetSilentProgressReporter(SilentProgressReporter reporter);
// The files the last run could not read, '\n'-separated, and their number.
const char* GetLastSkippedFiles();
// The system error of the write that stopped the last run (-105), else 0.
DWORD GetLastWriteError();
size_t GetLastSkippedCount();

// Gives back the window's operation claim before the block's finished hook runs.
DWORD WINAPI ZipWorkDirectoryThread(LPVOID block);
