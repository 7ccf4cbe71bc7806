// Rows inserted into a real list view in a hidden window and read back column by column,
// ordered and deleted through the list's own functions.
#include "services/base.h"

#include <gtest/gtest.h>

#include "formats/formats.h"
#include "model/archive_kind.h"
#include "model/entry_rows.h"
#include "model/liststruct.h"
#include "model/namelist.h"
#include "test_support.h"
#include "ui/entry_list.h"

#include <commctrl.h>

#include <string>

namespace {

class ListRows : public ::testing::Test {
 protected:
  void SetUp() override {
    list_ = window_.list;
    SetArchiveKind(ARCHIVE_ZIP);
  }
  int Rows() { return window_.Rows(); }
  HiddenEntryList window_;
  HWND list_ = nullptr;
};

EntryStamp Stamp() { return EntryStamp{59, 30, 14, 5, 2, 2024}; }  // 2024-03-05 14:30:59

}  // namespace

TEST_F(ListRows, InsertedRowReadsBackColumnByColumn) {
  NameList* folders = NameListCreate();
  int row = InsertEntryRow(list_, Stamp(), "notes.txt", "docs\\notes.txt", folders, 50, 100);
  ASSERT_EQ(row, 0);
  InsertEntryRow(list_, Stamp(), "other.txt", "docs\\other.txt", folders, 0, 0);
  InsertEntryRow(list_, Stamp(), "top.txt", "top.txt", folders, 7, 7);
  InsertEntryRow(list_, Stamp(), "huge.bin", "huge.bin", folders, 6000000000ull, 8000000000ull);
  EXPECT_EQ(Rows(), 0) << "rows show once published";
  PublishEntryRows(list_);
  ASSERT_EQ(Rows(), 4);
  // Sizes past 32 bits show in full.
  EXPECT_EQ(ListCell(list_, 3, LISTSTRUCT_COMPRESSED) + " " + ListCell(list_, 3, LISTSTRUCT_UNCOMPRESSED) + " " +
                ListCell(list_, 3, LISTSTRUCT_RATE),
            "6000000000 8000000000 25%");

  EXPECT_EQ(ListCell(list_, 0, LISTSTRUCT_FILENAME), "notes.txt");
  EXPECT_EQ(ListCell(list_, 0, LISTSTRUCT_ENCRYPTED), "");
  EXPECT_EQ(ListCell(list_, 0, LISTSTRUCT_COMPRESSED), "50");
  EXPECT_EQ(ListCell(list_, 0, LISTSTRUCT_UNCOMPRESSED), "100");
  EXPECT_EQ(ListCell(list_, 0, LISTSTRUCT_RATE), "50%");
  EXPECT_EQ(ListCell(list_, 0, LISTSTRUCT_PATH), "docs\\");
  EXPECT_EQ(ListCell(list_, 2, LISTSTRUCT_PATH), "");
  EXPECT_FALSE(ListCell(list_, 0, LISTSTRUCT_TYPE).empty());

  // The date column: the user's short date and time without seconds, 24-hour.
  std::string date = ListCell(list_, 0, LISTSTRUCT_DATE);
  EXPECT_NE(date.find("14:30"), std::string::npos) << date;
  EXPECT_EQ(date.find(":59"), std::string::npos) << date;
  EXPECT_NE(date.find("2024"), std::string::npos) << date;

  liststruct* record = GetRowRecord(list_, 0);
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->date.wMonth, 3);
  EXPECT_EQ(record->date.wSecond, 0);
  EXPECT_EQ(record->compressed, 50u);

  // The folder list holds each path once.
  EXPECT_EQ(folders->count, 2u);
  EXPECT_NE(NameListSearch(folders, "docs\\"), nullptr);
  EXPECT_NE(NameListSearch(folders, ""), nullptr);
  NameListDestroy(&folders);
}

