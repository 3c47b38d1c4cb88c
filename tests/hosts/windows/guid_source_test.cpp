#include "nerio/hosts/windows/guid_source.h"

#include <gtest/gtest.h>

#include <set>

#include "tests/testing/status_output.h"

namespace nerio::platform {
namespace {

TEST(WindowsGuidSource, EveryGuidIsOfVersion4AndItsOwn) {
  WindowsGuidSource source;
  std::set<GuidBytes> seen;
  for (int i = 0; i < 1000; ++i) {
    GuidBytes guid{};
    ASSERT_EQ(source.Create(guid), SystemStatus::kSuccess);
    EXPECT_EQ(guid[7] & 0xF0, 0x40);
    EXPECT_EQ(guid[8] & 0xC0, 0x80);
    EXPECT_TRUE(seen.insert(guid).second);
  }
}

}  // namespace
}  // namespace nerio::platform
