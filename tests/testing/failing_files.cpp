#include "tests/testing/failing_files.h"

#include <utility>

#include "nerio/types/utf8.h"

namespace nerio::testing {

using platform::FileHandle;
using platform::SystemStatus;

namespace {

std::string Quoted(std::span<const char> bytes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string out = "\"";
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    if (byte == '\r') {
      out += "\\r";
    } else if (byte == '\n') {
      out += "\\n";
    } else if (byte == '"' || byte == '\\') {
      out += {'\\', byte};
    } else if (value < 0x20 || value >= 0x7F) {
      out += {'\\', 'x', kDigits[value >> 4], kDigits[value & 0xF]};
    } else {
      out += byte;
    }
  }
  return out += '"';
}

}  // namespace

bool FailingFiles::Fails(std::string call) {
  calls.push_back(std::move(call));
  return calls.size() == failingCall_;
}

SystemStatus FailingFiles::Folder(Text& answer) {
  if (Fails("Folder()")) return failure_;
  answer = folder;
  return SystemStatus::kSuccess;
}

SystemStatus FailingFiles::FindOrdinaryFile(const Text& path, bool& found) {
  found = false;
  if (Fails("Find(" + ToUtf8(path) + ")")) return failure_;
  const auto entry = entries.find(path);
  if (entry == entries.end()) return SystemStatus::kSuccess;
  const Kind kind = entry->second.kind;
  found = kind == Kind::Ordinary || kind == Kind::ReadOnly || kind == Kind::Archived;
  return SystemStatus::kSuccess;
}

SystemStatus FailingFiles::OpenForAppend(const Text& path, FileHandle& opened) {
  if (Fails("Open(" + ToUtf8(path) + ")")) return failure_;
  const auto entry = entries.find(path);
  if (entry == entries.end()) return kMissing;
  if (entry->second.kind == Kind::Folder || entry->second.kind == Kind::ReadOnly) return kDenied;
  if (entry->second.heldByOther != SystemStatus::kSuccess) return entry->second.heldByOther;
  FileHandle lowest = 1;
  while (openHandles.contains(lowest)) ++lowest;
  openHandles.insert(lowest);
  pathOfHandle_[lowest] = path;
  opened = lowest;
  return SystemStatus::kSuccess;
}

SystemStatus FailingFiles::Append(FileHandle file, std::span<const char> bytes) {
  if (Fails("Append(" + std::to_string(file) + ", " + Quoted(bytes) + ")")) return failure_;
  if (!openHandles.contains(file)) return kBadHandle;
  entries[pathOfHandle_[file]].content.append(bytes.data(), bytes.size());
  return SystemStatus::kSuccess;
}

SystemStatus FailingFiles::Close(FileHandle file) {
  const bool fails = Fails("Close(" + std::to_string(file) + ")");
  const bool wasOpen = openHandles.erase(file) != 0;
  if (fails) return failure_;
  return wasOpen ? SystemStatus::kSuccess : kBadHandle;
}

Text FailingFiles::Describe(SystemStatus status) { return FromUtf8("fault " + std::to_string(NumberOf(status))); }

}  // namespace nerio::testing
