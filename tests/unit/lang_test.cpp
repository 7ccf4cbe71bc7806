#include "services/base.h"

#include <gtest/gtest.h>

#include "kestrelia_lang.h"
#include "services/help_file.h"

#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace {

const int kLanguages[] = {KLANG_LANGUAGE_ENGLISH, KLANG_LANGUAGE_GERMAN};

struct Range {
  const char* name;
  std::function<const char*(int)> text;
  std::vector<int> numbers;
};

std::vector<int> Span(int first, int last, int except = -1) {
  std::vector<int> out;
  for (int n = first; n <= last; ++n)
    if (n != except) out.push_back(n);
  return out;
}

std::vector<int> Join(std::vector<int> a, const std::vector<int>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// Every numbered entry point with every number the program uses.
std::vector<Range> NumberedRanges() {
  return {
      {"GetMessageText", GetMessageText, Join(Span(0, 116), Span(130, 146))},
      {"GetGenericText", GetGenericText, Span(0, 89)},
      {"GetMenuText", GetMenuText, Span(5001, 5005)},
      {"GetMenuItemText", GetMenuItemText, Join(Span(4001, 4028, 4025), Span(4029, 4031))},
      {"GetPopupText", GetPopupText, Span(0, 26)},
      {"GetStatusWindowToolTipText", GetStatusWindowToolTipText, Span(0, 5)},
      {"GetToolBarText", GetToolBarText, Span(0, KLANG_TB_COUNT - 1)},
      {"GetToolBarToolTipText", GetToolBarToolTipText, Span(0, KLANG_TB_COUNT - 1)},
      {"GetToolBarText2", GetToolBarText2, Span(0, KLANG_TB2_COUNT - 1)},
      {"GetToolBarText2WI", GetToolBarText2WI, Span(0, KLANG_TB2_COUNT - 1)},
      {"GetToolBarToolTipText2", GetToolBarToolTipText2, Span(0, KLANG_TB2_COUNT - 1)},
      {"GetToolBarToolTipText2WI", GetToolBarToolTipText2WI, Span(0, KLANG_TB2_COUNT - 1)},
      {"GetConfigurationText", GetConfigurationText, Span(5, 100)},
      {"GetPluginText", GetPluginText, Span(0, 10)},
      {"GetLanguageString",
       GetLanguageString,
       {0, KLANG_LANGUAGE_COUNT - 1, KLANG_LANGUAGE_ENGLISH, KLANG_LANGUAGE_GERMAN}},
  };
}

std::vector<const char* (*)()> Columns() {
  return {GetDescriptionFilename,         GetDescriptionEncrypted, GetDescriptionCompressed, GetDescriptionUncompressed,
          GetDescriptionCompressionRatio, GetDescriptionDate,      GetDescriptionType,       GetDescriptionPath};
}

// Every text of the library in the current language, labelled for failure messages.
std::vector<std::pair<std::string, std::string>> AllTexts() {
  std::vector<std::pair<std::string, std::string>> out;
  for (const Range& r : NumberedRanges())
    for (int n : r.numbers) out.emplace_back(std::string(r.name) + "(" + std::to_string(n) + ")", r.text(n));
  int column = 0;
  for (auto fn : Columns()) out.emplace_back("column " + std::to_string(column++), fn());
  out.emplace_back("GetConfirmationDialogText", GetConfirmationDialogText());
  out.emplace_back("GetConsoleHelpText", GetConsoleHelpText());
  return out;
}

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  size_t start = 0;
  for (size_t at; (at = text.find(separator, start)) != std::string::npos; start = at + 1)
    parts.push_back(text.substr(start, at - start));
  parts.push_back(text.substr(start));
  return parts;
}

int Ampersands(const std::string& caption) {
  int count = 0;
  for (char c : caption) count += c == '&';
  return count;
}

// The accelerator letter, folded to upper case so that "&o" and "&O" clash.
char Accelerator(const std::string& caption) {
  size_t at = caption.find('&');
  if (at == std::string::npos || at + 1 >= caption.size()) return 0;
  char c = caption[at + 1];
  CharUpperBuffA(&c, 1);
  return c;
}

class Lang : public ::testing::Test {
 protected:
  void TearDown() override { SetLanguage(KLANG_LANGUAGE_ENGLISH); }
};

// Every number in use answers in both languages, in UTF-8, and without a '%': callers put
// the texts into printf arguments and some into formats, where it would read as a conversion.
TEST_F(Lang, EveryNumberInUseAnswersInBothLanguagesInUtf8WithoutAFormatSign) {
  bool sawUmlaut = false;
  for (int language : kLanguages) {
    SetLanguage(language);
    for (const auto& [label, text] : AllTexts()) {
      EXPECT_FALSE(text.empty()) << label << " in language " << language;
      EXPECT_GT(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.c_str(), -1, nullptr, 0), 0) << label;
      EXPECT_EQ(text.find('%'), std::string::npos) << label << ": " << text;
      sawUmlaut = sawUmlaut || text.find("\xC3") != std::string::npos;
    }
  }
  EXPECT_TRUE(sawUmlaut);
}

TEST_F(Lang, NumbersOutsideTheTablesAnswerEmptyNotNull) {
  for (int language : kLanguages) {
    SetLanguage(language);
    ASSERT_NE(GetMenuItemText(4025), nullptr);
    EXPECT_STREQ(GetMenuItemText(4025), "");
    EXPECT_STREQ(GetMessageText(117), "");
    EXPECT_STREQ(GetGenericText(-1), "");
    EXPECT_STREQ(GetConfigurationText(4), "");
    EXPECT_STREQ(GetPluginText(11), "");
  }
}

