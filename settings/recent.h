// The recent list: four slots of archive paths, kept in "file_list" as "a;b;c;d".
#pragma once
#include "services/base.h"

constexpr int kRecentSlots = 4;
constexpr int kRecentListBuffer = kRecentSlots * kPathBuf;  // 1040 bytes for the joined list

// Slots count from 1; an empty slot is "". Out-of-range slots read as "".
const char* GetRecentSlot(int slot);
void SetRecentSlot(int slot, const char* path);
void ClearRecentSlots();

// Fills the slots from a ";"-separated list; empty tokens are skipped, tokens after the
// fourth are dropped, the slots not reached are emptied.
void SplitRecentList(const char* list);
// "a;b;c" from the non-empty slots, in order.
void JoinRecentList(char* out, size_t outSize);
// The path goes to slot 1, the others move down; an existing entry for the same file (case
// ignored) leaves its slot instead of appearing twice.
void PushRecentFile(const char* path);

// Write "file_list" from the slots, or as the empty string (the slots are emptied too).
int SaveRecentList();
