#include "services/base.h"

#include <gtest/gtest.h>

#include "kestrelia_lang.h"
#include "services/log.h"
#include "settings/load.h"
#include "settings/names.h"
#include "settings/options.h"
#include "settings/recent.h"
#include "settings/registry.h"
#include "settings/registry_text.h"
#include "settings/richedit_font.h"
#include "settings/save.h"
#include "settings/values.h"
#include "settings/window_placement.h"

#include <cstring>
#include <string>

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

bool KeyExists(HKEY hive) {
  HKEY key;
  if (RegOpenKeyExA(hive, Key(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
  RegCloseKey(key);
  return true;
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
  static void Configure(DWORD word = kDefaultCompressionLevel) { PutDword(HKEY_CURRENT_USER, kValueConfiguration, word); }
  static std::string Slots() {
    std::string s;
    for (int slot = 1; slot <= kRecentSlots; ++slot) s += std::string(GetRecentSlot(slot)) + "|";
    return s;
  }
};

}  // namespace

TEST_F(Settings, PrimitivesKeepTheirOddContracts) {
  DWORD value = 0;
  EXPECT_EQ(WriteDword(5, HKEY_CURRENT_USER, Key(), "x"), 1) << "WriteDword never creates the key";
  EXPECT_EQ(WriteString("abc", 3, HKEY_CURRENT_USER, Key(), "x"), 0) << "a missing key counts as written";
  EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER));

  PutString(HKEY_CURRENT_USER, "text", "12");
  EXPECT_EQ(ReadDword(&value, HKEY_CURRENT_USER, Key(), "text"), 1) << "a string is no DWORD";
  char buffer[64];
  DWORD size = sizeof buffer;
  EXPECT_EQ(ReadMultiString(buffer, &size, HKEY_CURRENT_USER, Key(), "text"), 1);
  EXPECT_EQ(WriteMultiString("a\0b\0", 5, HKEY_CURRENT_USER, Key(), "multi"), 0);
  size = sizeof buffer;
  EXPECT_EQ(ReadMultiString(buffer, &size, HKEY_CURRENT_USER, Key(), "multi"), 0);
  EXPECT_EQ(std::string(buffer, 3), std::string("a\0b", 3));

  // Exactly length bytes are stored; the reader still gets a terminated text.
  EXPECT_EQ(WriteString("abcdef", 3, HKEY_CURRENT_USER, Key(), "cut"), 0);
  EXPECT_EQ(GetText("cut"), "abc");

  PutString(HKEY_CURRENT_USER, "long", std::string(40, 'x'));
  char small[16];
  size = sizeof small;
  EXPECT_EQ(ReadString(small, &size, HKEY_CURRENT_USER, Key(), "long"), ERROR_MORE_DATA);
  EXPECT_GE(size, 41u) << "the needed size comes back";

  EXPECT_EQ(DeleteValue(HKEY_CURRENT_USER, Key(), "long"), 0);
  EXPECT_EQ(DeleteValue(HKEY_CURRENT_USER, Key(), "long"), 1);
  EXPECT_EQ(ReadDword(&value, HKEY_CURRENT_USER, "SOFTWARE\\NoSuchKestreliaKey", "x"), 1);
}

TEST_F(Settings, WithoutConfigurationNothingElseIsRead) {
  PutDword(HKEY_LOCAL_MACHINE, kValueVerbose, 5);
  PutDword(HKEY_LOCAL_MACHINE, kValueLanguage, KLANG_LANGUAGE_GERMAN);
  PutDword(HKEY_LOCAL_MACHINE, kValueDeleteSimulation, 1);
  PutDword(HKEY_CURRENT_USER, kValueColorMenuHigh, 0x123456);
  PutString(HKEY_CURRENT_USER, kValueFileList, "C:\\a.zip");

  EXPECT_EQ(LoadSettings(nullptr), 1);
  EXPECT_TRUE(IsNoConfiguration());
  EXPECT_EQ(GetVerbose(), 0);
  EXPECT_EQ(GetLanguage(), KLANG_LANGUAGE_ENGLISH);
  EXPECT_EQ(IsDeleteSimulation(), 0);
  EXPECT_EQ(GetColorMenuHigh(), kUnsetDword);
  EXPECT_EQ(Slots(), "||||");
  EXPECT_NE(GetGradientFill(), nullptr) << "the gradient function is looked up all the same";

  // A "configuration" of the wrong type is no configuration either.
  PutString(HKEY_CURRENT_USER, kValueConfiguration, "518");
  EXPECT_EQ(LoadSettings(nullptr), 1);
  EXPECT_EQ(GetVerbose(), 0);
}

