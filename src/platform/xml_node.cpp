#include "platform/xml_node.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <pugixml.hpp>
#include <string_view>
#include <utility>

struct XMLNode::Document {
  pugi::xml_document xml;
};

namespace {

constexpr char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kRectNames[4][7] = {"left", "top", "right", "bottom"};

pugi::xml_node Node(void* handle) { return pugi::xml_node(static_cast<pugi::xml_node_struct*>(handle)); }

void* Handle(pugi::xml_node node) { return node.internal_object(); }

template <typename T>
bool ParseNumber(const char* text, T& value) {
  const char* end = text + std::strlen(text);
  T parsed{};
  const auto [stop, error] = std::from_chars(text, end, parsed);
  if (error != std::errc() || stop != end || stop == text) return false;
  value = parsed;
  return true;
}

std::string EncodeBase64(const uint8_t* bytes, size_t size) {
  std::string text;
  text.reserve((size + 2) / 3 * 4);
  for (size_t i = 0; i < size; i += 3) {
    const size_t count = std::min<size_t>(3, size - i);
    uint32_t group = static_cast<uint32_t>(bytes[i]) << 16;
    if (count > 1) group |= static_cast<uint32_t>(bytes[i + 1]) << 8;
    if (count > 2) group |= bytes[i + 2];
    for (size_t k = 0; k < 4; ++k) {
      text += k <= count ? kBase64Alphabet[(group >> (18 - 6 * k)) & 63] : '=';
    }
  }
  return text;
}

int Base64Digit(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

bool IsXmlSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// Standard Base64 with its padding; white space between digits is allowed, as
// an XML writer may break long text into lines. Writes at most `size` bytes
// and gives how many, or -1 for text that is not Base64.
long DecodeBase64(std::string_view text, uint8_t* out, size_t size) {
  size_t written = 0;
  uint32_t group = 0;
  int digits = 0;
  int padding = 0;
  auto emit = [&](int count) {
    for (int k = 0; k < count && written < size; ++k) out[written++] = static_cast<uint8_t>(group >> (16 - 8 * k));
  };
  for (const char c : text) {
    if (IsXmlSpace(c)) continue;
    if (c == '=') {
      if (digits < 2 || digits + padding >= 4) return -1;
      ++padding;
      continue;
    }
    const int digit = Base64Digit(c);
    if (digit < 0 || padding != 0) return -1;
    group = (group << 6) | static_cast<uint32_t>(digit);
    if (++digits == 4) {
      emit(3);
      group = 0;
      digits = 0;
    }
  }
  if (padding == 0) return digits == 0 ? static_cast<long>(written) : -1;
  if (digits + padding != 4) return -1;
  group <<= 6 * padding;
  emit(digits - 1);
  return static_cast<long>(written);
}

bool IsElementNamed(pugi::xml_node node, const char* tag) {
  return node.type() == pugi::node_element && std::strcmp(node.name(), tag) == 0;
}

pugi::xml_node FindTag(const pugi::xml_document& document, const char* tag, bool rootOnly) {
  if (rootOnly) {
    const pugi::xml_node root = document.document_element();
    return IsElementNamed(root, tag) ? root : pugi::xml_node();
  }
  return document.find_node([tag](pugi::xml_node node) { return IsElementNamed(node, tag); });
}

void Report(XMLResults* results, bool parsed, std::string description, long offset) {
  if (results == nullptr) return;
  results->parsed = parsed;
  results->description = std::move(description);
  results->offset = offset;
}

}  // namespace

XMLNode::XMLNode() = default;

XMLNode::XMLNode(std::shared_ptr<Document> document, void* node) : document_(std::move(document)), node_(node) {}

XMLNode XMLNode::Wrap(void* node) const { return node == nullptr ? XMLNode() : XMLNode(document_, node); }

XMLNode XMLNode::createXMLTopNode() {
  auto document = std::make_shared<Document>();
  void* top = Handle(document->xml);
  return XMLNode(std::move(document), top);
}

XMLNode XMLNode::parseFile(const CString& path, const char* tag, XMLResults* results, int rootOnly) {
  auto document = std::make_shared<Document>();
  const pugi::xml_parse_result parsed = document->xml.load_file(path.c_str());
  if (!parsed) {
    Report(results, false, parsed.description(), static_cast<long>(parsed.offset));
    return XMLNode();
  }
  const pugi::xml_node element = tag == nullptr ? pugi::xml_node() : FindTag(document->xml, tag, rootOnly != 0);
  if (!element) {
    Report(results, true, std::string("no element <") + (tag == nullptr ? "" : tag) + ">", 0);
    return XMLNode();
  }
  Report(results, true, std::string(), 0);
  return XMLNode(std::move(document), Handle(element));
}

bool XMLNode::isEmpty() const { return node_ == nullptr; }

XMLNode XMLNode::addChildNode(const char* name, int isDeclaration) {
  if (node_ == nullptr || name == nullptr) return XMLNode();
  pugi::xml_node child = Node(node_).append_child(isDeclaration != 0 ? pugi::node_declaration : pugi::node_element);
  if (!child || !child.set_name(name)) return XMLNode();
  return Wrap(Handle(child));
}

XMLNode XMLNode::AddNode(const char* name, int value) {
  XMLNode child = addChildNode(name, 0);
  if (!child.isEmpty()) Node(child.node_).text().set(value);
  return child;
}

XMLNode XMLNode::AddNode(const char* name, const RECT& rect) {
  XMLNode child = addChildNode(name, 0);
  const int32_t values[4] = {rect.left, rect.top, rect.right, rect.bottom};
  for (int i = 0; i < 4 && !child.isEmpty(); ++i) child.addAttributeValue(kRectNames[i], values[i]);
  return child;
}

XMLNode XMLNode::AddNodeBase64Encoded(const char* name, const void* bytes, size_t size) {
  XMLNode child = addChildNode(name, 0);
  if (!child.isEmpty() && size != 0) {
    Node(child.node_).text().set(EncodeBase64(static_cast<const uint8_t*>(bytes), size).c_str());
  }
  return child;
}

bool XMLNode::addAttributeValue(const char* name, int value) {
  if (node_ == nullptr || name == nullptr) return false;
  pugi::xml_node node = Node(node_);
  pugi::xml_attribute attribute = node.attribute(name);
  if (!attribute) attribute = node.append_attribute(name);
  return attribute && attribute.set_value(value);
}

bool XMLNode::addAttributeValue(const char* name, double value) {
  if (node_ == nullptr || name == nullptr) return false;
  pugi::xml_node node = Node(node_);
  pugi::xml_attribute attribute = node.attribute(name);
  if (!attribute) attribute = node.append_attribute(name);
  return attribute && attribute.set_value(value, 17);
}

bool XMLNode::saveXMLToFile(const CString& path, int format) const {
  if (node_ == nullptr) return false;
  FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) return false;
  pugi::xml_writer_file writer(file);
  const unsigned flags = format != 0 ? pugi::format_indent : pugi::format_raw;
  const pugi::xml_node node = Node(node_);
  if (node.type() == pugi::node_document) {
    document_->xml.save(writer, "  ", flags);
  } else {
    std::fputs(format != 0 ? "<?xml version=\"1.0\"?>\n" : "<?xml version=\"1.0\"?>", file);
    node.print(writer, "  ", flags);
  }
  const bool written = std::ferror(file) == 0;
  return std::fclose(file) == 0 && written;
}

