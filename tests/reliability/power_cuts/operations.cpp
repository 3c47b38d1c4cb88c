#include "tests/reliability/power_cuts/operations.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <system_error>
#include <utility>

#include "nerio/hosts/linux/store/registry.h"
#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/hosts/linux/store/system_call_seam.h"
#include "tests/testing/ansi_literal.h"
#include "tools/nerio/registry_system.h"

namespace nerio::testing {

using namespace platform;  // NOLINT(google-build-using-namespace): every name below is the seam's

namespace {

[[noreturn]] void RaiseErrno(const std::string& what) { throw std::system_error(errno, std::generic_category(), what); }

Status ChangeThree(LinuxRegistry& registry, const AnsiText& path, const std::string& data) {
  KeyHandle key = 0;
  Status status = registry.OpenKey(kHkeyLocalMachine, path, 0, kFullAccess, key);
  if (status != kSuccess) return status;
  std::vector<WholeKeys::ValueChange> changes;
  for (const std::string& name : kThreeNames) {
    changes.push_back({.name = name, .deletion = false, .type = kRegSz, .data = data, .deleted = {}});
  }
  status = registry.ChangeValues(key, changes);
  registry.CloseKey(key);
  return status;
}

// The values file of a key whose names need no encoding.
std::string ValuesFileOf(const std::filesystem::path& registry, std::string path) {
  for (char& letter : path) letter = letter == '\\' ? '/' : letter;
  return registry / "HKEY_LOCAL_MACHINE" / path / "%values";
}

Status Damage(const std::filesystem::path& registry, const std::string& path) {
  const std::string file = ValuesFileOf(registry, path);
  const std::size_t at = FileContent(file).find(kBrokenName);
  const int opened = ::open(file.c_str(), O_WRONLY | O_CLOEXEC);
  if (at == std::string::npos || opened < 0) RaiseErrno("nothing to break in " + file);
  const bool done = ::pwrite(opened, "?", 1, static_cast<off_t>(at)) == 1 && ::fsync(opened) == 0;
  ::close(opened);
  return done ? kSuccess : kRegistryIoFailed;
}

Status Repair(const std::filesystem::path& registry, const AnsiText& path) {
  ::setenv("NERIO_REGISTRY", registry.c_str(), 1);
  tool::RepairedKey repaired;
  const Status status = tool::RepairKey(kHkeyLocalMachine, path, repaired);
  return status == kSuccess && !repaired.isRepaired ? kFileNotFound : status;
}

Status DeleteOnFullDisk(const Calls& calls, const AnsiText& path) {
  constexpr std::uint64_t kNextCall = 0;
  PlanFault(kNextCall, Fault::NoRenames);
  const Status status = calls.Delete(path);
  EndFaults();
  return status;
}

constexpr std::array<const char*, 8> kKinds = {"set",    "unset",           "change three", "create",
                                               "delete", "delete in place", "damage",       "repair"};

// A field of a line is never empty, so that lines can be told apart field by field.
std::string Field(const std::string& text) { return text.empty() ? "-" : text; }
std::string FromField(const std::string& field) { return field == "-" ? "" : field; }

}  // namespace

const std::vector<std::string> kThreeNames = {"one", "two", "three"};
const char* const kBrokenName = "broken";

std::string DataOf(std::uint64_t number, std::size_t length) {
  std::string data = std::to_string(number) + ":";
  data.resize(data.size() + length, static_cast<char>('a' + number % 26));
  return data;
}

Status Perform(const Operation& operation, const std::filesystem::path& mounted) {
  const std::filesystem::path folder = mounted / operation.place;
  LinuxRegistry registry(folder);
  const Calls calls(registry);
  const AnsiText path(operation.path);
  const AnsiText name(operation.name);
  switch (operation.kind) {
    case Operation::Kind::Set:
      return calls.Set(path, name, DataOf(operation.number, operation.length));
    case Operation::Kind::Unset:
      return calls.DeleteValue(path, name);
    case Operation::Kind::ChangeThree:
      return ChangeThree(registry, path, DataOf(operation.number, operation.length));
    case Operation::Kind::Create:
      return calls.Create(path);
    case Operation::Kind::Delete:
      return calls.Delete(path);
    case Operation::Kind::DeleteOnFullDisk:
      return DeleteOnFullDisk(calls, path);
    case Operation::Kind::Damage:
      return Damage(folder, operation.path);
    case Operation::Kind::Repair:
      return Repair(folder, path);
  }
  throw std::logic_error("an operation of no kind");
}

Journal::Journal(const std::string& file, std::string diskLog)
    : file_(::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600)), diskLog_(std::move(diskLog)) {
  if (file_ < 0) RaiseErrno(file);
}

std::string Journal::Position() const {
  struct stat entry {};
  if (::stat(diskLog_.c_str(), &entry) != 0) RaiseErrno(diskLog_);
  return std::to_string(entry.st_size);
}

void Journal::Add(const std::string& line) const {
  if (::write(file_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) RaiseErrno("the journal");
}

void Journal::Begin(const Operation& operation) {
  last_ = std::to_string(::getpid()) + "." + std::to_string(++count_);
  std::ostringstream line;
  line << "begin\t" << last_ << '\t' << Position() << '\t' << static_cast<int>(operation.kind) << '\t'
       << operation.place << '\t' << operation.path << '\t' << Field(operation.name) << '\t' << operation.number << '\t'
       << operation.length << '\t' << kKinds.at(static_cast<std::size_t>(operation.kind)) << '\n';
  Add(line.str());
}

void Journal::End(Status status) {
  Add("end\t" + last_ + '\t' + Position() + '\t' + std::to_string(NumberOf(status)) + '\n');
}

void Journal::Reached(const std::string& place) { Add("sync\t" + place + '\n'); }

std::vector<JournalEntry> ReadJournal(const std::string& file) {
  std::ifstream stream(file);
  if (!stream) RaiseErrno(file);
  std::vector<JournalEntry> entries;
  std::map<std::string, std::size_t> open;  // a process may get the number of an earlier one
  for (std::string line; std::getline(stream, line);) {
    std::vector<std::string> fields;
    std::istringstream rest(line);
    for (std::string field; std::getline(rest, field, '\t');) fields.push_back(field);
    if (fields.at(0) == "begin") {
      open[fields.at(1)] = entries.size();
      JournalEntry entry;
      entry.operation = {static_cast<Operation::Kind>(std::stoi(fields.at(3))),
                         fields.at(4),
                         fields.at(5),
                         FromField(fields.at(6)),
                         std::stoull(fields.at(7)),
                         std::stoull(fields.at(8))};
      entry.begun = std::stoull(fields.at(2));
      entries.push_back(std::move(entry));
    } else if (fields.at(0) == "end") {
      JournalEntry& entry = entries.at(open.at(fields.at(1)));
      entry.ended = std::stoull(fields.at(2));
      entry.status = std::stoi(fields.at(3));
    } else if (!entries.empty()) {
      entries.back().syncs.push_back(fields.at(1));
    }
  }
  return entries;
}

}  // namespace nerio::testing
