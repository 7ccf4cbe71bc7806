/* The language library's contract: every user-visible text, addressed by number, in the
   language chosen with SetLanguage (7 is German, anything else English; only the low 8 bits
   of the number are compared). Texts are UTF-8 (the program's code page), owned by the library and valid
   for the life of the process.

   Every number of a range below answers with a non-empty text in every language; a number
   outside the ranges answers with the empty string, never with a null pointer.

     GetMessageText              0..116, 130..158, 160..161, 180..186, 230..237
     GetGenericText              0..87
     GetMenuText                 5001..5005 (the menus of res/resource.h)
     GetMenuItemText             4001..4032 except 4025 (command identifiers of res/resource.h);
                                 captions carry their & accelerator but no shortcut key
     GetPopupText                0..27 (KLANG_POPUP_*)
     GetStatusWindowToolTipText  0..5, one per status-bar part
     GetToolBarText, GetToolBarToolTipText
                                 0..11, the main tool bar's buttons in their order
                                 (KLANG_TB_*)
     GetToolBarText2, GetToolBarToolTipText2, and their ...WI forms (the same texts)
                                 0..10, the folder tool bar's buttons (KLANG_TB2_*)
     GetConfigurationText        5..119, the configuration dialog and the history window
                                 (KLANG_CFG_*)
     GetPluginText               0..10, the RAR library's errors, a damaged TAR
     GetLanguageString           0..KLANG_LANGUAGE_COUNT-1, the languages offered by the
                                 configuration dialog in list order; each language also
                                 answers by its language number (9 English, 7 German). Each
                                 name is written in its own language, so that a reader finds
                                 his language whatever the current one is.

   GetConfirmationDialogText() gives the six button labels of the overwrite question in
   answer order (overwrite, overwrite all, skip, cancel, skip all, rename), separated by '\n',
   for example "&Yes\nYes to &all\n&No\n&Cancel\nN&o to all\n&Rename"; the caller splits it.

   GetConsoleHelpText() is the help for the command line; its lines end with "\r\n".

   The message and generic texts that callers put into printf formats (such as 3..7, 14..16,
   35/36/99, 57..62) hold no '%' themselves; no text of the library does. */
#ifndef KESTRELIA_LANG_H
#define KESTRELIA_LANG_H

#include "kestrelia_texts.h"

#ifdef KESTRELIA_LANG_BUILD
#define KLANG_API __declspec(dllexport)
#else
#define KLANG_API __declspec(dllimport)
#endif

/* Language numbers (Windows primary language identifiers). */
#define KLANG_LANGUAGE_GERMAN 7
#define KLANG_LANGUAGE_ENGLISH 9
#define KLANG_LANGUAGE_COUNT 2
/* The language numbers in the order of GetLanguageString. */
#define KLANG_LANGUAGE_LIST {KLANG_LANGUAGE_ENGLISH, KLANG_LANGUAGE_GERMAN}

/* Main tool bar buttons (GetToolBarText / GetToolBarToolTipText). */
#define KLANG_TB_OPEN 0
#define KLANG_TB_NEW_ARCHIVE 1
#define KLANG_TB_ADD_FILES 2
#define KLANG_TB_ADD_FOLDER 3
#define KLANG_TB_EXTRACT_ALL 4
#define KLANG_TB_VIEW_ENTRY 5
#define KLANG_TB_DELETE 6
#define KLANG_TB_FIND 7
#define KLANG_TB_PROPERTIES 8
#define KLANG_TB_FULL_LIST 9
#define KLANG_TB_FOLDER_TREE 10
#define KLANG_TB_FIND_IN_CONTENTS 11
#define KLANG_TB_COUNT 12

/* Folder tool bar buttons (GetToolBarText2 / GetToolBarToolTipText2). */
#define KLANG_TB2_UP 0
#define KLANG_TB2_EXPAND_ALL 1
#define KLANG_TB2_COLLAPSE_ALL 2
#define KLANG_TB2_EXTRACT_FOLDER 3
#define KLANG_TB2_FIND_IN_CONTENTS 4
#define KLANG_TB2_FIND_PREVIOUS 5
#define KLANG_TB2_FIND_NEXT 6
#define KLANG_TB2_RELOAD 7
#define KLANG_TB2_SELF_EXTRACTING 8
#define KLANG_TB2_CONFIGURATION 9
#define KLANG_TB2_HELP 10
#define KLANG_TB2_COUNT 11