TEST_F(Lang, MenusAreTranslatedWithOneUniqueAcceleratorPerMenuAndNoShortcut) {
  // The items of each main menu as the window lays them out; Properties sits in two menus.
  const std::vector<std::vector<int>> menus = {
      {5001, 4001, 4002, 4003, 4004, 4005, 4006, 4007, 4008, 4009},
      {5002, 4010, 4011, 4012, 4013, 4014, 4015, 4016, 4017},
      {5003, 4018, 4019, 4020, 4008},
      {5004, 4021, 4022, 4023, 4024},
      {5005, 4026, 4027, 4028},
  };
  for (int id : Span(4001, 4028, 4025)) {
    SetLanguage(KLANG_LANGUAGE_ENGLISH);
    std::string english = GetMenuItemText(id);
    SetLanguage(KLANG_LANGUAGE_GERMAN);
    EXPECT_NE(english, GetMenuItemText(id)) << id << " is not translated";
  }
  for (int language : kLanguages) {
    SetLanguage(language);
    std::set<char> titles;
    for (const auto& menu : menus) {
      std::string title = GetMenuText(menu[0]);
      EXPECT_EQ(Ampersands(title), 1) << title;
      EXPECT_TRUE(titles.insert(Accelerator(title)).second) << "menu bar accelerator twice: " << title;
      std::set<char> letters;
      for (size_t i = 1; i < menu.size(); ++i) {
        std::string caption = GetMenuItemText(menu[i]);
        EXPECT_EQ(Ampersands(caption), 1) << caption;
        EXPECT_EQ(caption.find('\t'), std::string::npos) << caption;
        EXPECT_TRUE(letters.insert(Accelerator(caption)).second)
            << "accelerator of \"" << caption << "\" used twice in " << title;
      }
    }
  }
}

TEST_F(Lang, OverwriteQuestionHasFourLabelsInAnswerOrder) {
  for (int language : kLanguages) {
    SetLanguage(language);
    std::vector<std::string> labels = Split(GetConfirmationDialogText(), '\n');
    ASSERT_EQ(labels.size(), 4u) << GetConfirmationDialogText();
    std::set<char> letters;
    for (const std::string& label : labels) {
      EXPECT_EQ(Ampersands(label), 1) << label;
      EXPECT_TRUE(letters.insert(Accelerator(label)).second) << label;
    }
  }
}

TEST_F(Lang, ColumnTitlesAreDistinct) {
  // Columns are found again by their header text, so two equal titles would mix them up.
  for (int language : kLanguages) {
    SetLanguage(language);
    std::set<std::string> titles;
    for (auto fn : Columns()) EXPECT_TRUE(titles.insert(fn()).second) << fn();
  }
}

TEST_F(Lang, ConsoleHelpNamesEverySwitchWithWindowsLineEnds) {
  std::string english;
  for (int language : kLanguages) {
    SetLanguage(language);
    std::string help = GetConsoleHelpText();
    if (language == KLANG_LANGUAGE_ENGLISH) english = help;
    for (size_t at = help.find('\n'); at != std::string::npos; at = help.find('\n', at + 1))
      ASSERT_TRUE(at > 0 && help[at - 1] == '\r') << "bare line feed at " << at;
    ASSERT_GE(help.size(), 2u);
    EXPECT_EQ(help.substr(help.size() - 2), "\r\n");
    for (const char* word : {" -x ", " -a ", " -as ", " -asim ", " -s ", " -c ", " -cs ", " -csim ", "-help"})
      EXPECT_NE(help.find(word), std::string::npos) << word << " in language " << language;
  }
  EXPECT_NE(english, GetConsoleHelpText());
}

TEST_F(Lang, OnlyTheLowByteSevenSelectsGerman) {
  SetLanguage(KLANG_LANGUAGE_GERMAN);
  const std::string german = GetMenuText(5001);
  SetLanguage(KLANG_LANGUAGE_ENGLISH);
  const std::string english = GetMenuText(5001);
  ASSERT_NE(german, english);

  struct Case {
    int language;
    bool german;
  };
  for (Case c : {Case{7, true}, Case{0x107, true}, Case{0x0700, false}, Case{0, false}, Case{9, false}}) {
    SetLanguage(c.language);
    EXPECT_EQ(GetLanguage(), c.language);
    EXPECT_EQ(GetGCountry(), c.language);
    EXPECT_EQ(GetMenuText(5001), c.german ? german : english) << std::hex << c.language;
  }
}

TEST(HelpFile, FolderOfTheProgramAndLanguage) {
  char path[kPathBuf];
  MakeHelpFilePath("C:\\Program Files\\Kestrelia\\Kestrelia.exe", 0x107, path);
  EXPECT_STREQ(path, "C:\\Program Files\\Kestrelia\\help\\kestrelia_de.chm");
  MakeHelpFilePath("C:\\Kestrelia.exe", 0x0700, path);
  EXPECT_STREQ(path, "C:\\help\\kestrelia_en.chm");
  MakeHelpFilePath("Kestrelia.exe", 7, path);
  EXPECT_STREQ(path, "help\\kestrelia_de.chm");
}

TEST(HelpFile, LongProgramPathIsCutNotOverrun) {
  std::string program = "C:\\" + std::string(250, 'a') + "\\Kestrelia.exe";
  char path[kPathBuf + 16];
  memset(path, 'x', sizeof path);
  MakeHelpFilePath(program.c_str(), 9, path);
  EXPECT_LT(strlen(path), static_cast<size_t>(kPathBuf));
  EXPECT_EQ(path[kPathBuf], 'x');
}

}  // namespace
