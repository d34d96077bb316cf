#include "ink/xml/XmlDocument.h"

#include <gtest/gtest.h>

#include <new>

#include "ink/FailingXmlMemory.h"
#include "ink/InkError.h"
#include "ink/xml/XmlNodes.h"

namespace TalvoInk {
namespace {

std::string RefusalOf(const std::string& text) {
  pugi::xml_document document;
  try {
    ParseXml(text, document);
  } catch (const InkError& error) {
    return error.what();
  }
  return {};
}

TEST(XmlDocument, LooksLikeXmlByItsFirstBytes) {
  for (const char* xml : {"<ink/>", " \n<ink/>", "\xEF\xBB\xBF<ink/>", "\xFF\xFE<"}) {
    EXPECT_TRUE(LooksLikeXml(xml)) << xml;
  }
  for (const char* other : {"", " ", "ink", "\x14\x01\x01\x01STF2<"}) {
    EXPECT_FALSE(LooksLikeXml(other)) << other;
  }
}

TEST(XmlDocument, PlacesOfNodesAreThoseInTheText) {
  const std::string text = "<?xml version='1.0'?>\n<a>\r\n <b/></a>";
  pugi::xml_document document;
  ParseXml(text, document);
  const pugi::xml_node b = ChildOf(document.document_element(), "b");
  EXPECT_EQ(b.offset_debug(), static_cast<std::ptrdiff_t>(text.find("b/>")));
}

TEST(XmlDocument, WhatIsNotWellFormedIsRefusedWithItsPlace) {
  EXPECT_EQ(RefusalOf("<a/>\n<b/>"),
            "line 2, column 2: not well-formed XML: a second root element");
  EXPECT_EQ(RefusalOf("<a/>b"), "line 1, column 5: not well-formed XML: text outside of the root");
  EXPECT_EQ(RefusalOf("<!-- -->"), "line 1, column 1: not well-formed XML: no element");
}

TEST(XmlDocument, EntitiesAreRefused) {
  EXPECT_EQ(RefusalOf("<!DOCTYPE a [<!ENTITY b SYSTEM '/etc/passwd'>]><a>&b;</a>"),
            "line 1, column 14: declares entities; they are not read");
}

// The document itself is sound, so nothing is said of a place in it.
TEST(XmlDocument, MemoryThatRunsOutIsNoFaultOfTheDocument) {
  std::string text = "<ink>";
  for (int i = 0; i < 10000; ++i) text += "<trace>1 2</trace>";
  text += "</ink>";
  for (int pieces = 0; pieces < 3; ++pieces) {
    pugi::xml_document document;
    const FailingXmlMemory memory(pieces);
    EXPECT_THROW(ParseXml(text, document), std::bad_alloc) << pieces;
  }
}

}  // namespace
}  // namespace TalvoInk
