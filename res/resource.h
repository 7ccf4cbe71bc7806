// Every resource, control, command, timer and private message identifier of the program, in
// ranges per window and dialog, so that no two collide and a new one finds its place. Only
// #define lines: the resource compiler reads this file too.
#pragma once

// ---- Resources (300..399) ----
#define IDI_KESTRELIA 301

// ---- Dialog controls of the help dialog (100..199) ----
#define IDC_HELP_TEXT 100
#define IDC_HELP_FONT 101

// ---- About dialog (200..299) ----
#define IDC_ABOUT_ICON 200
#define IDC_ABOUT_NAME 201
#define IDC_ABOUT_VERSION 202
#define IDC_ABOUT_LIBRARIES_LABEL 203
#define IDC_ABOUT_LIBRARIES 204

// ---- Main window controls (1000..1099) ----
#define IDC_MAIN_LIST 1001       // the full list
#define IDC_MAIN_TREE_LIST 1002  // the folder list beside the tree
#define IDC_MAIN_TREE 1003
#define IDC_MAIN_STATUS 1004
#define IDC_MAIN_TOOLBAR 1005

// ---- Main window commands (4001..4099): also the language library's numbers of the menu
// items' captions (GetMenuItemText), so they must not move ----
// File.
#define IDM_OPEN 4001
#define IDM_RECENT 4002  // the recent-files submenu
#define IDM_NEW_ARCHIVE 4003
#define IDM_ADD_FILES 4004
#define IDM_ADD_FOLDER 4005
#define IDM_EXTRACT_ALL 4006
#define IDM_EXTRACT_SELECTED 4007
#define IDM_PROPERTIES 4008
#define IDM_EXIT 4009
// Edit.
#define IDM_VIEW_ENTRY 4010
#define IDM_OPEN_WITH 4011
#define IDM_DELETE 4012
#define IDM_RENAME 4013
#define IDM_SELECT_ALL 4014
#define IDM_FIND 4015
#define IDM_FIND_IN_CONTENTS 4016
#define IDM_FIND_NEXT 4017
// View.
#define IDM_FULL_LIST 4018
#define IDM_FOLDER_TREE 4019
#define IDM_RELOAD 4020
// Tools.
#define IDM_SELF_EXTRACTING 4021
#define IDM_CONFIGURATION 4022
#define IDM_LANGUAGE 4023
#define IDM_REGISTRY_VALUES 4024
#define IDM_TEST_ARCHIVE 4029
#define IDM_CLOSE_ARCHIVE 4030
// 4025 is never used.
// Help.
#define IDM_HELP 4026
#define IDM_CHECK_UPDATE 4027
#define IDM_ABOUT 4028
// Edit, added later.
#define IDM_FIND_PREVIOUS 4031
// Tools, added later.
#define IDM_HISTORY 4032
// Edit, added later.
#define IDM_CUT 4043
#define IDM_COPY 4044
#define IDM_PASTE 4045
// The viewers' own items.
#define IDM_VIEWER_PRINT 4035
#define IDM_VIEWER_CLOSE 4036
#define IDM_VIEWER_FONT 4037
#define IDM_VIEWER_ZOOM_IN 4038
#define IDM_VIEWER_ZOOM_OUT 4039
#define IDM_VIEWER_FIT 4040
#define IDM_VIEWER_NEXT 4041
#define IDM_VIEWER_PREVIOUS 4042

// Keys without a menu item: the parent of the selected folder (Backspace in the views too).
#define IDM_PARENT_FOLDER 4090
// Posted when a target reports that the cut entries were pasted.
#define IDM_CUT_PASTED 4091

// The recent files (4100..4199), one identifier per slot.
#define IDM_RECENT_FIRST 4100
#define IDM_RECENT_SLOTS 4

// ---- Main window menus (5001..5099): the language library's GetMenuText numbers ----
#define IDM_MENU_FILE 5001
#define IDM_MENU_EDIT 5002
#define IDM_MENU_VIEW 5003
#define IDM_MENU_TOOLS 5004
#define IDM_MENU_HELP 5005

// ---- Main window timers (4321, 9900..9999) ----
#define IDT_TREE_FILL 4321           // folds a burst of tree selection changes into one fill
#define IDT_SELECTION_STATUS 9997   // folds a burst of selection changes into one status text
#define IDT_CLOSE_WHEN_STOPPED 9998  // a close request waits for the cancelled run to stop
#define IDT_EXTRACTION 9999          // the status bar's elapsed time and rate during a run

// ---- Viewer windows (1100..1199) ----
#define IDC_VIEWER_TEXT 1101

