// A database of its own for a test, and ink to put in.

#pragma once

#include <TalvoEncryption/Encryption.h>
#include <gtest/gtest.h>
#include <sodium.h>

#include <string>
#include <vector>

#include "database/Catalogue.h"
#include "database/Database.h"
#include "database/Keeper.h"
#include "ink/KeyFile.h"
#include "support/InkFile.h"
#include "support/TestRoot.h"

// A pair of keys that nobody had before.
struct NewKeyPair : TalvoInk::KeyPair {
  NewKeyPair() { EXPECT_EQ(CreateKeyPair(public_key.data(), secret_key.data()), 0); }
};

// The ink, sealed to the key.
inline std::string SealTo(const TalvoInk::KeyPair& key, const std::string& ink) {
  std::uint8_t* bytes = nullptr;
  std::uint32_t size = 0;
  EXPECT_EQ(SealInkData(ink.data(), static_cast<std::uint32_t>(ink.size()), key.public_key.data(),
                        &bytes, &size),
            0);
  const std::string sealed(reinterpret_cast<const char*>(bytes), size);
  FreeBuffer(&bytes);
  return sealed;
}

// An inbox without a program around it. Every Keep is a transaction.
class InboxFixture : public testing::Test {
 protected:
  InboxFixture() : directory_((Made(), Inbox::DataDirectory())), database_(directory_) {
    EXPECT_GE(::sodium_init(), 0);
    connection_ = database_.OpenWriter();
  }

  bool Keep(const std::string& bytes, std::int64_t now_ms = 1000) {
    Inbox::Transaction transaction(*connection_);
    const bool is_new = keeper().Keep({bytes, kTestPenSerial, "1.2.3.4"}, now_ms);
    transaction.Commit();
    return is_new;
  }

  Inbox::Keeper keeper() { return Inbox::Keeper(*connection_); }
  Inbox::Catalogue catalogue() { return Inbox::Catalogue(*connection_); }

  std::vector<Inbox::PageRow> List(const Inbox::PageQuery& query = {}) {
    bool has_more = false;
    return catalogue().Find(query, has_more);
  }
  std::vector<std::int64_t> Ids(const Inbox::PageQuery& query = {}) {
    std::vector<std::int64_t> ids;
    for (const auto& row : List(query)) ids.push_back(row.id);
    return ids;
  }

  std::int64_t Count(const std::string& table) {
    return connection_->Number(("SELECT count(*) FROM " + table).c_str());
  }

  // One stroke on the page.
  static std::string InkOf(const char* page, std::uint64_t start_ms = 5000,
                           std::uint64_t pen = kTestPen) {
    return InkFile(pen).AddStroke(page, start_ms).bytes();
  }

  TestRoot root_;
  const std::string directory_;
  const Inbox::Database database_;
  std::unique_ptr<Inbox::Connection> connection_;

 private:
  static void Made() { Inbox::MakeDataDirectory(Inbox::DataDirectory()); }
};
