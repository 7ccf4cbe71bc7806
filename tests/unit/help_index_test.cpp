// Every command of the menus has an index entry in the help of each language, and every index
// entry leads to a page and anchor that exist: a new command without help fails here.
#include "services/base.h"

#include <gtest/gtest.h>

#include "app/main_state.h"
#include "kestrelia_lang.h"
#include "services/help_file.h"

#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// The pages are ASCII with HTML entities; both sides are compared in UTF-8.
std::string DecodeEntities(const std::string& text) {
  static const std::pair<const char*, const char*> kEntities[] = {
      {"&auml;", "\xC3\xA4"}, {"&ouml;", "\xC3\xB6"}, {"&uuml;", "\xC3\xBC"}, {"&Auml;", "\xC3\x84"},
      {"&Ouml;", "\xC3\x96"}, {"&Uuml;", "\xC3\x9C"}, {"&szlig;", "\xC3\x9F"}, {"&amp;", "&"}};
  std::string out = text;
  for (const auto& entity : kEntities)
    for (size_t at; (at = out.find(entity.first)) != std::string::npos;)
      out.replace(at, strlen(entity.first), entity.second);
  return out;
}

// The value of each <param name="NAME" value="..."> in order.
std::vector<std::string> Params(const std::string& sitemap, const std::string& name) {
  std::vector<std::string> values;
  std::string key = "<param name=\"" + name + "\" value=\"";
  for (size_t at = 0; (at = sitemap.find(key, at)) != std::string::npos;) {
    at += key.size();
    values.push_back(DecodeEntities(sitemap.substr(at, sitemap.find('"', at) - at)));
  }
  return values;
}

// "Extract &selected...\tCtrl+Shift+E" -> "Extract selected".
std::string Keyword(std::string caption) {
  caption = caption.substr(0, caption.find('\t'));
  std::string out;
  for (char c : caption)
    if (c != '&') out += c;
  while (!out.empty() && out.back() == '.') out.pop_back();
  return out;
}

// The captions of every command in the menu bar; submenus are named, their slots are not.
void CollectCommands(HMENU menu, bool top, std::vector<std::string>& out) {
  for (int i = 0; i < GetMenuItemCount(menu); ++i) {
    char caption[kPathBuf] = "";
    MENUITEMINFOA info = {};
    info.cbSize = sizeof info;
    info.fMask = MIIM_FTYPE | MIIM_STRING | MIIM_SUBMENU;
    info.dwTypeData = caption;
    info.cch = sizeof caption;
    ASSERT_TRUE(GetMenuItemInfoA(menu, i, TRUE, &info));
    if (info.fType & MFT_SEPARATOR) continue;
    if (top)
      CollectCommands(info.hSubMenu, false, out);
    else
      out.push_back(Keyword(caption));
  }
}

struct HelpLanguage {
  int language;
  const char* folder;
};

class HelpIndex : public ::testing::TestWithParam<HelpLanguage> {
 protected:
  void TearDown() override { SetLanguage(KLANG_LANGUAGE_ENGLISH); }
  std::string Folder() const { return std::string(KESTRELIA_HELP_SOURCE) + "/" + GetParam().folder + "/"; }
};

TEST_P(HelpIndex, EveryMenuCommandHasAnIndexEntry) {
  SetLanguage(GetParam().language);
  std::vector<std::string> names = Params(ReadFile(Folder() + "kestrelia.hhk"), "Name");
  ASSERT_FALSE(names.empty());
  std::set<std::string> index(names.begin(), names.end());
  HMENU bar = BuildMainMenu();
  std::vector<std::string> commands;
  CollectCommands(bar, true, commands);
  DestroyMenu(bar);
  EXPECT_GT(commands.size(), 20u);
  for (const std::string& command : commands) EXPECT_TRUE(index.count(command)) << "no help for " << command;
}

TEST_P(HelpIndex, EveryIndexAndContentsEntryLeadsToAnAnchorThatExists) {
  for (const char* sitemap : {"kestrelia.hhk", "kestrelia.hhc"}) {
    for (const std::string& local : Params(ReadFile(Folder() + sitemap), "Local")) {
      size_t hash = local.find('#');
      std::string page = ReadFile(Folder() + local.substr(0, hash));
      EXPECT_FALSE(page.empty()) << sitemap << ": " << local;
      if (hash != std::string::npos) {
        EXPECT_NE(page.find("name=\"" + local.substr(hash + 1) + "\""), std::string::npos) << sitemap << ": " << local;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Languages, HelpIndex,
                         ::testing::Values(HelpLanguage{KLANG_LANGUAGE_ENGLISH, "en"},
                                           HelpLanguage{KLANG_LANGUAGE_GERMAN, "de"}));

}  // namespace
