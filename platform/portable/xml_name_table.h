#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/portable/xml_arena.h"
#include "types/text.h"

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

  /// Returns the table's name of this spelling, null when it has none. Raises nothing.
  const Name* Find(TextView spelling) const noexcept { return FindHashed(spelling, Hash(spelling)); }

  /// Returns the table's name of this spelling, adding it where missing. Raises nothing but std::bad_alloc.
  const Name* Intern(TextView spelling);

 private:
  static constexpr std::size_t kFirstBuckets = 16;

  const Name* FindHashed(TextView spelling, std::uint32_t hash) const noexcept;
  void Grow();

  Arena* arena_;
  std::size_t bucketCount_ = kFirstBuckets;  // a power of two
  std::size_t nameCount_ = 0;
  Name* firstBuckets_[kFirstBuckets] = {};
  Name** buckets_ = firstBuckets_;
};

}  // namespace nerio::platform::xml
