#include "nerio/support/templates.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "nerio/types/error.h"
#include "nerio/types/utf8.h"
#include "tests/support/naive_template.h"
#include "tests/support/template_bounds.h"
#include "tests/testing/fake_host.h"
#include "tests/testing/raised_error.h"
#include "tests/testing/status_output.h"

namespace nerio {
namespace {

using ::testing::ElementsAre;

using testing::NaivelyFormatted;

// Writes singles, doubles and dates in its own way and keeps the order; refuses the date 99.
class RecordingRegion final : public platform::RegionalSettings {
 public:
  Text RegionName() override { throw std::logic_error("not asked for by a template"); }
  platform::AutomationStatus DateFromText(TextView, Date&) override {
    throw std::logic_error("not asked for by a template");
  }
  platform::AutomationStatus TextFromDate(Date date, Text& text) override {
    conversions.push_back("date " + std::to_string(date.days));
    if (date.days == 99) return platform::kInvalidArgument;
    text = u"31/12/1899";
    return platform::AutomationStatus::kSuccess;
  }
  platform::AutomationStatus TextFromDouble(double value, Text& text) override {
    conversions.push_back("double " + std::to_string(value));
    text = u"1,5";
    return platform::AutomationStatus::kSuccess;
  }
  platform::AutomationStatus TextFromSingle(float, Text&) override {
    throw std::logic_error("not given by these tests");
  }
  platform::AutomationStatus TextFromCurrency(Currency, Text&) override {
    throw std::logic_error("not given by these tests");
  }
  platform::AutomationStatus TextFromDecimal(Decimal, Text&) override {
    throw std::logic_error("not given by these tests");
  }

