#include "tools/nerio/registry_view.h"

#include <gtest/gtest.h>

namespace nerio::tool {
namespace {

TEST(ViewText, EachView_SaysWhatItMeans) {
  EXPECT_EQ(ViewText({0, true}), "one view: 32-bit and 64-bit programs see the same registry");
  EXPECT_EQ(ViewText({32, true}), "the 32-bit view, the only one of this system");
  EXPECT_EQ(
      ViewText({32, false}),
      "the 32-bit view: what is HKEY_LOCAL_MACHINE\\Software here is HKEY_LOCAL_MACHINE\\Software\\WOW6432Node to "
      "64-bit programs");
}

}  // namespace
}  // namespace nerio::tool
