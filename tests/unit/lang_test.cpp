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

// Every numbered entry point, probed well past the numbers the program uses.
const struct {
  const char* name;
  const char* (*text)(int);
  int first, last;
} kNumbered[] = {
    {"GetMessageText", GetMessageText, -1, 300},
    {"GetGenericText", GetGenericText, -1, 200},
    {"GetMenuText", GetMenuText, 5000, 5100},
    {"GetMenuItemText", GetMenuItemText, 4000, 4100},
    {"GetPopupText", GetPopupText, -1, 100},
    {"GetStatusWindowToolTipText", GetStatusWindowToolTipText, -1, 100},
    {"GetToolBarText", GetToolBarText, -1, 100},
    {"GetToolBarToolTipText", GetToolBarToolTipText, -1, 100},
    {"GetToolBarText2", GetToolBarText2, -1, 100},
    {"GetToolBarText2WI", GetToolBarText2WI, -1, 100},
    {"GetToolBarToolTipText2", GetToolBarToolTipText2, -1, 100},
    {"GetToolBarToolTipText2WI", GetToolBarToolTipText2WI, -1, 100},
    {"GetConfigurationText", GetConfigurationText, -1, 200},
    {"GetPluginText", GetPluginText, -1, 100},
    {"GetLanguageString", GetLanguageString, -1, 20},
};

std::vector<const char* (*)()> Columns() {
  return {GetDescriptionFilename,         GetDescriptionEncrypted, GetDescriptionCompressed, GetDescriptionUncompressed,
          GetDescriptionCompressionRatio, GetDescriptionDate,      GetDescriptionType,       GetDescriptionPath};
}

// Every text of the library in the current language, labelled for failure messages; a
// number without a text answers "" (callers never check for absence), never null.
std::vector<std::pair<std::string, std::string>> AllTexts() {
  std::vector<std::pair<std::string, std::string>> out;
  for (const auto& r : kNumbered) {
    bool any = false;
    for (int n = r.first; n <= r.last; ++n) {
      const char* text = r.text(n);
      EXPECT_NE(text, nullptr) << r.name << "(" << n << ")";
      out.emplace_back(std::string(r.name) + "(" + std::to_string(n) + ")", text ? text : "");
      any = any || (text && *text);
    }
    EXPECT_TRUE(any) << r.name << " has no text at all";
  }
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

// Every text has its translation, in UTF-8, and no '%': callers put the texts into printf
// arguments and some into formats, where it would read as a conversion.
TEST_F(Lang, EveryTextIsTranslatedInUtf8WithoutAFormatSign) {
  SetLanguage(KLANG_LANGUAGE_ENGLISH);
  auto english = AllTexts();
  SetLanguage(KLANG_LANGUAGE_GERMAN);
  auto german = AllTexts();
  ASSERT_EQ(english.size(), german.size());
  bool sawUmlaut = false;
  for (size_t i = 0; i < english.size(); ++i) {
    const std::string& label = english[i].first;
    EXPECT_EQ(english[i].second.empty(), german[i].second.empty()) << label << " has a text in one language only";
    for (const std::string& text : {english[i].second, german[i].second}) {
      EXPECT_GT(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.c_str(), -1, nullptr, 0), 0) << label;
      EXPECT_EQ(text.find('%'), std::string::npos) << label << ": " << text;
      sawUmlaut = sawUmlaut || text.find("\xC3") != std::string::npos;
    }
  }
  EXPECT_TRUE(sawUmlaut);
}

TEST_F(Lang, OverwriteQuestionHasFourLabelsInAnswerOrder) {
  for (int language : kLanguages) {
    SetLanguage(language);
    std::vector<std::string> labels = Split(GetConfirmationDialogText(), '\n');
    ASSERT_EQ(labels.size(), 6u) << GetConfirmationDialogText();
    std::set<char> letters;
    for (const std::string& label : labels) {
      EXPECT_EQ(Ampersands(label), 1) << label;
      EXPECT_TRUE(letters.insert(Accelerator(label)).second) << label;
    }
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

// Only the low byte names the language, as the settings store it.
TEST_F(Lang, OnlyTheLowByteSevenSelectsGerman) {
  SetLanguage(KLANG_LANGUAGE_GERMAN);
  const std::string german = GetMenuText(5001);
  for (int language : {7, 0x107, 0x0700, 0, 9}) {
    SetLanguage(language);
    EXPECT_EQ(GetLanguage(), language);
    EXPECT_EQ(GetMenuText(5001) == german, (language & 0xFF) == 7) << std::hex << language;
  }
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