TEST_F(Settings, LanguageFromBothHivesUserWins) {
  Configure();
  PutDword(HKEY_LOCAL_MACHINE, kValueLanguage, KLANG_LANGUAGE_GERMAN);
  EXPECT_EQ(LoadSettings(nullptr), 0);
  EXPECT_EQ(GetLanguage(), KLANG_LANGUAGE_GERMAN);

  PutDword(HKEY_CURRENT_USER, kValueLanguage, KLANG_LANGUAGE_ENGLISH);
  LoadSettings(nullptr);
  EXPECT_EQ(GetLanguage(), KLANG_LANGUAGE_ENGLISH);
}

TEST_F(Settings, MachineSwitchesTakeOnlyTheirValues) {
  Configure();
  struct Case {
    DWORD verbose;
    int expected;
  };
  for (Case c : {Case{0, 0}, Case{11, 0}, Case{1, 1}, Case{10, 10}}) {
    SetVerbose(0);
    PutDword(HKEY_LOCAL_MACHINE, kValueVerbose, c.verbose);
    LoadSettings(nullptr);
    EXPECT_EQ(GetVerbose(), c.expected) << "verbose " << c.verbose;
  }
  SetVerbose(0);

  // Anything but exactly 1 leaves a switch off; 2 must not open a console.
  PutDword(HKEY_LOCAL_MACHINE, kValueVerbose, 0);
  PutDword(HKEY_LOCAL_MACHINE, kValueDebugConsole, 2);
  PutDword(HKEY_LOCAL_MACHINE, kValuePrintToLogFile, 2);
  PutDword(HKEY_LOCAL_MACHINE, kValueDeleteSimulation, 2);
  PutDword(HKEY_LOCAL_MACHINE, kValueDragAsThread, 1);
  PutDword(HKEY_LOCAL_MACHINE, kValueDisplayCompanyLogo, 0);
  PutDword(HKEY_LOCAL_MACHINE, kValuePictureLabelWidth, 0);  // any value is taken
  PutDword(HKEY_LOCAL_MACHINE, kValuePictureLabelHeight, 33);
  LoadSettings(nullptr);
  EXPECT_EQ(IsDebugConsole(), 0);
  EXPECT_EQ(IsPrintToLogFile(), 0);
  EXPECT_EQ(IsDeleteSimulation(), 0);
  EXPECT_EQ(IsDragAsThread(), 1);
  EXPECT_EQ(IsDisplayCompanyLogo(), 0);
  EXPECT_EQ(GetPictureLabelWidth(), 0);
  EXPECT_EQ(GetPictureLabelHeight(), 33);
}

TEST_F(Settings, UserNumbersAndTextsOverrideOnlyWhenSet) {
  Configure();
  PutDword(HKEY_CURRENT_USER, kValueColorMenuHigh, 0);
  PutDword(HKEY_CURRENT_USER, kValueColorMenuLow, 0x00ABCDEF);
  PutDword(HKEY_CURRENT_USER, kValueMinPicSize, 0);
  PutDword(HKEY_CURRENT_USER, kValueSkipCRCCheck, 1);
  PutDword(HKEY_CURRENT_USER, kValueDragLayered, 200);
  PutDword(HKEY_CURRENT_USER, kValueFontPrintSize, 0);
  PutString(HKEY_CURRENT_USER, kValueFontConfiguration, "");
  PutString(HKEY_CURRENT_USER, kValueTestMethod, "RunMe");
  PutString(HKEY_CURRENT_USER, kValueJadPath, "C:\\tools\\jad.exe");
  PutString(HKEY_CURRENT_USER, kValueRichEdit, std::string(300, 'r'));  // too long: not read
  LoadSettings(nullptr);
  EXPECT_EQ(GetColorMenuHigh(), kUnsetDword) << "a stored 0 keeps the default";
  EXPECT_EQ(GetColorMenuLow(), 0x00ABCDEFu);
  EXPECT_EQ(GetMinPicSize(), kUnsetNumber);
  EXPECT_EQ(GetSkipCRCCheck(), 1);
  EXPECT_EQ(GetDragLayered(), 200);
  EXPECT_EQ(GetFontPrintSize(), 60);
  EXPECT_STREQ(GetFontConfiguration(), "Tahoma") << "an empty face falls back";
  EXPECT_STREQ(GetFontPrint(), "Arial");
  EXPECT_STREQ(GetTestMethod(), "RunMe");
  EXPECT_STREQ(GetJadPath(), "C:\\tools\\jad.exe");
  EXPECT_STREQ(GetRichEditString(), "");
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
  EXPECT_EQ(ClearRecentList(), 0);
  EXPECT_EQ(GetText(kValueFileList), "");
  EXPECT_EQ(Slots(), "||||");
}

