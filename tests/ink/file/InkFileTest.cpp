#include "ink/file/InkFile.h"

#include <gtest/gtest.h>

#include "ink/Gzip.h"
#include "ink/InkError.h"
#include "ink/InkSupport.h"
#include "ink/Stf2File.h"

namespace TalvoInk {
namespace {

Ink SomeInk() {
  Ink ink;
  ink.items = {StrokeOn(std::nullopt, 0)};
  return ink;
}

TEST(InkFile, TheContentTellsTheFormat) {
  EXPECT_EQ(Unpack(WriteStf2(SomeInk())).format, InkFormat::kStf2);
  EXPECT_EQ(Unpack(Document("<trace>1 2</trace>")).format, InkFormat::kInkML);
  EXPECT_EQ(Unpack("<?xml version='1.0'?><!-- notes --><xournal/>").format, InkFormat::kXopp);
  EXPECT_EQ(Unpack("no ink at all").format, InkFormat::kStf2);
}

TEST(InkFile, CompressedInkIsUnpackedFirst) {
  const InkBytes file = Unpack(Gzip(Document("<trace>1 2</trace>")));
  EXPECT_EQ(file.format, InkFormat::kInkML);
  EXPECT_TRUE(file.was_gzipped);
  EXPECT_EQ(file.bytes, Document("<trace>1 2</trace>"));
}

TEST(InkFile, WhatTheCallerStatesHoldsForEveryFormat) {
  ReadOptions options;
  options.pen = 7;
  options.page.emplace("1.2.3.4");
  options.start_time_ms = 1700000000000;
  for (const std::string& bytes : {WriteStf2(SomeInk()), TraceDocument("1 2, 3 4")}) {
    Losses losses;
    const Ink ink = ReadInk(Unpack(bytes), options, losses);
    EXPECT_EQ(ink.pen, 7u);
    const Stroke& stroke = std::get<Stroke>(ink.items.at(0));
    EXPECT_EQ(stroke.page, "1.2.3.4");
    EXPECT_EQ(stroke.start_time_ms, 1700000000000u);
  }
}

TEST(InkFile, WhatIsNoInkIsRefused) {
  Losses losses;
  EXPECT_THROW(ReadInk(Unpack("no ink at all"), {}, losses), InkError);
  EXPECT_THROW(ReadInk(Unpack(""), {}, losses), InkError);
}

}  // namespace
}  // namespace TalvoInk
