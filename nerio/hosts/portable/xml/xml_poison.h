#pragma once

#include <cstddef>

// GCC says that AddressSanitizer is on by a macro, Clang by a feature.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define NERIO_ADDRESS_SANITIZER
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define NERIO_ADDRESS_SANITIZER
#endif

#ifdef NERIO_ADDRESS_SANITIZER
// The sanitizer's own header is the compiler's, not the standard library's. NOLINTBEGIN(*-reserved-identifier,cert-*)
extern "C" void __asan_poison_memory_region(const volatile void* place, std::size_t bytes);
extern "C" void __asan_unpoison_memory_region(const volatile void* place, std::size_t bytes);
// NOLINTEND(*-reserved-identifier,cert-*)
#endif

namespace nerio::platform::xml {

// Under AddressSanitizer the arena says which of its memory is in use, so that what reads or writes beyond a room is
// found as it is beyond an allocation. Elsewhere nothing is done.
#ifdef NERIO_ADDRESS_SANITIZER
/// Bytes that nobody may touch after each room; rooms are aligned to them, as poisoning asks for.
constexpr std::size_t kPoisonGap = 8;
inline void Poison(const void* place, std::size_t bytes) { __asan_poison_memory_region(place, bytes); }
inline void Unpoison(const void* place, std::size_t bytes) { __asan_unpoison_memory_region(place, bytes); }
#else
constexpr std::size_t kPoisonGap = 0;
inline void Poison(const void*, std::size_t) {}
inline void Unpoison(const void*, std::size_t) {}
#endif

}  // namespace nerio::platform::xml
