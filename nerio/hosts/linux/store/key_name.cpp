#include "nerio/hosts/linux/store/key_name.h"

#include <climits>

#include <algorithm>
#include <array>
#include <cstdint>

#include "nerio/hosts/portable/text/fold_case.h"

namespace nerio::platform {
namespace {

constexpr std::string_view kDigits = "0123456789ABCDEF";
constexpr std::string_view kCutMark = "%~";
constexpr std::size_t kHashDigits = 16;

bool StaysReadable(char byte) { return byte >= ' ' && byte <= '~' && byte != '%' && byte != '/'; }

// FNV-1a. What is hashed is long and shares its beginning with few others; the name inside is compared anyway.
std::uint64_t Hash(std::string_view text) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char byte : text) {
    hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
  }
  return hash;
}

// The folded byte for each one that stays readable, 0 for the others.
const std::array<char, 256>& ReadableBytes() {
  static const std::array<char, 256> bytes = [] {
    std::array<char, 256> table{};
    for (std::size_t i = 0; i < table.size(); ++i) {
      const char folded = FoldAnsi(static_cast<char>(i));
      if (StaysReadable(folded)) table[i] = folded;
    }
    return table;
  }();
  return bytes;
}

// Encodes a name that need not be folded.
std::string Encode(std::string_view name) {
  const std::array<char, 256>& readable = ReadableBytes();
  std::string encoded(name.size(), '\0');
  // The first dot is encoded too, so that "." and ".." are names like any other and no key is hidden from `ls`.
  std::size_t same = 0;
  while (same < name.size() && !(same == 0 && name[0] == '.')) {
    const char byte = readable[static_cast<unsigned char>(name[same])];
    if (byte == '\0') break;
    encoded[same++] = byte;
  }
  encoded.resize(same);
  for (const char byte : name.substr(same)) {
    const char folded = FoldAnsi(byte);
    const auto value = static_cast<unsigned char>(folded);
    if (StaysReadable(folded) && !encoded.empty()) {
      encoded += folded;
    } else {
      encoded += {'%', kDigits[value >> 4], kDigits[value & 0xF]};
    }
  }
  return encoded;
}

}  // namespace

bool IsReservedName(std::string_view fileName) {
  constexpr std::array<std::string_view, 5> kReserved = {kValuesFileName, kLockFileName, kNewValuesFileName,
                                                         kNewKeyName, kDeletedKeyName};
  return std::find(kReserved.begin(), kReserved.end(), fileName) != kReserved.end() ||
         fileName.starts_with(kLeftoverPrefix);
}

std::string_view CutAtNul(std::string_view name) { return name.substr(0, name.find('\0')); }

Status SplitKeyPath(std::string_view path, std::vector<std::string_view>& names) {
  path = CutAtNul(path);
  if (path.starts_with('\\')) return kBadPathname;
  constexpr std::size_t kUsualDepth = 8;
  names.reserve(kUsualDepth);
  while (!path.empty()) {
    const std::string_view name = path.substr(0, path.find('\\'));
    if (name.size() > kMaxKeyNameLength) return kInvalidParameter;
    if (!name.empty()) names.push_back(name);
    path.remove_prefix(std::min(name.size() + 1, path.size()));
  }
  return kSuccess;
}

std::uint32_t HashOfName(std::string_view name) {
  std::uint32_t hash = 0x811c9dc5;
  for (const char byte : name) hash = (hash ^ static_cast<unsigned char>(FoldAnsi(byte))) * 0x01000193;
  return hash;
}

std::string FolderNameOfKey(std::string_view keyName) {
  std::string encoded = Encode(keyName);
  if (encoded.size() <= NAME_MAX) return encoded;
  // The cut may fall into a "%XX": what is left of it is no harm, as cut names are never decoded.
  encoded.resize(NAME_MAX - kCutMark.size() - kHashDigits);
  encoded += kCutMark;
  const std::uint64_t hash = Hash(FoldAnsi(keyName));
  for (int shift = 60; shift >= 0; shift -= 4) encoded += kDigits[(hash >> shift) & 0xF];
  return encoded;
}

bool IsCutFolderName(std::string_view folderName) {
  return folderName.size() == NAME_MAX &&
         folderName.substr(NAME_MAX - kHashDigits - kCutMark.size()).starts_with(kCutMark);
}

std::optional<std::string> KeyNameOfFolder(std::string_view folderName) {
  std::string name;
  for (std::size_t i = 0; i < folderName.size(); ++i) {
    if (folderName[i] != '%') {
      name += folderName[i];
      continue;
    }
    if (folderName.size() - i < 3) return std::nullopt;
    const std::size_t high = kDigits.find(folderName[i + 1]);
    const std::size_t low = kDigits.find(folderName[i + 2]);
    if (high == kDigits.npos || low == kDigits.npos) return std::nullopt;
    name += static_cast<char>(high << 4 | low);
    i += 2;
  }
  // Only the one spelling that encoding gives counts; anything else was put there by hand.
  const bool possible = !name.empty() && name.find('\\') == std::string::npos && name.find('\0') == std::string::npos;
  if (!possible || FolderNameOfKey(name) != folderName) return std::nullopt;
  return name;
}

}  // namespace nerio::platform
