#pragma once

#include <cstddef>
#include <cstdint>

namespace nerio::platform {

#if defined(__x86_64__) || defined(__i386__)
#define NERIO_BASE64_X86

// `write` and `read` of `Base64Blocks` for processors that know SSSE3, AVX-512 VBMI. Nothing else may call them:
// which one is known is asked in one place.
std::size_t WriteBase64BySsse3(const std::uint8_t* bytes, std::size_t count, char16_t* out) noexcept;
std::size_t ReadBase64BySsse3(const char16_t* text, std::size_t count, std::uint8_t* out) noexcept;
std::size_t WriteBase64ByVbmi(const std::uint8_t* bytes, std::size_t count, char16_t* out) noexcept;
std::size_t ReadBase64ByVbmi(const char16_t* text, std::size_t count, std::uint8_t* out) noexcept;

#endif

}  // namespace nerio::platform
