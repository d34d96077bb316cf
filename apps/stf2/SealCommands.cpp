// The commands that keep ink secret: keygen, seal, open.

#include <TalvoEncryption/Encryption.h>

#include "Commands.h"
#include "Files.h"
#include "Keys.h"
#include "Refusal.h"
#include "SealedInfo.h"
#include "Session.h"
#include "Stf2Fault.h"

namespace InkTool {
namespace {

std::string StatusText(int status) {
  switch (status) {
    case TALVO_ENCRYPTION_MALFORMED:
      return "no well-formed ink";
    case TALVO_ENCRYPTION_WRONG_KEY:
      return "sealed to another key than this one";
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

// A buffer of the encryption library, which wipes it.
struct SecretBuffer {
  SecretBuffer() = default;
  SecretBuffer(const SecretBuffer&) = delete;
  SecretBuffer& operator=(const SecretBuffer&) = delete;
  ~SecretBuffer() { FreeBuffer(&bytes); }
  std::string Copy() const { return std::string(reinterpret_cast<const char*>(bytes), size); }
  std::uint8_t* bytes = nullptr;
  std::uint32_t size = 0;
};

void Check(int status) {
  if (status != TALVO_ENCRYPTION_SUCCESS) throw Refusal(StatusText(status));
}

// Runs `read` on the key's file; a refusal names that file.
template <typename Read>
void WithKeyFile(const std::string& path, Read read) {
  std::string text;
  try {
    text = ReadInput(path);
    read(text);
  } catch (const Refusal& refusal) {
    Wipe(text);
    throw Refusal("key " + path, refusal.what());
  }
  Wipe(text);
}

// "note.sealed.stf2" opens as "note.stf2", any other as "NAME.opened.stf2".
std::string OpenedName(const std::string& file) {
  const std::string stem = StemOf(file);
  const std::string ending = ".sealed";
  const bool marked = stem.size() > ending.size() &&
                      stem.compare(stem.size() - ending.size(), ending.size(), ending) == 0;
  return (marked ? stem.substr(0, stem.size() - ending.size()) : stem + ".opened") + ".stf2";
}

}  // namespace

int KeyGen(const Options& options, Streams streams) {
  Session session(options, streams);
  session.Attempt(options.output, [&] {
    KeyPair pair;
    Check(CreateKeyPair(pair.public_key.data(), pair.secret_key.data()));
    std::string secret = WriteSecretKey(pair);
    OutputSet outputs(options.force);
    try {
      outputs.Add(options.output, secret, true);
    } catch (const Refusal&) {
      Wipe(secret);
      throw;
    }
    Wipe(secret);
    outputs.Add(options.output + ".pub", WritePublicKey(pair.public_key));
    outputs.Commit();
    return "the public key is in " + options.output + ".pub";
  });
  return session.status();
}

int Seal(const Options& options, Streams streams) {
  Session session(options, streams);
  session.ForEachInput([&](const std::string& file) {
    Key key{};
    WithKeyFile(options.key, [&](const std::string& text) { key = ParsePublicKey(text); });
    const std::string bytes = ReadInput(file);
    if (LooksLikeXml(bytes)) throw Refusal("is InkML; make STF2 of it with 'stf2 convert'");
    if (ReadSealedInfo(bytes)) throw Refusal("is sealed already");
    SecretBuffer sealed;
    const int status = SealInkData(bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                                   key.data(), &sealed.bytes, &sealed.size);
    if (status == TALVO_ENCRYPTION_MALFORMED && HasIdentifier(bytes, "STF2"))
      throw Refusal(FaultOf(bytes));
    Check(status);
    const std::string path = OutputPath(file, options.output, StemOf(file) + ".sealed.stf2");
    session.Save(path, sealed.Copy());
    return path;
  });
  return session.status();
}

int Open(const Options& options, Streams streams) {
  Session session(options, streams);
  session.ForEachInput([&](const std::string& file) {
    KeyPair pair;
    WithKeyFile(options.key, [&](const std::string& text) { ParseSecretKey(text, pair); });
    const std::string bytes = ReadInput(file);
    if (HasIdentifier(bytes, "STF2")) throw Refusal("is STF2 that is not sealed");
    if (LooksLikeXml(bytes)) throw Refusal("is InkML, which can't be sealed");
    if (!ReadSealedInfo(bytes)) throw Refusal("no well-formed sealed ink");
    SecretBuffer ink;
    Check(OpenInkData(bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                      pair.public_key.data(), pair.secret_key.data(), &ink.bytes, &ink.size));
    const std::string path = OutputPath(file, options.output, OpenedName(file));
    std::string plain = ink.Copy();
    try {
      session.Save(path, plain);
    } catch (...) {
      Wipe(plain);
      throw;
    }
    Wipe(plain);
    return path;
  });
  return session.status();
}

}  // namespace InkTool
