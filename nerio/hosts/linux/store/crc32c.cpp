#include "nerio/hosts/linux/store/crc32c.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstring>

namespace nerio::platform {
namespace {

using Table = std::array<std::uint32_t, 256>;

// Table k gives the effect of a byte that k further bytes follow, so eight bytes are taken at a time.
constexpr std::array<Table, 8> kTables = [] {
  std::array<Table, 8> tables{};
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    std::uint32_t crc = byte;
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0x82F63B78U : 0U);
    tables[0][byte] = crc;
  }
  for (std::size_t k = 1; k < tables.size(); ++k) {
    for (std::size_t byte = 0; byte < 256; ++byte) {
      const std::uint32_t crc = tables[k - 1][byte];
      tables[k][byte] = (crc >> 8) ^ tables[0][crc & 0xFF];
    }
  }
  return tables;
}();

std::uint64_t LittleEndian(const char* bytes) {
  std::uint64_t value = 0;
  std::memcpy(&value, bytes, sizeof value);
  if constexpr (std::endian::native == std::endian::big) value = __builtin_bswap64(value);
  return value;
}

}  // namespace

std::uint32_t Crc32cByTables(std::string_view bytes, std::uint32_t before) {
  std::uint32_t crc = ~before;
  while (bytes.size() >= 8) {
    const std::uint64_t word = LittleEndian(bytes.data()) ^ crc;
    crc = 0;
    for (std::size_t i = 0; i < 8; ++i) crc ^= kTables[7 - i][(word >> (8 * i)) & 0xFF];
    bytes.remove_prefix(8);
  }
  for (const char byte : bytes) {
    crc = (crc >> 8) ^ kTables[0][(crc ^ static_cast<unsigned char>(byte)) & 0xFF];
  }
  return ~crc;
}

#if defined(__x86_64__)

namespace {

[[gnu::target("sse4.2")]] std::uint32_t ByInstruction(std::string_view bytes, std::uint32_t before) {
  std::uint64_t crc = ~before;
  while (bytes.size() >= 8) {
    crc = __builtin_ia32_crc32di(crc, LittleEndian(bytes.data()));
    bytes.remove_prefix(8);
  }
  auto rest = static_cast<std::uint32_t>(crc);
  for (const char byte : bytes) rest = __builtin_ia32_crc32qi(rest, static_cast<unsigned char>(byte));
  return ~rest;
}

}  // namespace

std::uint32_t Crc32c(std::string_view bytes, std::uint32_t before) {
  return __builtin_cpu_supports("sse4.2") ? ByInstruction(bytes, before) : Crc32cByTables(bytes, before);
}

#else

std::uint32_t Crc32c(std::string_view bytes, std::uint32_t before) { return Crc32cByTables(bytes, before); }

#endif

}  // namespace nerio::platform
