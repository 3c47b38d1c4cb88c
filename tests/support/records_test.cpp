#include "nerio/support/records.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "nerio/types/error.h"
#include "tests/testing/raised_error.h"

namespace nerio {
namespace {

using ::testing::ElementsAre;

// Answers one value for each reading, the last one for all further ones; the reading `failing` (from 1) raises.
class FakeField final : public platform::RecordField {
 public:
  explicit FakeField(std::vector<Variant> values) : values_(std::move(values)) {}

  Variant get_Value() override {
    ++readings;
    if (readings == failing) throw Error(3021, u"DAO.Field", u"Nessun record corrente.");
    return values_[std::min(readings, values_.size()) - 1];
  }

  std::size_t readings = 0;
  std::size_t failing = 0;

 private:
  std::vector<Variant> values_;
};

// Keeps a transcript; the call `failing` (from 1) raises.
class FakeRecordSet final : public platform::RecordSet {
 public:
  FakeRecordSet(Boolean bof, Boolean eof) : bof_(bof), eof_(eof) {}

  Boolean get_BOF() override { return Called("BOF"), bof_; }
  Boolean get_EOF() override { return Called("EOF"), eof_; }
  void MoveLast(std::int32_t options) override { Called("MoveLast " + std::to_string(options)); }
  void MoveFirst() override { Called("MoveFirst"); }

  std::vector<std::string> calls;
  std::size_t failing = 0;

 private:
  void Called(std::string call) {
    calls.push_back(std::move(call));
    if (calls.size() == failing) throw Error(-3219, u"DAO.Recordset", u"Operazione non valida.");
  }

  Boolean bof_;
  Boolean eof_;
};

TEST(GetFieldValue, NullField_GivesTheDefaultTextWhateverItsType) {
  FakeField field({Null{}});
  EXPECT_EQ(GetFieldValue(field, u"0"), Variant(Text(u"0")));
  EXPECT_EQ(field.readings, 1u);
}

TEST(GetFieldValue, NullFieldWithEmptyDefault_GivesEmptyTextAndNotNull) {
  FakeField field({Null{}});
  EXPECT_EQ(GetFieldValue(field, u""), Variant(Text()));
}

TEST(GetFieldValue, FieldOfAnyType_GivesTheValueWithItsOwnType) {
  const Variant values[] = {Empty{},
                            True,
                            std::int8_t{-5},
                            std::uint8_t{255},
                            std::int16_t{-300},
                            std::uint16_t{60000},
                            std::int32_t{42},
                            std::uint32_t{4000000000u},
                            std::numeric_limits<std::int64_t>::min(),
                            std::numeric_limits<std::uint64_t>::max(),
                            0.1f,
                            0.1,
                            Currency{12345},
                            Decimal{28, true, 0xFFFFFFFFu, 1},
                            Date{36526.25},
                            Text(u"testo\0è", 7),
                            Text(),
                            Bytes{0, 255}};
  for (const Variant& value : values) {
    FakeField field({value});
    const Variant result = GetFieldValue(field, u"vuoto");
    EXPECT_EQ(result.index(), value.index());
    EXPECT_EQ(result, value);
    EXPECT_EQ(field.readings, 2u) << value.index();
  }
}

TEST(GetFieldValue, ValueThatChangesBetweenTheReadings_GivesTheSecond) {
  FakeField changing({std::int32_t{1}, Text(u"due")});
  EXPECT_EQ(GetFieldValue(changing, u"vuoto"), Variant(Text(u"due")));
  FakeField vanishing({std::int32_t{1}, Null{}});
  EXPECT_EQ(GetFieldValue(vanishing, u"vuoto"), Variant(Null{}));
}

TEST(GetFieldValue, FailureOfEitherReading_ReachesTheCallerUnchanged) {
  for (std::size_t failing = 1; failing <= 2; ++failing) {
    FakeField field({std::int32_t{1}});
    field.failing = failing;
    SCOPED_TRACE(failing);
    testing::ExpectRaised([&] { GetFieldValue(field, u"vuoto"); }, 3021, u"DAO.Field", u"Nessun record corrente.");
    EXPECT_EQ(field.readings, failing);
  }
}

TEST(PopulateRecordset, SetOnARecord_MovesToTheLastAndBackToTheFirst) {
  FakeRecordSet set(False, False);
  PopulateRecordset(set);
  EXPECT_THAT(set.calls, ElementsAre("BOF", "EOF", "MoveLast 0", "MoveFirst"));
}

TEST(PopulateRecordset, SetThatIsEmptyOrStandsOnNoRecord_IsNotMoved) {
  // A true value other than True counts too.
  const std::pair<Boolean, Boolean> flags[] = {
      {True, True}, {True, False}, {False, True}, {static_cast<Boolean>(1), False}, {False, static_cast<Boolean>(1)}};
  for (const auto& [bof, eof] : flags) {
    FakeRecordSet set(bof, eof);
    PopulateRecordset(set);
    EXPECT_THAT(set.calls, ElementsAre("BOF", "EOF"));
  }
}

TEST(PopulateRecordset, EachCallFailing_ReachesTheCallerUnchangedAndEndsTheRoutine) {
  for (std::size_t failing = 1; failing <= 4; ++failing) {
    FakeRecordSet set(False, False);
    set.failing = failing;
    SCOPED_TRACE(failing);
    testing::ExpectRaised([&] { PopulateRecordset(set); }, -3219, u"DAO.Recordset", u"Operazione non valida.");
    EXPECT_EQ(set.calls.size(), failing);
  }
}

}  // namespace
}  // namespace nerio
