// Every registry value the program reads or writes, named once so that loading and saving
// cannot drift apart.
#pragma once

// HKEY_CURRENT_USER: what the user changes through the program.
constexpr char kValueConfiguration[] = "configuration";
constexpr char kValueLanguage[] = "language";  // read from HKEY_LOCAL_MACHINE first
constexpr char kValueColorMenuHigh[] = "ColorMenuHigh";
constexpr char kValueColorMenuLow[] = "ColorMenuLow";
constexpr char kValueColorMenuSelection[] = "ColorMenuSelection";
constexpr char kValueViewXY[] = "ViewXY";
constexpr char kValueViewWH[] = "ViewWH";
constexpr char kValueMinPicSize[] = "MinPicSize";
constexpr char kValueDragLayered[] = "DragLayered";
constexpr char kValueSkipCRCCheck[] = "SkipCRCCheck";
constexpr char kValueFontConfiguration[] = "FontConfiguration";
constexpr char kValueTestMethod[] = "TestMethod";
constexpr char kValueFileList[] = "file_list";
constexpr char kValueJadPath[] = "JadPath";
constexpr char kValueRichEdit[] = "RichEdit";
constexpr char kValueUpdateAddress[] = "UpdateAddress";
constexpr char kValueFontPrint[] = "FontPrint";
constexpr char kValueFontPrintSize[] = "FontPrintSize";
constexpr char kValueCurrent[] = "current";
constexpr char kValueCurrPath[] = "currpath";
constexpr char kValueWindowPlacement[] = "WindowPlacement";
// 1: an entry found damaged while it was extracted stays under its name (what could be read).
constexpr char kValueKeepBrokenFiles[] = "KeepBrokenFiles";

// HKEY_LOCAL_MACHINE: diagnostic switches an administrator sets by hand; never written.
constexpr char kValuePictureLabelWidth[] = "PictureLabelWidth";
constexpr char kValuePictureLabelHeight[] = "PictureLabelHeight";
constexpr char kValueDebugConsole[] = "debug_console";
constexpr char kValueVerbose[] = "verbose";
constexpr char kValuePrintToLogFile[] = "PrintToLogFile";
constexpr char kValueDeleteSimulation[] = "DeleteSimulation";
constexpr char kValueDragAsThread[] = "DragAsThread";
constexpr char kValueDisplayCompanyLogo[] = "DisplayCompanyLogo";
