#include "nerio/types/byte_view.h"

#include <gtest/gtest.h>

namespace nerio {
namespace {

Bytes BytesOf(TextView text) {
  Text swapped;
  const auto view = ByteView(text, swapped);
  return {view.begin(), view.end()};
}

TEST(ByteView, OfAText_IsItsUnitsLowByteFirst) {
  EXPECT_EQ(BytesOf(u""), Bytes());
  EXPECT_EQ(BytesOf(u"A\u20AC\xD800"), (Bytes{0x41, 0x00, 0xAC, 0x20, 0x00, 0xD8}));
}

TEST(ByteView, TextOfBytes_OfAnyLength_LeavesAnOddLastByteOut) {
  EXPECT_EQ(TextOfBytes({0x41, 0x00, 0xAC, 0x20}), u"A\u20AC");
  EXPECT_EQ(TextOfBytes({0x41, 0x00, 0xAC}), u"A");
  EXPECT_EQ(TextOfBytes({0x41}), u"");
  EXPECT_EQ(TextOfBytes({}), u"");
}

}  // namespace
}  // namespace nerio
