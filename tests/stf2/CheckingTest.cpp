// What Stf2InkDataInitialize takes and refuses. The files are built with the generated code of the
// format, which can write what the library never would.

#include <flatbuffers/flatbuffers.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "Model.h"
#include "stf2_generated.h"

namespace {

using flatbuffers::FlatBufferBuilder;
using flatbuffers::Offset;
namespace Format = Talvo::Stf2::Format;

typedef std::vector<Offset<Format::Item>> ItemOffsets;

Bytes Finished(FlatBufferBuilder& builder) {
  return Bytes(builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize());
}

// A file of the items that `add` makes.
Bytes FileOf(const std::function<void(FlatBufferBuilder&, ItemOffsets&)>& add) {
  FlatBufferBuilder builder;
  ItemOffsets items;
  add(builder, items);
  Format::FinishInkDataBuffer(builder, Format::CreateInkDataDirect(builder, 7, &items));
  return Finished(builder);
}

Offset<Format::Item> StrokeItem(FlatBufferBuilder& builder, Offset<Format::Stroke> stroke) {
  return Format::CreateItem(builder, Format::ItemBody::Stroke, stroke.Union());
}

// A file with one property, whose value is the bytes.
Bytes FileWithText(const std::string& text) {
  return FileOf([&](FlatBufferBuilder& builder, ItemOffsets& items) {
    const auto key = builder.CreateString("key");
    const auto value = builder.CreateString(text);
    const auto property = Format::CreateProperty(builder, key, value);
    items.push_back(Format::CreateItem(builder, Format::ItemBody::Property, property.Union()));
  });
}

TEST(Checking, ABufferTooShortForAnIdentifierIsMalformed) {
  const Bytes bytes = {'S', 'T', 'F', '2', 'S', 'T', 'F'};
  for (std::size_t size = 0; size <= bytes.size(); ++size) {
    InkDataHandle* ink = nullptr;
    EXPECT_EQ(Stf2InkDataInitialize(bytes.data(), static_cast<std::uint32_t>(size), &ink),
              STF2_MALFORMED);
    EXPECT_EQ(ink, nullptr);
  }
}

TEST(Checking, SealedInkIsEncrypted) {
  EXPECT_EQ(StatusOf({0, 0, 0, 0, 'S', 'T', 'F', 'E'}), STF2_ENCRYPTED);
}

TEST(Checking, AnotherIdentifierIsMalformed) {
  Bytes bytes = Write(MakeInk(7, {StrokeModel("1.2.3.4", 5)}));
  ASSERT_EQ(StatusOf(bytes), STF2_SUCCESS);
  std::memcpy(bytes.data() + 4, "STF1", 4);
  EXPECT_EQ(StatusOf(bytes), STF2_MALFORMED);
}

TEST(Checking, BytesBehindTheInkAreAllowed) {
  Bytes bytes = Write(MakeInk(7, {StrokeModel("1.2.3.4", 5)}));
  bytes.resize(bytes.size() + 13);
  EXPECT_EQ(StatusOf(bytes), STF2_SUCCESS);
}

TEST(Checking, InkWithoutAListOfItemsIsEmpty) {
  FlatBufferBuilder builder;
  Format::FinishInkDataBuffer(builder, Format::CreateInkData(builder, 7));
  const Bytes bytes = Finished(builder);
  EXPECT_TRUE(ItemsOf(Parse(bytes)).empty());
}

TEST(Checking, AnItemWithoutABodyIsMalformed) {
  const Bytes bare = FileOf([](FlatBufferBuilder& builder, ItemOffsets& items) {
    items.push_back(Format::CreateItem(builder));
  });
  EXPECT_EQ(StatusOf(bare), STF2_MALFORMED);
  const Bytes typed = FileOf([](FlatBufferBuilder& builder, ItemOffsets& items) {
    items.push_back(Format::CreateItem(builder, Format::ItemBody::Stroke));
  });
  EXPECT_EQ(StatusOf(typed), STF2_MALFORMED);
}

TEST(Checking, AnItemOfUnknownTypeIsMalformed) {
  for (const int type : {0, 4, 255}) {
    const Bytes bytes = FileOf([&](FlatBufferBuilder& builder, ItemOffsets& items) {
      const auto stroke = Format::CreateStroke(builder);
      items.push_back(
          Format::CreateItem(builder, static_cast<Format::ItemBody>(type), stroke.Union()));
    });
    EXPECT_EQ(StatusOf(bytes), STF2_MALFORMED) << type;
  }
}

TEST(Checking, APropertyWithoutAKeyIsMalformed) {
  const Bytes bytes = FileOf([](FlatBufferBuilder& builder, ItemOffsets& items) {
    const auto start = builder.StartTable();
    const Offset<void> property(builder.EndTable(start));
    items.push_back(Format::CreateItem(builder, Format::ItemBody::Property, property));
  });
  EXPECT_EQ(StatusOf(bytes), STF2_MALFORMED);
}

TEST(Checking, AStringWithAZeroByteIsMalformed) {
  EXPECT_EQ(StatusOf(FileWithText("plain")), STF2_SUCCESS);
  EXPECT_EQ(StatusOf(FileWithText(std::string("1.2.3.4\0x", 9))), STF2_MALFORMED);
  EXPECT_EQ(StatusOf(FileWithText(std::string("long enough for a word\0", 23))), STF2_MALFORMED);
}

TEST(Checking, AStringThatIsNotUtf8IsMalformed) {
  EXPECT_EQ(StatusOf(FileWithText("\xE2\x82\xAC")), STF2_SUCCESS);
  EXPECT_EQ(StatusOf(FileWithText("\xE2\x82")), STF2_MALFORMED);
  EXPECT_EQ(StatusOf(FileWithText("long enough for a word \xFE")), STF2_MALFORMED);
}

// Sample types may be added to the format one day: an unknown one is handed out as it is.
TEST(Checking, SamplesOfUnknownTypeAreKept) {
  const Bytes bytes = FileOf([](FlatBufferBuilder& builder, ItemOffsets& items) {
    const std::vector<Format::Sample> samples = {
        Format::Sample(1, 2, 3, 4, static_cast<Format::SampleType>(200), 0xFF)};
    items.push_back(
        StrokeItem(builder, Format::CreateStrokeDirect(builder, "1.2.3.4", 5, &samples)));
  });
  const auto items = ItemsOf(Parse(bytes));
  ASSERT_EQ(items.size(), 1u);
  ASSERT_EQ(items[0].samples.size(), 1u);
  EXPECT_EQ(items[0].samples[0].type, 200);
  EXPECT_EQ(items[0].samples[0].flags, 0xFF);
  const Bytes written = Write(Parse(bytes));
  EXPECT_EQ(ItemsOf(Parse(written)), items);
}

TEST(Checking, ABufferAtAnyAddressIsRead) {
  const auto items = std::vector<ItemModel>{PropertyModel("k", "v"),
                                            StrokeModel("1.2.3.4", 5, {Coordinate(1, 2, 3)})};
  const Bytes bytes = Write(MakeInk(7, items));
  Bytes room(bytes.size() + 8);
  for (std::size_t shift = 0; shift < 8; ++shift) {
    std::memcpy(room.data() + shift, bytes.data(), bytes.size());
    Ink ink;
    ASSERT_EQ(Stf2InkDataInitialize(room.data() + shift, static_cast<std::uint32_t>(bytes.size()),
                                    ink.out()),
              STF2_SUCCESS);
    std::vector<Ink> parts = Split(ink);
    ink = Ink();
    ASSERT_EQ(parts.size(), 1u);
    EXPECT_EQ(ItemsOf(parts[0]), items) << shift;
  }
}

// Offsets may all lead to one stroke, so that a few kilobytes stand for gigabytes of ink.
TEST(Checking, ItemsThatShareTheirSamplesInBulkAreMalformed) {
  const auto strokes_of_one_vector = [](int strokes) {
    return FileOf([&](FlatBufferBuilder& builder, ItemOffsets& items) {
      const std::vector<Format::Sample> samples(1000);
      const auto vector = builder.CreateVectorOfStructs(samples);
      for (int i = 0; i < strokes; ++i) {
        items.push_back(StrokeItem(builder, Format::CreateStroke(builder, 0, 5, vector)));
      }
    });
  };
  EXPECT_EQ(StatusOf(strokes_of_one_vector(1)), STF2_SUCCESS);
  EXPECT_EQ(StatusOf(strokes_of_one_vector(2)), STF2_MALFORMED);
  EXPECT_EQ(StatusOf(strokes_of_one_vector(1000)), STF2_MALFORMED);
}

TEST(Checking, AListThatNamesOneItemManyTimesIsMalformed) {
  const Bytes bytes = FileOf([](FlatBufferBuilder& builder, ItemOffsets& items) {
    items.assign(1000, StrokeItem(builder, Format::CreateStroke(builder, 0, 5)));
  });
  EXPECT_EQ(StatusOf(bytes), STF2_MALFORMED);
}

TEST(Checking, TheSmallestItemsThatThereAreAreAllowed) {
  const Bytes bytes = FileOf([](FlatBufferBuilder& builder, ItemOffsets& items) {
    for (int i = 0; i < 1000; ++i) {
      items.push_back(StrokeItem(builder, Format::CreateStroke(builder)));
    }
  });
  EXPECT_EQ(ItemsOf(Parse(bytes)).size(), 1000u);
}

TEST(Checking, ManyStrokesMayShareTheLongestPageAddress) {
  const std::string page = "4294967295.4294967295.4294967295.4294967295.4294967295";
  const Bytes bytes = FileOf([&](FlatBufferBuilder& builder, ItemOffsets& items) {
    const auto shared = builder.CreateString(page);
    for (int i = 0; i < 1000; ++i) {
      items.push_back(StrokeItem(builder, Format::CreateStroke(builder, shared)));
    }
  });
  EXPECT_EQ(ItemsOf(Parse(bytes)).size(), 1000u);
}

TEST(Checking, ItemsThatShareALongStringInBulkAreMalformed) {
  const Bytes bytes = FileOf([](FlatBufferBuilder& builder, ItemOffsets& items) {
    const auto text = builder.CreateString(std::string(100000, 'x'));
    for (int i = 0; i < 1000; ++i) {
      const auto property = Format::CreateProperty(builder, text, text);
      items.push_back(Format::CreateItem(builder, Format::ItemBody::Property, property.Union()));
    }
  });
  EXPECT_EQ(StatusOf(bytes), STF2_MALFORMED);
}

// 104,857,600 bytes is what the service accepts; here as short strokes, far more
// of them than a verifier's usual limit of a million tables allows.
TEST(Checking, AHundredMebibytesOfShortStrokesAreRead) {
  constexpr std::uint32_t kSize = 104857600;
  FlatBufferBuilder builder(kSize + 1024);
  ItemOffsets items;
  const std::vector<Format::Sample> samples(
      6, Format::Sample(0, 1, 2, 3, Format::SampleType::Coordinate, 1));
  const auto page = builder.CreateString("1.2.3.4");
  while (builder.GetSize() + 4 * items.size() + 1024 < kSize) {
    const auto vector = builder.CreateVectorOfStructs(samples);
    items.push_back(StrokeItem(builder, Format::CreateStroke(builder, page, 5, vector)));
  }
  Format::FinishInkDataBuffer(builder, Format::CreateInkDataDirect(builder, 7, &items));
  ASSERT_GT(items.size(), 600000u);
  Ink ink;
  ASSERT_EQ(Stf2InkDataInitialize(builder.GetBufferPointer(), builder.GetSize(), ink.out()),
            STF2_SUCCESS);
  InkItemHandle** handles = nullptr;
  std::uint32_t count = 0;
  ASSERT_EQ(Stf2InkDataGetItems(ink.get(), &handles, &count), STF2_SUCCESS);
  EXPECT_EQ(count, items.size());
  Stf2InkItemFreeHandles(&handles);
  EXPECT_EQ(Split(ink).size(), 1u);
}

}  // namespace
