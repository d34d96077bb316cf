#include <TalvoCppUtils/Descriptor.h>
#include <fcntl.h>
#include <gtest/gtest.h>

using TalvoCppUtils::Descriptor;

namespace {

int OpenOne() {
  return ::open("/dev/null", O_RDONLY | O_CLOEXEC);
}

bool IsOpen(int fd) {
  return ::fcntl(fd, F_GETFD) != -1;
}

}  // namespace

TEST(Descriptor, ClosesWhatItHoldsAtItsEnd) {
  const int fd = OpenOne();
  {
    const Descriptor held(fd);
    EXPECT_TRUE(held);
    EXPECT_EQ(fd, held.get());
    EXPECT_TRUE(IsOpen(fd));
  }
  EXPECT_FALSE(IsOpen(fd));
}

TEST(Descriptor, OfAFailedCallHoldsNothing) {
  Descriptor none(-1);
  EXPECT_FALSE(none.is_open());
  EXPECT_EQ(0, none.Close());
}

TEST(Descriptor, IsMovedAndTheOldOneOfTheTargetCloses) {
  const int first = OpenOne();
  const int second = OpenOne();
  Descriptor source(first);
  Descriptor target(second);
  target = std::move(source);
  EXPECT_EQ(first, target.get());
  EXPECT_TRUE(IsOpen(first));
  EXPECT_FALSE(IsOpen(second));
  const Descriptor third(std::move(target));
  EXPECT_EQ(first, third.get());
}

TEST(Descriptor, ResetClosesAndReleaseDoesNot) {
  const int first = OpenOne();
  const int second = OpenOne();
  Descriptor held(first);
  held.Reset(second);
  EXPECT_FALSE(IsOpen(first));
  EXPECT_EQ(second, held.Release());
  EXPECT_FALSE(held);
  EXPECT_TRUE(IsOpen(second));
  EXPECT_EQ(0, ::close(second));
}

TEST(Descriptor, CloseTellsTheSystemsReason) {
  const int fd = OpenOne();
  Descriptor held(fd);
  ::close(fd);  // behind its back
  EXPECT_EQ(EBADF, held.Close());
  EXPECT_FALSE(held);
}

TEST(Descriptor, ClosesOnceAndThenNobodyElses) {
  Descriptor held(OpenOne());
  const int fd = held.get();
  EXPECT_EQ(0, held.Close());
  EXPECT_FALSE(IsOpen(fd));
  const Descriptor somebody_else(OpenOne());
  ASSERT_EQ(fd, somebody_else.get());
  EXPECT_EQ(0, held.Close());
  EXPECT_TRUE(IsOpen(fd));
}
