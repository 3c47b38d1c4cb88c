#include "nerio/hosts/linux/native_path.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "nerio/types/surrogates.h"
#include "nerio/types/utf8.h"

namespace nerio::platform {
namespace {

constexpr char16_t kEscape = 0xDC00;

char16_t Escaped(char byte) { return static_cast<char16_t>(kEscape + static_cast<unsigned char>(byte)); }

bool IsEscape(char16_t unit) { return unit == Escaped('\\') || (unit >= Escaped('\x80') && unit <= Escaped('\xFF')); }

std::size_t Utf8LengthByLead(char lead) {
  const auto value = static_cast<unsigned char>(lead);
  return value >= 0xF0 ? 4 : value >= 0xE0 ? 3 : 2;
}

}  // namespace

Text TextFromNativePath(std::string_view path) {
  Text text;
  text.reserve(path.size());
  while (!path.empty()) {
    const char byte = path.front();
    std::size_t length = 1;
    if (byte == '/') {
      text += u'\\';
    } else if (static_cast<unsigned char>(byte) < 0x80 && byte != '\\') {
      text += static_cast<char16_t>(byte);
    } else if (const std::string_view sequence = path.substr(0, Utf8LengthByLead(byte));
               byte != '\\' && IsUtf8(sequence)) {
      text += FromUtf8(sequence);
      length = sequence.size();
    } else {
      text += Escaped(byte);
    }
    path.remove_prefix(length);
  }
  return text;
}

std::string NativePath(TextView path) {
  // Paths of ASCII alone, the usual ones, take one loop without branches, which compilers turn into vector
  // instructions.
  std::string native(path.size(), '\0');
  char* const bytes = native.data();
  std::uint16_t bits = 0;
  for (std::size_t i = 0; i < path.size(); ++i) {
    bytes[i] = static_cast<char>(path[i] == u'\\' ? u'/' : path[i]);
    bits |= path[i];
  }
  if (bits < 0x80) return native;

  native.clear();
  const auto appendPlain = [&native](TextView plain) {
    std::string utf8 = ToUtf8(plain);
    std::replace(utf8.begin(), utf8.end(), '\\', '/');
    native += utf8;
  };
  std::size_t plainStart = 0;
  for (std::size_t i = 0; i < path.size(); ++i) {
    if (IsPairAt(path, i)) {
      ++i;
    } else if (IsEscape(path[i])) {
      appendPlain(path.substr(plainStart, i - plainStart));
      native += static_cast<char>(path[i] - kEscape);
      plainStart = i + 1;
    }
  }
  appendPlain(path.substr(plainStart));
  return native;
}

}  // namespace nerio::platform
