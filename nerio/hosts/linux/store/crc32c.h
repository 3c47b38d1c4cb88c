#pragma once

#include <cstdint>
#include <string_view>

namespace nerio::platform {

/// Returns the CRC-32C (Castagnoli; reflected, start and final inversion) of bytes: 0xE3069283 for "123456789".
/// @param before the CRC of the bytes that come before these; 0 when there are none.
std::uint32_t Crc32c(std::string_view bytes, std::uint32_t before = 0);

/// The same by a table alone, for processors without an instruction for it.
std::uint32_t Crc32cByTable(std::string_view bytes, std::uint32_t before = 0);

}  // namespace nerio::platform
