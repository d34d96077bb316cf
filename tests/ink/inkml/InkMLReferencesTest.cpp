#include "ink/inkml/InkMLReferences.h"

#include <gmock/gmock.h>

#include "ink/InkSupport.h"
#include "ink/xml/XmlDocument.h"
#include "ink/xml/XmlNodes.h"

namespace TalvoInk {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class InkMLReferences : public testing::Test {
 protected:
  // The references of a document with this inside <ink>.
  const References& Of(const std::string& body) {
    ParseXml(Document(body), document_);
    references_.emplace(document_, losses_);
    return *references_;
  }

  pugi::xml_node Child(const char* name) { return ChildOf(document_.document_element(), name); }

  pugi::xml_document document_;
  Losses losses_;
  std::optional<References> references_;
};

std::vector<std::string> IdsOf(const std::vector<pugi::xml_node>& nodes) {
  std::vector<std::string> ids;
  for (const pugi::xml_node& node : nodes) ids.push_back(AttributeOf(node, "id"));
  return ids;
}

TEST_F(InkMLReferences, AnElementIsFoundByItsIdWithAndWithoutItsMark) {
  const References& references = Of("<trace xml:id='a'/><g><brush id='b'/></g>");
  EXPECT_TRUE(IsNamed(references.Find("#a"), "trace"));
  EXPECT_TRUE(IsNamed(references.Find("b"), "brush"));
  EXPECT_TRUE(IsNamed(references.Find("ink.inkml#b"), "brush"));
  EXPECT_FALSE(references.Find("#c"));
  EXPECT_FALSE(references.Find(""));
}

TEST_F(InkMLReferences, OfTwoElementsWithOneIdTheFirstCounts) {
  EXPECT_TRUE(IsNamed(Of("<trace id='a'/><brush id='a'/>").Find("#a"), "trace"));
}

// What stands in an annotation is another language's, and its ids may be anything.
TEST_F(InkMLReferences, NothingInAnAnnotationIsFound) {
  const References& references =
      Of("<annotationXML><brush id='a'/><definitions><context id='c' contextRef='#d'/>"
         "</definitions></annotationXML><brush id='behind'/>");
  EXPECT_FALSE(references.Find("#a"));
  EXPECT_TRUE(references.Find("#behind"));
  EXPECT_THAT(references.contexts(), IsEmpty());
  EXPECT_FALSE(references.AreContextsNamed());
}

TEST_F(InkMLReferences, AReferenceToNothingOrToAnotherKindIsTold) {
  const References& references =
      Of("<brush id='b'/><trace brushRef='#b' contextRef='#b' other='#c'/>");
  const pugi::xml_node trace = Child("trace");
  EXPECT_TRUE(references.Referred(trace, "brushRef", "brush"));
  EXPECT_FALSE(references.Referred(trace, "missing", "brush"));
  EXPECT_THAT(losses_.Lines(), IsEmpty());
  EXPECT_FALSE(references.Referred(trace, "contextRef", "context"));
  EXPECT_FALSE(references.Referred(trace, "other", "brush"));
  EXPECT_THAT(losses_.Lines(), ElementsAre("contextRef '#b' to nothing", "other '#c' to nothing"));
}

TEST_F(InkMLReferences, TheDefaultsCanBeNamedThoughNobodyDefinesThem) {
  const References& references = Of("<trace contextRef='#DefaultContext'/>");
  EXPECT_FALSE(references.Referred(Child("trace"), "contextRef", "context"));
  EXPECT_THAT(losses_.Lines(), IsEmpty());
  EXPECT_TRUE(NamesDefault("#DefaultBrush"));
  EXPECT_FALSE(NamesDefault("DefaultBrush"));
  EXPECT_FALSE(NamesDefault("#DefaultTrace"));
  EXPECT_FALSE(NamesDefault(""));
}

TEST_F(InkMLReferences, OnlyWhatStandsDirectlyInDefinitionsIsAmongThem) {
  const References& references =
      Of("<context id='loose'/><definitions><context id='one'><traceFormat id='inner'/></context>"
         "<traceFormat id='f'/><context id='two'/></definitions><traceFormat id='late'/>");
  EXPECT_THAT(IdsOf(references.contexts()), ElementsAre("one", "two"));
  EXPECT_THAT(IdsOf(references.formats()), ElementsAre("f"));
}

TEST_F(InkMLReferences, WhatIsNestedInDefinitionsIsDefined) {
  const References& references =
      Of("<definitions><traceGroup id='g'><trace id='a'/></traceGroup></definitions>"
         "<trace id='b'/>");
  EXPECT_TRUE(references.IsDefined(references.Find("g")));
  EXPECT_TRUE(references.IsDefined(references.Find("a")));
  EXPECT_FALSE(references.IsDefined(references.Find("b")));
}

TEST_F(InkMLReferences, AContextThatATraceNamesIsNamed) {
  EXPECT_FALSE(Of("<definitions><context id='c'/></definitions><trace/>").AreContextsNamed());
  document_.reset();
  EXPECT_TRUE(Of("<traceGroup><trace contextRef='#c'/></traceGroup>").AreContextsNamed());
}

TEST_F(InkMLReferences, ReferencesToNothingAreTold) {
  const Reading reading =
      ReadDocument(Document("<trace contextRef='#gone' brushRef='#lost'>10 20</trace>"));
  EXPECT_TRUE(reading.Lost("contextRef '#gone' to nothing"));
  EXPECT_TRUE(reading.Lost("brushRef '#lost' to nothing"));
}

}  // namespace
}  // namespace TalvoInk