// ---- Creation options dialog (3100..3199) ----
#define IDC_CREATION_LEVEL 3101
#define IDC_CREATION_PREFIX 3102
#define IDC_CREATION_PASSWORD 3103
#define IDC_CREATION_CONFIRM 3104
#define IDC_CREATION_PLAIN 3105
#define IDC_CREATION_RECURSE 3106
#define IDC_CREATION_OK 3107
#define IDC_CREATION_CANCEL 3108
#define IDC_CREATION_SUBJECT 3109

// ---- Configuration dialog (3200..3299) ----
#define IDC_CFG_TABS 3200
#define IDC_CFG_OK 3201
#define IDC_CFG_CANCEL 3202
#define IDC_CFG_LANGUAGE 3203
#define IDC_CFG_LEVEL 3204
#define IDC_CFG_PREFERRED_TAR 3205
#define IDC_CFG_PREFERRED_ZIP 3206
#define IDC_CFG_COLOR_HIGH 3207
#define IDC_CFG_COLOR_HIGH_CHOOSE 3208
#define IDC_CFG_COLOR_LOW 3209
#define IDC_CFG_COLOR_LOW_CHOOSE 3210
#define IDC_CFG_JAD_PATH 3211
#define IDC_CFG_JAD_BROWSE 3212
#define IDC_CFG_MIN_PIC 3213
#define IDC_CFG_MIN_PIC_SIZE 3214
#define IDC_CFG_MIN_PIC_UPDOWN 3215
#define IDC_CFG_CHECK_NOW 3216
#define IDC_CFG_CLEAR_HISTORY 3217
#define IDC_CFG_ASSOCIATE_FIRST 3220  // one per group of archive types, in the dialog's order
#define IDC_CFG_OPTION_FIRST 3240     // one check box per option bit, in the dialog's order

// ---- History window (3300..3399) ----
#define IDC_HISTORY_LIST 3300
#define IDC_HISTORY_EXTRACT 3301
#define IDC_HISTORY_OPEN_FOLDER 3302
#define IDC_HISTORY_DELETE 3303
#define IDC_HISTORY_CLEAR 3304
#define IDC_HISTORY_CLOSE 3305

// ---- Password dialog (12000..12009) ----
#define IDC_PASSWORD_EDIT 12003
#define IDC_PASSWORD_OK 12004  // only this one counts as acceptance
#define IDC_PASSWORD_CANCEL 12005

// ---- Overwrite question (12010..12019) ----
#define IDC_OVERWRITE_TEXT 12010
#define IDC_OVERWRITE_FIRST 12011  // one per answer: overwrite, overwrite all, skip, cancel, skip all, rename

// ---- Progress dialog (30000..30099, 40001..40099 for its drawn lines) ----
#define IDC_PROGRESS_BAR 30000
#define IDC_PROGRESS_TITLE 30001
#define IDC_PROGRESS_CANCEL 30002
#define IDC_PROGRESS_DETAIL 30003
#define IDC_PROGRESS_SECOND_LINE 30004
#define IDC_PROGRESS_EXPAND_ICON 30005
#define IDC_PROGRESS_FIGURES 30006
#define IDC_PROGRESS_TOP_LINE 40001
#define IDC_PROGRESS_BUTTON_LINE 40002

// ---- Private messages (WM_APP + n) ----
// Main window, posted by workers: enable the commands that fit the current state.
#define WM_APP_REFRESH_TOOLBAR (WM_APP + 1)
// Main window: a listing ended while the folder tree is shown.
#define WM_APP_REBUILD_TREE (WM_APP + 2)
// Main window, posted by a listing thread: the rows it stored are to be shown (wParam what
// happened, lParam its data; ui/listing_view).
#define WM_APP_LISTING_EVENT (WM_APP + 3)
// Main window, posted by the listing thread: wParam 1 an archive starts opening, 0 it is open
// or failed (the wait cursor and the status text follow).
#define WM_APP_OPENING (WM_APP + 4)
// Main window, posted by an extraction worker: wParam 1 starts IDT_EXTRACTION, 0 kills it
// (timers belong to the window's own thread).
#define WM_APP_EXTRACTION_TIMER (WM_APP + 99)
// Main window, posted at a run's end: lParam is its result text (malloc'ed; the window frees it).
#define WM_APP_RUN_RESULT (WM_APP + 100)
// Main window, sent by a rewrite worker: lParam is the finished job, which ApplyEntryRewrite
// takes over.
#define WM_APP_ENTRIES_REWRITTEN (WM_APP + 0x120)
// Progress dialog: closed by the worker or a cancel from code, not by the user's cancel.
#define WM_APP_PROGRESS_CLOSE_FROM_CODE (WM_APP + 0x301)
