// Handing a file to other programs: the one Windows associates with it, or the one the user
// picks in the shell's "Open with" choice.
#pragma once
#include "services/base.h"

#include <string>

// Opens the file with the program associated with its extension, on a thread of its own so a
// slow program start never blocks the window; a name without an association opens in the
// program registered for text files. Program files are started only after the user agreed.
// 0 when the file was handed on, 1 otherwise.
int CallApp(const char* path);
// The shell's "Open with" choice for the file. 0 when the choice was shown, 1 when the file
// does not exist or no way to show it was found.
int OpenAs(const char* path);
// CreateProcessA with the program's error box on failure; 0 on success.
int StartProcess(const char* application, char* commandLine);
// Names that start a program when opened.
bool IsProgramFile(const char* path);
// The registered command of a class ("txtfile\shell\open\command"'s default value) made into
// a command line for path: a trailing "\"%1\"" or "%1" takes the path (quoted or not), "/e"
// and "/dde" get a blank and the quoted path, anything else the path appended. False when
// the result does not fit kPathBuf.
bool ShapeCommandLine(const char* command, const char* path, char (&out)[kPathBuf]);
// Runs the class-file tool (jadPath) on a class file and collects what it prints, the
// class's source text; false when the tool could not be started.
bool ProcessJad(const char* jadPath, const char* classFile, std::string& text);
