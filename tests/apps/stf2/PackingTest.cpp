#include "Packing.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "ink/Gzip.h"

namespace InkTool {
namespace {

TEST(Packing, TheEndOfTheNameAsksForIt) {
  for (const char* name : {"a.inkml.gz", "a.stf2.GZ", "ink/a.svgz", ".gz.gz"})
    EXPECT_TRUE(IsPackedName(name)) << name;
  for (const char* name : {"a.inkml", "a.gz.stf2", "gz", "svgz", "", "a.gz/b"})
    EXPECT_FALSE(IsPackedName(name)) << name;
}

TEST(Packing, TheFormatIsWhatStandsBeforeIt) {
  EXPECT_EQ(FormatExtensionOf("letter.inkml.gz"), "inkml");
  EXPECT_EQ(FormatExtensionOf("letter.STF2.Gz"), "stf2");
  EXPECT_EQ(FormatExtensionOf("letter.svgz"), "svg");
  EXPECT_EQ(FormatExtensionOf("letter.pdf"), "pdf");
  EXPECT_EQ(FormatExtensionOf("letter.gz"), "");
  EXPECT_EQ(FormatExtensionOf("letter"), "");
}

// What comes out for a text that is handed on in two pieces.
std::string Packed(bool packed) {
  std::string out;
  Pack(
      packed,
      [](const TalvoInk::Sink& sink) {
        sink("some ");
        sink("ink");
      },
      [&](std::string_view piece) { out += piece; });
  return out;
}

TEST(Packing, WhatIsPackedUnpacksToTheSame) {
  EXPECT_EQ(Packed(false), "some ink");
  EXPECT_TRUE(TalvoInk::LooksGzipped(Packed(true)));
  EXPECT_EQ(TalvoInk::Gunzip(Packed(true), 100), "some ink");
}

TEST(Packing, WhatMakesOrTakesTheOutputMayThrow) {
  const TalvoInk::Sink take = [](std::string_view) {};
  const TalvoInk::Sink full = [](std::string_view) { throw std::length_error("full"); };
  const Writer some = [](const TalvoInk::Sink& sink) { sink("ink"); };
  const Writer broken = [](const TalvoInk::Sink&) { throw std::domain_error("broken"); };
  for (const bool packed : {false, true}) {
    EXPECT_THROW(Pack(packed, broken, take), std::domain_error);
    EXPECT_THROW(Pack(packed, some, full), std::length_error);
  }
}

}  // namespace
}  // namespace InkTool
