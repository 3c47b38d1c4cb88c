#include "tests/hosts/linux/store/stored_registry.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "nerio/hosts/linux/store/crc32c.h"
#include "tests/testing/ansi_literal.h"

namespace nerio::testing {

using namespace platform;  // NOLINT(google-build-using-namespace): every name below is the seam's

namespace {

// Opens a key, makes a call on it and closes it.
template <typename Call>
Status OnKey(RegistryApi& registry, const AnsiText& path, std::uint32_t access, Call call) {
  KeyHandle key = 0;
  const Status opening = registry.OpenKey(kHkeyLocalMachine, path, 0, access, key);
  if (opening != kSuccess) return opening;
  const Status status = call(key);
  registry.CloseKey(key);
  return status;
}

}  // namespace

std::string InOrder(std::initializer_list<Answer> answers) {
  std::string joined;
  for (const Answer& answer : answers) joined += (joined.empty() ? "" : " ") + answer.text;
  return joined;
}

Status Calls::Create(const AnsiText& path) const {
  KeyHandle key = 0;
  std::uint32_t disposition = 0;
  const Status status = registry_.CreateKey(kHkeyLocalMachine, path, 0, ""_ansi, kRegOptionNonVolatile, kFullAccess, {},
                                            key, disposition);
  if (status == kSuccess) registry_.CloseKey(key);
  return status;
}

Status Calls::Open(const AnsiText& path, std::uint32_t access) const {
  return OnKey(registry_, path, access, [](KeyHandle) { return kSuccess; });
}

Status Calls::Set(const AnsiText& path, const AnsiText& name, const std::string& data, std::uint32_t type) const {
  return OnKey(registry_, path, kFullAccess,
               [&](KeyHandle key) { return registry_.SetValue(key, name, 0, type, data); });
}

Status Calls::DeleteValue(const AnsiText& path, const AnsiText& name) const {
  return OnKey(registry_, path, kFullAccess, [&](KeyHandle key) { return registry_.DeleteValue(key, name); });
}

Status Calls::Delete(const AnsiText& path) const { return registry_.DeleteKey(kHkeyLocalMachine, path); }

std::string Calls::Get(const AnsiText& path, const AnsiText& name) const {
  std::string data;
  const Status status = OnKey(registry_, path, kKeyRead, [&](KeyHandle key) {
    std::uint32_t type = 0;
    std::uint32_t size = 0;
    Status answer = kMoreData;
    // Another process may store something longer between two calls.
    while (answer == kMoreData) {
      data.resize(size);
      answer = registry_.QueryValue(key, name, type, data, size);
    }
    data.resize(answer == kSuccess ? size : 0);
    return answer;
  });
  return status == kSuccess ? data : '[' + std::to_string(NumberOf(status)) + ']';
}

std::vector<AnsiText> Calls::SubKeys(const AnsiText& path) const {
  std::vector<AnsiText> names;
  const Status status = OnKey(registry_, path, kKeyRead, [&](KeyHandle key) {
    AnsiText name;
    Status answer = kSuccess;
    while ((answer = registry_.EnumKey(key, static_cast<std::uint32_t>(names.size()), name)) == kSuccess) {
      names.push_back(name);
    }
    return answer;
  });
  if (status != kNoMoreItems)
    throw std::runtime_error("the subkeys of " + path.bytes() + ": " + std::to_string(NumberOf(status)));
  return names;
}

std::vector<std::string> StoredRegistry::Findings() const {
  std::vector<std::string> lines;
  for (const RegistryFinding& finding : CheckRegistry({folder()})) {
    const char* const kind = finding.kind == RegistryFinding::Kind::Damage     ? "damage:"
                             : finding.kind == RegistryFinding::Kind::Refused  ? "refused:"
                             : finding.kind == RegistryFinding::Kind::Leftover ? "leftover:"
                                                                               : "exposed:";
    lines.push_back(kind + std::filesystem::path(finding.place).lexically_relative(folder()).string() + ":" +
                    std::to_string(finding.offset) + ": " + finding.what);
  }
  return lines;
}

std::string FileContent(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) throw std::runtime_error("can not read " + file.string());
  return {std::istreambuf_iterator<char>(stream), {}};
}

void WriteFile(const std::filesystem::path& file, const std::string& content) {
  std::ofstream stream(file, std::ios::binary | std::ios::trunc);
  stream << content;
  if (!stream.flush()) throw std::runtime_error("can not write " + file.string());
}

std::string OfLaterVersion(std::string file) {
  constexpr std::size_t kVersionAt = 8;
  constexpr std::size_t kChecksumAt = 12;
  constexpr std::size_t kChecksumEnd = 16;
  constexpr std::size_t kNotesAt = 508;
  ++file[kVersionAt];
  const std::string covered = file.substr(kChecksumEnd, kNotesAt - kChecksumEnd) + std::string(4, '\0');
  const std::uint32_t checksum = platform::Crc32c(covered, platform::Crc32c(file.substr(0, kChecksumAt)));
  for (std::size_t i = 0; i < 4; ++i) file[kChecksumAt + i] = static_cast<char>(checksum >> (8 * i));
  return file;
}

}  // namespace nerio::testing
