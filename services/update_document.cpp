#include "services/update_document.h"

#include <cstdio>
#include <cstring>

#include "plugins/include/kestrelia_xml.h"
#include "services/log.h"
#include "services/runtime_library.h"
#include "services/system_libraries.h"

KESTRELIA_RUNTIME_LIBRARY(XmlDll, KESTRELIA_XML_FILE, KESTRELIA_XML_API_LIST)

namespace {

struct VersionText {
  int number;
  const char* suffix;  // "" when there is none
  char text[kUpdateVersionSize];
};

// The first blank-separated token read as a number digit by digit, with no check that the
// characters are digits, as the versions have always been compared.
void ParseVersion(const char* version, VersionText* out) {
  snprintf(out->text, sizeof out->text, "%s", version);
  for (char* c = out->text; *c; ++c) {
    if (*c == '_') *c = ' ';
    if (*c == '.') *c = '0';
  }
  const char* c = out->text;
  while (*c == ' ') ++c;
  unsigned number = 0;
  for (; *c && *c != ' '; ++c) number = number * 10 + static_cast<unsigned>(*c - '0');
  out->number = static_cast<int>(number);
  while (*c == ' ') ++c;
  out->suffix = c;
}

}  // namespace

bool IsRemoteVersionNewer(const char* own, const char* remote) {
  VersionText mine, theirs;
  ParseVersion(own, &mine);
  ParseVersion(remote, &theirs);
  if (mine.number != theirs.number) return theirs.number > mine.number;
  if (!*mine.suffix) return false;
  if (!*theirs.suffix) return true;
  const signed char* a = reinterpret_cast<const signed char*>(mine.suffix);
  const signed char* b = reinterpret_cast<const signed char*>(theirs.suffix);
  for (; *a || *b; ++a, ++b)
    if (*a != *b) return *a > *b;
  return false;
}

bool IsReleaseDateAccepted(const char* date) {
  char d[16] = {};
  snprintf(d, sizeof d, "%s", date);
  auto digit = [&](int i) { return d[i] - '0'; };
  int day = digit(0) * 10 + digit(1);
  int month = digit(3) * 10 + digit(4);
  int year = digit(6) * 1000 + digit(7) * 100 + digit(8) * 10 + digit(9);
  return month + (day + 12 * year - 24000) * 31 > 4252;
}

bool DownloadUpdateDocument(const char* address, char* text) {
  std::memset(text, 0, kUpdateDocumentSize + 1);
  auto open = Wininet::InternetOpenA();
  auto openUrl = Wininet::InternetOpenUrlA();
  auto read = Wininet::InternetReadFile();
  auto close = Wininet::InternetCloseHandle();
  if (!open || !openUrl || !read || !close) {
    printf("InternetOpen fails %lu\n", GetLastError());
    return false;
  }
  // No cookies, no user interface, no cache; no redirects followed.
  void* session = open("MSMSGS", 0, nullptr, nullptr, 0x80300);
  if (!session) {
    printf("InternetOpen fails %lu\n", GetLastError());
    return false;
  }
  bool ok = false;
  void* request = openUrl(session, address, "", static_cast<DWORD>(-1), 0x280000, 0);
  if (!request) {
    printf("InternetOpenURL fails %lu\n", GetLastError());
  } else {
    // One read: what does not come with it is not looked at.
    DWORD got = 0;
    ok = read(request, text, kUpdateDocumentSize, &got) != FALSE;
    printf(ok ? "InternetReadFile ok %lu\n" : "InternetReadFile fails %lu\n", GetLastError());
    text[got < static_cast<DWORD>(kUpdateDocumentSize) ? got : kUpdateDocumentSize] = '\0';
    close(request);
  }
  close(session);
  return ok;
}

UpdateDocumentResult ReadUpdateDocument(const char* text, const char* program, const char* own, UpdateFindings* found) {
  std::memset(found, 0, sizeof *found);
  auto load = XmlDll::xmlLoadString();
  auto next = XmlDll::xmlWalkNext();
  if (!load || !next) {
    printf("could not find \"%s\"\n", KESTRELIA_XML_FILE);
    return UPDATE_DOCUMENT_NO_LIBRARY;
  }
  XmlNode* root = load(nullptr, text, 0);
  if (!root) return UPDATE_DOCUMENT_NOT_XML;
  bool inSection = false;
  for (XmlNode* node = root; node; node = next(node, root, 1)) {
    if (node->kind != XML_NODE_TEXT || node->firstChild) continue;
    if (std::strcmp(node->name, "name") == 0) {
      inSection = std::strcmp(node->text, program) == 0;
    } else if (!inSection) {
      continue;
    } else if (std::strcmp(node->name, "version") == 0) {
      found->newer = IsRemoteVersionNewer(own, node->text);
      if (found->newer) snprintf(found->version, sizeof found->version, "%s", node->text);
    } else if (std::strcmp(node->name, "date") == 0) {
      found->dateAccepted = IsReleaseDateAccepted(node->text);
    } else if (std::strcmp(node->name, "downloadurl") == 0) {
      snprintf(found->address, sizeof found->address, "%s", node->text);
    }
  }
  if (auto freeTree = XmlDll::xmlFreeTree()) freeTree(root);
  return UPDATE_DOCUMENT_READ;
}