TEST_F(ListRows, SortingOrdersByValueAndFindsByTypedPrefix) {
  InsertEntryRow(list_, Stamp(), "b.txt", "x\\b.txt", nullptr, 5, 900);
  InsertEntryRow(list_, Stamp(), "A.txt", "y\\A.txt", nullptr, 5, 80);
  InsertEntryRow(list_, Stamp(), "c.txt", "c.txt", nullptr, 5, 1000);
  PublishEntryRows(list_);
  SortEntryRows(list_, LISTSTRUCT_UNCOMPRESSED, false);  // by number, not by text
  EXPECT_EQ(ListCell(list_, 0, 0) + ListCell(list_, 1, 0) + ListCell(list_, 2, 0), "A.txtb.txtc.txt");
  SortEntryRows(list_, LISTSTRUCT_UNCOMPRESSED, true);
  EXPECT_EQ(ListCell(list_, 0, 0) + ListCell(list_, 1, 0) + ListCell(list_, 2, 0), "c.txtb.txtA.txt");
  SortEntryRows(list_, LISTSTRUCT_FILENAME, false);  // case does not count
  EXPECT_EQ(ListCell(list_, 0, 0) + ListCell(list_, 1, 0) + ListCell(list_, 2, 0), "A.txtb.txtc.txt");
  {
    // Names order as Explorer orders them: the locale's letters, digits as numbers.
    HiddenEntryList names;
    HWND list = names.list;
    for (const char* name : {"zoo", "Zebra", "Привет", "file10", "apple", "Überblick", "Документ", "mango", "file2",
                             "Äpfel", "banana"})
      InsertEntryRow(list, Stamp(), name, name, nullptr, 1, 1);
    // Folders stay above the files whichever way the names run.
    AppendEntryRecord(list, MakeFolderRecord("", "zfolder"));
    AppendEntryRecord(list, MakeFolderRecord("", "afolder"));
    PublishEntryRows(list);
    SortEntryRows(list, LISTSTRUCT_FILENAME, false);
    std::string order;
    for (int row = 0; row < 13; ++row) order += ListCell(list, row, 0) + ",";
    EXPECT_EQ(order, "afolder,zfolder,Äpfel,apple,banana,file2,file10,mango,Überblick,Zebra,zoo,Документ,Привет,");
    SortEntryRows(list, LISTSTRUCT_FILENAME, true);
    EXPECT_EQ(ListCell(list, 0, 0) + ListCell(list, 1, 0) + ListCell(list, 2, 0), "zfolderafolderПривет");
    EXPECT_EQ(ListCell(list, 0, LISTSTRUCT_UNCOMPRESSED) + ListCell(list, 0, LISTSTRUCT_DATE), "") << "a folder has no size";

    // Find by name: a plain text is a prefix, "*" and "?" match the whole name as Explorer's do.
    const struct {
      const char* text;
      const char* found;
    } kFinds[] = {{"fi", "file2"},      {"FILE1", "file10"},  {"*10", "file10"}, {"f*e?", "file2"},
                  {"?ebra", "Zebra"},   {"при*", "Привет"},   {"*a", "banana"},  {"z*r", "zfolder"},
                  {"*.txt", nullptr},   {"file?", "file2"},   {"file", "file2"}, {"ebra", nullptr}};
    SortEntryRows(list, LISTSTRUCT_FILENAME, false);
    for (const auto& f : kFinds) {
      int row = FindEntryRowByName(list, f.text, 0, 1);
      EXPECT_EQ(row < 0 ? "(none)" : ListCell(list, row, 0), f.found ? f.found : "(none)") << f.text;
    }
  }
  SortEntryRows(list_, LISTSTRUCT_PATH, false);
  EXPECT_EQ(ListCell(list_, 0, 0), "c.txt");

  LVFINDINFOA find = {};
  find.flags = LVFI_STRING | LVFI_PARTIAL;
  find.psz = "B";
  EXPECT_EQ(ListCell(list_, static_cast<int>(SendMessageA(list_, LVM_FINDITEMA, static_cast<WPARAM>(-1),
                                                       reinterpret_cast<LPARAM>(&find))), 0),
            "b.txt");

  DeleteAllEntryRows(list_);
  EXPECT_EQ(Rows(), 0);
  EXPECT_EQ(GetRowRecord(list_, 0), nullptr);
}
