// The update check against the documents a local HTTP server serves (tests/data/
// update_server.py runs this program): what a manual and an automatic check show for each,
// the version and date rules, and the update dialog's own buttons.
#include "services/base.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "kestrelia_lang.h"
#include "services/update_document.h"
#include "settings/options.h"
#include "settings/values.h"
#include "test_support.h"
#include "ui/update_check.h"

namespace {

struct Shown {
  std::vector<std::string> dialogs, opened;
  INT_PTR answer = kUpdateConfirmed;
};
Shown* g_shown = nullptr;

// While it lives, the update dialog and the shell's open are recorded instead of shown.
struct RecordedUpdate : Shown {
  RecordedUpdate() {
    g_shown = this;
    GetUpdateCheckHooks().dialog = [](HWND, const char* message, bool fetched) {
      g_shown->dialogs.push_back(std::string(fetched ? "news: " : "failure: ") + message);
      return g_shown->answer;
    };
    GetUpdateCheckHooks().openAddress = [](HWND, const char* address) { g_shown->opened.push_back(address); };
  }
  ~RecordedUpdate() { ResetUpdateCheckHooks(); }
};

std::string Joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) all += text + "|";
  return all;
}

TEST(UpdateCheck, EachDocumentGivesItsOutcome) {
  const char* server = getenv("KESTRELIA_UPDATE_SERVER");
  const char* closed = getenv("KESTRELIA_UPDATE_CLOSED");
  ASSERT_TRUE(server && closed) << "run through tests/data/update_server.py";
  const std::string news = std::string("news: ") + GetGenericText(KLANG_GEN_NEW_VERSION) + ": \"1.3\"\n" +
                           GetGenericText(KLANG_GEN_YOUR_VERSION) + ": \"1.2\"|";
  const std::string newest = std::string(GetGenericText(KLANG_GEN_YOUR_VERSION_BEFORE_NEWEST)) + " \"1.2\" " +
                             GetGenericText(KLANG_GEN_IS_THE_NEWEST) + "|";
  const std::string failure = std::string("failure: ") + GetGenericText(KLANG_GEN_UPDATE_INFO_FAILED) + "|";
  const std::string download = "http://downloads.example/kestrelia.zip|";
  struct Case {
    const char* document;  // on the server; null: the address nothing answers at
    int manual;
    INT_PTR answer;
    UpdateOutcome outcome;
    std::string dialog, box, opened;
  } cases[] = {
      {"newer.xml", 1, kUpdateConfirmed, UPDATE_OFFERED, news, "", download},
      {"newer.xml", 0, IDCANCEL, UPDATE_OFFERED, news, "", ""},
      {"same.xml", 1, kUpdateConfirmed, UPDATE_NONE, "", newest, ""},
      {"same.xml", 0, kUpdateConfirmed, UPDATE_NONE, "", "", ""},
      {"older.xml", 1, kUpdateConfirmed, UPDATE_NONE, "", newest, ""},
      {"old_date.xml", 1, kUpdateConfirmed, UPDATE_NONE, "", newest, ""},
      {"no_date.xml", 1, kUpdateConfirmed, UPDATE_NONE, "", newest, ""},
      {"long.xml", 1, kUpdateConfirmed, UPDATE_NONE, "", newest, ""},
      {"not_xml.xml", 1, kUpdateConfirmed, UPDATE_NOT_READ, "", newest, ""},
      {"not_xml.xml", 0, kUpdateConfirmed, UPDATE_NOT_READ, "", "", ""},
      {nullptr, 1, kUpdateConfirmed, UPDATE_DOWNLOAD_FAILED, failure, "", ""},
      {nullptr, 0, kUpdateConfirmed, UPDATE_DOWNLOAD_FAILED, "", "", ""},
  };
  for (const Case& c : cases) {
    std::string address = c.document ? std::string(server) + "/" + c.document : closed;
    SCOPED_TRACE(address + (c.manual ? " manual" : " automatic"));
    SetUpdateAddress(address.c_str());
    RecordedUpdate shown;
    shown.answer = c.answer;
    RecordedBoxes boxes;
    EXPECT_EQ(c.outcome, CheckForUpdate(nullptr, c.manual));
    EXPECT_EQ(c.dialog, Joined(shown.dialogs));
    EXPECT_EQ(c.box, Joined(boxes.texts));
    EXPECT_EQ(c.opened, Joined(shown.opened));
  }
  // Turned off, the check asks nothing and shows nothing.
  SetSearchAndDisplayUpdatesDisabled(1);
  RecordedUpdate shown;
  EXPECT_EQ(UPDATE_NOT_RUN, CheckForUpdate(nullptr, 1));
  EXPECT_TRUE(shown.dialogs.empty());
  SetSearchAndDisplayUpdatesDisabled(0);
  SetUpdateAddress("");
}

