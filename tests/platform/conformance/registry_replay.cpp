#include "tests/platform/conformance/registry_replay.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "nerio/hosts/portable/text/fold_case.h"
#include "nerio/types/utf8.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/registry_access.h"
#include "tests/testing/tables.h"

namespace nerio::testing {

using namespace platform;  // NOLINT(google-build-using-namespace): every name below is the seam's

namespace {

constexpr char kNull[] = "(null)";
// The recording's own limits: of a whole path in its ANSI calls, and of the rows in a dump of one key.
constexpr std::size_t kRecordedPathLimit = 260;
constexpr std::size_t kRecordedDumpLimit = 20;

// The path of the recording's work key below HKEY_LOCAL_MACHINE.
const AnsiText kRecordedPath = "Software\\OracleWork"_ansi;

constexpr std::string_view kWideCall = "wide-character call";
constexpr std::string_view kWideData = "reads what a wide-character call wrote";
constexpr std::string_view kNullPointer = "NULL pointer";
constexpr std::string_view kByteBehind = "depends on the byte after the data";
constexpr std::string_view kPathLimit = "limit of 260 characters on a whole path";

// One recorded call, its fields as they stand in the table.
struct Call {
  std::string where;  // "registry.tsv:12"
  std::string scene;
  std::string call;
  std::string handle;
  std::string path;
  std::string name;
  std::string typeOrAccess;
  std::string data;
  std::string countIn;
  std::string handleOut;
  std::string rc;
  std::string typeOut;
  std::string countOut;
  std::string dataOut;
};

// A row that records an oddity. It is told by its content; an empty field stands for any content. The call is made, and
// answers either as recorded or with `otherwise`.
struct Exception {
  std::string call;
  std::string handle;
  std::string data;
  std::string dataOut;
  bool emptyPath;
  Status otherwise;
  std::string reason;
};

const Exception kExceptions[] = {
    {"RegOpenKeyExA", "#80000006", "", "", false, kInvalidHandle,
     "HKEY_DYN_DATA is no root of this registry, nor of the platform's present versions"},
    {"RegCreateKeyExA", "", "", "REG_CREATED_NEW_KEY", true, kSuccess,
     "creating the handle's own key reports a new key, though it was there"},
    {"RegQueryValueExA", "", "(reserved not null)", "", false, kSuccess,
     "the interface has no reserved argument that could be wrong"},
};

bool StartsWith(const std::string& text, std::string_view start) { return text.compare(0, start.size(), start) == 0; }

std::uint32_t Number(const std::string& digits, int base) {
  std::size_t used = 0;
  const unsigned long long number = digits.empty() ? 0 : std::stoull(digits, &used, base);
  if (used != digits.size() || digits.empty()) throw std::runtime_error("no number: " + digits);
  return static_cast<std::uint32_t>(number);
}

// "START...(N characters)" or "START...(N bytes)" says how long the whole is; its last element goes on to the end.
template <typename String>
String Lengthened(String start, const std::string& length) {
  if (start.empty()) throw std::runtime_error("nothing to lengthen to " + length);
  start.resize(std::stoul(length), start.back());
  return start;
}

class Replay {
 public:
  Replay(const std::string& fileName, RegistryApi& registry, CodePage& codePage, bool limitsPaths)
      : registry_(registry), codePage_(codePage), limitsPaths_(limitsPaths) {
    const Table table(fileName);
    for (const Table::Row& row : table.rows()) {
      const auto field = [&](const char* column) { return table.Field(row, column); };
      calls_.push_back({fileName + ":" + std::to_string(row.line), field("case"), field("call"), field("handle"),
                        field("path"), field("name"), field("type_or_access"), field("data"), field("count_in"),
                        field("handle_out"), field("rc"), field("type_out"), field("count_out"), field("data_out")});
    }
  }

