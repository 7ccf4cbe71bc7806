// One logging function for the whole program: a level filter against the verbosity, the
// standard output, and optionally a log file beside the program, flushed after every line.
#pragma once
#include "services/base.h"

#include <ctime>

#if defined(__GNUC__)
#define KESTRELIA_PRINTF(fmt, args) __attribute__((format(gnu_printf, fmt, args)))
#else
#define KESTRELIA_PRINTF(fmt, args)
#endif

// Writes when level < verbosity, or always when level is -1. Returns 0.
int Log(int level, int verbosity, const char* format, ...) KESTRELIA_PRINTF(3, 4);

void SetVerbose(int level);
int GetVerbose();
void SetPrintToLogFile(int on);
int IsPrintToLogFile();

// Opens a console of the process's own and routes the standard output there.
void OpenDebugConsole(int on);
int IsDebugConsole();

// The "<program path without extension>_log_<YYYYmmdd_HHMMSS>.txt" name for a given program
// path and start time; the buffer takes kPathBuf characters.
void MakeLogFileName(const char* programPath, time_t start, char* out, size_t outSize);
// The log file in use, or an empty string before the first file write.
const char* GetLogFileName();
// Closes the log file so that tests can start a new one; the program never needs it.
void CloseLogFile();

// The folder "<application data>\Kestrelia": whether it exists, and its path.
BOOL CheckExistenceUserAppDataDirectory();
int GetUserAppDataDirectory(char* out, size_t outSize);
