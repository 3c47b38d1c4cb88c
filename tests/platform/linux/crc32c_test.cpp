#include "platform/linux/crc32c.h"

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

}  // namespace
}  // namespace nerio::platform
