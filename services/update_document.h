// The update server's side of the update check: fetching its document and reading what it
// says about this program. Nothing here shows anything or knows the settings.
#pragma once
#include "services/base.h"

// The download buffer: one read of at most this many bytes (a longer document is cut).
constexpr int kUpdateDocumentSize = 4096;
constexpr int kUpdateVersionSize = 260;
constexpr int kUpdateAddressSize = 2048;

// Whether the remote version text announces a newer release than own. "_" reads as a blank
// and "." as "0", so "1.2" is 102 and "1.2_b" is 102 with the suffix "b"; numbers decide,
// and on equal numbers the suffixes: none of our own means not newer, ours against none
// means newer, else the first differing character, where a greater one of ours means newer.
bool IsRemoteVersionNewer(const char* own, const char* remote);
// The release date "DD.MM.YYYY" taken by character positions, weighed as
// month + (day + 12 * year - 24000) * 31 against 4252.
bool IsReleaseDateAccepted(const char* date);

// Fetches the document at address with one read into text (kUpdateDocumentSize + 1 bytes,
// zero-terminated). False when WinINet cannot be had, the address cannot be opened or the
// read fails (each printed with the system's error).
bool DownloadUpdateDocument(const char* address, char* text);

enum UpdateDocumentResult { UPDATE_DOCUMENT_READ, UPDATE_DOCUMENT_NO_LIBRARY, UPDATE_DOCUMENT_NOT_XML };
struct UpdateFindings {
  bool newer;       // the program's entry names a newer version
  bool dateAccepted;
  char version[kUpdateVersionSize];   // the newer version's text
  char address[kUpdateAddressSize];   // its download address
};
// Reads the document's entry for program (the leaf "name" whose text is the program file
// opens it, another "name" closes it) with xml.dll, comparing with own.
UpdateDocumentResult ReadUpdateDocument(const char* text, const char* program, const char* own, UpdateFindings* found);
