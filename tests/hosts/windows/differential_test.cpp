// The portable conversions and the system's own, side by side in one process: 10,000 generated inputs for each, or as
// many as the environment's NERIO_INPUTS says, once from a fixed seed and once from a random one.
#include <gtest/gtest.h>
#include <windows.h>
// The order matters: the COM headers need the types above.
#include <objbase.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "nerio/hosts/portable/base64/base64_codec.h"
#include "nerio/hosts/portable/regional/regional_settings.h"
#include "nerio/hosts/portable/text/code_page_1252.h"
#include "nerio/hosts/windows/automation/regional_settings.h"
#include "nerio/hosts/windows/automation/wide.h"
#include "nerio/hosts/windows/automation/xml_dom.h"
#include "nerio/hosts/windows/code_page.h"
#include "nerio/support/conversions.h"
#include "nerio/types/utf8.h"
#include "tests/hosts/windows/automation/system_region.h"
#include "tests/testing/fake_host.h"
#include "tests/testing/status_output.h"
#include "tests/testing/tables.h"

namespace nerio::platform {
namespace {

int Inputs() {
  static const char* const given = std::getenv("NERIO_INPUTS");
  static const int inputs = given != nullptr ? std::stoi(given) : 10'000;
  return inputs;
}

struct Seed {
  std::string name;
  std::uint32_t value;
};

void PrintTo(const Seed& seed, std::ostream* out) { *out << seed.value; }

// The random seed is printed with every comparison; NERIO_TEST_SEED sets it, to try a failure again.
std::uint32_t RandomSeed() {
  static const char* const given = std::getenv("NERIO_TEST_SEED");
  static const std::uint32_t seed = given != nullptr ? std::stoul(given) : std::random_device()();
  return seed;
}

class Differential : public ::testing::TestWithParam<Seed> {
 protected:
  // Makes the inputs, asks both and compares. Returns the inputs that differ with both answers.
  template <typename Input>
  std::vector<std::string> Differences(const std::function<Input()>& make,
                                       const std::function<std::string(const Input&)>& show,
                                       const std::function<std::string(const Input&)>& portable,
                                       const std::function<std::string(const Input&)>& system) {
    std::vector<std::string> differences;
    for (int i = 0; i < Inputs(); ++i) {
      const Input input = make();
      const std::string ours = portable(input);
      const std::string theirs = system(input);
      if (ours == theirs) continue;
      differences.push_back("seed " + std::to_string(GetParam().value) + ", input " + std::to_string(i) + ": [" +
                            show(input) + "]: portable [" + ours + "], system [" + theirs + "]");
    }
    return differences;
  }

  // The same; what differs is printed and fails the test. No difference is excused.
  template <typename Input>
  void Compare(const std::function<Input()>& make, const std::function<std::string(const Input&)>& show,
               const std::function<std::string(const Input&)>& portable,
               const std::function<std::string(const Input&)>& system) {
    const std::vector<std::string> differences = Differences(make, show, portable, system);
    for (std::size_t i = 0; i < differences.size() && i < 20; ++i) ADD_FAILURE() << differences[i];
    EXPECT_EQ(differences.size(), 0u);
    std::cout << ::testing::UnitTest::GetInstance()->current_test_info()->name() << ": seed " << GetParam().value
              << ", " << Inputs() << " inputs, " << differences.size() << " differences\n";
    if (exponents_ > 0)
      std::cout << "  " << exponents_ << " numbers with an exponent compared with the point as mark\n";
  }

  std::uint32_t Below(std::uint32_t limit) { return random_() % limit; }
  bool OneIn(std::uint32_t chances) { return Below(chances) == 0; }
  std::uint64_t Bits64() { return (std::uint64_t{random_()} << 32) | random_(); }
  template <typename Value>
  const Value& Pick(const std::vector<Value>& values) {
    return values[Below(static_cast<std::uint32_t>(values.size()))];
  }

  // A number of 1 to `digits` decimal digits, evenly by its length.
  std::uint64_t OfDigits(std::uint32_t digits) {
    std::uint64_t limit = 1;
    for (std::uint32_t i = Below(digits) + 1; i > 0; --i) limit *= 10;
    return Bits64() % limit;
  }

