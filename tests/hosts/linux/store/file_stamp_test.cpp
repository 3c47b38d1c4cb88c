#include "nerio/hosts/linux/store/file_stamp.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/hosts/linux/store/memory_folder.h"
#include "tests/testing/temporary_folder.h"

namespace nerio::platform {
namespace {

TEST(FileStamp, IsOldEnough_NeedsMoreThanTheStepsOfTheClock) {
  struct Case {
    std::int64_t seconds;
    std::int64_t nanoseconds;
    bool oldEnough;
  };
  // The clock says 100.5; two steps of the slowest clock are 20 ms. Times without a fraction are never old enough.
  for (const Case& one : {Case{100, 500'000'000, false}, Case{100, 480'000'000, false}, Case{100, 479'999'999, true},
                          Case{99, 999'999'999, true}, Case{100, 0, false}, Case{98, 0, false}, Case{99, 0, false},
                          Case{101, 1, false}, Case{4'000'000'000, 0, false},
                          // As far from now as file systems can be made to tell.
                          Case{15'000'000'000, 1, false}, Case{-15'000'000'000, 1, true}}) {
    FileStamp stamp;
    stamp.seconds = one.seconds;
    stamp.nanoseconds = one.nanoseconds;
    FileStamp now;
    now.seconds = 100;
    now.nanoseconds = 500'000'000;
    EXPECT_EQ(IsOldEnough(stamp, now), one.oldEnough) << one.seconds << '.' << one.nanoseconds;
  }
}

// On older kernels many of these changes have the time of the one before.
TEST(FileStamp, AChangeRightAfterALook_ShowsWhereTheKernelTellsChangesApart) {
  const testing::TemporaryFolder folder(testing::MemoryFolder());
  for (int change = 0; change < 500; ++change) {
    FileStamp before;
    FileStamp after;
    ASSERT_TRUE(ReadStamp(folder.path(), before));
    std::filesystem::create_directory(folder.path() / "new");
    std::filesystem::remove(folder.path() / "new");
    ASSERT_TRUE(ReadStamp(folder.path(), after));
    ASSERT_TRUE(before != after || !TellsChangesApart()) << change;
  }
}

TEST(FileStamp, KernelsThatTellChangesApart_BeginWith613) {
  struct Case {
    const char* release;
    bool tells;
  };
  for (const Case& one : {Case{"6.13.0", true}, Case{"6.13", true}, Case{"6.13-rc1", true}, Case{"6.18.44-amd64", true},
                          Case{"7.0.0", true}, Case{"7", true}, Case{"10.1", true}, Case{"6.12.99", false},
                          Case{"6", false}, Case{"6-14", false}, Case{"5.15.0-13", false}, Case{"", false}}) {
    EXPECT_EQ(ReleaseTellsChangesApart(one.release), one.tells) << one.release;
  }
}

}  // namespace
}  // namespace nerio::platform
