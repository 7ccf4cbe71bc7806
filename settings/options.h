// The option word "configuration": the configuration dialog's check boxes as bits, its low
// four bits the default compression level. Each option lives in its own flag holding the
// masked bit, so a set flag is non-zero but not necessarily 1.
#pragma once
#include "services/base.h"

constexpr DWORD kCompressionMask = 0x0000000F;
constexpr int kDefaultCompressionLevel = 6;

int GetDefaultCompression();
void SetDefaultCompression(int level);  // 0..15; level 6 also sets the flag below

int IsCreateSelfExecutable();
void SetCreateSelfExecutable(int on);
int IsPasswordEncrypted();
void SetPasswordEncrypted(int on);
int IsFileFilter();
void SetFileFilter(int on);
int IsPlainDirectory();
void SetPlainDirectory(int on);
int IsPreviewPictureFiles();
void SetPreviewPictureFiles(int on);
int IsRememberSortedColumn();
void SetRememberSortedColumn(int on);
int IsOpenPreferredInternally();
void SetOpenPreferredInternally(int on);
int IsAddDirectoriesCombo();
void SetAddDirectoriesCombo(int on);
int IsPreferredTar();
void SetPreferredTar(int on);
int IsEnableSaveButton();
void SetEnableSaveButton(int on);
int IsUseJadForClassFiles();
void SetUseJadForClassFiles(int on);
int IsUseModernMenuStyle();
void SetUseModernMenuStyle(int on);
int IsSaveRichEditSettings();  // the text viewer keeps its font and placement on close
void SetSaveRichEditSettings(int on);
int IsHistoryActivated();
void SetHistoryStatus(int on);
int IsHistoryPassword();
void SetHistoryPassword(int on);
int IsLoadRmDll();  // no dialog control: set by hand in the word
void SetLoadRmDll(int on);
int IsHideDialogFilesDirs();
void SetHideDialogFilesDirs(int on);
int IsShowPicturesCentered();
void SetShowPicturesCentered(int on);
int IsShowPicturesWithScrollBars();
void SetShowPicturesWithScrollBars(int on);
int IsProgramFlag();  // kept for the program's own use, no dialog control
void SetProgramFlag(int on);
int IsSearchAndDisplayUpdatesDisabled();  // the update check does not run
void SetSearchAndDisplayUpdatesDisabled(int on);
// Extracted files take the zone the archive was downloaded from. On by default, so its bit
// holds the opposite: a word saved before the option existed keeps the files marked.
int IsZoneMarkOff();
void SetZoneMarkOff(int on);
int IsMarkExtractedFiles();
void SetMarkExtractedFiles(int on);

// The word from the flags, and the flags from a word. Bits without an option are dropped.
DWORD MakeOptionWord();
void SplitOptionWord(DWORD word);
// Every option back to its built-in default.
void ResetOptions();
