#include "services/base.h"

#include <gtest/gtest.h>

#include "kestrelia_lang.h"
#include "services/log.h"
#include "settings/load.h"
#include "settings/names.h"
#include "settings/options.h"
#include "settings/recent.h"
#include "settings/registry.h"
#include "settings/save.h"
#include "settings/values.h"
#include "settings/window_placement.h"

#include <functional>
#include <string>
#include <vector>

namespace {

const char* Key() { return GetSettingsKeyPath(); }

void PutDword(HKEY hive, const char* name, DWORD value) {
  ASSERT_EQ(CreateAndWriteDword(value, hive, Key(), name), 0) << name;
}

void PutString(HKEY hive, const char* name, const std::string& text) {
  ASSERT_EQ(CreateAndWriteString(text.c_str(), static_cast<DWORD>(text.size() + 1), hive, Key(), name), 0) << name;
}

bool GetDword(HKEY hive, const char* name, DWORD* value) { return ReadDword(value, hive, Key(), name) == 0; }

std::string GetText(const char* name) {
  char text[2048] = "";
  DWORD size = sizeof text;
  return ReadString(text, &size, HKEY_CURRENT_USER, Key(), name) == 0 ? text : "<missing>";
}

// Each test starts from a registry without the program's key, in both hives, and from the
// built-in defaults; what it leaves behind is removed again.
class Settings : public ::testing::Test {
 protected:
  void SetUp() override { Clean(); }
  void TearDown() override { Clean(); }
  static void Clean() {
    DeleteKeyTree(HKEY_CURRENT_USER, Key());
    DeleteKeyTree(HKEY_LOCAL_MACHINE, Key());
    ResetSettings();
    SetVerbose(0);
    SetLanguage(KLANG_LANGUAGE_ENGLISH);
  }
  // Any saved configuration, so that the load reads on.
  static void Configure(DWORD word = kDefaultCompressionLevel) {
    PutDword(HKEY_CURRENT_USER, kValueConfiguration, word);
  }
  static std::string Slots() {
    std::string s;
    for (int slot = 1; slot <= kRecentSlots; ++slot) s += std::string(GetRecentSlot(slot)) + "|";
    return s;
  }
};

}  // namespace

TEST_F(Settings, WithoutConfigurationNothingElseIsRead) {
  PutDword(HKEY_LOCAL_MACHINE, kValueVerbose, 5);
  PutDword(HKEY_LOCAL_MACHINE, kValueLanguage, KLANG_LANGUAGE_GERMAN);
  PutDword(HKEY_CURRENT_USER, kValueColorMenuHigh, 0x123456);
  PutString(HKEY_CURRENT_USER, kValueFileList, "C:\\a.zip");
  EXPECT_EQ(LoadSettings(nullptr), 1);
  EXPECT_TRUE(IsNoConfiguration());
  EXPECT_EQ(GetVerbose(), 0);
  EXPECT_EQ(GetLanguage(), KLANG_LANGUAGE_ENGLISH);
  EXPECT_EQ(GetColorMenuHigh(), kUnsetDword);
  EXPECT_EQ(Slots(), "||||");
  EXPECT_NE(GetGradientFill(), nullptr) << "the gradient function is looked up all the same";
  // A "configuration" of the wrong type is no configuration either.
  PutString(HKEY_CURRENT_USER, kValueConfiguration, "518");
  EXPECT_EQ(LoadSettings(nullptr), 1);
  EXPECT_EQ(GetVerbose(), 0);
}

// What a load takes from each hive: the machine's switches only at their exact values (2
// must not open a console), the language from either hive with the user's winning, the
// user's numbers and texts only when set to something usable.
TEST_F(Settings, EachValueIsTakenOnlyWhereAndWhenItCounts) {
  struct Value {
    HKEY hive;
    const char* name;
    DWORD number;
    const char* text;  // a string value instead of the number
  };
  const struct {
    std::vector<Value> values;
    std::function<std::string()> read;
    std::string expected;
  } cases[] = {
      {{{HKEY_LOCAL_MACHINE, kValueVerbose, 11}}, [] { return std::to_string(GetVerbose()); }, "0"},
      {{{HKEY_LOCAL_MACHINE, kValueVerbose, 1}}, [] { return std::to_string(GetVerbose()); }, "1"},
      {{{HKEY_LOCAL_MACHINE, kValueVerbose, 10}}, [] { return std::to_string(GetVerbose()); }, "10"},
      {{{HKEY_LOCAL_MACHINE, kValueDebugConsole, 2}}, [] { return std::to_string(IsDebugConsole()); }, "0"},
      {{{HKEY_LOCAL_MACHINE, kValuePrintToLogFile, 2}}, [] { return std::to_string(IsPrintToLogFile()); }, "0"},
      {{{HKEY_LOCAL_MACHINE, kValueLanguage, KLANG_LANGUAGE_GERMAN}},
       [] { return std::to_string(GetLanguage()); }, std::to_string(KLANG_LANGUAGE_GERMAN)},
      {{{HKEY_LOCAL_MACHINE, kValueLanguage, KLANG_LANGUAGE_GERMAN}, {HKEY_CURRENT_USER, kValueLanguage, KLANG_LANGUAGE_ENGLISH}},
       [] { return std::to_string(GetLanguage()); }, std::to_string(KLANG_LANGUAGE_ENGLISH)},
      {{{HKEY_CURRENT_USER, kValueColorMenuHigh, 0}}, [] { return std::to_string(GetColorMenuHigh()); },
       std::to_string(kUnsetDword)},
      {{{HKEY_CURRENT_USER, kValueMinPicSize, 0}}, [] { return std::to_string(GetMinPicSize()); },
       std::to_string(kUnsetNumber)},
      {{{HKEY_CURRENT_USER, kValueSkipCRCCheck, 1}}, [] { return std::to_string(GetSkipCRCCheck()); }, "1"},
      {{{HKEY_CURRENT_USER, kValueFontConfiguration, 0, ""}}, [] { return std::string(GetFontConfiguration()); },
       "Tahoma"},
  };
  for (const auto& c : cases) {
    Clean();
    Configure();
    for (const Value& v : c.values) {
      if (v.text)
        PutString(v.hive, v.name, v.text);
      else
        PutDword(v.hive, v.name, v.number);
    }
    EXPECT_EQ(LoadSettings(nullptr), 0);
    EXPECT_EQ(c.read(), c.expected) << c.values.back().name;
  }
}