/* Context menu items (GetPopupText). */
#define KLANG_POPUP_VIEW 0
#define KLANG_POPUP_OPEN_WITH 1
#define KLANG_POPUP_EXTRACT_SELECTED 2
#define KLANG_POPUP_EXTRACT_ALL 3
#define KLANG_POPUP_DELETE 4
#define KLANG_POPUP_RENAME 5
#define KLANG_POPUP_CUT 6
#define KLANG_POPUP_COPY 7
#define KLANG_POPUP_PASTE 8
#define KLANG_POPUP_SELECT_ALL 9
#define KLANG_POPUP_FIND 10
#define KLANG_POPUP_FIND_IN_CONTENTS 11
#define KLANG_POPUP_FIND_NEXT 12
#define KLANG_POPUP_PROPERTIES 13
#define KLANG_POPUP_EXPAND 14
#define KLANG_POPUP_COLLAPSE 15
#define KLANG_POPUP_EXPAND_ALL 16
#define KLANG_POPUP_EXTRACT_FOLDER 17
#define KLANG_POPUP_RENAME_FOLDER 18
#define KLANG_POPUP_DELETE_FOLDER 19
#define KLANG_POPUP_REMOVE_EMPTY_FOLDERS 20
#define KLANG_POPUP_ADD_FILES 21
#define KLANG_POPUP_ADD_FOLDER 22
#define KLANG_POPUP_COPY_PATH 23
#define KLANG_POPUP_SORT_ASCENDING 24
#define KLANG_POPUP_SORT_DESCENDING 25
#define KLANG_POPUP_RELOAD 26
#define KLANG_POPUP_SELF_EXTRACTING 27

/* Configuration dialog (GetConfigurationText): title, groups, one label per option of the
   option word (named after the option) and the dialog's other controls. */