  RegistryReplay Run() {
    // What every system of the recorded kind has: a key below two of the machine's roots.
    MakeKey(registry_, kHkeyCurrentConfig, "Software"_ansi);
    for (at_ = 0; at_ < calls_.size(); ++at_) {
      if (at_ == 0 || Row().scene != calls_[at_ - 1].scene) Begin();
      One();
    }
    End();
    return std::move(replay_);
  }

 private:
  const Call& Row() const { return calls_[at_]; }

  void End() {
    for (const KeyHandle key : open_) registry_.CloseKey(key);
    open_.clear();
    named_.clear();
    excepted_.clear();
    wideValues_.clear();
    DeleteTree(registry_, kHkeyLocalMachine, kRecordedPath);
  }

  void Begin() {
    End();
    MakeKey(registry_, kHkeyLocalMachine, kRecordedPath);
  }

  // The ways in which a row ends.
  void Check(bool same, const std::string& answer) {
    ++replay_.checked;
    if (!same) replay_.differences.push_back(Describe() + "answered " + answer);
  }
  void LeaveOut(std::string_view kind) { ++replay_.leftOut[std::string(kind)]; }
  std::string Describe() const {
    const Call& row = Row();
    std::string text = row.where + ": " + row.scene + ": " + row.call + " " + row.handle;
    for (const std::string& field : {row.path, row.name}) {
      if (field != kNull) text += " [" + (field.size() > 80 ? field.substr(0, 80) + "..." : field) + "]";
    }
    return text + ": recorded " + row.rc + " " + row.dataOut + ", ";
  }

  Text WideField(const std::string& field) const {
    if (field == kNull) return {};
    const std::size_t cut = field.rfind("...(");
    if (cut == std::string::npos || !field.ends_with(" characters)")) return Unescape(field);
    return Lengthened(Unescape(field.substr(0, cut)), field.substr(cut + 4));
  }
  AnsiText AnsiField(const std::string& field) { return codePage_.ToAnsi(WideField(field)); }

  KeyHandle Handle(const std::string& name) const {
    static const std::map<std::string, KeyHandle> kPredefined = {
        {"NULL", 0},         {"HKCR", kHkeyClassesRoot},   {"HKCU", kHkeyCurrentUser}, {"HKLM", kHkeyLocalMachine},
        {"HKU", kHkeyUsers}, {"HKCC", kHkeyCurrentConfig},
    };
    if (StartsWith(name, "#")) return Number(name.substr(1), 16);
    if (const auto found = kPredefined.find(name); found != kPredefined.end()) return found->second;
    if (const auto found = named_.find(name); found != named_.end()) return found->second;
    throw std::runtime_error(Row().where + ": no handle called " + name);
  }

  // Takes a handle that a call gave under the name that the recording gave it.
  void Take(KeyHandle key) {
    const std::string& name = Row().handleOut;
    named_[name] = key;
    excepted_.erase(name);
    open_.insert(key);
    // A close that was not recorded itself shows in a recorded second one: it came right here.
    for (std::size_t next = at_ + 1; next < calls_.size() && calls_[next].scene == Row().scene; ++next) {
      if (calls_[next].call != "RegCloseKey" || calls_[next].handle != name) continue;
      if (calls_[next].data == "(second close)") Close(key);
      return;
    }
  }

  Status Close(KeyHandle key) {
    open_.erase(key);
    return registry_.CloseKey(key);
  }

  Status Recorded() const { return static_cast<Status>(Number(Row().rc, 10)); }