TEST(UpdateCheck, VersionAndDateRules) {
  struct Case {
    const char *own, *remote;
    bool newer;
  } versions[] = {
      {"1.2", "1.3", true},    {"1.9", "1.10", true},    {"1.2", "1.2", false},  {"1.2", "1.1", false},
      {"1.2_b", "1.2", true},  {"1.2", "1.2_b", false},  {"1.2_b", "1.2_b", false},
      // With both suffixes, a greater one of ours counts as the remote being newer.
      {"1.2_b", "1.2_a", true}, {"1.2_a", "1.2_b", false}, {"1.2_b", "1.2_bc", false},
  };
  for (const Case& c : versions) EXPECT_EQ(c.newer, IsRemoteVersionNewer(c.own, c.remote)) << c.own << " " << c.remote;
  // The month is added, the day weighed: 05.06.2011 is just above the line, 05.05.2011 on it.
  struct Date {
    const char* date;
    bool accepted;
  } dates[] = {{"15.03.2027", true}, {"05.06.2011", true}, {"05.05.2011", false}, {"01.01.2010", false}};
  for (const Date& d : dates) EXPECT_EQ(d.accepted, IsReleaseDateAccepted(d.date)) << d.date;
}

// The real dialog: OK with the box ticked turns the check off and, for news, ends with the
// confirmation code; Cancel changes nothing.
TEST(UpdateCheck, DialogButtons) {
  ResetUpdateCheckHooks();
  HKEY key;
  DWORD saved = 0, size = sizeof saved;
  bool hadConfiguration = RegOpenKeyExA(HKEY_CURRENT_USER, "SOFTWARE\\Kestrelia", 0, KEY_READ, &key) == ERROR_SUCCESS &&
                          RegQueryValueExA(key, "configuration", nullptr, nullptr, reinterpret_cast<BYTE*>(&saved),
                                           &size) == ERROR_SUCCESS;
  struct Case {
    bool fetched, tick;
    int button;
    INT_PTR code;
    int disabled;
  } cases[] = {
      {true, true, IDOK, kUpdateConfirmed, 1},
      {false, false, IDOK, IDOK, 0},
      {true, true, IDCANCEL, IDCANCEL, 0},
  };
  for (const Case& c : cases) {
    SetSearchAndDisplayUpdatesDisabled(0);
    std::thread press([&] {
      EXPECT_TRUE(OnDialog(GetGenericText(KLANG_GEN_CHECK_FOR_UPDATES), [&](HWND dialog) {
        HWND box = FindWindowExA(dialog, nullptr, "Button",
                                 GetConfigurationText(KLANG_CFG_CHECK_SEARCH_AND_DISPLAY_UPDATES));
        if (c.tick) SendMessageA(box, BM_CLICK, 0, 0);
        PostMessageA(dialog, WM_COMMAND, c.button, 0);
      }));
    });
    EXPECT_EQ(c.code, GetUpdateCheckHooks().dialog(nullptr, "New version", c.fetched));
    press.join();
    EXPECT_EQ(c.disabled, IsSearchAndDisplayUpdatesDisabled() ? 1 : 0);
  }
  SetSearchAndDisplayUpdatesDisabled(0);
  if (RegOpenKeyExA(HKEY_CURRENT_USER, "SOFTWARE\\Kestrelia", 0, KEY_WRITE, &key) == ERROR_SUCCESS) {
    if (hadConfiguration)
      RegSetValueExA(key, "configuration", 0, REG_DWORD, reinterpret_cast<BYTE*>(&saved), sizeof saved);
    else
      RegDeleteValueA(key, "configuration");
    RegCloseKey(key);
  }
}

}  // namespace
