// xml.dll through its exported entry points, as the program calls them: every element of a
// document in document order, a document cut off mid-way read up to the cut, and what is not
// XML refused.
#include "services/base.h"

#include <gtest/gtest.h>

#include <string>

#include "plugins/include/kestrelia_xml.h"

#define XML_ENTRY_TYPE(name, result, parameters) typedef result(__cdecl* name##Fn) parameters;
KESTRELIA_XML_API_LIST(XML_ENTRY_TYPE)

namespace {

template <typename Fn>
Fn Entry(const char* name) {
  static HMODULE module = LoadLibraryA(KESTRELIA_XML_FILE);
  return reinterpret_cast<Fn>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

// The walk as "name[kind]=text" per element, children after their parent; "null" when the
// document is refused.
std::string Walk(const char* document) {
  auto load = Entry<xmlLoadStringFn>("xmlLoadString");
  auto next = Entry<xmlWalkNextFn>("xmlWalkNext");
  auto freeTree = Entry<xmlFreeTreeFn>("xmlFreeTree");
  XmlNode* root = load(nullptr, document, 0);
  if (!root) return "null";
  std::string walk;
  for (XmlNode* node = root; node; node = next(node, root, 1)) {
    walk += std::string(node->name) + "[" + std::to_string(node->kind) + "]";
    if (*node->text) walk += "=" + std::string(node->text);
    walk += node->firstChild ? ">" : " ";
  }
  freeTree(root);
  return walk;
}

TEST(XmlDll, ReadsDocumentsInDocumentOrder) {
  struct Case {
    const char* document;
    const char* walk;
  } cases[] = {
      {"<?xml version=\"1.0\"?>\n<files>\n <file><name> Kestrelia.exe </name><version>1.3</version></file>\n"
       " <file><name>other</name></file>\n</files>\n",
       "files[1]>file[1]>name[4]=Kestrelia.exe version[4]=1.3 file[1]>name[4]=other "},
      // Text around children belongs to the element that holds it; entities and UTF-8 decode.
      {"<a>x<b/>y &amp; \xC3\xA4</a>", "a[4]=xy & \xC3\xA4>b[1] "},
      {"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>\xE4</a>", "a[4]=\xC3\xA4 "},
      // Cut off inside an element and inside a tag: what came before the cut is there.
      {"<files><file><name>Kestrelia.exe</name><version>1.", "files[1]>file[1]>name[4]=Kestrelia.exe version[4]=1. "},
      {"<files><file><name>x</name></file><fi", "files[1]>file[1]>name[4]=x "},
      {"not xml at all", "null"},
      {"", "null"},
      {"<a><b></a>", "null"},
      {"<a/><b/>", "null"},
  };
  for (const Case& c : cases) EXPECT_EQ(c.walk, Walk(c.document)) << c.document;
}

TEST(XmlDll, WalkStaysInsideTheGivenRootAndCanSkipChildren) {
  XmlNode* root = Entry<xmlLoadStringFn>("xmlLoadString")(nullptr, "<r><a><x/></a><b/></r><!-- end -->", 0);
  ASSERT_NE(nullptr, root);
  auto next = Entry<xmlWalkNextFn>("xmlWalkNext");
  XmlNode* a = root->firstChild;
  EXPECT_STREQ("b", next(a, root, 0)->name);
  EXPECT_EQ(nullptr, next(a->firstChild, a, 1));
  Entry<xmlFreeTreeFn>("xmlFreeTree")(root);
}

}  // namespace