  void One() {
    const Call& row = Row();
    if (StartsWith(row.call, "(")) return Dump();
    if (row.call.ends_with("W")) return Wide();
    const bool onKey = row.call == "RegOpenKeyExA" || row.call == "RegCreateKeyExA" || row.call == "RegDeleteKeyA";
    if (!limitsPaths_ && onKey && WideField(row.path).size() > kRecordedPathLimit &&
        (Recorded() == kMoreData || Recorded() == kInvalidParameter)) {
      return LeaveOut(kPathLimit);
    }
    const bool null = StartsWith(row.data, kNull) || StartsWith(row.data, "(no buffer") ||
                      StartsWith(row.data, "(buffer, no count") ||
                      (row.call != "RegCloseKey" && (onKey ? row.path : row.name) == kNull);
    if (null) {
      // An empty name does what none does; a call that failed did nothing.
      if (Recorded() == kSuccess && row.call != "RegQueryValueExA") Perform();
      return LeaveOut(kNullPointer);
    }
    if (!onKey && WrittenWide() && row.call == "RegQueryValueExA") return LeaveOut(kWideData);
    if (row.call == "RegSetValueExA" && StoresTerminator()) {
      LeaveOut(kByteBehind);
      Perform();
    } else if (const Exception* exception = FindException()) {
      Except(*exception);
    } else {
      const auto [same, answer] = Perform();
      Check(same, answer);
    }
  }

  const Exception* FindException() const {
    const Call& row = Row();
    // What a handle answers that only an exception gave is the same exception.
    if (const auto found = excepted_.find(row.handle); found != excepted_.end()) return found->second;
    const auto fits = [](const std::string& wanted, const std::string& is) { return wanted.empty() || wanted == is; };
    for (const Exception& exception : kExceptions) {
      if (fits(exception.call, row.call) && fits(exception.handle, row.handle) && fits(exception.data, row.data) &&
          fits(exception.dataOut, row.dataOut) && (!exception.emptyPath || row.path.empty())) {
        return &exception;
      }
    }
    return nullptr;
  }

  void Except(const Exception& exception) {
    const Call& row = Row();
    replay_.exceptions.push_back(row.where + ": " + row.scene + ": " + row.call + ": " + exception.reason);
    const auto [same, answer] = Perform();
    if (!same && status_ != exception.otherwise) replay_.differences.push_back(Describe() + "answered " + answer);
    if (!row.handleOut.empty() && status_ != kSuccess) excepted_[row.handleOut] = &exception;
  }

  // Makes the call of the row: whether it answered as recorded, and what it answered.
  std::pair<bool, std::string> Perform() {
    const Call& row = Row();
    if (row.call == "RegOpenKeyExA") return OpenOrCreate(false);
    if (row.call == "RegCreateKeyExA") return OpenOrCreate(true);
    if (row.call == "RegQueryValueExA") return Query();
    if (row.call == "RegSetValueExA") {
      return Plain(
          registry_.SetValue(Handle(row.handle), AnsiField(row.name), 0, Number(row.typeOrAccess, 10), StoredData()));
    }
    if (row.call == "RegDeleteKeyA") return Plain(registry_.DeleteKey(Handle(row.handle), AnsiField(row.path)));
    if (row.call == "RegDeleteValueA") return Plain(registry_.DeleteValue(Handle(row.handle), AnsiField(row.name)));
    if (row.call == "RegCloseKey") return Plain(Close(Handle(row.handle)));
    throw std::runtime_error(row.where + ": no such call: " + row.call);
  }

  std::pair<bool, std::string> Plain(Status status) {
    status_ = status;
    return {status == Recorded(), std::to_string(NumberOf(status))};
  }

  std::pair<bool, std::string> OpenOrCreate(bool create) {
    const Call& row = Row();
    const std::uint32_t access = Number(row.typeOrAccess, 16);
    KeyHandle key = kJunkHandle;
    std::uint32_t disposition = kJunkNumber;
    status_ = create ? registry_.CreateKey(Handle(row.handle), AnsiField(row.path), 0, ""_ansi, kRegOptionNonVolatile,
                                           access, {}, key, disposition)
                     : registry_.OpenKey(Handle(row.handle), AnsiField(row.path), kRegOptionNonVolatile, access, key);
    std::string answer = std::to_string(NumberOf(status_));
    bool same = status_ == Recorded();
    if (status_ == kSuccess) {
      Take(key);
      if (create) {
        const char* const told = disposition == kRegCreatedNewKey       ? "REG_CREATED_NEW_KEY"
                                 : disposition == kRegOpenedExistingKey ? "REG_OPENED_EXISTING_KEY"
                                                                        : "no disposition";
        answer += std::string(" ") + told;
        same = same && row.dataOut == told;
      }
      return {same, answer};
    }
    // The recording's own variable: set to 0, or left as it was.
    if (key == kJunkHandle) {
      named_.try_emplace(row.handleOut, 0);
    } else {
      named_[row.handleOut] = key;
    }
    if (!create) {
      const char* const left = key == 0 ? "handle set to 0" : key == kJunkHandle ? "handle untouched" : "a handle";
      answer += std::string(" ") + left;
      same = same && row.dataOut == left;
    }
    return {same, answer};
  }

