#include "nerio/support/variant_text.h"

#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "nerio/hosts/portable/regional/regional_settings.h"
#include "nerio/types/error.h"
#include "nerio/types/utf8.h"
#include "tests/testing/raised_error.h"
#include "tests/testing/recorded_regions.h"
#include "tests/testing/tables.h"

namespace nerio {
namespace {

using platform::PortableRegionalSettings;
using testing::RecordedRegions;
using testing::Table;
using testing::Unescape;

std::map<std::string, PortableRegionalSettings> RecordedSettings() {
  std::map<std::string, PortableRegionalSettings> settings;
  const RecordedRegions regions;
  for (const std::string& identifier : regions.Identifiers()) settings.try_emplace(identifier, regions.At(identifier));
  return settings;
}

std::optional<Error> ErrorOf(const Variant& value, platform::RegionalSettings& regional) {
  return testing::ErrorOf([&] { VariantToText(value, regional); });
}

// Reads sign, scale, the upper 32 and the lower 64 bits, as the table of numbers writes a decimal.
Decimal DecimalOf(const std::string& field) {
  std::istringstream in(field);
  std::string part;
  std::vector<unsigned long long> parts;
  while (std::getline(in, part, ',')) parts.push_back(std::stoull(part));
  return {static_cast<std::uint8_t>(parts.at(1)), parts.at(0) != 0, static_cast<std::uint32_t>(parts.at(2)),
          parts.at(3)};
}

// Reads a value of the table of numbers; nothing for a type that the layer does not have.
std::optional<Variant> NumberOf(const std::string& type, const std::string& value) {
  if (type == "R8") return std::bit_cast<double>(static_cast<std::uint64_t>(std::stoull(value, nullptr, 16)));
  if (type == "R4") return std::bit_cast<float>(static_cast<std::uint32_t>(std::stoul(value, nullptr, 16)));
  if (type == "CY") return Currency{std::stoll(value)};
  if (type == "DEC") return DecimalOf(value);
  if (type == "I1") return static_cast<std::int8_t>(std::stoi(value));
  if (type == "UI1") return static_cast<std::uint8_t>(std::stoi(value));
  if (type == "I2") return static_cast<std::int16_t>(std::stoi(value));
  if (type == "UI2") return static_cast<std::uint16_t>(std::stoi(value));
  if (type == "I4") return static_cast<std::int32_t>(std::stoll(value));
  if (type == "UI4") return static_cast<std::uint32_t>(std::stoull(value));
  if (type == "I8") return static_cast<std::int64_t>(std::stoll(value));
  if (type == "UI8") return static_cast<std::uint64_t>(std::stoull(value));
  if (type == "BOOL") return static_cast<Boolean>(std::stoi(value));
  if (type == "BOOL_LOCAL") return std::nullopt;
  throw std::runtime_error("unknown type " + type);
}

TEST(Table, number_text_tsv) {
  const Table table("number_text.tsv");
  auto settings = RecordedSettings();
  const RecordedRegions regions;
  int regionalWords = 0;
  int otherMarks = 0;
  for (const Table::Row& row : table.rows()) {
    const std::string& type = table.Field(row, "type");
    const std::string& region = table.Field(row, "lcid");
    const std::optional<Variant> value = NumberOf(type, table.Field(row, "value"));
    if (!value) {  // a Boolean in the region's own words, which the layer never writes
      ++regionalWords;
      continue;
    }
    Text expected = Unescape(table.Field(row, "text"));
    // Where the recorded conversion keeps "." before an exponent, Windows proper writes the region's mark.
    const Text& mark = regions.At(region).decimalMark;
    const std::size_t point = expected.find(u'.');
    if (mark != u"." && expected.find(u'E') != Text::npos && point != Text::npos) {
      expected.replace(point, 1, mark);
      ++otherMarks;
    }
    EXPECT_EQ(table.Field(row, "hresult"), "0x00000000") << "number_text.tsv:" << row.line;
    EXPECT_EQ(ToUtf8(VariantToText(*value, settings.at(region))), ToUtf8(expected))
        << "number_text.tsv:" << row.line << ": " << type << ' ' << table.Field(row, "readable");
  }
  std::cout << "number_text.tsv: " << table.rows().size() << " rows, " << regionalWords
            << " left out for a Boolean in regional words, " << otherMarks << " with the region's mark for \".\"\n";
  // Most of a table is compared, however many rows it has.
  EXPECT_LT(regionalWords * 10, static_cast<int>(table.rows().size()));
}

// Reads a value of the table of variants; nothing for a type that no field of a database has.
std::optional<Variant> VariantOf(const std::string& type, const std::string& value) {
  if (type == "VT_EMPTY") return Empty{};
  if (type == "VT_NULL") return Null{};
  if (type == "VT_BSTR") return value == "(null pointer)" ? Text() : Unescape(value);
  if (type == "VT_INT" || type == "VT_BYREF|VT_I4") return NumberOf("I4", value);
  if (type == "VT_UINT") return NumberOf("UI4", value);
  if (type == "VT_BYREF|VT_VARIANT") return NumberOf("I4", value.substr(value.rfind(' ') + 1));
  if (type == "VT_R4") return std::stof(value);
  if (type == "VT_R8") return std::stod(value);
  if (type == "VT_CY") return Currency{static_cast<std::int64_t>(std::stod(value) * 10000)};
  if (type == "VT_DATE") return Date{std::stod(value)};
  if (type == "VT_DECIMAL" && value == "-12.50") return Decimal{2, true, 0, 1250};
  if (type == "VT_ARRAY|VT_UI1" && value == "3 bytes") return Bytes(3);
  if (type == "VT_ARRAY|VT_UI1") return Bytes{0x41, 0, 0x42, 0};
  for (const char* number : {"I1", "UI1", "I2", "UI2", "I4", "UI4", "I8", "UI8", "BOOL"}) {
    if (type == std::string("VT_") + number) return NumberOf(number, value);
  }
  return std::nullopt;
}

TEST(Table, variant_text_tsv) {
  const Table table("variant_text.tsv");
  auto settings = RecordedSettings();
  int otherTypes = 0;
  for (const Table::Row& row : table.rows()) {
    const std::string& type = table.Field(row, "vt");
    const std::optional<Variant> value = VariantOf(type, table.Field(row, "value"));
    if (!value) {  // objects, errors, arrays of variants
      ++otherTypes;
      continue;
    }
    auto& regional = settings.at(table.Field(row, "lcid"));
    const auto hresult = static_cast<std::int32_t>(std::stoul(table.Field(row, "hresult"), nullptr, 16));
    const auto where = ::testing::Message() << "variant_text.tsv:" << row.line << ": " << type;
    if (hresult != 0) {
      const std::optional<Error> error = ErrorOf(*value, regional);
      ASSERT_TRUE(error.has_value()) << where;
      // A null value has an error of its own; the recorded conversion calls it a type mismatch.
      EXPECT_EQ(error->number(), type == "VT_NULL" ? kErrInvalidUseOfNull : hresult) << where;
      continue;
    }
    Text expected = Unescape(table.Field(row, "text"));
    // A Boolean is a word here; the recorded conversion, without flags, makes it a number.
    if (type == "VT_BOOL") expected = expected == u"0" ? u"False" : u"True";
    EXPECT_EQ(ToUtf8(VariantToText(*value, regional)), ToUtf8(expected)) << where;
  }
  std::cout << "variant_text.tsv: " << table.rows().size() << " rows, " << otherTypes
            << " left out for a type that a Variant does not hold\n";
  EXPECT_LT(otherTypes * 4, static_cast<int>(table.rows().size()));
}

class VariantText : public ::testing::Test {
 protected:
  PortableRegionalSettings regional_{platform::BuiltInRegion(u"it-IT").value()};
};

TEST_F(VariantText, VariantToText_Null_RaisesInvalidUseOfNull) {
  const std::optional<Error> error = ErrorOf(Null{}, regional_);
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->number(), 94);
  EXPECT_EQ(error->source(), u"Variant");
  EXPECT_EQ(error->description(), u"Utilizzo non valido di Null");
}

TEST_F(VariantText, VariantToText_DateOutOfRange_RaisesTheConversionsCode) {
  for (const double days : {-657435.0, 2958466.0, 3e9, -3e9, std::numeric_limits<double>::infinity(),
                            std::numeric_limits<double>::quiet_NaN()}) {
    const std::optional<Error> error = ErrorOf(Date{days}, regional_);
    ASSERT_TRUE(error.has_value()) << days;
    EXPECT_EQ(error->number(), static_cast<std::int32_t>(0x80070057u));
    EXPECT_EQ(error->source(), u"Variant");
    EXPECT_EQ(error->description(), u"Parametro non corretto");
  }
}

TEST_F(VariantText, VariantToText_Text_StaysAsItIs) {
  const Text odd = Text(u"a\0b", 3) + u"\xD800{0}\r\n";
  EXPECT_EQ(VariantToText(odd, regional_), odd);
  EXPECT_EQ(VariantToText(Text(), regional_), Text());
}

TEST_F(VariantText, VariantToText_Bytes_AreCodeUnitsLowByteFirstAndAnOddOneIsDropped) {
  EXPECT_EQ(VariantToText(Bytes{}, regional_), Text());
  EXPECT_EQ(VariantToText(Bytes{0x41}, regional_), Text());
  EXPECT_EQ(VariantToText(Bytes{0x34, 0x12, 0x00, 0xD8, 0xFF}, regional_), u"\x1234\xD800");
}

TEST_F(VariantText, VariantToText_Boolean_IsAWordInEveryRegionAndEveryValueButZeroIsTrue) {
  for (const TextView name : {u"it-IT", u"de-DE", u"ja-JP"}) {
    PortableRegionalSettings regional(platform::BuiltInRegion(name).value());
    EXPECT_EQ(VariantToText(True, regional), u"True");
    EXPECT_EQ(VariantToText(False, regional), u"False");
    EXPECT_EQ(VariantToText(static_cast<Boolean>(5), regional), u"True");
  }
}

TEST_F(VariantText, VariantToText_NumbersAndDates_TakeTheRegionalFormat) {
  PortableRegionalSettings american(platform::BuiltInRegion(u"en-US").value());
  EXPECT_EQ(VariantToText(1234.5, regional_), u"1234,5");
  EXPECT_EQ(VariantToText(1234.5, american), u"1234.5");
  EXPECT_EQ(VariantToText(-0.25f, regional_), u"-0,25");
  EXPECT_EQ(VariantToText(Currency{12345}, regional_), u"1,2345");
  EXPECT_EQ(VariantToText(Decimal{3, true, 0, 1500}, regional_), u"-1,5");
  EXPECT_EQ(VariantToText(Date{36526.75}, regional_), u"01/01/2000 18:00:00");
  EXPECT_EQ(VariantToText(Date{36526.75}, american), u"1/1/2000 6:00:00 PM");
}

TEST_F(VariantText, VariantToText_WholeNumbers_ArePlainDecimalToTheirLimits) {
  EXPECT_EQ(VariantToText(std::numeric_limits<std::int8_t>::min(), regional_), u"-128");
  EXPECT_EQ(VariantToText(std::numeric_limits<std::uint8_t>::max(), regional_), u"255");
  EXPECT_EQ(VariantToText(std::numeric_limits<std::int64_t>::min(), regional_), u"-9223372036854775808");
  EXPECT_EQ(VariantToText(std::numeric_limits<std::uint64_t>::max(), regional_), u"18446744073709551615");
}

}  // namespace
}  // namespace nerio
