// xml.dll: reads a document with expat into the plain element tree of its contract.
#include <expat.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "kestrelia_xml.h"

#define XML_EXPORT_DECLARATION(name, result, parameters) extern "C" result __cdecl name parameters;
KESTRELIA_XML_API_LIST(XML_EXPORT_DECLARATION)

namespace {

char* CopyText(const std::string& text) {
  char* copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (copy) std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

// The open elements from the root down, each with the text gathered so far and the place its
// next child goes.
struct Builder {
  XmlNode* root = nullptr;
  struct Open {
    XmlNode* node;
    XmlNode** nextChild;
    std::string text;
  };
  std::vector<Open> open;
  bool failed = false;
};

// An element's text is settled when it closes, or where the document was cut off.
void SettleText(Builder::Open& element) {
  const char* blanks = " \t\r\n";
  std::string& text = element.text;
  size_t first = text.find_first_not_of(blanks);
  text = first == std::string::npos ? std::string() : text.substr(first, text.find_last_not_of(blanks) - first + 1);
  char* copy = CopyText(text);
  if (!copy) return;
  std::free(element.node->text);
  element.node->text = copy;
  element.node->kind = text.empty() ? XML_NODE_ELEMENT : XML_NODE_TEXT;
}

void XMLCALL OnStart(void* data, const XML_Char* name, const XML_Char** attributes) {
  Builder* builder = static_cast<Builder*>(data);
  XmlNode* node = static_cast<XmlNode*>(std::calloc(1, sizeof(XmlNode)));
  char* nodeName = CopyText(name);
  char* empty = CopyText("");
  if (!node || !nodeName || !empty) {
    std::free(node);
    std::free(nodeName);
    std::free(empty);
    builder->failed = true;
    return;
  }
  node->kind = XML_NODE_ELEMENT;
  node->name = nodeName;
  node->text = empty;
  if (builder->open.empty()) {
    builder->root = node;
  } else {
    Builder::Open& parent = builder->open.back();
    node->parent = parent.node;
    *parent.nextChild = node;
    parent.nextChild = &node->nextSibling;
  }
  builder->open.push_back({node, &node->firstChild, std::string()});
}

void XMLCALL OnEnd(void* data, const XML_Char*) {
  Builder* builder = static_cast<Builder*>(data);
  if (builder->open.empty()) return;
  SettleText(builder->open.back());
  builder->open.pop_back();
}

void XMLCALL OnText(void* data, const XML_Char* text, int length) {
  Builder* builder = static_cast<Builder*>(data);
  if (!builder->open.empty()) builder->open.back().text.append(text, length);
}

}  // namespace

extern "C" XmlNode* __cdecl xmlLoadString(void*, const char* text, int) {
  if (!text) return nullptr;
  XML_Parser parser = XML_ParserCreate(nullptr);
  if (!parser) return nullptr;
  Builder builder;
  XML_SetUserData(parser, &builder);
  XML_SetElementHandler(parser, OnStart, OnEnd);
  XML_SetCharacterDataHandler(parser, OnText);
  // Not the final piece: expat then reports only what is wrong before the end, and a document
  // cut off in an element (or in a tag) is read up to the cut instead of refused.
  bool wellFormed = XML_Parse(parser, text, static_cast<int>(std::strlen(text)), XML_FALSE) == XML_STATUS_OK;
  XML_ParserFree(parser);
  for (Builder::Open& element : builder.open) SettleText(element);
  if (!wellFormed || builder.failed) {
    xmlFreeTree(builder.root);
    return nullptr;
  }
  return builder.root;
}

extern "C" XmlNode* __cdecl xmlWalkNext(XmlNode* current, XmlNode* root, int descend) {
  if (!current) return nullptr;
  if (descend && current->firstChild) return current->firstChild;
  for (XmlNode* node = current; node && node != root; node = node->parent) {
    if (node->nextSibling) return node->nextSibling;
  }
  return nullptr;
}

extern "C" void __cdecl xmlFreeTree(XmlNode* root) {
  // Iterative, so a deeply nested document cannot exhaust the stack.
  XmlNode* node = root;
  while (node) {
    if (node->firstChild) {
      XmlNode* child = node->firstChild;
      node->firstChild = nullptr;
      node = child;
      continue;
    }
    XmlNode* next = node == root ? nullptr : (node->nextSibling ? node->nextSibling : node->parent);
    std::free(node->name);
    std::free(node->text);
    std::free(node);
    node = next;
  }
}
