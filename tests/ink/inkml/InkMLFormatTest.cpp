#include "ink/inkml/InkMLFormat.h"

#include <gmock/gmock.h>

#include "ink/InkSupport.h"
#include "ink/xml/XmlDocument.h"

namespace TalvoInk {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

// What a <traceFormat> of these channels says.
struct FormatOf {
  explicit FormatOf(const std::string& channels) {
    pugi::xml_document document;
    ParseXml("<traceFormat>" + channels + "</traceFormat>", document);
    Losses losses;
    const References references(document, losses);
    format = ReadTraceFormat(document.document_element(), references, losses);
    told = losses.Lines();
  }

  TraceFormat format;
  std::vector<std::string> told;
};

TEST(InkMLFormat, ChannelsHaveTheirRolesInTheOrderOfTheFormat) {
  const FormatOf read(
      "<channel name='T'/><channel name=' y'/><channel name='OTx'/>"
      "<channel name='X'/><intermittentChannels><channel name='F'/>"
      "</intermittentChannels>");
  EXPECT_THAT(read.format.roles, ElementsAre(kTime, kY, -1, kX, kForce));
  EXPECT_EQ(read.format.regular, 4u);
  EXPECT_EQ(read.format.names, "T,  y, OTx, X, F");
  EXPECT_THAT(read.told, ElementsAre("channel OTx dropped"));
  EXPECT_FALSE(read.format.Has(kSampleType));
}

TEST(InkMLFormat, ASecondChannelOfARoleIsDropped) {
  const FormatOf read(
      "<channel name='X' units='mm'/><channel name='Y' units='mm'/>"
      "<channel name='x' units='cm'/>");
  EXPECT_THAT(read.format.roles, ElementsAre(kX, kY, -1));
  EXPECT_EQ(read.format.meanings[kX].scale, 1000);
  EXPECT_THAT(read.told, ElementsAre("channel x dropped"));
}

TEST(InkMLFormat, WithoutAChannelItIsXAndY) {
  EXPECT_THAT(FormatOf("").format.roles, ElementsAre(kX, kY));
  EXPECT_THAT(FormatOf("<annotation>none</annotation>").format.roles, ElementsAre(kX, kY));
  EXPECT_EQ(PositionsAlone().regular, 2u);
}

TEST(InkMLFormat, AttributesSayHowValuesAreMeant) {
  const FormatOf read(
      "<channel name='F' type='integer' min='-5' max='1e3'/>"
      "<channel name='T' units='s' respectTo='#t'/>"
      "<channel name='Y' orientation='-ve'/>");
  const auto& meanings = read.format.meanings;
  EXPECT_TRUE(meanings[kForce].whole);
  EXPECT_EQ(meanings[kForce].min, -5);
  EXPECT_EQ(meanings[kForce].max, 1000);
  EXPECT_EQ(meanings[kTime].scale, 1000);
  EXPECT_EQ(meanings[kTime].respect_to, "#t");
  EXPECT_TRUE(meanings[kY].mirrored);
  EXPECT_FALSE(meanings[kY].has_unit);
  EXPECT_THAT(read.told, IsEmpty());
}

TEST(InkMLFormat, AnUnknownUnitOfTimeIsToldAndMillisecondsTaken) {
  const FormatOf read("<channel name='T' units='moons'/>");
  EXPECT_EQ(read.format.meanings[kTime].scale, 1);
  EXPECT_THAT(read.told, ElementsAre("unit 'moons' of channel T is not known; ms taken"));
}

TEST(InkMLFormat, APositionThatMayBeLeftOutIsTold) {
  EXPECT_THAT(FormatOf("<channel name='X'/><intermittentChannels><channel name='Y'/>"
                       "</intermittentChannels>")
                  .told,
              ElementsAre("channel Y is not in every point"));
}

// Decimal values in a unit of length are lengths; the resolution says how fine the device is.
TEST(InkMLFormat, AResolutionChangesNoDecimalLength) {
  const std::string properties =
      "<channelProperties><channelProperty channel='X' name='resolution' value='10' "
      "units='1/mm'/></channelProperties>";
  EXPECT_EQ(FirstPositions(ReadDocument(
                WithChannels("type='decimal' units='mm'", "units='mm'", properties, "1.5 2"))),
            "1500,2000");
}

TEST(InkMLFormat, WithoutATraceFormatTheChannelsAreXAndY) {
  const Reading reading = ReadDocument(Document("<trace>10 20, 96 48</trace>"));
  EXPECT_EQ(FirstPositions(reading), "2646,5292 25400,12700");
  EXPECT_THAT(reading.losses, Contains("X and Y without a unit; px taken"));
}

TEST(InkMLFormat, LengthsOfEveryUnitBecomeMicrometres) {
  const std::pair<const char*, const char*> units[] = {
      {"mm", "1000,2000"}, {"cm", "10000,20000"}, {"in", "25400,50800"},   {"pt", "353,706"},
      {"px", "265,529"},   {"himetric", "10,20"}, {"m", "1000000,2000000"}};
  for (const auto& [unit, positions] : units) {
    const std::string attribute = std::string("units='") + unit + "'";
    EXPECT_EQ(FirstPositions(ReadDocument(WithChannels(attribute, attribute, "", "1 2"))),
              positions)
        << unit;
  }
}

TEST(InkMLFormat, UnitsMayBeSpelledOutInEitherCaseWithBlanks) {
  const std::pair<const char*, const char*> units[] = {
      {" MM ", "1000,2000"},         {"Millimeters", "1000,2000"}, {"millimetre", "1000,2000"},
      {"Inch", "25400,50800"},       {"inches", "25400,50800"},    {"IN", "25400,50800"},
      {"points", "353,706"},         {"pixel", "265,529"},         {"HIMETRIC", "10,20"},
      {"centimeters", "10000,20000"}};
  for (const auto& [unit, positions] : units) {
    const std::string attribute = std::string("units='") + unit + "'";
    const Reading reading = ReadDocument(WithChannels(attribute, attribute, "", "1 2"));
    EXPECT_EQ(FirstPositions(reading), positions) << unit;
    EXPECT_FALSE(reading.Lost("X and Y without a unit; px taken")) << unit;
  }
}

TEST(InkMLFormat, AnUnknownUnitIsToldAndAUnitOfTheDeviceSaysNothing) {
  EXPECT_TRUE(ReadDocument(WithChannels("units='furlong'", "units='furlong'", "", "1 2"))
                  .Lost("unit 'furlong' of channel X is not known"));
  const Reading device = ReadDocument(WithChannels("units=' DEV'", "units='dev'", "", "1 2"));
  EXPECT_THAT(device.losses, ElementsAre("X and Y without a unit; px taken"));
}

TEST(InkMLFormat, AResolutionMayBeGivenInDotsPerInch) {
  for (const char* unit : {"dpi", "dots/inch", "1/ in", "1/Inch"}) {
    const std::string properties =
        "<channelProperties><channelProperty channel='x' name='resolution' value='100' units='" +
        std::string(unit) + "'/></channelProperties>";
    EXPECT_EQ(FirstPositions(
                  ReadDocument(WithChannels("units='dev'", "units='dev'", properties, "100 200"))),
              "25400,50800")
        << unit;
  }
}

TEST(InkMLFormat, DeviceUnitsAreCountsOfTheirResolution) {
  const std::string properties =
      "<channelProperties><channelProperty channel='X' name='resolution' value='100' "
      "units='1/mm'/><channelProperty channel='Y' name='resolution' value='200' "
      "units='1/cm'/></channelProperties>";
  EXPECT_EQ(FirstPositions(
                ReadDocument(WithChannels("units='dev'", "units='dev'", properties, "100 200"))),
            "1000,10000");
}

TEST(InkMLFormat, WholeNumbersWithAResolutionAreCountsWhateverTheirUnit) {
  const std::string properties =
      "<channelProperties><channelProperty channel='X' name='resolution' value='1000' "
      "units='1/in'/><channelProperty channel='Y' name='resolution' value='2000' "
      "units='1/in'/></channelProperties>";
  EXPECT_EQ(
      FirstPositions(ReadDocument(WithChannels(
          "type='integer' units='in'", "type='integer' units='in'", properties, "1000 1000"))),
      "25400,12700");
}

TEST(InkMLFormat, AResolutionOfZeroSaysNothing) {
  const std::string properties =
      "<channelProperties><channelProperty channel='X' name='resolution' value='0' "
      "units='1/in'/></channelProperties>";
  const Reading reading =
      ReadDocument(WithChannels("units='dev'", "units='dev'", properties, "0 0, 100 100"));
  EXPECT_EQ(FirstPositions(reading), "0,0 26458,26458");
  EXPECT_TRUE(reading.Lost("X and Y without a unit; px taken"));
}

TEST(InkMLFormat, AChannelThatGrowsUpwardIsTurned) {
  EXPECT_EQ(FirstPositions(ReadDocument(
                WithChannels("units='mm'", "units='mm' orientation='-ve'", "", "1 2"))),
            "1000,-2000");
}

TEST(InkMLFormat, ChannelsThatInkCantHoldAreDroppedByName) {
  const Reading reading = ReadDocument(
      TraceDocument("1 2 45 60, 3 4 46 61", "<channel name='OTx'/><channel name='OTy'/>"));
  EXPECT_EQ(FirstPositions(reading), "1000,2000 3000,4000");
  EXPECT_TRUE(reading.Lost("channel OTx dropped"));
  EXPECT_TRUE(reading.Lost("channel OTy dropped"));
}

TEST(InkMLFormat, IntermittentChannelsMayBeMissing) {
  const Reading reading = ReadDocument(Document(
      "<traceFormat><channel name='X' units='mm'/><channel name='Y' units='mm'/>"
      "<intermittentChannels><channel name='F' max='10'/></intermittentChannels></traceFormat>"
      "<trace>1 2, 3 4 10</trace>"));
  EXPECT_EQ(reading.Strokes()[0].samples[1].force, 0);
  EXPECT_EQ(reading.Strokes()[0].samples[2].force, 65535);
}

TEST(InkMLFormat, AFormatHasSixtyFourChannels) {
  std::string channels;
  for (int i = 0; i < 64; ++i) channels += "<channel name='q'/>";
  EXPECT_THAT(FormatOf(channels).told, Not(Contains("more than 64 channels")));
  const FormatOf cut(channels + "<channel name='X'/>");
  EXPECT_EQ(cut.format.roles.size(), 64u);
  EXPECT_FALSE(cut.format.Has(kX));
  EXPECT_THAT(cut.told, Contains("more than 64 channels"));
}

}  // namespace
}  // namespace TalvoInk