  std::vector<std::string> conversions;
};

// Texts need no service of the host at all.
Text Format(TextView messageTemplate, const std::vector<Text>& texts, std::int32_t lowerBound = 0) {
  ArgumentList arguments{{}, lowerBound};
  arguments.values.assign(texts.begin(), texts.end());
  return FormatTemplate(messageTemplate, arguments, testing::FakeHost().View());
}

std::optional<Error> ErrorOf(const ArgumentList& arguments, platform::RegionalSettings& regional) {
  return testing::ErrorOf([&] { FormatTemplate(u"{0}", arguments, testing::FakeHost{.regional = &regional}.View()); });
}

struct Case {
  TextView messageTemplate;
  std::vector<Text> arguments;
  TextView result;
  std::int32_t lowerBound = 0;
};

const Case kCases[] = {
    // Every occurrence is replaced.
    {u"a{0}b{0}", {u"x"}, u"axbx"},
    {u"{0}{0}{0}", {u"ab"}, u"ababab"},
    {u"{0}", {u""}, u""},
    // Text of a lower index is searched by higher passes, never the other way round.
    {u"{0}{1}", {u"{1}", u"z"}, u"zz"},
    {u"{0}{1}", {u"a", u"{0}"}, u"a{0}"},
    {u"{0}", {u"{1}", u"{2}", u"{0}"}, u"{0}"},
    {u"{2}{1}{0}", {u"{1}", u"{2}", u"c"}, u"ccc"},
    // A pass does not search what it inserts.
    {u"{0}", {u"{0}"}, u"{0}"},
    {u"{0}", {u"{0}{0}"}, u"{0}{0}"},
    // Inserted text completes the placeholder of a higher index ...
    {u"{{0}}", {u"1", u"z"}, u"z"},
    {u"{{0}1}", {u"", u"z"}, u"z"},
    {u"{1{0}", {u"}", u"z"}, u"z"},
    {u"{{0}", {u"1}", u"z"}, u"z"},
    {u"{0}1}", {u"{", u"z"}, u"z"},
    {u"{{0}{0}}", {u"1", u"a", u"b", u"c", u"d", u"e", u"f", u"g", u"h", u"i", u"j", u"k"}, u"k"},
    // ... but not of a lower one, nor of its own in the same pass.
    {u"{{1}}", {u"a", u"0"}, u"{0}"},
    {u"{{0}0}", {u""}, u"{0}"},
    // A placeholder is exactly its number between braces.
    {u"{1}{10}{01}", {u"a", u"b"}, u"b{10}{01}"},
    {u"{1}", {u"a"}, u"{1}"},
    {u"{ 0}{0 }{+0}{-0}{0x}{0,5}{}{{}}", {u"a"}, u"{ 0}{0 }{+0}{-0}{0x}{0,5}{}{{}}"},
    {u"{{0}", {u"a"}, u"{a"},
    {u"{0}}", {u"a"}, u"a}"},
    {u"{{0}}", {u"a"}, u"{a}"},
    {u"{0", {u"a"}, u"{0"},
    {u"0}", {u"a"}, u"0}"},
    {u"\uFF5B0\uFF5D{\u0660}", {u"a"}, u"\uFF5B0\uFF5D{\u0660}"},  // other braces and digits are text
    // Nothing to fill.
    {u"testo", {u"a", u"b"}, u"testo"},
    {u"", {u"a"}, u""},
    {u"{0}", {}, u"{0}"},
    // Lower bounds of the list's own.
    {u"{0}{1}{2}{3}", {u"a", u"b"}, u"{0}ab{3}", 1},
    {u"{-2}{-1}{0}{1}{2}", {u"a", u"b", u"c"}, u"abc{1}{2}", -2},
    {u"{-1}", {u"{0}", u"z"}, u"z", -1},
    {u"{-1}{0}", {u"a", u"{-1}"}, u"a{-1}", -1},
    {u"{-{0}}", {u"1"}, u"{-1}", 0},
    {u"{-32768}{-32767}", {u"a", u"b"}, u"ab", -32768},
    {u"{32766}{32767}", {u"a"}, u"a{32767}", 32766},
    {u"{9}{10}{11}", {u"{1", u"a", u"b"}, u"{1ab", 9},
};

TEST(FormatTemplate, FillsPlaceholdersPassByPass) {
  for (const Case& row : kCases) {
    EXPECT_EQ(ToUtf8(Format(row.messageTemplate, row.arguments, row.lowerBound)), ToUtf8(row.result))
        << ToUtf8(row.messageTemplate);
    EXPECT_EQ(NaivelyFormatted(Text(row.messageTemplate), row.arguments, row.lowerBound), row.result)
        << "the reference differs: " << ToUtf8(row.messageTemplate);
  }
}

TEST(FormatTemplate, EmptyList_GivesTheTemplateUnchanged) {
  for (const std::int32_t lowerBound : {0, -1, 32767, -32768}) EXPECT_EQ(Format(u"a{0}", {}, lowerBound), u"a{0}");
}

TEST(FormatTemplate, LoneSurrogatesAndNuls_AreTextLikeAnyOther) {
  const Text odd{0xDC00, u'\0', 0xD800};
  EXPECT_EQ(Format(odd + u"{0}" + odd, {odd}), odd + odd + odd);
}

TEST(FormatTemplate, ValuesOfOtherTypes_TakeTheHostsText) {
  RecordingRegion region;
  const ArgumentList arguments{{1.5, Empty{}, Date{1}, std::int32_t{-7}, True}, 0};
  EXPECT_EQ(FormatTemplate(u"{0}|{1}|{2}|{3}|{4}", arguments, testing::FakeHost{.regional = &region}.View()),
            u"1,5||31/12/1899|-7|True");
}

TEST(FormatTemplate, EveryPass_ConvertsItsValueOnceEvenWithoutAPlaceholder) {
  RecordingRegion region;
  const ArgumentList arguments{{1.5, Date{1}, 2.5}, 0};
  EXPECT_EQ(FormatTemplate(u"{1}{1}", arguments, testing::FakeHost{.regional = &region}.View()),
            u"31/12/189931/12/1899");
  EXPECT_THAT(region.conversions, ElementsAre("double 1.500000", "date 1.000000", "double 2.500000"));
}

TEST(FormatTemplate, NullValue_RaisesInvalidUseOfNullInItsPass) {
  RecordingRegion region;
  const auto error = ErrorOf({{1.5, Null{}, 2.5}, 0}, region);
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->number(), kErrInvalidUseOfNull);
  EXPECT_EQ(ToUtf8(error->source()), "Variant");
  EXPECT_EQ(ToUtf8(error->description()), "Utilizzo non valido di Null");
  EXPECT_THAT(region.conversions, ElementsAre("double 1.500000"));
}

TEST(FormatTemplate, ValueThatCannotBeWritten_RaisesTheConversionsFailure) {
  RecordingRegion region;
  const auto error = ErrorOf({{Date{99}, Null{}}, 0}, region);
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->number(), NumberOf(platform::kInvalidArgument));
  EXPECT_EQ(ToUtf8(error->source()), "Variant");
  EXPECT_FALSE(error->description().empty());
}

TEST(FormatTemplate, IndexBeyond16Bits_OverflowsBeforeTheFirstOrAfterTheLastPass) {
  for (const testing::TemplateBounds& row : testing::kTemplateBounds) {
    RecordingRegion region;
    const auto error = ErrorOf({std::vector<Variant>(row.count, 1.5), row.lowerBound}, region);
    EXPECT_EQ(region.conversions.size(), row.passes) << row.lowerBound << " " << row.count;
    ASSERT_EQ(error.has_value(), row.overflows) << row.lowerBound << " " << row.count;
    if (!row.overflows) continue;
    EXPECT_EQ(error->number(), kErrOverflow);
    EXPECT_EQ(ToUtf8(error->source()), "Variant");
    EXPECT_EQ(ToUtf8(error->description()), "Overflow");
  }
}

