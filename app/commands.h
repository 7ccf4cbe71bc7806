// Command identifiers of the main window's menus, tool bar and keys. The numbers are also the
// language library's numbers for the menu items' captions (GetMenuItemText) and menus
// (GetMenuText), so they must not move.
#pragma once

// Menus.
#define IDM_MENU_FILE 5001
#define IDM_MENU_EDIT 5002
#define IDM_MENU_VIEW 5003
#define IDM_MENU_TOOLS 5004
#define IDM_MENU_HELP 5005

// File.
#define IDM_OPEN 4001
#define IDM_RECENT 4002          // the recent-files submenu
#define IDM_NEW_ARCHIVE 4003
#define IDM_ADD_FILES 4004
#define IDM_ADD_FOLDER 4005
#define IDM_EXTRACT_ALL 4006
#define IDM_EXTRACT_SELECTED 4007
#define IDM_PROPERTIES 4008
#define IDM_EXIT 4009
#define IDM_TEST_ARCHIVE 4029
#define IDM_CLOSE_ARCHIVE 4030
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
// 4025 is never used.
// Help.
#define IDM_HELP 4026
#define IDM_CHECK_UPDATE 4027
#define IDM_ABOUT 4028
// Edit, added later.
#define IDM_FIND_PREVIOUS 4031

// Keys without a menu item: the parent of the selected folder (Backspace in the views too).
#define IDM_PARENT_FOLDER 4090

// The recent files take the identifiers from here on, one per slot.
#define IDM_RECENT_FIRST 4100
#define IDM_RECENT_SLOTS 4
