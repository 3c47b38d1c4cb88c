#include "nerio/hosts/portable/xml/xml_units.h"

#include <gtest/gtest.h>

namespace nerio::platform::xml {
namespace {

constexpr std::size_t kMost = 200;

Text Units(std::size_t count) {
  Text text(count, u'\0');
  for (std::size_t i = 0; i < count; ++i) text[i] = static_cast<char16_t>(0x100 + i);
  return text;
}

TEST(XmlUnits, CopyUnits_OfEveryLength_CopiesThemAndNothingElse) {
  for (std::size_t count = 0; count <= kMost; ++count) {
    Text out(count + 2, u'#');
    CopyUnits(out.data() + 1, Units(count));
    EXPECT_EQ(out, u"#" + Units(count) + u"#") << count;
  }
}

TEST(XmlUnits, UpToNul_NulAnywhere_EndsTheText) {
  for (std::size_t count = 0; count <= kMost; ++count) {
    Text text = Units(count);
    if (count > 1) text[0] = u'\x8000';
    EXPECT_EQ(UpToNul(text), text);
    for (std::size_t place = count; place-- > 0;) {
      text[place] = u'\0';
      EXPECT_EQ(UpToNul(text), text.substr(0, place)) << count << " " << place;
    }
  }
}

TEST(XmlUnits, SameUnits_OneUnitAnywhereDifferent_IsNotTheSame) {
  for (std::size_t count = 0; count <= kMost; ++count) {
    const Text text = Units(count);
    EXPECT_TRUE(SameUnits(text, Units(count))) << count;
    EXPECT_FALSE(SameUnits(text, Units(count + 1))) << count;
    for (std::size_t place = 0; place < count; ++place) {
      Text other = text;
      other[place] = static_cast<char16_t>(other[place] ^ 0x8000);
      EXPECT_FALSE(SameUnits(text, other)) << count << " " << place;
    }
  }
}

}  // namespace
}  // namespace nerio::platform::xml
