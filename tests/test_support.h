// Helpers shared by the test executables: where the generated inputs are, scratch folders,
// and a hidden window holding a virtual entry list like the main window's.
#pragma once
#include "services/base.h"

#include <functional>
#include <string>
#include <vector>

// The folder the input generators wrote to (KESTRELIA_TESTDATA, a Unix path, seen through
// Wine's Z: drive), with a name appended.
std::string TestData(const std::string& name);
// A fresh empty folder under the temporary folder.
std::string ScratchDir(const std::string& name);
std::vector<std::string> ReadLines(const std::string& path);
std::string ReadFileBytes(const std::string& path);
// Writes the file anew; false when it could not be made.
bool WriteFileBytes(const std::string& path, const std::string& bytes);
bool Exists(const std::string& path);
// The name with every separator `from` turned into `to` (views show "\", archives store "/").
std::string Separated(std::string name, char from = '\\', char to = '/');

// Serves this thread's windows (workers send to them) until done() holds, for at most a
// minute so that a hang fails the test; returns done().
bool PumpUntil(const std::function<bool()>& done);
// Waits (on a helper thread) for a shown dialog of this title, then acts on it; false when
// none came within half a minute.
bool OnDialog(const char* title, const std::function<void(HWND)>& act);

// While it lives, the program's message boxes are recorded instead of shown, each answered
// with answer; the box that was in place comes back afterwards.
struct RecordedBoxes {
  std::vector<std::string> texts, titles;
  std::vector<UINT> flags;
  int answer = IDOK;
  RecordedBoxes();
  ~RecordedBoxes();
  RecordedBoxes(const RecordedBoxes&) = delete;
  RecordedBoxes& operator=(const RecordedBoxes&) = delete;

 private:
  int (*previous_)(HWND, const char*, const char*, UINT);
};

// The text a list view shows in a cell.
std::string ListCell(HWND list, int row, int column);

// An owner-data entry list with its row store and columns, a child of parent.
HWND MakeEntryList(HWND parent, DWORD style);
// A hidden top-level window whose child is an owner-data entry list with its row store.
struct HiddenEntryList {
  HWND parent = nullptr;
  HWND list = nullptr;
  HiddenEntryList();
  ~HiddenEntryList();
  int Rows() const;
};
