#include "nerio/hosts/linux/store/values_format.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/testing/tables.h"

namespace nerio::platform {
namespace {

using End = RecordCursor::End;
using ::testing::ElementsAre;
using testing::ToHex;

constexpr KeyId kId = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

ValueRecord Value(std::uint64_t sequence, std::string_view name, std::string_view data, std::uint32_t type = 1) {
  return {.sequence = sequence, .deletion = false, .type = type, .name = name, .data = data};
}

// A file as a writer leaves it: a header, records, zeros.
class File {
 public:
  explicit File(std::uint64_t size = kPageSize) {
    header_.id = kId;
    header_.fileSize = size;
    header_.spelling = "App";
    bytes_ = EncodeHeader(header_);
  }

  // What was appended so far counts as having been in the file from its first moment.
  void Settle() {
    header_.settledEnd = bytes_.size();
    bytes_.replace(0, kSectorSize, EncodeHeader(header_));
  }
  void Append(const ValueRecord& record) { AppendRecord(bytes_, record); }
  std::size_t end() const { return bytes_.size(); }
  const ValuesHeader& header() const { return header_; }
  std::string Bytes() const {
    std::string whole = bytes_;
    whole.resize(header_.fileSize);
    return whole;
  }

 private:
  ValuesHeader header_;
  std::string bytes_;
};

struct Reading {
  std::vector<std::string> records;
  End end = End::Whole;
  Damage damage;
};

Reading Read(std::string_view bytes) {
  Reading reading;
  ValuesHeader header;
  if (!ParseHeader(bytes, header, reading.damage)) {
    reading.end = End::Damaged;
    return reading;
  }
  RecordCursor cursor(bytes, header);
  for (ValueRecord record; cursor.Next(record);) {
    reading.records.push_back(std::to_string(record.sequence) + (record.deletion ? "-" : "+") +
                              std::to_string(record.type) + ":" + std::string(record.name) + "=" +
                              std::string(record.data.substr(0, 8)));
  }
  reading.end = cursor.end();
  if (cursor.end() == End::Damaged) reading.damage = cursor.damage();
  return reading;
}

TEST(ValuesFormat, Header_HasTheseBytes) {
  File file;
  const std::string sector = file.Bytes().substr(0, kSectorSize);
  EXPECT_EQ(ToHex(sector.substr(0, 12)), "4E6572696F4B657901000000");  // "NerioKey", version 1
  EXPECT_EQ(ToHex(sector.substr(12, 4)), "19CCF889");
  EXPECT_EQ(ToHex(sector.substr(16, 16)), "000102030405060708090A0B0C0D0E0F");
  EXPECT_EQ(ToHex(sector.substr(32, 8)), "0010000000000000");  // 4096 bytes
  EXPECT_EQ(ToHex(sector.substr(40, 8)), "0002000000000000");  // records from the start end at 512
  EXPECT_EQ(ToHex(sector.substr(48, 8)), "0100000000000000");  // the first record is number 1
  EXPECT_EQ(ToHex(sector.substr(56, 7)), "03000000417070");    // "App"
  EXPECT_EQ(sector.substr(63), std::string(kSectorSize - 63, '\0'));
}

TEST(ValuesFormat, Notes_AreTheLastBytesOfTheHeaderAndOutsideItsChecksum) {
  for (const auto& [offset, note] : {std::pair(508, &ValuesHeader::keyDeleted),
                                     {509, &ValuesHeader::roomNotClean},
                                     {510, &ValuesHeader::keyNotSynced},
                                     {511, &ValuesHeader::fileNotSynced}}) {
    ValuesHeader header;
    header.fileSize = kPageSize;
    std::string bytes = EncodeHeader(header);
    header.*note = true;
    const std::string noted = EncodeHeader(header);
    bytes[static_cast<std::size_t>(offset)] = '\xA5';
    EXPECT_EQ(noted, bytes) << offset;
    ValuesHeader parsed;
    Damage damage;
    ASSERT_TRUE(ParseHeader(bytes, parsed, damage)) << damage.what;
    EXPECT_TRUE(parsed.*note) << offset;
    bytes[static_cast<std::size_t>(offset)] = 1;
    EXPECT_FALSE(ParseHeader(bytes, parsed, damage)) << offset;
  }
}

TEST(ValuesFormat, Records_HaveTheseBytes) {
  std::string bytes;
  AppendRecord(bytes, Value(7, "Nome", "abc"));
  EXPECT_EQ(ToHex(bytes),
            "85DDE5ED"  // of the 20 bytes that follow
            "01000400"  // a value, four bytes of name
            "01000000"
            "03000000"          // type 1, three bytes of data
            "0700000000000000"  // number 7
            "4E6F6D65"
            "616263"  // "Nome", "abc"
            "5055F31A"
            "A5"  // of all before, and the trailer
            "00000000000000000000000000000000000000000000000000000000");
  bytes.clear();
  AppendRecord(bytes, {.sequence = 8, .deletion = true, .type = 0, .name = "", .data = {}});
  EXPECT_EQ(ToHex(bytes), "9EBD799002000000000000000000000008000000000000002B6EEF6CA5000000");
  EXPECT_EQ(RecordSpace(4, 3), 64u);
  EXPECT_EQ(RecordSpace(0, 0), 32u);
  EXPECT_EQ(RecordSpace(3, 0), 32u);
  EXPECT_EQ(RecordSpace(4, 0), 64u);
}

TEST(ValuesFormat, Records_AreReadBackInTheirOrder) {
  File file(2 * kPageSize);
  file.Append(Value(1, "a", "1"));
  file.Settle();
  file.Append({.sequence = 2, .deletion = true, .type = 0, .name = "a", .data = {}});
  file.Append(Value(3, "b", std::string(5000, 'x'), 0xFFFFFFFF));
  const Reading reading = Read(file.Bytes());
  EXPECT_EQ(reading.end, End::Whole);
  EXPECT_THAT(reading.records, ElementsAre("1+1:a=1", "2-0:a=", "3+4294967295:b=xxxxxxxx"));
}

TEST(ValuesFormat, RecordsUpToTheLastByte_AreWhole) {
  File file;
  std::uint64_t sequence = 0;
  while (file.end() + 64 < kPageSize) file.Append(Value(++sequence, "a", "123"));
  file.Append(Value(++sequence, "last", std::string(27, 'x')));
  ASSERT_EQ(file.end(), kPageSize);
  const Reading reading = Read(file.Bytes());
  EXPECT_EQ(reading.end, End::Whole);
  EXPECT_EQ(reading.records.size(), sequence);
}

// Each change to a sound file, and what reading then says.
TEST(ValuesFormat, Damage_IsNamedByItsPlace) {
  File file;
  file.Append(Value(1, "a", "first"));
  const std::size_t second = file.end();
  file.Append(Value(2, "b", "second"));
  const std::string sound = file.Bytes();
  ASSERT_EQ(Read(sound).end, End::Whole);

  struct Case {
    const char* what;
    std::size_t offset;
    std::string bytes;
    std::uint64_t damageOffset;
  };
  const Case cases[] = {
      {"magic", 0, "n", 0},
      {"version", 8, std::string("\x02", 1), 12},
      {"id", 20, "x", 12},
      {"spelling", 62, "x", 12},
      {"first record's head", 512 + 16, "x", 512},
      {"first record's data", 512 + 26, "x", 512},
      {"first record's trailer", 512 + 34, std::string(1, '\0'), 512},
      {"after the first record", 512 + 40, "x", 512},
      {"second record's kind", second + 4, "\x03", second},
      {"second record's name", second + 24, "x", second},
      {"second record's trailer", second + 24 + 7 + 4, "\x01", second},
      {"where the next one begins", file.end(), std::string(40, 'x'), file.end()},
      {"after where the next one begins", file.end() + 40, "x", file.end()},
  };
  for (const Case& one : cases) {
    std::string spoilt = sound;
    spoilt.replace(one.offset, one.bytes.size(), one.bytes);
    const Reading reading = Read(spoilt);
    EXPECT_EQ(reading.end, End::Damaged) << one.what;
    EXPECT_EQ(reading.damage.offset, one.damageOffset) << one.what << ": " << reading.damage.what;
    if (one.damageOffset != second || one.offset < second + 24) continue;
    EXPECT_STREQ(reading.damage.what, "a record's checksum is wrong") << one.what;
  }
}

// Lengths and numbers that check, and that no writer of this format makes.
TEST(ValuesFormat, AbsurdNumbers_AreDamage) {
  for (const std::uint64_t size : {std::uint64_t{0}, std::uint64_t{4095}, std::uint64_t{512},
                                   (std::uint64_t{1} << 30) + 4096, ~std::uint64_t{0}, ~std::uint64_t{4095}}) {
    ValuesHeader header;
    header.fileSize = size;
    header.settledEnd = 512;
    EXPECT_EQ(Read(EncodeHeader(header) + std::string(3584, '\0')).end, End::Damaged) << size;
  }
  for (const std::uint64_t settled :
       {std::uint64_t{0}, std::uint64_t{480}, std::uint64_t{513}, std::uint64_t{8192}, ~std::uint64_t{31}}) {
    ValuesHeader header;
    header.fileSize = 4096;
    header.settledEnd = settled;
    EXPECT_EQ(Read(EncodeHeader(header) + std::string(3584, '\0')).end, End::Damaged) << settled;
  }
  for (const std::size_t length : {std::size_t{256}, std::size_t{257}}) {
    ValuesHeader header;
    header.fileSize = 4096;
    header.spelling.assign(length, 'n');
    const Reading reading = Read(EncodeHeader(header) + std::string(3584, '\0'));
    EXPECT_EQ(reading.end, length > 256 ? End::Damaged : End::Whole);
    EXPECT_EQ(reading.damage.offset, length > 256 ? 56u : 0u);
  }
  File tooLong;
  tooLong.Append(Value(1, "a", std::string(4000, 'x')));
  EXPECT_EQ(Read(tooLong.Bytes()).damage.offset, 512u);
  EXPECT_EQ(Read(tooLong.Bytes()).end, End::Damaged);
  File longName(16 * kPageSize);
  longName.Append(Value(1, std::string(16384, 'n'), ""));
  EXPECT_EQ(Read(longName.Bytes()).end, End::Damaged);
  File outOfOrder;
  outOfOrder.Append(Value(1, "a", ""));
  outOfOrder.Append(Value(3, "a", ""));
  EXPECT_EQ(Read(outOfOrder.Bytes()).end, End::Damaged);
  File lateStart;
  lateStart.Append(Value(2, "a", ""));
  EXPECT_EQ(Read(lateStart.Bytes()).end, End::Damaged);
}

TEST(ValuesFormat, FileOfAnotherLength_IsDamagedWhereTheShorterOneEnds) {
  const File file;
  for (const auto& [length, offset] : {std::pair<std::size_t, std::uint64_t>(4000, 4000), {4097, 4096}}) {
    std::string bytes = file.Bytes();
    bytes.resize(length);
    const Reading reading = Read(bytes);
    EXPECT_EQ(reading.end, End::Damaged) << length;
    EXPECT_EQ(reading.damage.offset, offset) << length;
  }
}

// One gibibyte is the most that a file may have, so more is refused before any of it is made.
TEST(ValuesFormat, FileThatWouldBeTooLong_IsNotMade) {
  const std::string part(std::size_t{16} << 20, 'x');
  const std::vector<ValueRecord> records(64, Value(1, "v", part));
  EXPECT_THROW(EncodeFile({}, records, Room::None), std::bad_alloc);
}

TEST(ValuesFormat, RecordLostInTheMiddle_IsDamage) {
  File file;
  std::uint64_t sequence = 0;
  while (file.end() < 2048) file.Append(Value(++sequence, "name", std::string(200, 'x')));
  std::string spoilt = file.Bytes();
  std::fill_n(spoilt.begin() + 1024, 512, '\0');
  EXPECT_EQ(Read(spoilt).end, End::Damaged);
  std::fill_n(spoilt.begin() + 512, 512, '\0');
  EXPECT_EQ(Read(spoilt).end, End::Damaged);
}

TEST(ValuesFormat, SettledRecords_AreNeverTakenForIncomplete) {
  File file(2 * kPageSize);
  file.Append(Value(1, "a", std::string(3000, 'x')));
  file.Settle();
  for (const std::ptrdiff_t from : {512, 1024, 3500}) {
    std::string spoilt = file.Bytes();
    std::fill(spoilt.begin() + from, spoilt.end(), '\0');
    EXPECT_EQ(Read(spoilt).end, End::Damaged) << from;
  }
}

// What a power cut can leave of a record that was written into zeros: each sector is there or still zero. And what a
// killed process can leave: a beginning of it. Both for records of every length around the sectors' ends.
TEST(ValuesFormat, RecordCutOffByPowerOrKill_IsIncomplete) {
  std::mt19937 random(20240229);
  std::size_t states = 0;
  for (std::size_t before = 0; before < 3; ++before) {
    for (std::size_t length = 0; length < 1700; length += length < 1100 && length > 380 ? 7 : 61) {
      File file(2 * kPageSize);
      for (std::size_t i = 0; i < before; ++i) file.Append(Value(i + 1, "a", std::string(150, 'x')));
      const std::string old = file.Bytes();
      std::string data(length, '\0');
      for (char& byte : data) byte = static_cast<char>(random() % 3);
      const std::size_t start = file.end();
      file.Append(Value(before + 1, "new", data));
      const std::string whole = file.Bytes();
      if (HoldsZeroSector(start, std::string_view(whole).substr(start, file.end() - start))) continue;
      const Reading expected = Read(old);
      ASSERT_EQ(Read(whole).end, End::Whole);

      const std::size_t firstSector = start / kSectorSize;
      const std::size_t sectors = (file.end() - 1) / kSectorSize - firstSector + 1;
      for (std::size_t written = 0; written + 1 < (std::size_t{1} << sectors); ++written) {
        std::string torn = old;
        for (std::size_t i = 0; i < sectors; ++i) {
          const std::size_t at = (firstSector + i) * kSectorSize;
          if ((written >> i & 1) != 0) torn.replace(at, kSectorSize, whole, at, kSectorSize);
        }
        // The last sector may hold nothing but the zeros after the record.
        if (torn == whole) continue;
        const Reading reading = Read(torn);
        ASSERT_EQ(reading.end, torn == old ? End::Whole : End::Incomplete) << before << " " << length << " " << written;
        ASSERT_EQ(reading.records, expected.records);
        ++states;
      }
      for (std::size_t cut = start; cut < whole.find_last_not_of('\0'); ++cut) {
        const std::string torn = whole.substr(0, cut) + old.substr(cut);
        const Reading reading = Read(torn);
        ASSERT_EQ(reading.end, torn == old ? End::Whole : End::Incomplete) << before << " " << length << " cut " << cut;
        ASSERT_EQ(reading.records, expected.records);
        ++states;
      }
    }
  }
  EXPECT_GT(states, 100000u);
}

TEST(ValuesFormat, ZeroSectors_AreSeenBeforeTheyAreWritten) {
  std::string bytes;
  AppendRecord(bytes, Value(1, "a", std::string(1022, '\0')));
  // Wherever it begins, a run of 1022 zeros fills one sector at least.
  for (std::size_t offset = 0; offset < kSectorSize; offset += kRecordAlignment) {
    EXPECT_TRUE(HoldsZeroSector(512 + offset, bytes)) << offset;
  }
  bytes.clear();
  AppendRecord(bytes, Value(1, "a", std::string(480, '\0')));
  for (std::size_t offset = 0; offset < kSectorSize; offset += kRecordAlignment) {
    EXPECT_FALSE(HoldsZeroSector(512 + offset, bytes)) << offset;
  }
}

// No bytes at all may do worse than be refused.
TEST(ValuesFormat, AnyBytes_AreReadWithinTheirBounds) {
  std::mt19937 random(1);
  File file;
  file.Append(Value(1, "a", "first"));
  file.Append(Value(2, "b", std::string(600, 'y')));
  const std::string sound = file.Bytes();
  std::size_t whole = 0;
  for (int round = 0; round < 20000; ++round) {
    std::string spoilt = sound;
    const auto changes = 1 + random() % 4;
    for (unsigned i = 0; i < changes; ++i) spoilt[random() % 1300] = static_cast<char>(random());
    if (random() % 4 == 0) spoilt.resize(random() % 5000);
    if (Read(spoilt).end == End::Whole) ++whole;
  }
  EXPECT_LT(whole, 400u) << "a change that leaves the byte as it was is rare";
}

}  // namespace
}  // namespace nerio::platform
