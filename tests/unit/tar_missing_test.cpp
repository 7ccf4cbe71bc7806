// Without tar.dll and iso.dll beside the program (this executable runs from a folder without
// them), every TAR and ISO operation ends with the library's message box and nothing else.
#include "services/base.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "formats/iso_format.h"
#include "formats/tar_format.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "services/prompts.h"
#include "test_support.h"
#include "zip/extract.h"

namespace {

TEST(TarMissing, EveryOperationTellsTheUserTheLibraryIsMissing) {
  RecordedBoxes boxes;
  EXPECT_FALSE(IsTarLibraryPresent());

  HiddenEntryList window;
  ArchiveControlBlock block = {};
  block.list = window.list;
  snprintf(block.path, sizeof block.path, "%s", "Z:\\nowhere\\a.tar");
  ListTarFilesThread(&block);
  ExtractJob job = {};
  job.silent = 1;
  job.extractAll = 1;
  ExtractTarFilesFromList(&job);
  TarCreateRequest request = {};
  EXPECT_EQ(CreateTarArchive(request, {"Z:\\nowhere\\file.txt"}), -1);
  EXPECT_EQ(boxes.titles, std::vector<std::string>(3, GetMessageText(KLANG_MSG_ERROR_TITLE)));
  EXPECT_EQ(boxes.texts, std::vector<std::string>(3, GetGenericText(KLANG_GEN_TAR_LIBRARY_MISSING)));
  for (UINT flags : boxes.flags) EXPECT_TRUE(flags & MB_ICONERROR);
  EXPECT_EQ(window.Rows(), 0);
}

TEST(IsoMissing, EveryOperationTellsTheUserTheLibraryIsMissing) {
  RecordedBoxes boxes;
  HiddenEntryList window;
  ArchiveControlBlock block = {};
  block.list = window.list;
  snprintf(block.path, sizeof block.path, "%s", "Z:\\nowhere\\a.iso");
  ListIsoFilesThread(&block);
  ExtractJob job = {};
  job.silent = 1;
  snprintf(job.archive, sizeof job.archive, "%s", block.path);
  ExtractIsoFilesFromList(&job);
  char written[kPathBuf];
  WriteIsoEntryToTemp(block.path, "a.txt", written);
  EXPECT_EQ(boxes.titles, std::vector<std::string>(3, GetMessageText(KLANG_MSG_ERROR_TITLE)));
  EXPECT_EQ(boxes.texts, std::vector<std::string>(3, GetGenericText(KLANG_GEN_ISO_LIBRARY_MISSING)));
  EXPECT_EQ(window.Rows(), 0);
}

}  // namespace
