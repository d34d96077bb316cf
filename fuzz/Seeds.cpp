#include "Seeds.h"

#include <cstdlib>
#include <functional>

#include "Stf2.h"
#include "TalvoEncryption/Encryption.h"
#include "WalkInk.h"

namespace {

typedef std::vector<std::uint8_t> Bytes;

constexpr std::uint64_t kStart = 1700000000000;
constexpr std::uint32_t kBlack = 0xFF000000;

// A short wave from pen down to pen up.
std::vector<Stf2Sample> Wave(std::uint32_t coordinates) {
  std::vector<Stf2Sample> samples = {{0, 0, 0, 0, STF2_SAMPLE_PEN_DOWN, 0}};
  for (std::uint32_t i = 0; i < coordinates; ++i) {
    const auto x = static_cast<std::int32_t>(i * 150);
    const std::int32_t y = i % 4 < 2 ? 900 : -900;
    samples.push_back({i * 8, x, y, static_cast<std::uint16_t>(20000 + i), STF2_SAMPLE_COORDINATE,
                       STF2_SAMPLE_HAS_TIME});
  }
  samples.push_back({0, 0, 0, 0, STF2_SAMPLE_PEN_UP, 0});
  return samples;
}

void AddStroke(InkDataHandle* ink, const char* page, std::uint64_t time,
               std::uint32_t coordinates) {
  const std::vector<Stf2Sample> samples = Wave(coordinates);
  Stf2InkDataAddStroke(ink, page, time, samples.data(), static_cast<std::uint32_t>(samples.size()),
                       kBlack, 0);
}

Bytes InkOf(std::uint64_t pen, const std::function<void(InkDataHandle*)>& add) {
  InkDataHandle* ink = nullptr;
  void* data = nullptr;
  std::uint32_t size = 0;
  if (Stf2InkDataCreate(pen, &ink) != STF2_SUCCESS) std::abort();
  add(ink);
  if (Stf2WriterWriteDataHandle(ink, &data, &size) != STF2_SUCCESS) std::abort();
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  const Bytes copy(bytes, bytes + size);
  Stf2WriterFreeData(data);
  Stf2InkDataFreeHandle(&ink);
  return copy;
}

}  // namespace

std::map<std::string, Bytes> InkSeeds() {
  std::map<std::string, Bytes> seeds;
  seeds["empty"] = InkOf(0, [](InkDataHandle*) {});
  seeds["stroke"] =
      InkOf(81985529216486895, [](InkDataHandle* ink) { AddStroke(ink, "1.2.3.4", kStart, 6); });
  seeds["pages"] = InkOf(7, [](InkDataHandle* ink) {
    for (const char* page : {"1.2.3.4", "1.2.3.5", "1.2.3.4", "0.1.2.3.4"})
      AddStroke(ink, page, kStart, 2);
  });
  seeds["everything"] = InkOf(18446744073709551615u, [](InkDataHandle* ink) {
    Stf2InkDataAddProperty(ink, "title", "\xC3\x84rger \xF0\x9F\x96\x8B");
    Stf2InkDataAddProperty(ink, "", nullptr);
    Stf2InkDataAddMarker(ink, "1.2.3.4", kStart, "begin");
    AddStroke(ink, "1.2.3.4", kStart + 5, 3);
    Stf2InkDataAddMarker(ink, nullptr, 0, nullptr);
    Stf2InkDataAddStroke(ink, "1.2.3.5", kStart + 9, nullptr, 0, 0x80FF0000, 350);
    AddStroke(ink, nullptr, 0, 1);
    AddStroke(ink, "", 1, 0);
    Stf2InkDataAddMarker(ink, "9.9.9.9", kStart, "elsewhere");
  });
  seeds["times"] = InkOf(1, [](InkDataHandle* ink) {
    const Stf2Sample late = {4294967295, -2147483647 - 1,        2147483647,
                             65535,      STF2_SAMPLE_COORDINATE, STF2_SAMPLE_HAS_TIME};
    Stf2InkDataAddStroke(ink, "1.2.3.4", 18446744073709551615u, &late, 1, 0, 4294967295);
    Stf2InkDataAddStroke(ink, "1.2.3.4", 1, &late, 1, kBlack, 0);
  });
  return seeds;
}

std::map<std::string, Bytes> SealedSeeds() {
  std::map<std::string, Bytes> seeds;
  for (const auto& [name, ink] : InkSeeds()) {
    std::uint8_t* sealed = nullptr;
    std::uint32_t size = 0;
    if (SealInkData(ink.data(), static_cast<std::uint32_t>(ink.size()), kFuzzPublicKey, &sealed,
                    &size) != TALVO_ENCRYPTION_SUCCESS) {
      std::abort();
    }
    seeds[name].assign(sealed, sealed + size);
    FreeBuffer(&sealed);
  }
  return seeds;
}
