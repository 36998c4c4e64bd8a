// The XML document component on arbitrary files: parsing, walking children
// with an iterator, and the rectangle, attribute and Base64 readers, which
// must never write past the buffer they are given.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "fuzz_input.h"
#include "platform/xml_node.h"

namespace {

constexpr size_t kBufferBytes = 64;

void ReadValues(const XMLNode& node) {
  RECT rect{};
  node.GetValue("check_area", rect);
  int number = 0;
  node.GetAttribute("width", number);
  double real = 0.0;
  node.GetAttribute("frequency", real);
  // The decoder gets a window of the buffer; the bytes around it must stay untouched.
  std::vector<uint8_t> buffer(kBufferBytes + 2, 0xA5);
  const long written = node.GetValueBase64Encoded("ydata", buffer.data() + 1, kBufferBytes);
  if (written > static_cast<long>(kBufferBytes) || buffer.front() != 0xA5 || buffer.back() != 0xA5) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static corvane::fuzz::InputFile input(".xml");
  const std::string& path = input.Write(data, size);
  XMLResults results;
  const XMLNode root = XMLNode::parseFile(path, "hot_spot", &results, size % 2);
  if (root.isEmpty()) return 0;
  ReadValues(root);
  int iterator = 0;
  int children = 0;
  for (XMLNode child = root.getChildNode("area", &iterator); !child.isEmpty() && children < 1000;
       child = root.getChildNode("area", &iterator), ++children) {
    ReadValues(child);
  }
  ReadValues(root.getChildNode("yuv_frame"));
  return 0;
}
