// What the archive tests share: an archive listed into a hidden entry list as the window
// shows it, and what a folder holds after an extraction.
#pragma once
#include "services/base.h"

#include "model/app_state.h"
#include "formats/formats.h"
#include "model/archive_kind.h"
#include "model/entry_rows.h"
#include "model/liststruct.h"
#include "model/namelist.h"
#include "services/long_path.h"
#include "test_support.h"
#include "zip/zip_listing.h"
#include "zip/zip_open.h"

#include <gtest/gtest.h>

#include <commctrl.h>

#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

// An archive of the test data listed into a hidden entry list.
struct ListedArchive {
  HiddenEntryList window;
  ArchiveControlBlock block = {};
  int listing = -1;  // do_listing's result; -1 when the archive did not open

  explicit ListedArchive(const std::string& archive) {
    block.list = window.list;
    NameListRecreate(&block.folders);
    snprintf(block.path, sizeof block.path, "%s", TestData(archive).c_str());
    unzFile zip = MyWaitunzOpen2_64(block.path, 0);
    EXPECT_NE(zip, nullptr) << archive;
    if (zip) {
      listing = do_listing(zip, &block, 1);
      unzClose(zip);
    }
  }
  ~ListedArchive() { NameListDestroy(&block.folders); }
  ListedArchive(const ListedArchive&) = delete;
  ListedArchive& operator=(const ListedArchive&) = delete;

  // The row's full name as the archive holds it, with "\" separators.
  std::string FullName(int row) const {
    liststruct* record = GetRowRecord(window.list, row);
    return std::string(record->path) + record->filename;
  }
  void Select(const std::string& fullName) {
    for (int row = 0; row < window.Rows(); ++row) {
      if (FullName(row) == fullName) {
        ListView_SetItemState(window.list, row, LVIS_SELECTED, LVIS_SELECTED);
        return;
      }
    }
    ADD_FAILURE() << "no row " << fullName;
  }
  void SelectAll() { ListView_SetItemState(window.list, -1, LVIS_SELECTED, LVIS_SELECTED); }
};

// An archive listed by its kind's own listing thread (an adapter's) into a hidden entry list.
struct KindListed {
  HiddenEntryList window;
  ArchiveControlBlock block = {};
  KindListed(int kind, DWORD(WINAPI* listing)(LPVOID), const std::string& path) {
    SetArchiveKind(kind);
    block.list = window.list;
    NameListRecreate(&block.folders);
    snprintf(block.path, sizeof block.path, "%s", path.c_str());
    listing(&block);
  }
  ~KindListed() { NameListDestroy(&block.folders); }
  KindListed(const KindListed&) = delete;
  KindListed& operator=(const KindListed&) = delete;
  std::string FullName(int row) const {
    liststruct* record = GetRowRecord(window.list, row);
    return std::string(record->path) + record->filename;
  }
  int Row(const std::string& name) const {
    for (int row = 0; row < window.Rows(); ++row)
      if (FullName(row) == name) return row;
    return -1;
  }
};

struct FoundFile {
  std::string bytes;
  uint64_t written;  // last-write time, 100 ns units
};

struct FolderContents {
  std::map<std::string, FoundFile> files;  // relative names with "/"
  std::set<std::string> folders;
};

// Through the wide calls: extracted paths may be longer than a narrow path can be.
inline uint64_t LastWrite(const std::string& path) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!GetFileAttributesExW(WidePath(path.c_str()).c_str(), GetFileExInfoStandard, &data)) return 0;
  return (static_cast<uint64_t>(data.ftLastWriteTime.dwHighDateTime) << 32) | data.ftLastWriteTime.dwLowDateTime;
}

inline void WalkFolder(const std::string& root, const std::string& relative, FolderContents* out) {
  WIN32_FIND_DATAW found;
  HANDLE find = FindFirstFileW(WidePath((root + "\\" + relative + "*").c_str()).c_str(), &found);
  if (find == INVALID_HANDLE_VALUE) return;
  do {
    std::string name = Utf8FromWide(found.cFileName);
    if (name == "." || name == "..") continue;
    std::string rel = relative + name;
    std::string shown = Separated(rel);
    if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
      out->folders.insert(shown);
      WalkFolder(root, rel + "\\", out);
    } else {
      std::string path = root + "\\" + rel;
      out->files[shown] = {ReadFileBytes(path), LastWrite(path)};
    }
  } while (FindNextFileW(find, &found));
  FindClose(find);
}

inline FolderContents Contents(const std::string& root) {
  FolderContents out;
  WalkFolder(root, "", &out);
  return out;
}

// The relative names of every file below root, with "/".
inline std::set<std::string> FileNames(const FolderContents& folder) {
  std::set<std::string> names;
  for (const auto& file : folder.files) names.insert(file.first);
  return names;
}
inline std::set<std::string> FileNames(const std::string& root) { return FileNames(Contents(root)); }
