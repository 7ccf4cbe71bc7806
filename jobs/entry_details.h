// What an entry's properties show beyond its row: the archive's own record of it, as each
// kind that keeps one reads it.
#pragma once
#include "services/base.h"

#include <string>

struct EntryDetails {
  std::string method;       // the compression method, with its encryption ("AES-256, Deflate")
  uint32_t crc = 0;
  bool hasCrc = false;
  uint32_t attributes = 0;  // FILE_ATTRIBUTE_* as the archive keeps them
  std::string comment;      // UTF-8, "" for none
};
