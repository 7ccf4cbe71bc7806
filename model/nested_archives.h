// Archives opened from inside other archives: the chain from the archive on disk to the one
// the window shows. Each child is read from a temporary copy, which goes when it is closed or
// when an archive from outside the chain is opened.
#pragma once
#include "services/base.h"

#include <string>

struct NestedLevel {
  std::string file;    // the parent's file (itself a copy when the parent is nested too)
  std::string shown;   // the parent's name as the window shows it
  std::string folder;  // the tree folder the parent showed when the child was entered
  std::string copy;    // the child's temporary copy
};

// The child named childShown ("D:\outer.zip\inner.7z") opens above the level.
void PushNestedLevel(const NestedLevel& level, const std::string& childShown);
// Closes the child: its parent's level, whose name the window shows again. False at the top.
bool PopNestedLevel(NestedLevel* level);
size_t NestedDepth();
// The open archive's name as the window shows it: its chain inside the archive on disk, else
// its own path.
std::string ShownArchivePath();
// The next open is a step along the chain (a child entered or a parent climbed back to); any
// other open leaves the chain and deletes every copy (LeaveNestedChainUnlessExpected).
void ExpectNestedOpen(const char* path);
void LeaveNestedChainUnlessExpected(const char* path);
