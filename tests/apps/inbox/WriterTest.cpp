#include "database/Writer.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>

#include "Inks.h"
#include "support/Machine.h"

using namespace Inbox;

namespace {

class WriterTest : public InboxFixture {
 protected:
  static Writer::Job Keeping(int number) {
    return [number](Keeper& keeper) {
      keeper.Keep({InkOf("1.2.3.4", static_cast<std::uint64_t>(number)), "", ""}, 1);
    };
  }
};

}  // namespace

TEST_F(WriterTest, AJobIsCommittedWhenItIsDone) {
  Writer writer(database_, [] {});
  writer.Run(Keeping(1));
  EXPECT_EQ(Count("strokes"), 1);
}

TEST_F(WriterTest, JobsThatWaitTogetherShareOneTransaction) {
  std::atomic<int> commits{0};
  std::promise<void> begun, go_on;
  {
    Writer writer(database_, [&commits] { ++commits; });
    writer.Post(
        [&](Keeper&) {
          begun.set_value();
          go_on.get_future().wait();
        },
        [](std::exception_ptr) {});
    begun.get_future().wait();
    for (int i = 1; i <= 100; ++i) writer.Post(Keeping(i), [](std::exception_ptr) {});
    go_on.set_value();
  }
  EXPECT_EQ(Count("strokes"), 100);
  EXPECT_EQ(commits, 2);
}

TEST_F(WriterTest, NobodyIsToldBeforeTheCommit) {
  Writer writer(database_, [] {});
  std::int64_t seen = -1;
  std::promise<void> done;
  const auto reader = database_.OpenReader();
  writer.Post(Keeping(1), [&](std::exception_ptr) {
    seen = reader->Number("SELECT count(*) FROM strokes");
    done.set_value();
  });
  done.get_future().wait();
  EXPECT_EQ(seen, 1);
}

TEST_F(WriterTest, AJobThatFailsTakesOnlyItselfBack) {
  std::promise<void> begun, go_on;
  std::exception_ptr failed, good;
  {
    Writer writer(database_, [] {});
    writer.Post(
        [&](Keeper&) {
          begun.set_value();
          go_on.get_future().wait();
        },
        [](std::exception_ptr) {});
    begun.get_future().wait();
    writer.Post(
        [](Keeper& keeper) {
          Keeping(1)(keeper);
          throw std::runtime_error("on second thoughts");
        },
        [&](std::exception_ptr failure) { failed = failure; });
    writer.Post(Keeping(2), [&](std::exception_ptr failure) { good = failure; });
    go_on.set_value();
  }
  EXPECT_TRUE(failed);
  EXPECT_FALSE(good);
  EXPECT_EQ(Count("strokes"), 1);
}

TEST_F(WriterTest, AJobThatTheDatabaseRefusesTakesItselfBack) {
  Writer writer(database_, [] {});
  EXPECT_THROW(writer.Run([](Keeper& keeper) {
    Keeping(1)(keeper);
    throw SqliteError("can't write", SQLITE_CONSTRAINT);
  }),
               SqliteError);
  writer.Run(Keeping(2));
  EXPECT_EQ(Count("strokes"), 1);
}

TEST_F(WriterTest, RunThrowsWhatTheJobThrew) {
  Writer writer(database_, [] {});
  EXPECT_THROW(writer.Run([](Keeper&) { throw std::out_of_range("no"); }), std::out_of_range);
}

TEST_F(WriterTest, OnAFullDiskNobodyIsToldThatItWasKept) {
  const auto full = root_.path() / "full";
  Disk disk(full, "size=1m");
  if (!disk.is_mounted()) GTEST_SKIP() << "this user can't mount a file system";
  const Database database(full.string());
  Writer writer(database, [] {});
  disk.Fill();
  int kept = 0;
  const auto keep = [&](int number) {
    try {
      writer.Run(Keeping(number));
      ++kept;
      return true;
    } catch (const SqliteError&) {
      return false;
    }
  };
  int number = 1;
  while (number < 1000 && keep(number)) ++number;
  EXPECT_LT(number, 1000) << "the disk was not full";
  disk.Free();
  EXPECT_TRUE(keep(number)) << "the same ink, tried again";
  EXPECT_EQ(database.OpenReader()->Number("SELECT count(*) FROM strokes"), kept);
}
