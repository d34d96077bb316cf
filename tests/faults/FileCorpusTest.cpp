// Replays what the fuzzing of the service's own files starts from and what it once found, and the
// same with every byte damaged.

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

#include "WalkFiles.h"
#include "support/TestRoot.h"

namespace fs = boost::filesystem;

namespace {

typedef void (*Walk)(const std::uint8_t* data, std::size_t size);

void WalkText(Walk walk, const std::string& text) {
  walk(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
}

// Walks every file of the corpus; how many there are.
int Replay(const char* corpus, Walk walk) {
  int files = 0;
  for (const auto& entry : fs::directory_iterator(fs::path(QUILLPOST_CORPUS) / corpus)) {
    WalkText(walk, ReadFile(entry.path()));
    ++files;
  }
  return files;
}

// The same with each byte in turn replaced, and cut off behind it.
void Damage(const char* corpus, const char* name, Walk walk) {
  const std::string whole = ReadFile(fs::path(QUILLPOST_CORPUS) / corpus / name);
  ASSERT_FALSE(whole.empty());
  for (std::size_t at = 0; at < whole.size(); ++at) {
    WalkText(walk, whole.substr(0, at));
    for (const char byte : {'\0', ' ', '0', '1', '9', '~', '\xFF'}) {
      std::string damaged = whole;
      damaged[at] = byte;
      WalkText(walk, damaged);
    }
  }
}

}  // namespace

TEST(FileCorpus, OfSubscriptionsBreaksNoPromise) {
  EXPECT_GE(Replay("subscription", WalkSubscription), 6);
}

TEST(FileCorpus, OfRoutingInfoBreaksNoPromise) {
  EXPECT_GE(Replay("routinginfo", WalkRoutingInfo), 5);
}

TEST(FileCorpus, OfSubscriptionsMayBeDamagedAnywhere) {
  Damage("subscription", "plain", WalkSubscription);
  Damage("subscription", "comments", WalkSubscription);
}

TEST(FileCorpus, OfRoutingInfoMayBeDamagedAnywhere) {
  for (const char* name : {"one", "two", "unfinished"}) {
    Damage("routinginfo", name, WalkRoutingInfo);
  }
}
