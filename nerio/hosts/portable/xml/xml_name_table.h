#pragma once

#include <cstddef>
#include <cstdint>

#include "nerio/hosts/portable/xml/xml_arena.h"
#include "nerio/types/text.h"

namespace nerio::platform::xml {

class Tree;

/// One spelling of a name table. The code units follow the object in memory.
struct Name {
  Name* next;            ///< in the same bucket
  Tree* tree;            ///< the one whose nodes have this name
  std::size_t uses = 0;  ///< how many nodes have it
  std::uint32_t hash;
  std::uint32_t length;

  TextView View() const { return {reinterpret_cast<const char16_t*>(this + 1), length}; }
  /// Tells whether the name has this spelling, whose hash is `spellingHash`.
  bool Is(TextView spelling, std::uint32_t spellingHash) const { return hash == spellingHash && View() == spelling; }
  /// The bytes that it takes, its code units included.
  std::size_t Size() const { return sizeof(Name) + length * sizeof(char16_t); }
};

/// Keeps each spelling once, in an arena: two names of one table are equal when their addresses are.
class NameTable {
 public:
  /// @param arena outlives the table.
  /// @param tree the tree whose names these are.
  explicit NameTable(Arena& arena, Tree* tree = nullptr) noexcept : arena_(&arena), tree_(tree) {}
  NameTable(const NameTable&) = delete;
  NameTable& operator=(const NameTable&) = delete;

  /// Forgets all names; the arena keeps their memory.
  void Clear() noexcept;

  /// Forgets all names and takes over those of another table, whose memory this table's arena takes over.
  void TakeOver(const NameTable& other) noexcept;

  /// Returns the hash of a spelling, the same in every table of the process.
  static std::uint32_t Hash(TextView spelling) noexcept;

  /// Returns the table's name of this spelling. Where it has none, it adds one if `mayAdd(spelling)`, and answers null
  /// otherwise. Raises nothing but std::bad_alloc.
  template <typename MayAdd>
  Name* Intern(TextView spelling, MayAdd mayAdd) {
    return Intern(spelling, Hash(spelling), mayAdd);
  }

  /// Returns the table's name of this spelling, adding it where missing. Raises nothing but std::bad_alloc.
  Name* Intern(TextView spelling) {
    return Intern(spelling, [](TextView) { return true; });
  }
  /// The same for the spelling of another table's name.
  Name* Intern(const Name& name) {
    return Intern(name.View(), name.hash, [](TextView) { return true; });
  }

  /// Counts a node that has a name of this table, and one that has it no more. A name that no node has is waste.
  void Use(Name& name) noexcept {
    if (name.uses++ == 0) arena_->Regain(name.Size());
  }
  void Leave(Name& name) noexcept {
    if (--name.uses == 0) arena_->Waste(name.Size());
  }

 private:
  static constexpr std::size_t kFirstBuckets = 4;

  template <typename MayAdd>
  Name* Intern(TextView spelling, std::uint32_t hash, MayAdd mayAdd) {
    if (Name* const found = FindHashed(spelling, hash)) return found;
    return mayAdd(spelling) ? Add(spelling, hash) : nullptr;
  }
  Name* FindHashed(TextView spelling, std::uint32_t hash) const noexcept;
  Name* Add(TextView spelling, std::uint32_t hash);
  void Grow();

  Arena* arena_;
  Tree* tree_;
  std::size_t bucketCount_ = kFirstBuckets;  // a power of two
  std::size_t nameCount_ = 0;
  Name* firstBuckets_[kFirstBuckets] = {};
  Name** buckets_ = firstBuckets_;
};

}  // namespace nerio::platform::xml
