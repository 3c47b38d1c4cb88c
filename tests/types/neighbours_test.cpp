// The public headers after those of other libraries that are known for their macros.
#include <gtest/gtest.h>

#ifdef _WIN32
// The whole of it, as most programs include it.
#undef NOMINMAX
#undef WIN32_LEAN_AND_MEAN
#include <windows.h>
#endif

// Macros as <X11/X.h> and <X11/Xlib.h> define them.
#define Bool int
#define Status int
#define True 1
#define False 0
#define None 0L
#define Always 2
#define Success 0

#include "public_headers.inc"

namespace {

TEST(Neighbours, MacrosAreAsBeforeAndBothTruthValuesHaveNamesOfTheirOwn) {
  static_assert(True == 1 && False == 0 && Success == 0);
  constexpr Status status = 7;  // int
  static_assert(sizeof status == sizeof(int));
#ifdef _WIN32
  static_assert(DELETE == 0x10000);
#endif
  nerio::Boolean value = nerio::kTrue;
  EXPECT_EQ(static_cast<int>(value), -1);
  value = nerio::kFalse;
  EXPECT_EQ(static_cast<int>(value), 0);
  EXPECT_EQ(nerio::TextOf(nerio::kTrue), u"True");
}

}  // namespace