  std::pair<bool, std::string> Query() {
    const Call& row = Row();
    const std::uint32_t offered = Number(row.countIn, 10);
    // One byte more, so that a buffer of no bytes is still a buffer.
    std::string buffer(std::size_t{offered} + 1, kJunkByte);
    std::uint32_t type = kJunkNumber;
    std::uint32_t size = offered;
    status_ =
        registry_.QueryValue(Handle(row.handle), AnsiField(row.name), type, std::span(buffer.data(), offered), size);
    const bool untouched = buffer == std::string(buffer.size(), kJunkByte);
    const std::string data = ToHex(buffer.substr(0, std::min<std::size_t>(size, offered)));
    const std::string typeOut = type == kJunkNumber ? "untouched" : std::to_string(type);
    bool same = status_ == Recorded() && typeOut == row.typeOut && std::to_string(size) == row.countOut;
    const std::size_t cut = row.dataOut.find("...");
    if (row.dataOut == "buffer untouched") {
      same = same && untouched;
    } else if (cut != std::string::npos) {
      same = same && StartsWith(data, row.dataOut.substr(0, cut)) && data.ends_with(row.dataOut.substr(cut + 3));
    } else {
      same = same && data == row.dataOut;
    }
    return {same, std::to_string(NumberOf(status_)) + " type " + typeOut + " count " + std::to_string(size) + " " +
                      (untouched ? "buffer untouched" : data.substr(0, 40))};
  }

  // A shortened write does not show its last bytes; the next read of the value does, when it gave as many.
  std::string EndReadBack() const {
    const Call& write = Row();
    for (std::size_t next = at_ + 1; next < calls_.size() && calls_[next].scene == write.scene; ++next) {
      const Call& read = calls_[next];
      if (read.call != "RegQueryValueExA" || read.handle != write.handle || read.name != write.name) continue;
      const std::size_t cut = read.dataOut.find("...");
      return cut == std::string::npos || read.countOut != write.countIn ? "" : FromHex(read.dataOut.substr(cut + 3));
    }
    return {};
  }

  // The data of a write, and the byte behind it in memory.
  std::pair<std::string, std::string> Data() const {
    const Call& row = Row();
    const std::size_t blank = row.data.rfind(" +");
    if (blank == std::string::npos) throw std::runtime_error(row.where + ": no data: " + row.data);
    std::string digits = row.data.substr(0, blank);
    const std::string behind = FromHex(row.data.substr(blank + 2));
    if (digits == kNull) digits.clear();
    const std::size_t cut = digits.find("...(");
    std::string bytes = FromHex(digits.substr(0, cut));
    if (cut != std::string::npos) {
      bytes = Lengthened(bytes, digits.substr(cut + 4));
      const std::string end = EndReadBack();
      bytes.replace(bytes.size() - std::min(bytes.size(), end.size()), end.size(), end);
    }
    if (std::to_string(bytes.size()) != row.countIn) throw std::runtime_error(row.where + ": another count of bytes");
    return {bytes, behind};
  }

  // Says whether the recorded call stored a terminator that it found behind its data, which the interface never does.
  bool StoresTerminator() const {
    const auto [bytes, behind] = Data();
    const std::uint32_t type = Number(Row().typeOrAccess, 10);
    const bool text = type == kRegSz || type == kRegExpandSz || type == kRegMultiSz;
    return text && !bytes.empty() && bytes.back() != '\0' && behind == std::string(1, '\0');
  }

