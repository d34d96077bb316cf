#include "ink/xml/XmlNodes.h"

#include <gtest/gtest.h>

#include "ink/xml/XmlDocument.h"

namespace TalvoInk {
namespace {

class XmlNodes : public testing::Test {
 protected:
  pugi::xml_node RootOf(const std::string& text) {
    ParseXml(text, document_);
    return document_.document_element();
  }

  pugi::xml_document document_;
};

TEST_F(XmlNodes, NamesCountBehindTheirPrefix) {
  const pugi::xml_node root = RootOf("<inkml:ink xmlns:inkml='urn:i'/>");
  EXPECT_TRUE(IsNamed(root, "ink"));
  EXPECT_FALSE(IsNamed(root, "inkml:ink"));
  EXPECT_FALSE(IsNamed(root, "Ink"));
  EXPECT_FALSE(IsNamed({}, "ink"));
}

TEST_F(XmlNodes, OfAttributesWithOneNameTheFirstCounts) {
  const pugi::xml_node root = RootOf("<a xml:id='first' id='second' empty=''/>");
  EXPECT_EQ(AttributeOf(root, "id"), "first");
  EXPECT_TRUE(FindAttribute(root, "empty"));
  EXPECT_EQ(AttributeOf(root, "empty"), "");
  EXPECT_FALSE(FindAttribute(root, "none"));
  EXPECT_EQ(AttributeOf(root, "none"), "");
  EXPECT_EQ(AttributeOf({}, "id"), "");
}

TEST_F(XmlNodes, TheTextIsWhatStandsDirectlyInside) {
  EXPECT_EQ(TextOf(RootOf("<a>1 <b>not this</b><!-- nor this -->2<![CDATA[<3>]]></a>")), "1 2<3>");
  EXPECT_EQ(TextOf({}), "");
}

TEST_F(XmlNodes, OnlyTextAndCDataAreText) {
  const pugi::xml_node root = RootOf("<a>1<b/><![CDATA[2]]></a>");
  std::string kinds;
  for (const pugi::xml_node& child : root.children()) kinds += IsText(child) ? 't' : '-';
  EXPECT_EQ(kinds, "t-t");
}

TEST_F(XmlNodes, TheOffsetIsThatOfTheNameInTheText) {
  const std::string text = "<?xml version='1.0'?>\n<ink>\n <trace/></ink>";
  const pugi::xml_node root = RootOf(text);
  EXPECT_EQ(OffsetOf(root), text.find("ink>"));
  EXPECT_EQ(OffsetOf(root.first_element_by_path("trace")), text.find("trace"));
  EXPECT_EQ(OffsetOf({}), 0u);
}

// Definitions are looked at once for each trace that names them: what one costs has a limit.
TEST_F(XmlNodes, ADefinitionHasAThousandParts) {
  std::string text = "<definitions>text<!-- comment -->";
  for (int i = 0; i < 999; ++i) text += "<brush/>";
  const pugi::xml_node root = RootOf(text + "<last/><behind/></definitions>");
  EXPECT_EQ(PartsOf(root).size(), 1000u);
  EXPECT_TRUE(ChildOf(root, "last"));
  EXPECT_FALSE(ChildOf(root, "behind"));
  EXPECT_TRUE(PartsOf({}).empty());
}

TEST_F(XmlNodes, OfChildrenWithOneNameTheFirstIsFound) {
  const pugi::xml_node root = RootOf("<a><x:b n='1'/><b n='2'/></a>");
  EXPECT_EQ(AttributeOf(ChildOf(root, "b"), "n"), "1");
  EXPECT_FALSE(ChildOf(root, "c"));
}

}  // namespace
}  // namespace TalvoInk
