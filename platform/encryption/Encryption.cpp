#include "TalvoEncryption/Encryption.h"

#include <sodium.h>

#include <cstring>
#include <limits>
#include <new>

#include "Buffer.h"
#include "Stf2.h"
#include "sealed_generated.h"

using namespace Talvo::Encryption;
using Format::SealedInk;

static_assert(TALVO_KEY_BYTES == crypto_box_PUBLICKEYBYTES &&
                  TALVO_KEY_BYTES == crypto_box_SECRETKEYBYTES,
              "keys are X25519 keys");

namespace {

constexpr std::uint8_t kSealedBox = 1;  // the algorithm

// Envelope around the box: root, table, recipient, padding.
constexpr std::size_t kEnvelopeBytes = 256;

// Runs the inside of a C function: what it raises becomes a status.
template <class Function>
int Guarded(Function&& function) noexcept {
  try {
    return function();
  } catch (const std::bad_alloc&) {
    return TALVO_ENCRYPTION_OUT_OF_MEMORY;
  }
}

// Safe to ask from several threads at the same time.
bool IsSodiumReady() {
  return sodium_init() >= 0;
}

// The caller's bytes if they are aligned for reading in place, otherwise a copy, which is wiped.
class AlignedBytes {
 public:
  AlignedBytes(const void* data, std::uint32_t size)
      : bytes_(static_cast<const std::uint8_t*>(data)) {
    if (reinterpret_cast<std::uintptr_t>(data) % alignof(std::uint64_t) == 0) return;
    copy_ = MakeBuffer(size);
    std::memcpy(copy_.get(), data, size);
    bytes_ = copy_.get();
  }

  const std::uint8_t* get() const { return bytes_; }

 private:
  Buffer copy_;
  const std::uint8_t* bytes_;
};

bool IsWellFormed(const SealedInk& sealed) {
  const auto* recipient = sealed.recipient();
  const auto* box = sealed.box();
  return recipient && recipient->size() == TALVO_KEY_BYTES && box &&
         box->size() >= crypto_box_SEALBYTES;
}

// The envelope, null if it is not well-formed.
const SealedInk* ReadEnvelope(const AlignedBytes& data, std::uint32_t size) {
  if (size >= FLATBUFFERS_MAX_BUFFER_SIZE) return nullptr;
  flatbuffers::Verifier verifier(data.get(), size, 1, 1);  // one table
  if (!Format::VerifySealedInkBuffer(verifier)) return nullptr;
  const SealedInk* sealed = Format::GetSealedInk(data.get());
  return IsWellFormed(*sealed) ? sealed : nullptr;
}

// The pen of STF2 ink; a status.
int ReadPen(const std::uint8_t* ink, std::uint32_t size, std::uint64_t& pen) {
  InkDataHandle* handle = nullptr;
  const int status = Stf2InkDataInitialize(ink, size, &handle);
  if (status == STF2_OUT_OF_MEMORY) return TALVO_ENCRYPTION_OUT_OF_MEMORY;
  if (status != STF2_SUCCESS) return TALVO_ENCRYPTION_MALFORMED;
  Stf2InkDataGetPenId(handle, &pen);
  Stf2InkDataFreeHandle(&handle);
  return TALVO_ENCRYPTION_SUCCESS;
}

// Whether the envelope is for this key pair, and the two keys for each other.
bool IsForKeys(const SealedInk& sealed, const std::uint8_t* public_key,
               const std::uint8_t* secret_key) {
  std::uint8_t derived[TALVO_KEY_BYTES];
  return std::memcmp(sealed.recipient()->data(), public_key, TALVO_KEY_BYTES) == 0 &&
         crypto_scalarmult_base(derived, secret_key) == 0 &&
         std::memcmp(derived, public_key, TALVO_KEY_BYTES) == 0;
}

int Seal(const std::uint8_t* ink, std::uint32_t size, std::uint64_t pen,
         const std::uint8_t* public_key, Buffer& out, std::uint32_t& out_size) {
  const std::uint64_t box_size = std::uint64_t{size} + crypto_box_SEALBYTES;
  if (box_size + kEnvelopeBytes >= FLATBUFFERS_MAX_BUFFER_SIZE) {
    return TALVO_ENCRYPTION_OUT_OF_MEMORY;
  }
  BlockAllocator allocator;
  flatbuffers::FlatBufferBuilder builder(box_size + kEnvelopeBytes, &allocator);
  std::uint8_t* box = nullptr;
  const auto box_offset = builder.CreateUninitializedVector<std::uint8_t>(box_size, &box);
  if (crypto_box_seal(box, ink, size, public_key) != 0) {
    return TALVO_ENCRYPTION_INVALID_ARGUMENT;
  }
  const auto recipient = builder.CreateVector(public_key, TALVO_KEY_BYTES);
  builder.TrackMinAlign(sizeof(std::uint64_t));
  Format::FinishSealedInkBuffer(
      builder, Format::CreateSealedInk(builder, pen, recipient, kSealedBox, box_offset));
  out = TakeBuffer(builder, out_size);
  return TALVO_ENCRYPTION_SUCCESS;
}

int Open(const SealedInk& sealed, const std::uint8_t* public_key, const std::uint8_t* secret_key,
         Buffer& out, std::uint32_t& out_size) {
  if (sealed.algorithm() != kSealedBox) return TALVO_ENCRYPTION_UNSUPPORTED;
  if (!IsForKeys(sealed, public_key, secret_key)) return TALVO_ENCRYPTION_WRONG_KEY;
  const auto& box = *sealed.box();
  out_size = box.size() - crypto_box_SEALBYTES;
  out = MakeBuffer(out_size);
  if (crypto_box_seal_open(out.get(), box.data(), box.size(), public_key, secret_key) != 0) {
    return TALVO_ENCRYPTION_DAMAGED;
  }
  std::uint64_t pen = 0;
  const int status = ReadPen(out.get(), out_size, pen);
  if (status != TALVO_ENCRYPTION_SUCCESS) return status;
  return pen == sealed.pen() ? TALVO_ENCRYPTION_SUCCESS : TALVO_ENCRYPTION_WRONG_PEN;
}

}  // namespace

