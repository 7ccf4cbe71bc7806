// Turning an entry's bytes into the text a viewer shows. The encoding is decided once, from
// its first bytes: a byte-order mark (UTF-8, UTF-16 either way), else UTF-8 when those bytes
// are valid UTF-8, else Windows-1252 (the process code page is UTF-8, so the "ANSI" text of
// older archives is the western code page most of them were written in).
#pragma once
#include "services/base.h"

#include <string>

enum TextEncoding { TEXT_UTF8, TEXT_UTF16LE, TEXT_UTF16BE, TEXT_CP1252 };

// The encoding of a text that begins with these bytes, and how many of them are its mark.
TextEncoding DetectTextEncoding(const unsigned char* head, size_t count, size_t* markLength);

// Decodes a text that arrives in pieces of any size: a character split between two pieces
// is kept back until the rest arrives. Its first 4 KiB decide the encoding.
struct TextDecoder {
  bool decided = false;
  TextEncoding encoding = TEXT_UTF8;
  std::string pending;  // bytes of a character not yet whole
  // Appends the text of the piece to out; last flushes what is kept back (an incomplete
  // character becomes U+FFFD).
  void Feed(const char* bytes, size_t count, bool last, std::wstring& out);
};
