// Files that other writers make: the same ink in another layout reads the same.

#include <flatbuffers/flatbuffers.h>
#include <gtest/gtest.h>

#include "Model.h"
#include "stf2_generated.h"

namespace {

using flatbuffers::FlatBufferBuilder;
namespace Format = Talvo::Stf2::Format;

Bytes Finished(FlatBufferBuilder& builder) {
  return Bytes(builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize());
}

Format::Sample FormatSample(const Stf2Sample& s) {
  return Format::Sample(s.time_offset_ms, s.x_um, s.y_um, s.force,
                        static_cast<Format::SampleType>(s.type), s.flags);
}

// The ink that every file of this test holds; many of its values are the format's defaults.
std::vector<ItemModel> Expected() {
  return {StrokeModel("1.2.3.4", 1700000000000, {PenDown(), Coordinate(5, -1, 1), PenUp()}),
          MarkerModel("1.2.3.4", 0, "m"), PropertyModel("k", "v")};
}

void AddExpected(FlatBufferBuilder& builder) {
  const std::vector<Format::Sample> samples = {
      FormatSample(PenDown()), FormatSample(Coordinate(5, -1, 1)), FormatSample(PenUp())};
  const auto stroke = Format::CreateStrokeDirect(builder, "1.2.3.4", 1700000000000, &samples);
  const auto marker = Format::CreateMarkerDirect(builder, "1.2.3.4", 0, "m");
  const auto property = Format::CreatePropertyDirect(builder, "k", "v");
  const std::vector<flatbuffers::Offset<Format::Item>> items = {
      Format::CreateItem(builder, Format::ItemBody::Stroke, stroke.Union()),
      Format::CreateItem(builder, Format::ItemBody::Marker, marker.Union()),
      Format::CreateItem(builder, Format::ItemBody::Property, property.Union())};
  Format::FinishInkDataBuffer(builder, Format::CreateInkDataDirect(builder, 7, &items));
}

void ExpectExpected(const Bytes& bytes) {
  const Ink ink = Parse(bytes);
  std::uint64_t pen = 0;
  EXPECT_EQ(Stf2InkDataGetPenId(ink.get(), &pen), STF2_SUCCESS);
  EXPECT_EQ(pen, 7u);
  EXPECT_EQ(ItemsOf(ink), Expected());
  EXPECT_EQ(Write(ink), Write(MakeInk(7, Expected())));
}

TEST(IndependentFile, TheGeneratedCodesOwnLayoutReads) {
  FlatBufferBuilder builder;
  AddExpected(builder);
  ExpectExpected(Finished(builder));
}

TEST(IndependentFile, ValuesThatAreDefaultsMayBeStored) {
  FlatBufferBuilder plain;
  AddExpected(plain);
  FlatBufferBuilder forced;
  forced.ForceDefaults(true);
  AddExpected(forced);
  EXPECT_GT(forced.GetSize(), plain.GetSize());
  ExpectExpected(Finished(forced));
}

TEST(IndependentFile, LayoutsNeedNotBeShared) {
  FlatBufferBuilder builder;
  builder.DedupVtables(false);
  AddExpected(builder);
  ExpectExpected(Finished(builder));
}

// Fields in the reverse of their usual order, the list before what it lists.
TEST(IndependentFile, FieldsMayStandInAnyOrder) {
  FlatBufferBuilder builder;
  const auto name = builder.CreateString("m");
  const auto page = builder.CreateString("1.2.3.4");
  const auto value = builder.CreateString("v");
  const auto key = builder.CreateString("k");
  const std::vector<Format::Sample> samples = {
      FormatSample(PenDown()), FormatSample(Coordinate(5, -1, 1)), FormatSample(PenUp())};
  Format::PropertyBuilder property(builder);
  property.add_key(key);
  property.add_value(value);
  const auto property_body = property.Finish();
  Format::MarkerBuilder marker(builder);
  marker.add_page(page);
  marker.add_name(name);
  const auto marker_body = marker.Finish();
  const auto sample_vector = builder.CreateVectorOfStructs(samples);
  Format::StrokeBuilder stroke(builder);
  stroke.add_page(page);
  stroke.add_samples(sample_vector);
  stroke.add_color(4278190080);
  stroke.add_start_time(1700000000000);
  const auto stroke_body = stroke.Finish();
  const auto item = [&](Format::ItemBody type, flatbuffers::Offset<void> body) {
    Format::ItemBuilder item_builder(builder);
    item_builder.add_body_type(type);
    item_builder.add_body(body);
    return item_builder.Finish();
  };
  const auto third = item(Format::ItemBody::Property, property_body.Union());
  const auto second = item(Format::ItemBody::Marker, marker_body.Union());
  const auto first = item(Format::ItemBody::Stroke, stroke_body.Union());
  const std::vector<flatbuffers::Offset<Format::Item>> items = {first, second, third};
  const auto list = builder.CreateVector(items);
  Format::InkDataBuilder ink(builder);
  ink.add_items(list);
  ink.add_pen(7);
  Format::FinishInkDataBuffer(builder, ink.Finish());
  ExpectExpected(Finished(builder));
}

// A table of a later version of the format has further fields at its end.
TEST(IndependentFile, FieldsThatTheReaderDoesNotKnowArePassedOver) {
  FlatBufferBuilder builder;
  const auto start = builder.StartTable();
  builder.AddElement<std::uint64_t>(Format::Stroke::VT_START_TIME, 5, 0);
  builder.AddElement<std::uint32_t>(Format::Stroke::VT_WIDTH + 2, 99, 0);
  const flatbuffers::Offset<void> stroke(builder.EndTable(start));
  const std::vector<flatbuffers::Offset<Format::Item>> items = {
      Format::CreateItem(builder, Format::ItemBody::Stroke, stroke)};
  Format::FinishInkDataBuffer(builder, Format::CreateInkDataDirect(builder, 7, &items));
  const Bytes bytes = Finished(builder);
  EXPECT_EQ(ItemsOf(Parse(bytes)), std::vector<ItemModel>{StrokeModel(std::nullopt, 5)});
}

}  // namespace