int GetEncryptedDataInfo(const void* data, uint32_t size, uint8_t** pen, uint8_t** recipient,
                         uint8_t* algorithm) {
  if (pen) *pen = nullptr;
  if (recipient) *recipient = nullptr;
  if (algorithm) *algorithm = 0;
  if (!data || !pen || !recipient || !algorithm) return TALVO_ENCRYPTION_INVALID_ARGUMENT;
  return Guarded([&] {
    const AlignedBytes bytes(data, size);
    const SealedInk* sealed = ReadEnvelope(bytes, size);
    if (!sealed) return TALVO_ENCRYPTION_MALFORMED;
    Buffer pen_bytes = MakeBuffer(TALVO_PEN_BYTES);
    Buffer recipient_bytes = MakeBuffer(TALVO_KEY_BYTES);
    for (int i = 0; i < TALVO_PEN_BYTES; ++i) {
      pen_bytes.get()[i] = static_cast<std::uint8_t>(sealed->pen() >> (56 - 8 * i));
    }
    std::memcpy(recipient_bytes.get(), sealed->recipient()->data(), TALVO_KEY_BYTES);
    *pen = pen_bytes.release();
    *recipient = recipient_bytes.release();
    *algorithm = sealed->algorithm();
    return TALVO_ENCRYPTION_SUCCESS;
  });
}

int FreeBuffer(uint8_t** buffer) {
  if (!buffer) return TALVO_ENCRYPTION_INVALID_ARGUMENT;
  ReleaseBuffer(*buffer);
  *buffer = nullptr;
  return TALVO_ENCRYPTION_SUCCESS;
}

int CreateKeyPair(uint8_t* public_key, uint8_t* secret_key) {
  if (!public_key || !secret_key || !IsSodiumReady()) return TALVO_ENCRYPTION_INVALID_ARGUMENT;
  crypto_box_keypair(public_key, secret_key);
  return TALVO_ENCRYPTION_SUCCESS;
}

int SealInkData(const void* ink, uint32_t size, const uint8_t* public_key, uint8_t** out,
                uint32_t* out_size) {
  if (out) *out = nullptr;
  if (out_size) *out_size = 0;
  if (!ink || !public_key || !out || !out_size || !IsSodiumReady()) {
    return TALVO_ENCRYPTION_INVALID_ARGUMENT;
  }
  return Guarded([&] {
    const AlignedBytes bytes(ink, size);
    std::uint64_t pen = 0;
    int status = ReadPen(bytes.get(), size, pen);
    if (status != TALVO_ENCRYPTION_SUCCESS) return status;
    Buffer sealed;
    std::uint32_t sealed_size = 0;
    status = Seal(bytes.get(), size, pen, public_key, sealed, sealed_size);
    if (status != TALVO_ENCRYPTION_SUCCESS) return status;
    *out = sealed.release();
    *out_size = sealed_size;
    return status;
  });
}

int OpenInkData(const void* data, uint32_t size, const uint8_t* public_key,
                const uint8_t* secret_key, uint8_t** out, uint32_t* out_size) {
  if (out) *out = nullptr;
  if (out_size) *out_size = 0;
  if (!data || !public_key || !secret_key || !out || !out_size || !IsSodiumReady()) {
    return TALVO_ENCRYPTION_INVALID_ARGUMENT;
  }
  return Guarded([&] {
    const AlignedBytes bytes(data, size);
    const SealedInk* sealed = ReadEnvelope(bytes, size);
    if (!sealed) return int{TALVO_ENCRYPTION_MALFORMED};
    Buffer ink;
    std::uint32_t ink_size = 0;
    const int status = Open(*sealed, public_key, secret_key, ink, ink_size);
    if (status != TALVO_ENCRYPTION_SUCCESS) return status;
    *out = ink.release();
    *out_size = ink_size;
    return status;
  });
}