  std::string StoredData() const { return Data().first + (StoresTerminator() ? std::string(1, '\0') : std::string()); }

  void Wide() {
    LeaveOut(kWideCall);
    if (Row().call == "RegSetValueExW") wideValues_.insert(AnsiField(Row().name));
  }
  bool WrittenWide() { return wideValues_.contains(AnsiField(Row().name)); }

  // A dump is one row per subkey or value of a key; the key is a handle or, by its name, a subkey of the work key.
  void Dump() {
    const Call& row = Row();
    if (!wideValues_.empty()) return LeaveOut(kWideData);
    KeyHandle key = 0;
    const bool byName = !named_.contains(row.handle);
    if (byName) {
      const AnsiText path = kRecordedPath + "\\"_ansi + AnsiField(row.handle);
      const Status status = registry_.OpenKey(kHkeyLocalMachine, path, kRegOptionNonVolatile, kKeyRead, key);
      if (status != kSuccess) return Check(false, "no key of that name: " + std::to_string(NumberOf(status)));
    } else {
      key = Handle(row.handle);
    }
    const std::uint32_t index = Number(row.countIn, 10);
    AnsiText name;
    std::uint32_t type = kJunkNumber;
    std::string data;
    bool same = false;
    std::string answer;
    if (row.call == "(subkey)") {
      const Status status = registry_.EnumKey(key, index, name);
      same = status == kSuccess && name == AnsiField(row.name);
      answer = std::to_string(NumberOf(status)) + " [" + name.bytes() + "]";
      if (same && LastOfDump() && registry_.EnumKey(key, index + 1, name) != kNoMoreItems) {
        same = false;
        answer = "one more subkey [" + name.bytes() + "]";
      }
    } else {
      const Status status = registry_.EnumValue(key, index, name, type, data);
      // The recording counted what is stored, two bytes for a character of a text.
      const bool text = type == kRegSz || type == kRegExpandSz || type == kRegMultiSz;
      const std::string size = std::to_string(data.size() * (text ? 2 : 1));
      same = status == kSuccess && name == AnsiField(row.name) && std::to_string(type) == row.typeOrAccess &&
             size == row.countOut;
      answer =
          std::to_string(NumberOf(status)) + " [" + name.bytes() + "] type " + std::to_string(type) + " size " + size;
      if (same && LastOfDump() && registry_.EnumValue(key, index + 1, name, type, data) != kNoMoreItems) {
        same = false;
        answer = "one more value [" + name.bytes() + "]";
      }
    }
    if (byName) registry_.CloseKey(key);
    Check(same, answer);
  }

  // Says whether the dump ends with this row, and not because the recording stopped there.
  bool LastOfDump() const {
    const Call& row = Row();
    if (Number(row.countIn, 10) + 1 >= kRecordedDumpLimit) return false;
    if (at_ + 1 == calls_.size()) return true;
    const Call& next = calls_[at_ + 1];
    return next.scene != row.scene || next.call != row.call || next.handle != row.handle || next.countIn == "0";
  }

  RegistryApi& registry_;
  CodePage& codePage_;
  bool limitsPaths_;
  std::vector<Call> calls_;
  std::size_t at_ = 0;
  RegistryReplay replay_;
  Status status_ = kSuccess;
  std::map<std::string, KeyHandle> named_;
  std::map<std::string, const Exception*> excepted_;
  std::set<KeyHandle> open_;
  std::set<AnsiText, AnsiNameOrder> wideValues_;
};

}  // namespace

RegistryReplay ReplayRegistry(const std::string& fileName, RegistryApi& registry, CodePage& codePage,
                              bool limitsPaths) {
  return Replay(fileName, registry, codePage, limitsPaths).Run();
}

}  // namespace nerio::testing
