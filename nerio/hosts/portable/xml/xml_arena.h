#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>
#include <utility>

#include "nerio/hosts/portable/xml/xml_poison.h"
#include "nerio/types/text.h"

namespace nerio::platform::xml {

/// Hands out memory that lives until the arena ends: nothing is freed one by one, and no destructor runs. The first
/// hundreds of bytes lie in the arena itself, so that a small document is one allocation.
class Arena {
 public:
  Arena() noexcept : next_(first_), end_(first_ + sizeof first_), last_(first_) { Poison(first_, sizeof first_); }
  ~Arena() {
    Clear();
    Unpoison(first_, sizeof first_);
  }
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;

  /// Tells whether nothing was made yet.
  bool IsUnused() const noexcept { return next_ == first_ && chunks_ == nullptr; }

  /// Forgets all that was made.
  void Clear() noexcept;

  /// Makes an object that needs no destruction.
  template <typename Object, typename... Arguments>
  Object* Make(Arguments&&... arguments) {
    static_assert(std::is_trivially_destructible_v<Object>);
    return ::new (Allocate(sizeof(Object), alignof(Object))) Object{std::forward<Arguments>(arguments)...};
  }

  /// Makes an array whose elements hold zeros.
  template <typename Element>
  Element* MakeZeros(std::size_t count) {
    static_assert(std::is_trivially_destructible_v<Element>);
    // An element may be a pointer. NOLINTNEXTLINE(bugprone-sizeof-expression)
    if (count > SIZE_MAX / sizeof(Element)) throw std::bad_alloc();
    // NOLINTNEXTLINE(bugprone-sizeof-expression)
    return ::new (Allocate(count * sizeof(Element), alignof(Element))) Element[count]();
  }

  /// Returns room for `count` code units, with no content yet.
  char16_t* MakeUnits(std::size_t count) {
    if (count > SIZE_MAX / sizeof(char16_t)) throw std::bad_alloc();
    return static_cast<char16_t*>(Allocate(count * sizeof(char16_t), alignof(char16_t)));
  }

  /// Returns room for `count` bytes, with no content yet.
  std::uint8_t* MakeBytes(std::size_t count) { return static_cast<std::uint8_t*>(Allocate(count, 1)); }

  /// Gives back what lies after `end` of the room that the last call of `MakeUnits` or `MakeBytes` returned.
  void ShortenTo(void* end) noexcept {
    // A room of its own chunk keeps its size: the end of the current chunk is elsewhere.
    auto* const place = static_cast<std::byte*>(end);
    if (last_ > place || place > next_) return;
    Poison(place, static_cast<std::size_t>(next_ - place));
    next_ = place + kPoisonGap;
  }

  /// Returns `bytes` bytes, aligned as asked for, at most to a pointer.
  void* Allocate(std::size_t bytes, std::size_t alignment) {
    alignment = std::max(alignment, kPoisonGap);
    const std::size_t gap = (alignment - reinterpret_cast<std::uintptr_t>(next_) % alignment) % alignment;
    const auto room = static_cast<std::size_t>(end_ - next_);
    if (bytes > room || gap + kPoisonGap > room - bytes) return AllocateInNewChunk(bytes);
    last_ = next_ + gap;
    next_ = last_ + bytes + kPoisonGap;
    Unpoison(last_, bytes);
    return last_;
  }

 private:
  struct Chunk {
    Chunk* previous;
  };

  void* AllocateInNewChunk(std::size_t bytes);
  std::byte* AddChunk(std::size_t bytes);

  static constexpr std::size_t kSmallestChunk = std::size_t{4} << 10;
  static constexpr std::size_t kLargestChunk = std::size_t{4} << 20;

  Chunk* chunks_ = nullptr;
  std::byte* next_;  // the free rest of the current chunk
  std::byte* end_;
  std::byte* last_;  // what was handed out last in it; never null, which lies before every place
  std::size_t chunkSize_ = kSmallestChunk;
  alignas(void*) std::byte first_[640];
};

}  // namespace nerio::platform::xml
