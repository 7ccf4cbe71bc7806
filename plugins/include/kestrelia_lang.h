/* The language library's contract: every user-visible text, addressed by number, in the
   language chosen with SetLanguage (7 is German, anything else English). Texts are 8-bit
   in the ANSI code page, owned by the library and valid for the life of the process. */
#ifndef KESTRELIA_LANG_H
#define KESTRELIA_LANG_H

#ifdef KESTRELIA_LANG_BUILD
#define KLANG_API __declspec(dllexport)
#else
#define KLANG_API __declspec(dllimport)
#endif

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