TEST_F(Settings, RecentListSplitting) {
  Configure();
  PutString(HKEY_CURRENT_USER, kValueFileList, "C:\\1.zip;C:\\2.zip;C:\\3.zip;C:\\4.zip;C:\\5.zip");
  LoadSettings(nullptr);
  EXPECT_EQ(Slots(), "C:\\1.zip|C:\\2.zip|C:\\3.zip|C:\\4.zip|");

  ResetSettings();
  PutString(HKEY_CURRENT_USER, kValueFileList, ";;C:\\only.zip");
  LoadSettings(nullptr);
  EXPECT_EQ(Slots(), "C:\\only.zip||||") << "empty tokens are skipped";

  // Longer than the first 260-byte read: the load asks again with the size it was told.
  std::string first = "C:\\" + std::string(200, 'a') + ".zip";
  std::string second = "C:\\" + std::string(200, 'b') + ".zip";
  PutString(HKEY_CURRENT_USER, kValueFileList, first + ";" + second + ";C:\\c.zip");
  ResetSettings();
  LoadSettings(nullptr);
  EXPECT_EQ(Slots(), first + "|" + second + "|C:\\c.zip||");
}

TEST_F(Settings, RecentListKeepsNewestFirstWithoutTwins) {
  for (const char* path : {"C:\\a.zip", "C:\\b.zip", "C:\\c.zip", "C:\\d.zip", "C:\\e.zip"}) PushRecentFile(path);
  EXPECT_EQ(Slots(), "C:\\e.zip|C:\\d.zip|C:\\c.zip|C:\\b.zip|");
  PushRecentFile("c:\\C.ZIP");
  EXPECT_EQ(Slots(), "c:\\C.ZIP|C:\\e.zip|C:\\d.zip|C:\\b.zip|") << "the old entry leaves its slot";
  PushRecentFile("c:\\C.ZIP");
  EXPECT_EQ(Slots(), "c:\\C.ZIP|C:\\e.zip|C:\\d.zip|C:\\b.zip|");
  PushRecentFile("");
  EXPECT_EQ(Slots(), "c:\\C.ZIP|C:\\e.zip|C:\\d.zip|C:\\b.zip|");

  // Writing joins the filled slots only, and needs the key to exist.
  SetRecentSlot(2, "");
  EXPECT_EQ(SaveRecentList(), 0);
  EXPECT_EQ(GetText(kValueFileList), "<missing>");
  Configure();
  EXPECT_EQ(SaveRecentList(), 0);
  EXPECT_EQ(GetText(kValueFileList), "c:\\C.ZIP;C:\\d.zip;C:\\b.zip");
}

TEST_F(Settings, SaveConfigurationCreatesTheKeyAndWritesWhatChanged) {
  SplitOptionWord(0x00040209);
  SetColorMenuHigh(0x00112233);
  SetColorMenuLow(0x00445566);
  SetLanguage(KLANG_LANGUAGE_GERMAN);
  EXPECT_EQ(SaveConfiguration(0, 1, 48), 0);
  DWORD value = 0;
  ASSERT_TRUE(GetDword(HKEY_CURRENT_USER, kValueConfiguration, &value)) << "the first save creates the key";
  EXPECT_EQ(value, 0x00040209u);
  EXPECT_TRUE(GetDword(HKEY_CURRENT_USER, kValueColorMenuHigh, &value));
  EXPECT_EQ(value, 0x00112233u);
  EXPECT_FALSE(GetDword(HKEY_CURRENT_USER, kValueLanguage, &value)) << "the language was not changed";
  EXPECT_EQ(GetText(kValueJadPath), "<missing>") << "an empty path is not written";
  ASSERT_TRUE(GetDword(HKEY_CURRENT_USER, kValueMinPicSize, &value));
  EXPECT_EQ(value, 48u);
  EXPECT_EQ(GetMinPicSize(), 48);

  SetJadPath("C:\\jad.exe");
  EXPECT_EQ(SaveConfiguration(1, 0, 48), 0);
  EXPECT_TRUE(GetDword(HKEY_CURRENT_USER, kValueLanguage, &value));
  EXPECT_EQ(value, static_cast<DWORD>(KLANG_LANGUAGE_GERMAN));
  EXPECT_EQ(GetText(kValueJadPath), "C:\\jad.exe");
  EXPECT_FALSE(GetDword(HKEY_CURRENT_USER, kValueMinPicSize, &value)) << "a cleared check box removes it";
  EXPECT_EQ(GetMinPicSize(), kUnsetNumber);
}
