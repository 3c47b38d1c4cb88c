#include "nerio/hosts/linux/store/crc32c.h"

#include <gtest/gtest.h>

#include <string>

namespace nerio::platform {
namespace {

TEST(Crc32c, KnownTexts_GiveTheirPublishedSums) {
  EXPECT_EQ(Crc32c(""), 0u);
  EXPECT_EQ(Crc32c("123456789"), 0xE3069283u);
  // RFC 3720, B.4.
  EXPECT_EQ(Crc32c(std::string(32, '\0')), 0x8A9136AAu);
  EXPECT_EQ(Crc32c(std::string(32, '\xFF')), 0x62A8AB43u);
  std::string rising;
  for (char byte = 0; byte < 32; ++byte) rising += byte;
  EXPECT_EQ(Crc32c(rising), 0x46DD794Eu);
  EXPECT_EQ(Crc32c(std::string(rising.rbegin(), rising.rend())), 0x113FDB5Cu);
}

TEST(Crc32c, InPieces_GivesTheSumOfTheWhole) {
  std::string bytes;
  for (int i = 0; i < 100; ++i) bytes += static_cast<char>(i * 37);
  for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
    EXPECT_EQ(Crc32c(bytes.substr(cut), Crc32c(bytes.substr(0, cut))), Crc32c(bytes)) << cut;
  }
}

TEST(Crc32c, ByTable_GivesTheSameAtEveryLengthAndAlignment) {
  std::string bytes;
  for (int i = 0; i < 200; ++i) bytes += static_cast<char>(i * 37 + 11);
  for (std::size_t start = 0; start < 16; ++start) {
    for (std::size_t length = 0; start + length <= bytes.size(); ++length) {
      const std::string_view part = std::string_view(bytes).substr(start, length);
      EXPECT_EQ(Crc32c(part, 0x1234), Crc32cByTable(part, 0x1234)) << start << " and " << length;
    }
  }
  EXPECT_EQ(Crc32cByTable("123456789"), 0xE3069283u);
}

}  // namespace
}  // namespace nerio::platform
