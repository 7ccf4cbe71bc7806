/* The contract between the program and xml.dll, its XML reader (on expat). The program loads
 * the library by name at run time and looks its entry points up by name; all of them use the
 * C calling convention.
 *
 * xmlLoadString reads a document into a tree of element nodes; xmlWalkNext visits them in
 * document order. A document cut off in the middle (a download read only up to a limit) gives
 * the elements read up to the cut, with the text each had by then; a document that is not
 * well-formed before the cut, or has no element at all, gives null. */
#ifndef KESTRELIA_XML_H
#define KESTRELIA_XML_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define KESTRELIA_XML_FILE "xml.dll"

/* An element without text of its own, and one with text (leaves and mixed content alike). */
#define XML_NODE_ELEMENT 1
#define XML_NODE_TEXT 4

/* One element. The first four fields are the ones a caller reads; the rest link the tree. */
typedef struct XmlNode {
  int32_t kind;                /* XML_NODE_ELEMENT or XML_NODE_TEXT */
  char* text;                  /* the element's own character data, UTF-8, blanks at both ends
                                  dropped; "" when it has none (never null) */
  struct XmlNode* firstChild;  /* null for a leaf */
  char* name;                  /* the element's name as written, UTF-8 */
  struct XmlNode* nextSibling;
  struct XmlNode* parent;      /* null for the root */
} XmlNode;

/* The entry points, as a list of X(name, result, parameters) in the form of every plug-in
 * list.
 *   xmlLoadString(reserved: 0, document text (zero-terminated), reserved: 0): the root element,
 *     or null. The tree belongs to the caller until it hands it to xmlFreeTree.
 *   xmlWalkNext(current node, root, descend): the node after current in document order within
 *     root's tree, or null after the last. With descend 0 the walk skips current's children.
 *   xmlFreeTree(root): frees a tree xmlLoadString made. */
#define KESTRELIA_XML_API_LIST(X)                                               \
  X(xmlLoadString, XmlNode*, (void* reserved, const char* text, int options)) \
  X(xmlWalkNext, XmlNode*, (XmlNode* current, XmlNode* root, int descend))     \
  X(xmlFreeTree, void, (XmlNode* root))

#ifdef __cplusplus
}
#endif

#endif
