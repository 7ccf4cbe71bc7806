#include "ui/update_check.h"

#include <cstdio>
#include <cstring>

#include "kestrelia_lang.h"
#include "services/dialog_template.h"
#include "services/log.h"
#include "services/prompts.h"
#include "services/update_document.h"
#include "services/version.h"
#include "services/worker.h"
#include "settings/options.h"
#include "settings/save.h"
#include "settings/values.h"

namespace {

enum { IDC_UPDATE_OK = 1, IDC_UPDATE_CANCEL = 2, IDC_UPDATE_NEVER = 100 };

struct UpdateDialogData {
  const char* message;
  bool fetched;
};

constexpr int kWidth = 360, kMargin = 16;

void InitUpdateDialog(HWND dialog, LPARAM parameter) {
  const UpdateDialogData* data = reinterpret_cast<const UpdateDialogData*>(parameter);
  DialogLayout layout(dialog);
  SetWindowTextA(dialog, GetGenericText(KLANG_GEN_CHECK_FOR_UPDATES));
  // The texts are measured so that a longer language still fits.
  int textWidth = kWidth - 2 * kMargin;
  SIZE message = layout.MeasureText(data->message, layout.Scale(textWidth));
  int y = kMargin;
  RECT place = {layout.Scale(kMargin), layout.Scale(y), layout.Scale(kMargin) + message.cx,
                layout.Scale(y) + message.cy};
  layout.AddAt("STATIC", data->message, SS_LEFT, -1, place);
  y += MulDiv(message.cy, 96, layout.dpi()) + 12;
  if (data->fetched) {
    layout.Add("STATIC", GetGenericText(KLANG_GEN_DOWNLOAD_QUESTION), SS_LEFT, -1, kMargin, y, textWidth, 18);
    y += 26;
  }
  layout.Add("BUTTON", GetConfigurationText(KLANG_CFG_CHECK_SEARCH_AND_DISPLAY_UPDATES),
                          WS_TABSTOP | BS_AUTOCHECKBOX, IDC_UPDATE_NEVER, kMargin, y, textWidth, 20);
  y += 34;
  HWND ok = layout.Add("BUTTON", GetGenericText(data->fetched ? KLANG_GEN_DOWNLOAD : KLANG_GEN_OK),
                       WS_TABSTOP | BS_DEFPUSHBUTTON, IDC_UPDATE_OK, kWidth - kMargin - 2 * 95 - 10, y, 95, 25);
  layout.Add("BUTTON", GetGenericText(KLANG_GEN_CANCEL), WS_TABSTOP | BS_PUSHBUTTON, IDC_UPDATE_CANCEL,
             kWidth - kMargin - 95, y, 95, 25);
  layout.SizeClient(kWidth, y + 25 + kMargin, DialogPlace::kOwnerCentre);
  SendMessageA(dialog, DM_SETDEFID, IDC_UPDATE_OK, 0);
  SetFocus(ok);
}

// OK with the box ticked turns the check at start off for good.
void AcceptUpdateDialog(HWND dialog, LPARAM parameter) {
  const UpdateDialogData* data = reinterpret_cast<const UpdateDialogData*>(parameter);
  if (IsDlgButtonChecked(dialog, IDC_UPDATE_NEVER) == BST_CHECKED) {
    SetSearchAndDisplayUpdatesDisabled(1);
    int minPicSize = GetMinPicSize();
    SaveConfiguration(0, minPicSize != kUnsetNumber, minPicSize);
  }
  EndDialog(dialog, data->fetched ? kUpdateConfirmed : static_cast<INT_PTR>(IDC_UPDATE_OK));
}

INT_PTR ShowUpdateDialog(HWND owner, const char* message, bool fetched) {
  UpdateDialogData data = {message, fetched};
  static const OkCancelRoles kRoles = {IDC_UPDATE_OK, IDC_UPDATE_CANCEL, true, InitUpdateDialog, AcceptUpdateDialog};
  return RunOkCancelDialog(ModalDialogFrame(nullptr, 240, 100), owner, kRoles, reinterpret_cast<LPARAM>(&data));
}

void OpenDownloadAddress(HWND owner, const char* address) {
  ShellExecuteA(owner, "open", address, nullptr, nullptr, SW_SHOWNORMAL);
}

UpdateCheckHooks g_hooks = {ShowUpdateDialog, OpenDownloadAddress};

DWORD WINAPI UpdateCheckThread(LPVOID parameter) {
  CheckForUpdate(static_cast<HWND>(parameter), 0);
  return 0;
}

DWORD WINAPI ManualUpdateCheckThread(LPVOID parameter) {
  CheckForUpdate(static_cast<HWND>(parameter), 1);
  return 0;
}

}  // namespace

UpdateCheckHooks& GetUpdateCheckHooks() { return g_hooks; }
void ResetUpdateCheckHooks() { g_hooks = {ShowUpdateDialog, OpenDownloadAddress}; }

UpdateOutcome CheckForUpdate(HWND owner, int manual) {
  if (IsSearchAndDisplayUpdatesDisabled()) return UPDATE_NOT_RUN;
  if (!manual) Sleep(100);
  static char document[kUpdateDocumentSize + 1];
  char message[kUpdateAddressSize];
  if (!DownloadUpdateDocument(GetUpdateAddress(), document)) {
    if (manual) {
      snprintf(message, sizeof message, "%s", GetGenericText(KLANG_GEN_UPDATE_INFO_FAILED));
      g_hooks.dialog(owner, message, false);
    }
    return UPDATE_DOWNLOAD_FAILED;
  }
  UpdateFindings found;
  UpdateDocumentResult read = ReadUpdateDocument(document, kProgramFileName, kProductVersion, &found);
  if (read == UPDATE_DOCUMENT_NO_LIBRARY) return UPDATE_NO_XML_LIBRARY;
  if (read == UPDATE_DOCUMENT_READ && found.newer && found.dateAccepted) {
    snprintf(message, sizeof message, "%s: \"%s\"\n%s: \"%s\"", GetGenericText(KLANG_GEN_NEW_VERSION), found.version,
             GetGenericText(KLANG_GEN_YOUR_VERSION), kProductVersion);
    if (g_hooks.dialog(owner, message, true) == kUpdateConfirmed) g_hooks.openAddress(owner, found.address);
    return UPDATE_OFFERED;
  }
  if (manual) {
    snprintf(message, sizeof message, "%s \"%s\" %s", GetGenericText(KLANG_GEN_YOUR_VERSION_BEFORE_NEWEST),
             kProductVersion, GetGenericText(KLANG_GEN_IS_THE_NEWEST));
    PromptMessageBox(GetForegroundWindow(), message, "Kestrelia", MB_OK | MB_ICONINFORMATION);
  }
  return read == UPDATE_DOCUMENT_READ ? UPDATE_NONE : UPDATE_NOT_READ;
}

void StartUpdateCheck(HWND owner, int manual) {
  StartWorker("StartUpdateCheck", manual ? ManualUpdateCheckThread : UpdateCheckThread, owner);
}
