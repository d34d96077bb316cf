#include "Sealing.h"

#include <flatbuffers/flatbuffers.h>
#include <gtest/gtest.h>

#include "Stf2.h"
#include "sealed_generated.h"

namespace Format = Talvo::Encryption::Format;

KeyPair::KeyPair() {
  EXPECT_EQ(CreateKeyPair(public_key.data(), secret_key.data()), TALVO_ENCRYPTION_SUCCESS);
}

Bytes InkOfPen(std::uint64_t pen, const std::string& text) {
  InkDataHandle* ink = nullptr;
  void* data = nullptr;
  std::uint32_t size = 0;
  const Stf2Sample sample = {1, 2, 3, 4, STF2_SAMPLE_COORDINATE, STF2_SAMPLE_HAS_TIME};
  EXPECT_EQ(Stf2InkDataCreate(pen, &ink), STF2_SUCCESS);
  EXPECT_EQ(Stf2InkDataAddProperty(ink, "text", text.c_str()), STF2_SUCCESS);
  EXPECT_EQ(Stf2InkDataAddStroke(ink, "1.2.3.4", 1, &sample, 1, 0xFF000000, 0), STF2_SUCCESS);
  EXPECT_EQ(Stf2WriterWriteDataHandle(ink, &data, &size), STF2_SUCCESS);
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  Bytes copy(bytes, bytes + size);
  Stf2WriterFreeData(data);
  Stf2InkDataFreeHandle(&ink);
  return copy;
}

Bytes Seal(const Bytes& ink, const Key& public_key) {
  std::uint8_t* sealed = nullptr;
  std::uint32_t size = 0;
  EXPECT_EQ(SealInkData(ink.data(), static_cast<std::uint32_t>(ink.size()), public_key.data(),
                        &sealed, &size),
            TALVO_ENCRYPTION_SUCCESS);
  Bytes copy(sealed, sealed + size);
  EXPECT_EQ(FreeBuffer(&sealed), TALVO_ENCRYPTION_SUCCESS);
  return copy;
}

Bytes EnvelopeOf(const EnvelopeModel& model) {
  flatbuffers::FlatBufferBuilder builder;
  Format::FinishSealedInkBuffer(
      builder, Format::CreateSealedInkDirect(builder, model.pen, &model.recipient, model.algorithm,
                                             &model.box));
  return Bytes(builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize());
}

EnvelopeModel ModelOf(const Bytes& sealed) {
  const auto* envelope = Format::GetSealedInk(sealed.data());
  EnvelopeModel model;
  model.pen = envelope->pen();
  model.recipient.assign(envelope->recipient()->begin(), envelope->recipient()->end());
  model.algorithm = envelope->algorithm();
  model.box.assign(envelope->box()->begin(), envelope->box()->end());
  return model;
}

Opened Open(const Bytes& sealed, const Key& public_key, const Key& secret_key) {
  std::uint8_t* ink = nullptr;
  std::uint32_t size = 0;
  Opened opened;
  opened.status = OpenInkData(sealed.data(), static_cast<std::uint32_t>(sealed.size()),
                              public_key.data(), secret_key.data(), &ink, &size);
  EXPECT_EQ(ink != nullptr, opened.status == TALVO_ENCRYPTION_SUCCESS);
  EXPECT_EQ(size != 0, opened.status == TALVO_ENCRYPTION_SUCCESS);
  if (ink) opened.ink.assign(ink, ink + size);
  EXPECT_EQ(FreeBuffer(&ink), TALVO_ENCRYPTION_SUCCESS);
  EXPECT_EQ(ink, nullptr);
  return opened;
}
