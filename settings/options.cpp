#include "services/base.h"
#include "settings/options.h"

// One line per option bit: getter, setter, bit. Bit 0x00004000 and everything from
// 0x08000000 up have no option.
#define KESTRELIA_OPTION_BITS(X)                                                 \
  X(IsCreateSelfExecutable, SetCreateSelfExecutable, 0x00000010)                 \
  X(IsPasswordEncrypted, SetPasswordEncrypted, 0x00000020)                       \
  X(IsFileFilter, SetFileFilter, 0x00000040)                                     \
  X(IsPlainDirectory, SetPlainDirectory, 0x00000080)                             \
  X(IsPreviewPictureFiles, SetPreviewPictureFiles, 0x00000100)                   \
  X(IsRememberSortedColumn, SetRememberSortedColumn, 0x00000200)                 \
  X(IsOpenPreferredInternally, SetOpenPreferredInternally, 0x00000400)           \
  X(IsAddDirectoriesCombo, SetAddDirectoriesCombo, 0x00000800)                   \
  X(IsPreferredTar, SetPreferredTar, 0x00001000)                                 \
  X(IsEnableSaveButton, SetEnableSaveButton, 0x00002000)                         \
  X(IsUseJadForClassFiles, SetUseJadForClassFiles, 0x00008000)                   \
  X(IsUseModernMenuStyle, SetUseModernMenuStyle, 0x00010000)                     \
  X(IsSaveRichEditSettings, SetSaveRichEditSettings, 0x00020000)                 \
  X(IsHistoryActivated, SetHistoryStatus, 0x00040000)                            \
  X(IsHistoryPassword, SetHistoryPassword, 0x00080000)                           \
  X(IsLoadRmDll, SetLoadRmDll, 0x00100000)                                       \
  X(IsHideDialogFilesDirs, SetHideDialogFilesDirs, 0x00200000)                   \
  X(IsShowPicturesCentered, SetShowPicturesCentered, 0x00400000)                 \
  X(IsShowPicturesWithScrollBars, SetShowPicturesWithScrollBars, 0x00800000)     \
  X(IsProgramFlag, SetProgramFlag, 0x01000000)                                   \
  X(IsSearchAndDisplayUpdatesDisabled, SetSearchAndDisplayUpdatesDisabled, 0x02000000) \
  X(IsZoneMarkOff, SetZoneMarkOff, 0x04000000)

namespace {

int g_defaultCompression = kDefaultCompressionLevel;
int g_standardCompression = 1;

#define KESTRELIA_OPTION_FLAG(getter, setter, bit) int g_##getter = 0;
KESTRELIA_OPTION_BITS(KESTRELIA_OPTION_FLAG)
#undef KESTRELIA_OPTION_FLAG

}  // namespace

#define KESTRELIA_OPTION_ACCESS(getter, setter, bit) \
  int getter() { return g_##getter; }                \
  void setter(int on) { g_##getter = on ? (bit) : 0; }
KESTRELIA_OPTION_BITS(KESTRELIA_OPTION_ACCESS)
#undef KESTRELIA_OPTION_ACCESS

int IsMarkExtractedFiles() { return !g_IsZoneMarkOff; }
void SetMarkExtractedFiles(int on) { SetZoneMarkOff(!on); }

int GetDefaultCompression() { return g_defaultCompression; }

void SetDefaultCompression(int level) {
  g_defaultCompression = level & static_cast<int>(kCompressionMask);
  g_standardCompression = g_defaultCompression == kDefaultCompressionLevel;
}

DWORD MakeOptionWord() {
  DWORD word = static_cast<DWORD>(g_defaultCompression) & kCompressionMask;
#define KESTRELIA_OPTION_MAKE(getter, setter, bit) \
  if (g_##getter) word |= (bit);
  KESTRELIA_OPTION_BITS(KESTRELIA_OPTION_MAKE)
#undef KESTRELIA_OPTION_MAKE
  return word;
}

void SplitOptionWord(DWORD word) {
  SetDefaultCompression(static_cast<int>(word & kCompressionMask));
#define KESTRELIA_OPTION_SPLIT(getter, setter, bit) g_##getter = static_cast<int>(word & (bit));
  KESTRELIA_OPTION_BITS(KESTRELIA_OPTION_SPLIT)
#undef KESTRELIA_OPTION_SPLIT
}

void ResetOptions() {
  SplitOptionWord(0);
  SetDefaultCompression(kDefaultCompressionLevel);
}
