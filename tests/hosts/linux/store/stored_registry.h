#pragma once

#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "nerio/hosts/linux/store/registry.h"
#include "nerio/hosts/linux/store/registry_doctor.h"
#include "tests/hosts/linux/store/memory_folder.h"
#include "tests/testing/temporary_folder.h"

namespace nerio::testing {

/// The access that the layer asks for.
constexpr std::uint32_t kFullAccess = 0x2003F;

/// What a call answered, as text.
struct Answer {
  Answer(platform::Status status) : text(std::to_string(NumberOf(status))) {}  // NOLINT(google-explicit-constructor)
  Answer(std::string answer) : text(std::move(answer)) {}                      // NOLINT(google-explicit-constructor)
  Answer(const char* answer) : text(answer) {}                                 // NOLINT(google-explicit-constructor)
  std::string text;
};

/// Joins the answers of calls that are made in this order (the operands of a "+" have none).
std::string InOrder(std::initializer_list<Answer> answers);

/// Short forms of a registry's calls, which answer what there is to compare.
class Calls {
 public:
  explicit Calls(platform::RegistryApi& registry) : registry_(registry) {}

  /// Each opens the key below HKEY_LOCAL_MACHINE, acts on it and closes it; the first status but 0 is the answer.
  platform::Status Create(const AnsiText& path) const;
  platform::Status Open(const AnsiText& path, std::uint32_t access = kFullAccess) const;
  platform::Status Set(const AnsiText& path, const AnsiText& name, const std::string& data,
                       std::uint32_t type = platform::kRegSz) const;
  platform::Status DeleteValue(const AnsiText& path, const AnsiText& name) const;
  platform::Status Delete(const AnsiText& path) const;
  /// Returns the data of a value, or the status in brackets: "[2]".
  std::string Get(const AnsiText& path, const AnsiText& name) const;
  std::vector<AnsiText> SubKeys(const AnsiText& path) const;

  platform::RegistryApi& registry() const { return registry_; }

 private:
  platform::RegistryApi& registry_;
};

/// A registry in a temporary folder, and the way to its files.
class StoredRegistry {
 public:
  explicit StoredRegistry(const std::filesystem::path& parent = MemoryFolder()) : folder_(parent) {}

  const std::filesystem::path& folder() const { return folder_.path(); }
  /// Returns the folder of HKEY_LOCAL_MACHINE.
  std::filesystem::path Root() const { return folder_.path() / "HKEY_LOCAL_MACHINE"; }
  /// Returns the folder of a key below it. @param folders names of folders, separated by "/".
  std::filesystem::path Key(const std::string& folders) const { return Root() / folders; }
  std::filesystem::path ValuesFile(const std::string& folders) const { return Key(folders) / "%values"; }

  platform::LinuxRegistry& registry() { return registry_; }
  Calls calls() { return Calls(registry_); }
  /// Returns what a check finds, each as "damage:PLACE:OFFSET: WHAT", places below this registry's folder.
  std::vector<std::string> Findings() const;

 private:
  TemporaryFolder folder_;
  platform::LinuxRegistry registry_{folder_.path()};
};

std::string FileContent(const std::filesystem::path& file);
void WriteFile(const std::filesystem::path& file, const std::string& content);

/// Returns a values file with the next version in its header, and the right checksum, which every version has in this
/// place over these bytes.
std::string OfLaterVersion(std::string file);

}  // namespace nerio::testing
