#include "ink/SealedInfo.h"

#include <TalvoEncryption/Encryption.h>

#include <limits>

#include "ink/Text.h"

namespace TalvoInk {

std::optional<SealedInfo> ReadSealedInfo(const std::string& bytes) {
  if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
  std::uint8_t* pen = nullptr;
  std::uint8_t* recipient = nullptr;
  SealedInfo info;
  const int status = GetEncryptedDataInfo(bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                                          &pen, &recipient, &info.algorithm);
  if (status != TALVO_ENCRYPTION_SUCCESS) return std::nullopt;
  for (int i = 0; i < TALVO_PEN_BYTES; ++i) info.pen = info.pen << 8 | pen[i];
  info.recipient = Hexadecimal(recipient, TALVO_KEY_BYTES);
  FreeBuffer(&pen);
  FreeBuffer(&recipient);
  return info;
}

const char* SealingFault(int status) {
  switch (status) {
    case TALVO_ENCRYPTION_MALFORMED:
      return "no well-formed ink";
    case TALVO_ENCRYPTION_WRONG_KEY:
      return "sealed to another key";
    case TALVO_ENCRYPTION_DAMAGED:
      return "changed since it was sealed";
    case TALVO_ENCRYPTION_WRONG_PEN:
      return "the pen on the envelope is not the pen of the ink inside";
    case TALVO_ENCRYPTION_UNSUPPORTED:
      return "sealed by a method that is not known here";
    case TALVO_ENCRYPTION_OUT_OF_MEMORY:
      return "out of memory";
    default:
      return "not accepted by the encryption library";
  }
}

}  // namespace TalvoInk
