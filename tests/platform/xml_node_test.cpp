#include "platform/xml_node.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "support/temp_folder.h"

namespace {

// One folder for the files of this suite, removed when the tests end.
const corvane::test::TempFolder& Folder() {
  static const corvane::test::TempFolder folder;
  return folder;
}

std::string TempPath(const std::string& name) { return Folder().Path() + "/" + name; }

std::vector<long> Corners(const RECT& r) { return {r.left, r.top, r.right, r.bottom}; }

// Parses `xml` from a file and gives the element `tag` at the root.
XMLNode ParseText(const std::string& xml, const char* tag = "root") {
  return XMLNode::parseFile(Folder().Write("parse.xml", xml), tag, nullptr, 1);
}

TEST(XMLNodeBase64Test, WritesTheStandardEncodingOfTheRfcVectors) {
  // The last one has the two digits beyond the alphanumerics.
  const std::pair<std::string, std::string> vectors[] = {
      {"f", "Zg=="},         {"fo", "Zm8="},         {"foo", "Zm9v"},         {"foob", "Zm9vYg=="},
      {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"}, {"\xff\xfe\xfb", "//77"}};
  const std::string path = TempPath("rfc.xml");
  for (const auto& [plain, encoded] : vectors) {
    XMLNode top = XMLNode::createXMLTopNode();
    top.addChildNode("root", 0).AddNodeBase64Encoded("d", plain.data(), plain.size());
    ASSERT_TRUE(top.saveXMLToFile(path, 0));
    EXPECT_NE(corvane::test::ReadWholeFile(path).find("<d>" + encoded + "</d>"), std::string::npos) << plain;
  }
}

TEST(XMLNodeBase64Test, RandomBytesOfEverySizeComeBackThroughAFile) {
  std::mt19937 random(7);
  const std::string path = TempPath("random.xml");
  for (size_t size = 0; size < 70; ++size) {
    std::vector<uint8_t> bytes(size);
    for (auto& b : bytes) b = static_cast<uint8_t>(random());
    XMLNode top = XMLNode::createXMLTopNode();
    top.addChildNode("root", 0).AddNodeBase64Encoded("d", bytes.data(), bytes.size());
    ASSERT_TRUE(top.saveXMLToFile(path, size % 2));
    const XMLNode root = XMLNode::parseFile(path, "root", nullptr, 1);
    std::vector<uint8_t> decoded(size + 8, 0xA5);
    ASSERT_EQ(root.GetValueBase64Encoded("d", decoded.data(), decoded.size()), static_cast<long>(size));
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), decoded.begin())) << size;
    for (size_t i = size; i < decoded.size(); ++i) EXPECT_EQ(decoded[i], 0xA5) << "written past the data";
  }
}

TEST(XMLNodeBase64Test, StopsAtTheBufferSizeAcceptsWhiteSpaceAndRefusesWhatIsNotBase64) {
  const XMLNode root = ParseText("<root><d>Zm9vYmFy</d></root>");
  char shortBuffer[6] = {'-', '-', '-', '-', '-', '-'};
  EXPECT_EQ(root.GetValueBase64Encoded("d", shortBuffer, 4), 4);
  EXPECT_EQ(std::string(shortBuffer, 6), "foob--");
  EXPECT_EQ(root.GetValueBase64Encoded("d", shortBuffer, 0), 0);

  char buffer[16] = {};
  EXPECT_EQ(ParseText("<root><d>\n Zm9v\r\n\tYmE= \n</d></root>").GetValueBase64Encoded("d", buffer, 16), 5);
  EXPECT_EQ(std::string(buffer, 5), "fooba");
  EXPECT_EQ(ParseText("<root><d/></root>").GetValueBase64Encoded("d", buffer, 16), 0);
  const char* bad[] = {"Zm9", "Zm9vY", "Z===", "Zg=A", "Zg==Zg==", "Zm-v", "Zm_v", "Zm9v\x01", "Zm8==", "=Zm8"};
  for (const char* text : bad) {
    EXPECT_EQ(ParseText(std::string("<root><d>") + text + "</d></root>").GetValueBase64Encoded("d", buffer, 16), -1)
        << text;
  }
  EXPECT_EQ(ParseText("<root/>").GetValueBase64Encoded("d", buffer, 16), -1) << "missing element";
}

