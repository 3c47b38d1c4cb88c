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
///
/// What is no longer used is counted. Once it is much, the owner copies the rest into another arena and takes that over.
class Arena {
 public:
  Arena() noexcept { Clear(); }
  ~Arena() {
    DeleteChunks();
    Unpoison(first_, sizeof first_);
  }
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;

  /// Tells whether nothing was made yet.
  bool IsUnused() const noexcept { return next_ == first_ && chunks_ == nullptr; }

  /// Forgets all that was made.
  void Clear() noexcept;

  /// Makes everything from now on in memory that `TakeOver` can move; to be called while nothing is made.
  void LeaveFirstBytes() noexcept { next_ = end_ = last_ = first_ + sizeof first_; }

  /// Forgets all that was made and takes over all that `other` made, which left out its first bytes. What was made
  /// there stays where it is.
  void TakeOver(Arena& other) noexcept;

  /// Counts bytes that were made here and are not used any more, and those that are used again.
  void Waste(std::size_t bytes) noexcept { wasted_ += bytes; }
  void Regain(std::size_t bytes) noexcept { wasted_ -= std::min(bytes, wasted_); }
  void ForgetWaste() noexcept { wasted_ = 0; }
  /// Tells whether so much is no longer used that copying the rest pays: with the copy it is then still less than three
  /// times that rest.
  bool IsWasteful() const noexcept { return wasted_ > kMuchWaste && wasted_ > size_ / 3; }

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

  /// Gives back all but the first `used` bytes of a room of `made` bytes, the last one that was made.
  void Shorten(void* start, std::size_t made, std::size_t used) noexcept {
    if (start != last_) return ShortenChunk(start, made, used);
    std::byte* const place = last_ + used;
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
    std::size_t size;
  };

  void* AllocateInNewChunk(std::size_t bytes);
  std::byte* AddChunk(std::size_t bytes);
  void ShortenChunk(void* start, std::size_t made, std::size_t used) noexcept;
  void DeleteChunks() noexcept;

  static constexpr std::size_t kSmallestChunk = std::size_t{4} << 10;
  static constexpr std::size_t kLargestChunk = std::size_t{4} << 20;
  static constexpr std::size_t kMuchWaste = std::size_t{64} << 10;

  Chunk* chunks_ = nullptr;
  std::byte* next_;  // the free rest of the current chunk
  std::byte* end_;
  std::byte* last_;  // what was handed out last in it; never null, which lies before every place
  std::size_t chunkSize_;
  std::size_t size_;  // of all chunks
  std::size_t wasted_;
  alignas(void*) std::byte first_[592];
};

}  // namespace nerio::platform::xml