  Text SomeNumber();
  Text SomeName();
  Text DateShape();
  Text DateSoup();
  Text SomeDateText();
  double SomeDouble();
  Bytes SomeBytes();
  std::string NumberAnswer(const std::function<AutomationStatus(RegionalSettings&, Text&)>& write);

  std::mt19937 random_{GetParam().value};
  const RegionalData region_ = testing::SystemRegion();
  PortableRegionalSettings portable_{region_};
  WindowsRegionalSettings system_;
  int exponents_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Seeds, Differential,
                         ::testing::Values(Seed{"Fixed", 20'240'601}, Seed{"Random", RandomSeed()}),
                         [](const auto& seed) { return seed.param.name; });

std::string Answer(AutomationStatus status, const Text& text) {
  return std::to_string(NumberOf(status)) + ' ' + ToUtf8(text);
}

Text Decimal10(std::uint64_t number) { return FromUtf8(std::to_string(number)); }

Text Differential::SomeNumber() {
  switch (Below(8)) {
    case 0:
      return Decimal10(Below(100));
    case 1:
      return u"0" + Decimal10(Below(32));
    case 2:
      return Decimal10(1900 + Below(150));
    case 3:
      return Decimal10(OfDigits(12));
    default:
      return Decimal10(1 + Below(31));
  }
}

Text Differential::SomeName() {
  switch (Below(5)) {
    case 0:
      return region_.months[Below(12)];
    case 1:
      return region_.shortMonths[Below(12)];
    case 2:
      return region_.days[Below(7)];
    case 3:
      return region_.shortDays[Below(7)];
    default:
      return Pick<Text>({u"AM", u"pm", u"Am", u"p", u"a", u"December", u"Friday"});
  }
}

// A date, a time or both, mostly with numbers that can be right.
Text Differential::DateShape() {
  const auto day = [&] { return OneIn(8) ? SomeNumber() : Decimal10(1 + Below(28)); };
  const auto year = [&] { return OneIn(2) ? Decimal10(1850 + Below(250)) : SomeNumber(); };
  const auto month = [&] {
    if (OneIn(3)) return OneIn(2) ? region_.months[Below(12)] : region_.shortMonths[Below(12)];
    return OneIn(8) ? SomeNumber() : Decimal10(1 + Below(12));
  };
  const Text mark = Pick<Text>({u"/", u"/", u"-", u" ", u" ", u", ", u" / ", u".", u"//"});
  Text date = OneIn(6) ? SomeName() + u" " : Text();
  switch (Below(5)) {
    case 0:
      date += year() + mark + month() + mark + day();
      break;
    case 1:
      date += month() + mark + day() + mark + year();
      break;
    case 2:
      date += day() + mark + month();
      break;
    default:
      date += day() + mark + month() + mark + year();
  }
  Text time = Decimal10(Below(25)) + u":" + Decimal10(Below(61));
  if (OneIn(2)) time += u":" + Decimal10(Below(61));
  if (OneIn(4)) time += Pick<Text>({u" PM", u"am", u" p", u" a "});
  switch (Below(6)) {
    case 0:
      return time;
    case 1:
      return time + u" " + date;
    case 2:
    case 3:
      return date + (OneIn(8) ? u"," : u" ") + time;
    default:
      return date;
  }
}

// A row of what such texts are made of.
Text Differential::DateSoup() {
  Text text;
  for (std::uint32_t i = Below(9) + 1; i > 0; --i) {
    switch (Below(12)) {
      case 0:
        text += SomeName();
        break;
      case 1:
        text += static_cast<char16_t>(0x20 + Below(0x60));
        break;
      case 2:
        text += Pick<Text>({u"\u00A0", u"\u3000", u"\u202F", u"\uFF11", u"\u0663", u"\u00E8", u"\t", u"\r\n",
                            Text(1, u'\0'), u"\uFEFF", u"\xD800", u"\u200B"});
        break;
      case 3:
      case 4:
      case 5:
      case 6:
        text += Pick<Text>({u"/", u"-", u".", u":", u" ", u"  ", u",", u", "});
        break;
      default:
        text += SomeNumber();
    }
  }
  return text;
}

Text Differential::SomeDateText() {
  Text text = OneIn(3) ? DateSoup() : DateShape();
  if (OneIn(10)) {
    for (char16_t& unit : text) {
      if (unit >= u'a' && unit <= u'z' && OneIn(2)) unit = static_cast<char16_t>(unit - 0x20);
    }
  }
  return text;
}

// What a conversion makes of a text, bit for bit.
std::string DateAnswer(RegionalSettings& settings, const Text& text) {
  constexpr double kJunk = -12345.678;
  Date date{kJunk};
  const AutomationStatus status = settings.DateFromText(text, date);
  return std::to_string(NumberOf(status)) + ' ' + std::to_string(date.days) + ' ' +
         std::to_string(std::bit_cast<std::uint64_t>(date.days));
}

TEST_P(Differential, DateFromText) {
  int dates = 0;
  Compare<Text>([&] { return SomeDateText(); }, [](const Text& text) { return ToUtf8(text); },
                [&](const Text& text) {
                  const std::string ours = DateAnswer(portable_, text);
                  if (ours.starts_with("0 ")) ++dates;
                  return ours;
                },
                [&](const Text& text) { return DateAnswer(system_, text); });
  EXPECT_GT(dates * 4, Inputs()) << "too few of the texts are dates";
  EXPECT_LT(dates * 4, Inputs() * 3) << "too few of the texts are no dates";
}

TEST_P(Differential, OneDateReadWrongly_IsSeen) {
  const std::vector<std::string> differences =
      Differences<Text>([&] { return SomeDateText(); }, [](const Text& text) { return ToUtf8(text); },
                        [&](const Text& text) {
                          const std::string right = DateAnswer(portable_, text);
                          return right.starts_with("0 36") ? right + "1" : right;
                        },
                        [&](const Text& text) { return DateAnswer(system_, text); });
  EXPECT_GT(differences.size(), 0u);
  std::cout << "planted difference: dates whose number begins with 36 read wrongly, " << differences.size()
            << " seen\n";
}

TEST_P(Differential, TextFromDate) {
  Compare<Date>(
      [&]() -> Date {
        const auto whole = static_cast<double>(Below(3'615'902)) - 657'435;
        switch (Below(5)) {
          case 0:
            return {whole};
          case 1:
            return {whole + static_cast<double>(Below(86'400)) / 86'400};
          case 2:
            return {whole + static_cast<double>(Below(86'400) * 2 + 1) / 172'800};
          case 3:
            return {static_cast<double>(Below(200'000)) / 100'000 - 1};
          default:
            return {whole + static_cast<double>(random_()) / 4'294'967'296.0};
        }
      },
      [](const Date& date) { return std::to_string(date.days); },
      [&](const Date& date) {
        Text text = u"junk";
        return Answer(portable_.TextFromDate(date, text), text);
      },
      [&](const Date& date) {
        Text text = u"junk";
        return Answer(system_.TextFromDate(date, text), text);
      });
}

double Differential::SomeDouble() {
  const double sign = OneIn(2) ? 1 : -1;
  switch (Below(6)) {
    case 0: {  // any number at all
      const double any = std::bit_cast<double>(Bits64());
      return std::isfinite(any) ? any : 0;
    }
    case 1:
      return sign * static_cast<double>(OfDigits(18));
    case 2:  // few decimals
      return sign * static_cast<double>(OfDigits(9)) / std::pow(10, Below(7));
    case 3:  // as many digits as are written, and one more that decides how
      return sign * (static_cast<double>(OfDigits(15)) + 0.5);
    case 4:
      return sign * std::pow(10, static_cast<int>(Below(40)) - 20);
    default:
      return sign * std::ldexp(static_cast<double>(random_()), static_cast<int>(Below(60)) - 46);
  }
}

// The system's stand-in keeps the point in numbers with an exponent whatever the region's mark is; Windows itself
// writes the mark, and so does the portable conversion. Such numbers are compared under a region whose mark is the
// point: every digit of them counts.
std::string Differential::NumberAnswer(const std::function<AutomationStatus(RegionalSettings&, Text&)>& write) {
  Text text = u"junk";
  AutomationStatus status = write(portable_, text);
  if (text.find(u'E') != Text::npos) {
    RegionalData pointed = region_;
    pointed.decimalMark = u".";
    PortableRegionalSettings other(pointed);
    status = write(other, text);
    ++exponents_;
  }
  return Answer(status, text);
}

TEST_P(Differential, TextFromDouble) {
  Compare<double>([&] { return SomeDouble(); },
                  [](const double& value) { return std::to_string(std::bit_cast<std::uint64_t>(value)); },
                  [&](const double& value) {
                    return NumberAnswer(
                        [&](RegionalSettings& settings, Text& text) { return settings.TextFromDouble(value, text); });
                  },
                  [&](const double& value) {
                    Text text = u"junk";
                    return Answer(system_.TextFromDouble(value, text), text);
                  });
}

TEST_P(Differential, TextFromSingle) {
  Compare<float>(
      [&] {
        const float any =
            OneIn(3) ? std::bit_cast<float>(static_cast<std::uint32_t>(random_())) : static_cast<float>(SomeDouble());
        return std::isfinite(any) ? any : 1.5F;
      },
      [](const float& value) { return std::to_string(std::bit_cast<std::uint32_t>(value)); },
      [&](const float& value) {
        return NumberAnswer(
            [&](RegionalSettings& settings, Text& text) { return settings.TextFromSingle(value, text); });
      },
      [&](const float& value) {
        Text text = u"junk";
        return Answer(system_.TextFromSingle(value, text), text);
      });
}

TEST_P(Differential, TextFromCurrency) {
  Compare<Currency>(
      [&] {
        const auto any = static_cast<std::int64_t>(OneIn(3) ? Bits64() : OfDigits(18));
        return Currency{OneIn(2) ? any : -(any / 2)};
      },
      [](const Currency& value) { return std::to_string(value.tenThousandths); },
      [&](const Currency& value) {
        Text text = u"junk";
        return Answer(portable_.TextFromCurrency(value, text), text);
      },
      [&](const Currency& value) {
        Text text = u"junk";
        return Answer(system_.TextFromCurrency(value, text), text);
      });
}

TEST_P(Differential, TextFromDecimal) {
  Compare<Decimal>(
      [&] {
        Decimal value;
        value.scale = static_cast<std::uint8_t>(Below(29));
        value.negative = OneIn(2);
        value.high = OneIn(2) ? static_cast<std::uint32_t>(random_()) >> Below(32) : 0;
        value.low = OneIn(2) ? Bits64() : OfDigits(19);
        return value;
      },
      [](const Decimal& value) {
        return std::to_string(value.scale) + (value.negative ? " -" : " ") + std::to_string(value.high) + ' ' +
               std::to_string(value.low);
      },
      [&](const Decimal& value) {
        Text text = u"junk";
        return Answer(portable_.TextFromDecimal(value, text), text);
      },
      [&](const Decimal& value) {
        Text text = u"junk";
        return Answer(system_.TextFromDecimal(value, text), text);
      });
}

TEST_P(Differential, ToAnsi) {
  WindowsCodePage system;
  CodePage1252 portable;
  ASSERT_EQ(system.Identifier(), portable.Identifier());
  Compare<Text>(
      [&] {
        Text text;
        for (std::uint32_t i = Below(40); i > 0; --i)
          text += static_cast<char16_t>(OneIn(2) ? Below(0x500) : Below(0x10000));
        return text;
      },
      [](const Text& text) { return ToUtf8(text); },
      [&](const Text& text) { return testing::ToHex(portable.ToAnsi(text)); },
      [&](const Text& text) { return testing::ToHex(system.ToAnsi(text)); });
}

TEST_P(Differential, ToText) {
  WindowsCodePage system;
  CodePage1252 portable;
  Compare<std::string>(
      [&] {
        std::string bytes;
        for (std::uint32_t i = Below(40); i > 0; --i) bytes += static_cast<char>(Below(256));
        return bytes;
      },
      [](const std::string& bytes) { return testing::ToHex(bytes); },
      [&](const std::string& bytes) { return ToUtf8(portable.ToText(bytes)); },
      [&](const std::string& bytes) { return ToUtf8(system.ToText(bytes)); });
}

TEST(DifferentialCodePage, EveryCodeUnitAndEveryByte_AreConvertedAlike) {
  WindowsCodePage system;
  CodePage1252 portable;
  for (int unit = 0; unit < 0x10000; ++unit) {
    const Text text(1, static_cast<char16_t>(unit));
    EXPECT_EQ(portable.ToAnsi(text), system.ToAnsi(text)) << unit;
  }
  for (int byte = 0; byte < 256; ++byte) {
    const std::string bytes(1, static_cast<char>(byte));
    EXPECT_EQ(portable.ToText(bytes), system.ToText(bytes)) << byte;
  }
}

class GivenGuid final : public GuidSource {
 public:
  GuidBytes guid{};
  SystemStatus Create(GuidBytes& made) override {
    made = guid;
    return SystemStatus::kSuccess;
  }
};

// The system's own text of a GUID, without braces, with the bytes of its three numbers in the order of memory.
std::string SystemGuidText(const GuidBytes& bytes) {
  std::array<wchar_t, 39> buffer{};
  ::StringFromGUID2(std::bit_cast<GUID>(bytes), buffer.data(), static_cast<int>(buffer.size()));
  const std::string text = ToUtf8(ViewOf(buffer.data() + 1, 36));
  const auto reversed = [&](std::size_t at, std::size_t length) {
    std::string pairs;
    for (std::size_t i = at + length; i > at; i -= 2) pairs += text.substr(i - 2, 2);
    return pairs;
  };
  return reversed(0, 8) + '-' + reversed(9, 4) + '-' + reversed(14, 4) + text.substr(18);
}

TEST_P(Differential, GetGuid) {
  GivenGuid source;
  testing::FakeHost host{.guids = &source};
  Compare<GuidBytes>(
      [&] {
        GuidBytes guid;
        for (auto& byte : guid) byte = static_cast<std::uint8_t>(OneIn(4) ? Below(16) : Below(256));
        return guid;
      },
      [](const GuidBytes& guid) {
        return testing::ToHex({guid.begin(), guid.end()});
      },
      [&](const GuidBytes& guid) {
        source.guid = guid;
        return ToUtf8(nerio::GetGuid(host.View()));
      },
      SystemGuidText);
}

Bytes Differential::SomeBytes() {
  Bytes bytes(Below(OneIn(20) ? 2'000 : 60));
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random_());
  return bytes;
}

// An element of the system's DOM that holds Base64.
class Base64Element {
 public:
  Base64Element()
      : document_(dom_, dom_.CreateDocument()), element_(dom_, dom_.CreateElement(document_.get(), u"TEMP")) {
    dom_.PutDataType(element_.get(), u"bin.base64");
  }

  // The system may break lines where it likes.
  std::string Encode(const Bytes& bytes) {
    dom_.PutNodeTypedValue(element_.get(), bytes);
    std::string text = ToUtf8(dom_.GetText(element_.get()));
    std::erase(text, '\n');
    return text;
  }

  std::string Decode(const Text& text) {
    dom_.PutText(element_.get(), text);
    const Bytes bytes = std::get<Bytes>(dom_.GetNodeTypedValue(element_.get()));
    return testing::ToHex({bytes.begin(), bytes.end()});
  }

 private:
  WindowsXmlDom dom_;
  XmlDocument document_;
  XmlNode element_;
};

Text PortableBase64(const Bytes& bytes) {
  Text text(Base64Length(bytes.size()), u'#');
  WriteBase64(bytes, text.data());
  return text;
}

TEST_P(Differential, EncodeBase64) {
  Base64Element element;
  Compare<Bytes>([&] { return SomeBytes(); },
                 [](const Bytes& bytes) {
                   return testing::ToHex({bytes.begin(), bytes.end()});
                 },
                 [](const Bytes& bytes) { return ToUtf8(PortableBase64(bytes)); },
                 [&](const Bytes& bytes) { return element.Encode(bytes); });
}

// Valid texts only: what is not Base64 the system's stand-in takes and fills with junk.
TEST_P(Differential, DecodeBase64) {
  Base64Element element;
  Compare<Text>(
      [&] {
        Text text = PortableBase64(SomeBytes());
        for (std::uint32_t i = OneIn(2) ? Below(10) : 0; i > 0; --i) {
          const Text blank = Pick<Text>({u" ", u"\t", u"\r\n", u"\n", u"   "});
          text.insert(Below(static_cast<std::uint32_t>(text.size()) + 1), blank);
        }
        return text;
      },
      [](const Text& text) { return ToUtf8(text); },
      [](const Text& text) {
        Bytes bytes;
        return ReadBase64(text, bytes) ? testing::ToHex({bytes.begin(), bytes.end()}) : "not Base64";
      },
      [&](const Text& text) { return element.Decode(text); });
}

}  // namespace
}  // namespace nerio::platform