TEST(XMLNodeValuesTest, RectanglesAndAttributesComeBackExactly) {
  const std::string path = TempPath("values.xml");
  XMLNode top = XMLNode::createXMLTopNode();
  XMLNode root = top.addChildNode("root", 0);
  root.AddNode("extreme", RECT{INT32_MIN, -1, 0, INT32_MAX});
  root.AddNode("plain", RECT{10, 20, 110, 70});
  root.addAttributeValue("count", -42);
  root.addAttributeValue("count", 43);  // replaces, no second attribute
  root.addAttributeValue("ratio", 0.1);
  root.addAttributeValue("tiny", -4.9406564584124654e-324);
  ASSERT_TRUE(top.saveXMLToFile(path, 1));

  const XMLNode loaded = XMLNode::parseFile(path, "root", nullptr, 1);
  ASSERT_FALSE(loaded.isEmpty());
  RECT rect{};
  ASSERT_TRUE(loaded.GetValue("extreme", rect));
  EXPECT_EQ(Corners(rect), Corners(RECT{INT32_MIN, -1, 0, INT32_MAX}));
  ASSERT_TRUE(loaded.GetValue("plain", rect));
  EXPECT_EQ(Corners(rect), Corners(RECT{10, 20, 110, 70}));
  int count = 0;
  double ratio = 0.0, tiny = 0.0;
  ASSERT_TRUE(loaded.GetAttribute("count", count) && loaded.GetAttribute("ratio", ratio) &&
              loaded.GetAttribute("tiny", tiny));
  EXPECT_EQ(count, 43);
  EXPECT_EQ(corvane::test::ReadWholeFile(path).find("-42"), std::string::npos);
  EXPECT_EQ(ratio, 0.1);  // exact: seventeen digits identify every double
  EXPECT_EQ(tiny, -4.9406564584124654e-324);
}

TEST(XMLNodeValuesTest, MissingOrOutOfRangeValuesLeaveTheTargetUntouched) {
  const XMLNode root = ParseText(
      "<root big='2147483648' small='-2147483649' word='12abc' empty='' spaced=' 5' real='1.5' ok='-7'>"
      "<a left='1' top='2' right='3'/>"
      "<b left='1' top='2' right='3' bottom='99999999999'/>"
      "<c left='1' top='2' right='x' bottom='4'/></root>");
  ASSERT_FALSE(root.isEmpty());
  int value = 77;
  for (const char* name : {"big", "small", "word", "empty", "spaced", "real", "none"}) {
    EXPECT_FALSE(root.GetAttribute(name, value)) << name;
    EXPECT_EQ(value, 77) << name;
  }
  double real = 0.0;
  EXPECT_TRUE(root.GetAttribute("ok", value) && root.GetAttribute("real", real));
  EXPECT_EQ(value, -7);
  EXPECT_EQ(real, 1.5);
  EXPECT_FALSE(root.GetAttribute("word", real));
  for (const char* name : {"a", "b", "c", "missing"}) {
    RECT rect{5, 6, 7, 8};
    EXPECT_FALSE(root.GetValue(name, rect)) << name;
    EXPECT_EQ(Corners(rect), Corners(RECT{5, 6, 7, 8})) << name;
  }
}