TEST(FormatTemplate, NullAndOverflowTogether_FailWhereTheFirstOfThemStands) {
  RecordingRegion region;
  // Too many: the null is never reached. Exactly to the limit: it is, as the last value too.
  EXPECT_EQ(ErrorOf({{Null{}, 1.5}, 32767}, region).value().number(), kErrOverflow);
  EXPECT_EQ(ErrorOf({{1.5, Null{}}, 32766}, region).value().number(), kErrInvalidUseOfNull);
}

// Fills every placeholder of the template itself and searches nothing that was inserted: the wrong answer wherever the
// order of the passes matters.
Text FilledInOneScan(TextView messageTemplate, const std::vector<Text>& values, std::int32_t lowerBound) {
  Text filled;
  while (!messageTemplate.empty()) {
    std::size_t taken = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
      const std::string number = std::to_string(lowerBound + static_cast<std::int32_t>(i));
      const Text placeholder = Text(1, u'{').append(FromUtf8(number)).append(1, u'}');
      if (messageTemplate.starts_with(placeholder)) {
        filled += values[i];
        taken = placeholder.size();
      }
    }
    if (taken == 0) {
      filled += messageTemplate.front();
      taken = 1;
    }
    messageTemplate.remove_prefix(taken);
  }
  return filled;
}

TEST(FormatTemplate, PlaceholderAtEveryOffset_IsFoundBehindUnitsThatLookAlike) {
  for (const char16_t unit : {u'x', u'z', u'|', u'\u7B00', u'\u007A', u'\u807B', u'\u7B7B', u'\0', u'\uFFFF'}) {
    for (std::size_t before = 0; before <= 20; ++before) {
      for (std::size_t behind = 0; behind <= 5; ++behind) {
        const Text front(before, unit);
        const Text back(behind, unit);
        EXPECT_EQ(Format(front + u"{0}" + back, {u"valore"}), front + u"valore" + back) << before << ' ' << int{unit};
        EXPECT_EQ(Format(front + u"{1}" + back, {u"valore"}), front + u"{1}" + back) << before << ' ' << int{unit};
        // A brace in the inserted text, wherever it stands, is seen too.
        EXPECT_EQ(Format(u"{0}", {front + u"{1}" + back, u"y"}), front + u"y" + back) << before << ' ' << int{unit};
      }
    }
  }
}

TEST(FormatTemplate, RandomCases_EqualTheNaiveReference) {
  constexpr int kRandomCases = 200000;
  std::mt19937 random(20240613);
  int filled = 0;
  int searchedAgain = 0;
  for (int i = 0; i < kRandomCases; ++i) {
    const auto lowerBound = static_cast<std::int32_t>(random() % 14) - (random() % 4 == 0 ? 12 : 0);
    std::vector<Text> values(random() % 6);
    // Texts of braces, numbers of the list and whole placeholders, so that they nest and join.
    const auto randomText = [&](std::size_t mostPieces) {
      Text text;
      for (std::size_t pieces = random() % (mostPieces + 1); pieces > 0; --pieces) {
        const auto index = lowerBound + static_cast<std::int32_t>(random() % (values.size() + 1));
        const Text number = FromUtf8(std::to_string(index));
        switch (random() % 6) {
          case 0:
            text += u'{';
            break;
          case 1:
            text += u'}';
            break;
          case 2:
            text += number;
            break;
          case 3:
            text += number[random() % number.size()];
            break;
          case 4:
            text.append(1, u'{').append(number).append(1, u'}');
            break;
          default:
            text += u'a';
            break;
        }
      }
      return text;
    };
    for (Text& value : values) value = randomText(3);
    const Text messageTemplate = randomText(14);

    const Text expected = NaivelyFormatted(messageTemplate, values, lowerBound);
    ASSERT_EQ(Format(messageTemplate, values, lowerBound), expected)
        << ToUtf8(messageTemplate) << " from " << lowerBound;
    if (expected != messageTemplate) ++filled;
    if (expected != FilledInOneScan(messageTemplate, values, lowerBound)) ++searchedAgain;
  }
  // Enough of the cases are of the kinds that matter.
  EXPECT_GT(filled, kRandomCases / 3);
  EXPECT_GT(searchedAgain, kRandomCases / 50);
  RecordProperty("filled", filled);
  RecordProperty("searchedAgain", searchedAgain);
}

}  // namespace
}  // namespace nerio
