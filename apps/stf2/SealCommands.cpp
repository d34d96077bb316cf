// The commands that keep ink secret: keygen, seal, open.

#include <TalvoEncryption/Encryption.h>

#include "Commands.h"
#include "Files.h"
#include "Refusal.h"
#include "Session.h"
#include "ink/KeyFile.h"
#include "ink/SealedInfo.h"
#include "ink/Stf2Fault.h"
#include "ink/Stf2File.h"
#include "ink/xml/XmlDocument.h"

namespace InkTool {

using namespace TalvoInk;

namespace {

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
  if (status != TALVO_ENCRYPTION_SUCCESS) throw Refusal(SealingFault(status));
}

// Runs `read` on the key's file; a refusal names that file.
template <typename Read>
void WithKeyFile(const std::string& path, Streams streams, Read read) {
  std::string text;
  try {
    text = path == "-" ? ReadStream(streams.in) : ReadInput(path);
    read(text);
  } catch (const std::runtime_error& error) {  // Refusal and InkError
    Wipe(text);
    throw Refusal("key " + ShownInput(path), error.what());
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
  session.Attempt(ShownOutput(options.output), [&] {
    KeyPair pair;
    Check(CreateKeyPair(pair.public_key.data(), pair.secret_key.data()));
    std::string secret = WriteSecretKey(pair);
    if (options.output == "-") {
      session.Save("-", secret);
      Wipe(secret);
      return std::string("the public key is in the same lines");
    }
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
  std::optional<Key> key;
  session.ForEachInput([&](const std::string& file) {
    if (!key) {
      WithKeyFile(options.key, streams,
                  [&](const std::string& text) { key = ParsePublicKey(text); });
    }
    const std::string bytes = session.Read(file).bytes;
    if (LooksLikeXml(bytes)) throw Refusal("is InkML; make STF2 of it with 'stf2 convert'");
    if (ReadSealedInfo(bytes)) throw Refusal("is sealed already");
    SecretBuffer sealed;
    const int status = SealInkData(bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                                   key->data(), &sealed.bytes, &sealed.size);
    if (status == TALVO_ENCRYPTION_MALFORMED && HasIdentifier(bytes, "STF2"))
      throw Refusal(FaultOf(bytes));
    Check(status);
    const std::string path = session.PathFor(file, StemOf(file) + ".sealed.stf2");
    session.Save(path, sealed.Copy());
    return ShownOutput(path);
  });
  return session.status();
}

int Open(const Options& options, Streams streams) {
  Session session(options, streams);
  KeyPair pair;
  bool has_key = false;
  session.ForEachInput([&](const std::string& file) {
    if (!has_key) {
      WithKeyFile(options.key, streams,
                  [&](const std::string& text) { ParseSecretKey(text, pair); });
      has_key = true;
    }
    const std::string bytes = session.Read(file).bytes;
    if (HasIdentifier(bytes, "STF2")) throw Refusal("is STF2 that is not sealed");
    if (LooksLikeXml(bytes)) throw Refusal("is InkML, which can't be sealed");
    if (!ReadSealedInfo(bytes)) throw Refusal("no well-formed sealed ink");
    SecretBuffer ink;
    Check(OpenInkData(bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                      pair.public_key.data(), pair.secret_key.data(), &ink.bytes, &ink.size));
    const std::string path = session.PathFor(file, OpenedName(file));
    std::string plain = ink.Copy();
    try {
      session.Save(path, plain);
    } catch (...) {
      Wipe(plain);
      throw;
    }
    Wipe(plain);
    return ShownOutput(path);
  });
  return session.status();
}

}  // namespace InkTool
