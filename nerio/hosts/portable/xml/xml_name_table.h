#pragma once

#include <cstddef>
#include <cstdint>

#include "nerio/hosts/portable/xml/xml_arena.h"
#include "nerio/types/text.h"

namespace nerio::platform::xml {

/// One spelling of a name table. The code units follow the object in memory.
struct Name {
  Name* next;  ///< in the same bucket
  std::uint32_t hash;
  std::uint32_t length;

  TextView View() const { return {reinterpret_cast<const char16_t*>(this + 1), length}; }
  /// Tells whether the name has this spelling, whose hash is `spellingHash`.
  bool Is(TextView spelling, std::uint32_t spellingHash) const { return hash == spellingHash && View() == spelling; }
};

/// Keeps each spelling once, in an arena: two names of one table are equal when their addresses are.
class NameTable {
 public:
  /// @param arena outlives the table.
  explicit NameTable(Arena& arena) noexcept : arena_(&arena) {}
  NameTable(const NameTable&) = delete;
  NameTable& operator=(const NameTable&) = delete;

  /// Forgets all names; the arena keeps their memory.
  void Clear() noexcept;

  /// Returns the hash of a spelling, the same in every table of the process.
  static std::uint32_t Hash(TextView spelling) noexcept;

  /// Returns the table's name of this spelling. Where it has none, it adds one if `mayAdd(spelling)`, and answers null
  /// otherwise. Raises nothing but std::bad_alloc.
  template <typename MayAdd>
  const Name* Intern(TextView spelling, MayAdd mayAdd) {
    const std::uint32_t hash = Hash(spelling);
    if (const Name* const found = FindHashed(spelling, hash)) return found;
    return mayAdd(spelling) ? Add(spelling, hash) : nullptr;
  }

  /// Returns the table's name of this spelling, adding it where missing. Raises nothing but std::bad_alloc.
  const Name* Intern(TextView spelling) {
    return Intern(spelling, [](TextView) { return true; });
  }

 private:
  static constexpr std::size_t kFirstBuckets = 8;

  const Name* FindHashed(TextView spelling, std::uint32_t hash) const noexcept;
  const Name* Add(TextView spelling, std::uint32_t hash);
  void Grow();

  Arena* arena_;
  std::size_t bucketCount_ = kFirstBuckets;  // a power of two
  std::size_t nameCount_ = 0;
  Name* firstBuckets_[kFirstBuckets] = {};
  Name** buckets_ = firstBuckets_;
};

}  // namespace nerio::platform::xml