TEST(XMLNodeTreeTest, IteratorWalksOneNameInDocumentOrder) {
  const XMLNode root = ParseText("<root><a n='0'/><b/><a n='1'/>text<a n='2'/><b/></root>");
  const auto n = [](const XMLNode& node) {
    int value = -1;
    node.GetAttribute("n", value);
    return value;
  };
  int iterator = 0;
  std::vector<int> seen;
  for (XMLNode a = root.getChildNode("a", &iterator); !a.isEmpty(); a = root.getChildNode("a", &iterator)) {
    seen.push_back(n(a));
  }
  EXPECT_EQ(seen, (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(iterator, 3);
  int again = 1, other = 0, negative = -1;  // a fresh iterator may start anywhere, but not below 0
  EXPECT_EQ(n(root.getChildNode("a", &again)), 1);
  EXPECT_TRUE(root.getChildNode("a", &negative).isEmpty());
  EXPECT_EQ(n(root.getChildNode("a")), 0);
  // Braced lists evaluate in order: two b elements, then none.
  EXPECT_EQ((std::vector<bool>{root.getChildNode("b", &other).isEmpty(), root.getChildNode("b", &other).isEmpty(),
                               root.getChildNode("b", &other).isEmpty()}),
            (std::vector<bool>{false, false, true}));
}

TEST(XMLNodeTreeTest, ManySiblingsAreWalkedInLinearTime) {
  const int count = 200000;
  std::string xml = "<root>";
  for (int i = 0; i < count; ++i) xml += "<area/>";
  const XMLNode root = ParseText(xml + "</root>");
  const auto start = std::chrono::steady_clock::now();
  int iterator = 0;
  while (!root.getChildNode("area", &iterator).isEmpty()) {
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  EXPECT_EQ(iterator, count);
  EXPECT_LT(seconds, 5.0) << "quadratic walks take minutes here";
}

TEST(XMLNodeTreeTest, EmptyNodesAnswerEverythingWithNothing) {
  XMLNode empty;
  int iterator = 0, value = 0;
  RECT rect{1, 2, 3, 4};
  // Each entry is true when the call answered with nothing.
  const std::vector<bool> nothing = {
      empty.isEmpty(), empty.addChildNode("x", 0).isEmpty(), empty.AddNode("x", 1).isEmpty(),
      empty.AddNode("x", RECT{}).isEmpty(), empty.AddNodeBase64Encoded("x", "ab", 2).isEmpty(),
      !empty.addAttributeValue("x", 1), !empty.addAttributeValue("x", 1.0),
      !empty.saveXMLToFile(TempPath("never.xml"), 0), empty.getChildNode("x").isEmpty(),
      empty.getChildNode("x", &iterator).isEmpty() && iterator == 0, !empty.GetValue("x", rect),
      !empty.GetAttribute("x", value), empty.GetValueBase64Encoded("x", &value, sizeof(value)) == -1,
      XMLNode::createXMLTopNode().addChildNode(nullptr, 0).isEmpty()};
  EXPECT_EQ(nothing, std::vector<bool>(nothing.size(), true));
}

TEST(XMLNodeFileTest, SavesTheWholeDocumentOrOneBranchInEitherLayoutUnderItsDeclaration) {
  const std::string path = TempPath("layout.xml");
  XMLNode top = XMLNode::createXMLTopNode();
  XMLNode root = top.addChildNode("root", 0);
  XMLNode filter = root.addChildNode("Filter", 0);
  filter.AddNode("point", 0).addAttributeValue("gain", -6.5);
  filter.AddNode("point", 1).addAttributeValue("gain", 3.0);

  ASSERT_TRUE(top.saveXMLToFile(path, 0));
  EXPECT_EQ(corvane::test::ReadWholeFile(path),
            "<?xml version=\"1.0\"?><root><Filter><point gain=\"-6.5\">0</point>"
            "<point gain=\"3\">1</point></Filter></root>");
  ASSERT_TRUE(filter.saveXMLToFile(path, 1));
  EXPECT_EQ(corvane::test::ReadWholeFile(path),
            "<?xml version=\"1.0\"?>\n<Filter>\n  <point gain=\"-6.5\">0</point>\n"
            "  <point gain=\"3\">1</point>\n</Filter>\n");
  const XMLNode loaded = XMLNode::parseFile(path, "Filter", nullptr, 1);
  int iterator = 0;
  double gain = 0.0;
  EXPECT_TRUE(loaded.getChildNode("point", &iterator).GetAttribute("gain", gain));
  EXPECT_EQ(gain, -6.5);
  EXPECT_FALSE(top.saveXMLToFile(TempPath("no/such/folder.xml"), 0));

  // A declaration child, at the top only, replaces the default one.
  XMLNode declared = XMLNode::createXMLTopNode();
  declared.addChildNode("xml", 1).addAttributeValue("version", 1.0);
  EXPECT_TRUE(declared.addChildNode("root", 0).addChildNode("xml", 1).isEmpty());
  ASSERT_TRUE(declared.saveXMLToFile(path, 0));
  EXPECT_EQ(corvane::test::ReadWholeFile(path).rfind("<?xml version=\"1\"?><root", 0), 0u);
}

TEST(XMLNodeFileTest, RefusesFilesThatAreNotTheDocumentAsked) {
  XMLResults results;
  EXPECT_TRUE(XMLNode::parseFile(TempPath("absent.xml"), "root", &results, 1).isEmpty());
  EXPECT_FALSE(results.parsed);
  EXPECT_FALSE(results.description.empty());

  std::string path;
  const std::string broken[] = {
      "", "not xml at all", "<root><a>", "<root></wrong>", std::string("<root>\0</root>", 14), "<?xml version='1.0'?>"};
  for (const std::string& text : broken) {
    path = Folder().Write("hostile.xml", text);
    EXPECT_TRUE(XMLNode::parseFile(path, "root", &results, 1).isEmpty()) << text;
    EXPECT_FALSE(results.parsed) << text;
  }

  Folder().Write("hostile.xml", "<other><root/></other>");
  EXPECT_TRUE(XMLNode::parseFile(path, "root", &results, 1).isEmpty());
  EXPECT_TRUE(results.parsed);
  EXPECT_FALSE(XMLNode::parseFile(path, "root", &results, 0).isEmpty()) << "found below the root";
  EXPECT_TRUE(XMLNode::parseFile(path, "missing", nullptr, 0).isEmpty());
  EXPECT_TRUE(XMLNode::parseFile(path, nullptr, nullptr, 0).isEmpty());
}

TEST(XMLNodeFileTest, DeepNestingIsParsedAndSearchedWithoutRecursion) {
  std::string open, close;
  for (int i = 0; i < 200000; ++i) {
    open += "<n>";
    close += "</n>";
  }
  const std::string path = Folder().Write("deep.xml", open + "<root/>" + close);
  EXPECT_TRUE(XMLNode::parseFile(path, "root", nullptr, 1).isEmpty());
  EXPECT_FALSE(XMLNode::parseFile(path, "root", nullptr, 0).isEmpty());
}

}  // namespace
