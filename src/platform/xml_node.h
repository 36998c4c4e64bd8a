// The XML document component: a tree of named elements with attributes and
// text, written to and read from files. Hot spot files and filter response
// files are made with it.
//
// A node is a light handle onto a document that all handles made from it
// share; the document lives as long as one handle does. An empty node stands
// for "not there": every operation on it does nothing and gives an empty node,
// false or -1, so a caller can chain calls without testing each step.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "core/types.h"

// Why parseFile refused a file, for a caller that wants to say so.
struct XMLResults {
  bool parsed = false;      // the file was read and is well-formed XML
  std::string description;  // empty, or what went wrong
  long offset = 0;          // byte offset of a syntax error in the file
};

// One node of an XML document (see the file comment).
class XMLNode {
 public:
  XMLNode();  // an empty node

  // A new document with nothing in it; its elements are added with addChildNode.
  static XMLNode createXMLTopNode();
  // Reads a file and gives its element named `tag`, or an empty node when the
  // file is missing, is not well-formed XML or has no such element. With
  // `rootOnly` non-zero the tag must be the document's root element; with 0
  // the first element of that name at any depth is taken. `results` may be null.
  static XMLNode parseFile(const CString& path, const char* tag, XMLResults* results, int rootOnly);

  bool isEmpty() const;

  // Appends a child element, or with `isDeclaration` non-zero an XML
  // declaration `<?name ...?>` whose attributes are added to the node given back.
  XMLNode addChildNode(const char* name, int isDeclaration);
  // Appends a child element whose text is the integer.
  XMLNode AddNode(const char* name, int value);
  // Appends a child element that holds a rectangle; GetValue reads it back.
  XMLNode AddNode(const char* name, const RECT& rect);
  // Appends a child element whose text is the standard Base64 of the bytes.
  XMLNode AddNodeBase64Encoded(const char* name, const void* bytes, size_t size);
  // Sets an attribute of this element, replacing one of the same name.
  // Doubles are written with enough digits to be read back exactly.
  bool addAttributeValue(const char* name, int value);
  bool addAttributeValue(const char* name, double value);
  // Writes this node and all below it, after an XML declaration; from the
  // node of createXMLTopNode that is the whole document. `format` non-zero
  // indents one element a line, 0 writes it all on one line.
  bool saveXMLToFile(const CString& path, int format) const;

  // With a null iterator, the first child element of that name. With an
  // iterator holding n, the child of that name after the n that came before
  // it (n from 0), and the iterator moves to n + 1. An empty node at the end.
  XMLNode getChildNode(const char* name, int* iterator = nullptr) const;
  // Reads the rectangle of the child `name`. False, and `rect` untouched, when
  // the child is missing or one of its four values is not a 32-bit integer.
  bool GetValue(const char* name, RECT& rect) const;
  // Reads an attribute of this element. False, and `value` untouched, when it
  // is missing or its text is not a number that fits the type.
  bool GetAttribute(const char* name, int& value) const;
  bool GetAttribute(const char* name, double& value) const;
  // Decodes the Base64 text of the child `name` into `buffer`, writing at most
  // `size` bytes. Gives the number of bytes written, or -1 when the child is
  // missing or its text is not Base64 (bytes may have been written then).
  long GetValueBase64Encoded(const char* name, void* buffer, size_t size) const;

 private:
  struct Document;

  XMLNode(std::shared_ptr<Document> document, void* node);
  XMLNode Wrap(void* node) const;

  std::shared_ptr<Document> document_;
  void* node_ = nullptr;  // the parser's node inside document_, opaque here
  // The last child that getChildNode gave with an iterator, so that walking
  // the children in order costs one step a child.
  mutable void* cursorNode_ = nullptr;
  mutable int cursorIndex_ = -1;
  mutable std::string cursorName_;
};
