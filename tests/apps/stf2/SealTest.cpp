#include <gmock/gmock.h>
#include <sys/stat.h>

#include "ToolRun.h"

namespace InkTool {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

// A key pair, and the note sealed to it.
struct SealedFolder : ToolFolder {
  SealedFolder() {
    Run({"convert", "@note.inkml"});
    Run({"keygen", "-o", "@key"});
    Run({"seal", "--key", "@key.pub", "@note.stf2"});
  }
};

mode_t ModeOf(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
}

TEST(Seal, KeygenWritesASecretAndAPublicKey) {
  const ToolFolder folder;
  const Outcome outcome = folder.Run({"keygen", "-o", "@key"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "@key: Success, the public key is in @key.pub\n");
  EXPECT_THAT(folder.Read("key.pub"), MatchesRegex("stf2 public key\npublic [0-9A-F]+\n"));
  EXPECT_THAT(folder.Read("key"),
              MatchesRegex("stf2 secret key\npublic [0-9A-F]+\nsecret [0-9A-F]+\n"));
  EXPECT_EQ(ModeOf(folder.Path("key")), 0600u);
  EXPECT_NE(ModeOf(folder.Path("key.pub")), 0600u);
}

TEST(Seal, KeygenReplacesNoKey) {
  const ToolFolder folder;
  folder.Write("key.pub", "mine");
  const auto before = folder.Names();
  EXPECT_EQ(folder.Run({"keygen", "-o", "@key"}).err,
            "@key: Failed, @key.pub is there already; --force replaces it\n");
  EXPECT_EQ(folder.Names(), before);
}

TEST(Seal, SealedInkOpensAsItWas) {
  const SealedFolder folder;
  EXPECT_THAT(folder.Read("note.sealed.stf2").substr(4, 4), "STFE");
  const Outcome outcome =
      folder.Run({"open", "--key", "@key", "@note.sealed.stf2", "-o", "@opened.stf2"});
  EXPECT_EQ(outcome.out, "@note.sealed.stf2: Success, @opened.stf2\n");
  EXPECT_EQ(folder.Read("opened.stf2"), folder.Read("note.stf2"));
}

TEST(Seal, InfoTellsWhatIsOnTheEnvelope) {
  const SealedFolder folder;
  const std::string key = folder.Read("key.pub").substr(23, 64);
  const std::string text = folder.Run({"info", "@note.sealed.stf2"}).out;
  EXPECT_THAT(text, HasSubstr("sealed STF2"));
  EXPECT_THAT(text, HasSubstr("  pen         0123-4567-89AB-CDEF\n"));
  EXPECT_THAT(text, HasSubstr("  recipient   " + key + "\n"));
  EXPECT_THAT(folder.Run({"info", "--json", "@note.sealed.stf2"}).out,
              HasSubstr("\"recipient\":\"" + key + "\""));
}

TEST(Seal, EveryRefusalHasItsReason) {
  const SealedFolder folder;
  folder.Run({"keygen", "-o", "@other"});
  std::string damaged = folder.Read("note.sealed.stf2");
  damaged[damaged.size() / 2] ^= 1;
  folder.Write("damaged.stf2", damaged);
  const auto open = [&](const char* key, const char* file) {
    return folder.Run({"open", "--key", key, file, "-o", "@x.stf2"}).err;
  };
  EXPECT_EQ(open("@other", "@note.sealed.stf2"),
            "@note.sealed.stf2: Failed, sealed to another key\n");
  EXPECT_EQ(open("@key", "@damaged.stf2"), "@damaged.stf2: Failed, changed since it was sealed\n");
  EXPECT_EQ(open("@key", "@note.stf2"), "@note.stf2: Failed, is STF2 that is not sealed\n");
  EXPECT_EQ(open("@key", "@note.inkml"), "@note.inkml: Failed, is InkML, which can't be sealed\n");
  folder.Write("cut.stf2", damaged.substr(0, 60));
  EXPECT_EQ(open("@key", "@cut.stf2"), "@cut.stf2: Failed, no well-formed sealed ink\n");
  EXPECT_EQ(open("@key.pub", "@note.sealed.stf2"),
            "@note.sealed.stf2: Failed, key @key.pub: is a public key; ink is opened with the "
            "secret one\n");
  EXPECT_EQ(open("@note.stf2", "@note.sealed.stf2"),
            "@note.sealed.stf2: Failed, key @note.stf2: is not a secret key file\n");
  EXPECT_THAT(folder.Names(), Not(Contains("x.stf2")));
}

TEST(Seal, OnlyPlainStf2IsSealed) {
  const SealedFolder folder;
  const auto seal = [&](const char* key, const char* file) {
    return folder.Run({"seal", "--key", key, file, "-o", "@x.stf2"}).err;
  };
  folder.Write("junk", "no ink at all");
  EXPECT_EQ(seal("@key.pub", "@note.inkml"),
            "@note.inkml: Failed, is InkML; make STF2 of it with 'stf2 convert'\n");
  EXPECT_EQ(seal("@key.pub", "@note.sealed.stf2"),
            "@note.sealed.stf2: Failed, is sealed already\n");
  EXPECT_EQ(seal("@key.pub", "@junk"), "@junk: Failed, no well-formed ink\n");
  folder.Write("cut.stf2", folder.Read("note.stf2").substr(0, 60));
  EXPECT_EQ(seal("@key.pub", "@cut.stf2"), "@cut.stf2: Failed, header: no well-formed STF2 ink\n");
  EXPECT_EQ(seal("@key", "@note.stf2"),
            "@note.stf2: Failed, key @key: is a secret key; ink is sealed to the public one, the "
            "file ending in .pub\n");
  folder.Write("short.pub", "stf2 public key\npublic 12\n");
  EXPECT_EQ(seal("@short.pub", "@note.stf2"),
            "@note.stf2: Failed, key @short.pub: its public key is not 64 hexadecimal digits\n");
}

// Opening it, as the words for whole sealed ink advise, would be of no use.
TEST(Seal, DamagedSealedInkIsCalledSo) {
  const SealedFolder folder;
  folder.Write("cut.stf2", folder.Read("note.sealed.stf2").substr(0, 60));
  const std::string refusal = "@cut.stf2: Failed, no well-formed sealed ink\n";
  EXPECT_EQ(folder.Run({"info", "@cut.stf2"}).err, refusal);
  EXPECT_EQ(folder.Run({"convert", "@cut.stf2", "-o", "@x.inkml"}).err, refusal);
}

TEST(Seal, SealedInkIsNotConvertedUnopened) {
  const SealedFolder folder;
  EXPECT_EQ(folder.Run({"convert", "@note.sealed.stf2", "-o", "@x.inkml"}).err,
            "@note.sealed.stf2: Failed, sealed ink; open it first with 'stf2 open'\n");
}

}  // namespace
}  // namespace InkTool
