// Reads any bytes as a values file, and a well-made file with one bit turned over: what is read lies inside the file,
// and of a file that was in order nothing but its own records, from the first one on, is ever read.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "nerio/hosts/linux/store/values_format.h"

namespace {

using nerio::fuzz::Require;
using namespace nerio::platform;  // NOLINT(google-build-using-namespace): the format's own names

// Takes bytes off the front of the input; zeros when there are none left.
class Input {
 public:
  explicit Input(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  bool empty() const { return bytes_.empty(); }

  std::size_t TakeNumber() {
    const std::string bytes = Take(2);
    std::size_t number = 0;
    for (const char byte : bytes) number = number << 8 | static_cast<std::uint8_t>(byte);
    return number;
  }

  std::string Take(std::size_t count) {
    count = std::min(count, bytes_.size());
    std::string taken(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(count));
    bytes_ = bytes_.subspan(count);
    return taken;
  }

 private:
  std::span<const std::uint8_t> bytes_;
};

struct MadeRecord {
  bool deletion;
  std::uint32_t type;
  std::string name;
  std::string data;
};

bool Inside(std::string_view part, std::string_view whole) {
  return part.empty() || (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
}

// Reads a whole file and checks what holds for every file. Returns the records and says how the file ends.
std::vector<MadeRecord> ReadAll(std::string_view file, RecordCursor::End& end) {
  std::vector<MadeRecord> records;
  ValuesHeader header;
  Damage damage;
  end = RecordCursor::End::Damaged;
  if (!ParseHeader(file, header, damage)) {
    Require(damage.what != nullptr);
    return records;
  }
  // Whoever reads a file believes its header only where the length agrees.
  if (header.fileSize != file.size()) return records;
  RecordCursor cursor(file, header);
  std::uint64_t sequence = header.firstSequence;
  for (ValueRecord record; cursor.Next(record);) {
    Require(record.sequence == sequence++);
    Require(Inside(record.name, file) && Inside(record.data, file));
    Require(cursor.position() <= file.size());
    records.push_back({record.deletion, record.type, std::string(record.name), std::string(record.data)});
  }
  end = cursor.end();
  if (end == RecordCursor::End::Damaged) Require(cursor.damage().what != nullptr);
  return records;
}

bool Same(const MadeRecord& left, const MadeRecord& right) {
  return left.deletion == right.deletion && left.type == right.type && left.name == right.name &&
         nerio::fuzz::AsAnswered(left.data, '\0') == right.data;
}

void ReadMadeFile(Input input) {
  const std::size_t turned = input.TakeNumber() << 8 | input.TakeNumber();
  std::vector<MadeRecord> made;
  while (!input.empty() && made.size() < 50) {
    MadeRecord record{input.TakeNumber() % 4 == 0, static_cast<std::uint32_t>(input.TakeNumber()), {}, {}};
    record.name = input.Take(input.TakeNumber() % 40);
    if (!record.deletion) record.data = input.Take(input.TakeNumber() % 1200);
    if (record.deletion) record.type = 0;
    made.push_back(std::move(record));
  }

  ValuesHeader header;
  header.id.fill(0x5A);
  header.spelling = "Fuzz";
  std::string records;
  std::uint64_t sequence = header.firstSequence;
  for (const MadeRecord& record : made) {
    AppendRecord(records, {sequence++, record.deletion, record.type, record.name, record.data});
  }
  header.settledEnd = kSectorSize + records.size();
  header.fileSize = (header.settledEnd + kPageSize) / kPageSize * kPageSize;
  std::string file = EncodeHeader(header) + records;
  file.resize(header.fileSize);

  RecordCursor::End end{};
  const std::vector<MadeRecord> whole = ReadAll(file, end);
  Require(end == RecordCursor::End::Whole);
  Require(std::equal(whole.begin(), whole.end(), made.begin(), made.end(), Same));

  const std::size_t bit = turned % (file.size() * 8);
  file[bit / 8] = static_cast<char>(file[bit / 8] ^ 1 << bit % 8);
  const std::vector<MadeRecord> read = ReadAll(file, end);
  Require(read.size() <= made.size());
  Require(std::equal(read.begin(), read.end(), made.begin(), Same));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  RecordCursor::End end{};
  ReadAll({reinterpret_cast<const char*>(data), size}, end);
  ReadMadeFile(Input({data, size}));
  return 0;
}