TEST_F(Settings, OptionWordRoundTripsEveryBit) {
  struct Bit {
    DWORD mask;
    int (*get)();
  };
  const Bit bits[] = {
      {0x00000010, IsCreateSelfExecutable},  {0x00000020, IsPasswordEncrypted},
      {0x00000040, IsFileFilter},            {0x00000080, IsPlainDirectory},
      {0x00000100, IsPreviewPictureFiles},   {0x00000200, IsRememberSortedColumn},
      {0x00000400, IsOpenPreferredInternally}, {0x00000800, IsAddDirectoriesCombo},
      {0x00001000, IsPreferredTar},          {0x00002000, IsEnableSaveButton},
      {0x00008000, IsUseJadForClassFiles},   {0x00010000, IsUseModernMenuStyle},
      {0x00020000, IsSaveRichEditSettings},  {0x00040000, IsHistoryActivated},
      {0x00080000, IsHistoryPassword},       {0x00100000, IsLoadRmDll},
      {0x00200000, IsHideDialogFilesDirs},   {0x00400000, IsShowPicturesCentered},
      {0x00800000, IsShowPicturesWithScrollBars}, {0x01000000, IsProgramFlag},
      {0x02000000, IsSearchAndDisplayUpdatesDisabled},
  };
  DWORD all = 0;
  for (const Bit& b : bits) {
    SplitOptionWord(b.mask | 9);
    EXPECT_EQ(static_cast<DWORD>(b.get()), b.mask) << std::hex << b.mask << ": the flag holds the masked bit";
    EXPECT_EQ(MakeOptionWord(), b.mask | 9) << std::hex << b.mask;
    for (const Bit& other : bits) {
      if (other.mask != b.mask) {
        EXPECT_EQ(other.get(), 0) << std::hex << b.mask << " also set " << other.mask;
      }
    }
    all |= b.mask;
  }
  SplitOptionWord(all | 0xF);
  EXPECT_EQ(MakeOptionWord(), all | 0xF);
  EXPECT_EQ(GetDefaultCompression(), 15);
  SplitOptionWord(0xFFFFFFFF);
  EXPECT_EQ(MakeOptionWord(), all | 0xF) << "bits without an option are dropped";

  SplitOptionWord(0);
  EXPECT_TRUE(IsPreferredZip());
  EXPECT_FALSE(IsStandardCompression());
  SplitOptionWord(6);
  EXPECT_TRUE(IsStandardCompression());
  SetPreferredTar(1);
  EXPECT_FALSE(IsPreferredZip());
  EXPECT_EQ(MakeOptionWord(), 0x1006u);
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

TEST_F(Settings, LanguageThatCannotBeWrittenLandsInTheOptionWord) {
  SetLanguage(KLANG_LANGUAGE_GERMAN);
  EXPECT_EQ(SaveLanguage(), 0);
  DWORD value = 0;
  EXPECT_FALSE(GetDword(HKEY_CURRENT_USER, kValueLanguage, &value));
  ASSERT_TRUE(GetDword(HKEY_CURRENT_USER, kValueConfiguration, &value));
  EXPECT_EQ(value, static_cast<DWORD>(KLANG_LANGUAGE_GERMAN));
}

TEST_F(Settings, ViewerPlacementPacksAndClamps) {
  EXPECT_EQ(PackViewXY(-5, -1), 0u);
  EXPECT_EQ(PackViewXY(0x12, 0x34), 0x00120034u);
  EXPECT_EQ(PackViewWH(640, 480), (640u << 16) | 480u);

  Configure();
  RECT rect = {-20, 30, 580, 430};
  EXPECT_EQ(SaveViewerPlacement(rect), 0);
  DWORD xy = 0, wh = 0;
  ASSERT_TRUE(GetDword(HKEY_CURRENT_USER, kValueViewXY, &xy));
  ASSERT_TRUE(GetDword(HKEY_CURRENT_USER, kValueViewWH, &wh));
  EXPECT_EQ(xy, 30u) << "the negative left edge counts as 0";
  EXPECT_EQ(wh, (600u << 16) | 400u);
  RECT back = {};
  ASSERT_TRUE(GetViewerRect(&back));
  EXPECT_EQ(back.left, 0);
  EXPECT_EQ(back.top, 30);
  EXPECT_EQ(back.right, 600);
  EXPECT_EQ(back.bottom, 430);
  ResetSettings();
  EXPECT_FALSE(GetViewerRect(&back));
}

TEST_F(Settings, RichEditStringRoundTripAndShortForms) {
  RichEditFont font = {};
  strcpy(font.font.lfFaceName, "Courier New");
  font.font.lfHeight = -13;
  font.font.lfWeight = 700;
  font.font.lfItalic = 1;
  font.font.lfStrikeOut = 1;
  font.font.lfCharSet = 238;
  font.font.lfQuality = 4;
  font.font.lfPitchAndFamily = 49;
  font.color = RGB(1, 2, 3);
  char text[kRichEditStringSize];
  FormatRichEditString(font, text, sizeof text);
  EXPECT_STREQ(text, "Courier New|-13|0|0|0|700|1|0|1|238|0|0|4|49|197121|");
  RichEditFont back;
  EXPECT_EQ(ParseRichEditString(text, &back), 15);
  EXPECT_EQ(memcmp(&back, &font, sizeof font), 0);

  EXPECT_EQ(ParseRichEditString("Lucida Console|-16|", &back), 2);
  EXPECT_STREQ(back.font.lfFaceName, "Lucida Console");
  EXPECT_EQ(back.font.lfHeight, -16);
  EXPECT_EQ(back.font.lfWeight, 0);
  EXPECT_EQ(back.color, 0u);
  EXPECT_EQ(ParseRichEditString("", &back), 0);
  EXPECT_EQ(ParseRichEditString("|12|", &back), 2) << "an empty face keeps the numbers in place";
  EXPECT_EQ(back.font.lfHeight, 12);
  ParseRichEditString((std::string(50, 'F') + "|1|").c_str(), &back);
  EXPECT_EQ(strlen(back.font.lfFaceName), 31u) << "face names are cut to 31 characters";

  // The control's format and back: twips to pixels at the screen's resolution, and bold
  // for the heavier weights only.
  CHARFORMATA format = {};
  format.cbSize = sizeof format;
  strcpy(format.szFaceName, "Consolas");
  format.yHeight = 240;
  format.dwEffects = CFE_BOLD | CFE_UNDERLINE;
  format.crTextColor = RGB(200, 0, 0);
  format.bPitchAndFamily = FIXED_PITCH;
  RichEditFontFromCharFormat(format, 96, &font);
  EXPECT_EQ(font.font.lfHeight, -16);
  EXPECT_EQ(font.font.lfWeight, 700);
  EXPECT_EQ(font.font.lfUnderline, 1);
  EXPECT_EQ(font.font.lfQuality, 4);
  CHARFORMATA again;
  CharFormatFromRichEditFont(font, 96, &again);
  EXPECT_EQ(again.yHeight, 240);
  EXPECT_EQ(again.dwEffects & (CFE_BOLD | CFE_UNDERLINE | CFE_ITALIC), static_cast<DWORD>(CFE_BOLD | CFE_UNDERLINE));
  EXPECT_EQ(again.crTextColor, RGB(200, 0, 0));
  font.font.lfWeight = 400;
  CharFormatFromRichEditFont(font, 96, &again);
  EXPECT_EQ(again.dwEffects & CFE_BOLD, 0u);
}

TEST_F(Settings, WrittenByOneRunReadByTheNext) {
  SplitOptionWord(0x02A4B3F7 & ~0x00004000u);
  SetColorMenuHigh(0x00010203);
  SetColorMenuLow(0x00040506);
  SetJadPath("C:\\Program Files\\jad\\jad.exe");
  SetLanguage(KLANG_LANGUAGE_GERMAN);
  ASSERT_EQ(SaveConfiguration(1, 1, 64), 0);
  DWORD word = MakeOptionWord();
  RichEditFont font = {};
  strcpy(font.font.lfFaceName, "Consolas");
  font.font.lfHeight = -15;
  font.color = RGB(9, 8, 7);
  ASSERT_EQ(SaveRichEditString(font), 0);
  RECT viewer = {10, 20, 810, 620};
  ASSERT_EQ(SaveViewerPlacement(viewer), 0);
  PushRecentFile("C:\\one.zip");
  PushRecentFile("D:\\two.tar.gz");
  ASSERT_EQ(SaveRecentList(), 0);
  std::string richEdit = GetRichEditString();

  ResetSettings();
  SetLanguage(KLANG_LANGUAGE_ENGLISH);
  ASSERT_EQ(LoadSettings(nullptr), 0);
  EXPECT_EQ(MakeOptionWord(), word);
  EXPECT_EQ(GetColorMenuHigh(), 0x00010203u);
  EXPECT_EQ(GetColorMenuLow(), 0x00040506u);
  EXPECT_STREQ(GetJadPath(), "C:\\Program Files\\jad\\jad.exe");
  EXPECT_EQ(GetLanguage(), KLANG_LANGUAGE_GERMAN);
  EXPECT_EQ(GetMinPicSize(), 64);
  EXPECT_EQ(GetRichEditString(), richEdit);
  RichEditFont back;
  ParseRichEditString(GetRichEditString(), &back);
  EXPECT_STREQ(back.font.lfFaceName, "Consolas");
  EXPECT_EQ(back.color, RGB(9, 8, 7));
  EXPECT_EQ(GetViewXY(), PackViewXY(10, 20));
  EXPECT_EQ(GetViewWH(), PackViewWH(800, 600));
  EXPECT_EQ(Slots(), "D:\\two.tar.gz|C:\\one.zip|||");
}

TEST_F(Settings, RegistryValuesTextListsEveryValueInColumns) {
  std::string text = GetRegistryValuesText();
  EXPECT_EQ(text.rfind("Registry Keys: \n", 0), 0u);
  EXPECT_NE(text.find("\nDWORD\t\"verbose\"\tHKEY_LOCAL_MACHINE\t1 <> 10"), std::string::npos);
  EXPECT_NE(text.find("\nDWORD\t\"ModernMenuStyle\"\tHKEY_CURRENT_USER\t!= 0"), std::string::npos);
  EXPECT_NE(text.find("\nREGSZ\t\"TestMethod\"\tHKEY_CURRENT_USER\tCall Method on CTRL-5"), std::string::npos);
  size_t lines = 0;
  for (char c : text) lines += c == '\n';
  EXPECT_EQ(lines, 19u);
}

TEST_F(Settings, MainWindowPlacementSurvivesARestart) {
  auto make = [] {
    return CreateWindowExA(0, "STATIC", "placement", WS_OVERLAPPEDWINDOW, 0, 0, 300, 200, nullptr, nullptr,
                           GetModuleHandleA(nullptr), nullptr);
  };
  HWND first = make();
  ASSERT_NE(first, nullptr);
  SetWindowPos(first, nullptr, 40, 50, 420, 310, SWP_NOZORDER | SWP_NOACTIVATE);
  EXPECT_EQ(SaveWindowPlacement(first), 0) << "saving creates the key";
  DestroyWindow(first);

  HWND second = make();
  EXPECT_EQ(RestoreWindowPlacement(second, SW_SHOWNOACTIVATE), 0);
  WINDOWPLACEMENT wp = {};
  wp.length = sizeof wp;
  GetWindowPlacement(second, &wp);
  EXPECT_EQ(wp.rcNormalPosition.left, 40);
  EXPECT_EQ(wp.rcNormalPosition.top, 50);
  EXPECT_EQ(wp.rcNormalPosition.right - wp.rcNormalPosition.left, 420);
  EXPECT_EQ(wp.rcNormalPosition.bottom - wp.rcNormalPosition.top, 310);
  EXPECT_TRUE(IsWindowVisible(second));
  DestroyWindow(second);

  // A place on no monitor (a screen since removed) is not restored.
  PutString(HKEY_CURRENT_USER, kValueWindowPlacement, "1 -30000 -30000 -29000 -29500");
  HWND third = make();
  EXPECT_EQ(RestoreWindowPlacement(third, SW_SHOWNOACTIVATE), 1);
  RECT now = {};
  GetWindowRect(third, &now);
  EXPECT_EQ(now.left, 0);
  EXPECT_TRUE(IsWindowVisible(third));
  DestroyWindow(third);
}
