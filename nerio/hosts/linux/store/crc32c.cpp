#include "nerio/hosts/linux/store/crc32c.h"

#include <array>
#include <cstring>

namespace nerio::platform {
namespace {

constexpr std::array<std::uint32_t, 256> kTable = [] {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t byte = 0; byte < table.size(); ++byte) {
    std::uint32_t crc = byte;
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0x82F63B78U : 0U);
    table[byte] = crc;
  }
  return table;
}();

}  // namespace

std::uint32_t Crc32cByTable(std::string_view bytes, std::uint32_t before) {
  std::uint32_t crc = ~before;
  for (const char byte : bytes) crc = (crc >> 8) ^ kTable[(crc ^ static_cast<unsigned char>(byte)) & 0xFF];
  return ~crc;
}

#if defined(__x86_64__)

namespace {

[[gnu::target("sse4.2")]] std::uint32_t ByInstruction(std::string_view bytes, std::uint32_t before) {
  std::uint64_t crc = ~before;
  while (bytes.size() >= 8) {
    std::uint64_t word;
    std::memcpy(&word, bytes.data(), sizeof word);
    crc = __builtin_ia32_crc32di(crc, word);
    bytes.remove_prefix(8);
  }
  auto rest = static_cast<std::uint32_t>(crc);
  if (bytes.size() >= 4) {
    std::uint32_t word;
    std::memcpy(&word, bytes.data(), sizeof word);
    rest = __builtin_ia32_crc32si(rest, word);
    bytes.remove_prefix(4);
  }
  for (const char byte : bytes) rest = __builtin_ia32_crc32qi(rest, static_cast<unsigned char>(byte));
  return ~rest;
}

}  // namespace

std::uint32_t Crc32c(std::string_view bytes, std::uint32_t before) {
  return __builtin_cpu_supports("sse4.2") ? ByInstruction(bytes, before) : Crc32cByTable(bytes, before);
}

#else

std::uint32_t Crc32c(std::string_view bytes, std::uint32_t before) { return Crc32cByTable(bytes, before); }

#endif

}  // namespace nerio::platform