XMLNode XMLNode::getChildNode(const char* name, int* iterator) const {
  if (node_ == nullptr || name == nullptr) return XMLNode();
  const pugi::xml_node node = Node(node_);
  if (iterator == nullptr) return Wrap(Handle(node.child(name)));
  if (*iterator < 0) return XMLNode();
  pugi::xml_node found;
  if (cursorNode_ != nullptr && cursorIndex_ + 1 == *iterator && cursorName_ == name) {
    found = Node(cursorNode_).next_sibling(name);
  } else {
    found = node.child(name);
    for (int i = 0; i < *iterator && found; ++i) found = found.next_sibling(name);
  }
  if (!found) return XMLNode();
  cursorNode_ = Handle(found);
  cursorIndex_ = *iterator;
  cursorName_ = name;
  ++*iterator;
  return Wrap(cursorNode_);
}

bool XMLNode::GetValue(const char* name, RECT& rect) const {
  const XMLNode child = getChildNode(name);
  int32_t values[4] = {};
  for (int i = 0; i < 4; ++i) {
    if (!child.GetAttribute(kRectNames[i], values[i])) return false;
  }
  rect = RECT{values[0], values[1], values[2], values[3]};
  return true;
}

bool XMLNode::GetAttribute(const char* name, int& value) const {
  if (node_ == nullptr || name == nullptr) return false;
  const pugi::xml_attribute attribute = Node(node_).attribute(name);
  return attribute && ParseNumber(attribute.value(), value);
}

bool XMLNode::GetAttribute(const char* name, double& value) const {
  if (node_ == nullptr || name == nullptr) return false;
  const pugi::xml_attribute attribute = Node(node_).attribute(name);
  return attribute && ParseNumber(attribute.value(), value);
}

long XMLNode::GetValueBase64Encoded(const char* name, void* buffer, size_t size) const {
  const XMLNode child = getChildNode(name);
  if (child.isEmpty()) return -1;
  return DecodeBase64(Node(child.node_).text().get(), static_cast<uint8_t*>(buffer), size);
}