#define KLANG_CFG_TITLE 5
#define KLANG_CFG_GROUP_GENERAL 6
#define KLANG_CFG_GROUP_COMPRESSION 7
#define KLANG_CFG_GROUP_PICTURES 8
#define KLANG_CFG_GROUP_HISTORY 9
#define KLANG_CFG_GROUP_APPEARANCE 10
#define KLANG_CFG_DEFAULT_COMPRESSION 11
#define KLANG_CFG_CREATE_SELF_EXECUTABLE 12
#define KLANG_CFG_PASSWORD_ENCRYPTED 13
#define KLANG_CFG_FILE_FILTER 14
#define KLANG_CFG_PLAIN_DIRECTORY 15
#define KLANG_CFG_PREVIEW_PICTURE_FILES 16
#define KLANG_CFG_REMEMBER_SORTED_COLUMN 17
#define KLANG_CFG_OPEN_PREFERRED_INTERNALLY 18
#define KLANG_CFG_ADD_DIRECTORIES_COMBO 19
#define KLANG_CFG_PREFERRED_FORMAT 20
#define KLANG_CFG_PREFERRED_TAR 21
#define KLANG_CFG_PREFERRED_ZIP 22
#define KLANG_CFG_ENABLE_SAVE_BUTTON 23
#define KLANG_CFG_USE_JAD_FOR_CLASS_FILES 24
#define KLANG_CFG_USE_MODERN_MENU_STYLE 25
#define KLANG_CFG_SAVE_RICH_EDIT_SETTINGS 26
#define KLANG_CFG_CHECK_HISTORY_ENABLE 27
#define KLANG_CFG_CHECK_HISTORY_PASSWORD 28
#define KLANG_CFG_HIDE_DIALOG_FILES_DIRS 29
#define KLANG_CFG_SHOW_PICTURES_CENTERED 30
#define KLANG_CFG_SHOW_PICTURES_WITH_SCROLL_BARS 31
#define KLANG_CFG_CHECK_SEARCH_AND_DISPLAY_UPDATES 32
#define KLANG_CFG_LANGUAGE 33
#define KLANG_CFG_COLOR_MENU_HIGH 34
#define KLANG_CFG_COLOR_MENU_LOW 35
#define KLANG_CFG_CHOOSE_COLOR 36
#define KLANG_CFG_JAD_PATH 37
#define KLANG_CFG_BROWSE 38
#define KLANG_CFG_MIN_PIC_SIZE 39
#define KLANG_CFG_PIXELS 40
#define KLANG_CFG_LEVEL_STORE 41
#define KLANG_CFG_LEVEL_FASTEST 42
#define KLANG_CFG_LEVEL_NORMAL 43
#define KLANG_CFG_LEVEL_BEST 44
#define KLANG_CFG_OK 46
#define KLANG_CFG_CANCEL 47
#define KLANG_CFG_LANGUAGE_NEXT_START 50
#define KLANG_CFG_CHECK_NOW 64
#define KLANG_CFG_CLEAR_HISTORY 65
#define KLANG_CFG_ASSOCIATE 72
#define KLANG_CFG_ASSOCIATE_ZIP 73
#define KLANG_CFG_ASSOCIATE_TAR 74
#define KLANG_CFG_ASSOCIATE_ISO 75
#define KLANG_CFG_ASSOCIATE_RAR 76
#define KLANG_CFG_TAB_GENERAL 6
#define KLANG_CFG_TAB_HISTORY 9
#define KLANG_CFG_TAB_EXTRACTION 56
#define KLANG_CFG_TAB_UPDATES 57
#define KLANG_CFG_TAB_DRAG_AND_DROP 59
#define KLANG_CFG_TAB_VIEW 101
#define KLANG_CFG_TAB_VIEWERS 102
#define KLANG_CFG_HISTORY_TITLE 103
#define KLANG_CFG_HISTORY_TIME 104
#define KLANG_CFG_HISTORY_ARCHIVE 105
#define KLANG_CFG_HISTORY_DESTINATION 106
#define KLANG_CFG_HISTORY_ENTRIES 107
#define KLANG_CFG_HISTORY_RESULT 108
#define KLANG_CFG_HISTORY_EXTRACT_AGAIN 109
#define KLANG_CFG_HISTORY_OPEN_FOLDER 110
#define KLANG_CFG_HISTORY_DELETE 111
#define KLANG_CFG_HISTORY_CLEAR 112
#define KLANG_CFG_HISTORY_CLOSE 113
#define KLANG_CFG_HISTORY_DONE 114
#define KLANG_CFG_HISTORY_FAILED 115
#define KLANG_CFG_HISTORY_CANCELLED 116
#define KLANG_CFG_HISTORY_WRONG_PASSWORD 117
#define KLANG_CFG_HISTORY_NOT_SAVED 118
#define KLANG_CFG_MARK_EXTRACTED_FILES 119

#ifdef __cplusplus
extern "C" {
#endif

KLANG_API const char* GetMessageText(int n);
KLANG_API const char* GetGenericText(int n);
KLANG_API const char* GetMenuText(int n);
KLANG_API const char* GetMenuItemText(int n);
KLANG_API const char* GetPopupText(int n);
KLANG_API const char* GetStatusWindowToolTipText(int n);
KLANG_API const char* GetToolBarText(int n);
KLANG_API const char* GetToolBarText2(int n);
KLANG_API const char* GetToolBarText2WI(int n);
KLANG_API const char* GetToolBarToolTipText(int n);
KLANG_API const char* GetToolBarToolTipText2(int n);
KLANG_API const char* GetToolBarToolTipText2WI(int n);
KLANG_API const char* GetConfigurationText(int n);
KLANG_API const char* GetConfirmationDialogText(void);
KLANG_API const char* GetConsoleHelpText(void);
KLANG_API const char* GetPluginText(int n);
KLANG_API const char* GetLanguageString(int n);

KLANG_API const char* GetDescriptionFilename(void);
KLANG_API const char* GetDescriptionEncrypted(void);
KLANG_API const char* GetDescriptionCompressed(void);
KLANG_API const char* GetDescriptionUncompressed(void);
KLANG_API const char* GetDescriptionCompressionRatio(void);
KLANG_API const char* GetDescriptionDate(void);
KLANG_API const char* GetDescriptionType(void);
KLANG_API const char* GetDescriptionPath(void);

KLANG_API int SetLanguage(int language);
KLANG_API int GetLanguage(void);
KLANG_API int GetGCountry(void);

#ifdef __cplusplus
}
#endif

#endif
