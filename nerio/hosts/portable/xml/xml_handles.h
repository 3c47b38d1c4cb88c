#pragma once

#include <cstddef>
#include <cstdint>

namespace nerio::platform::xml {

class Tree;
struct Node;

/// What the handles to one node point to: nodes change their place in memory, this does not.
struct HeldNode {
  union {
    Node* node;
    HeldNode* nextFree;
  };
  Tree* tree;           ///< that of the node
  Tree* issuer;         ///< the one whose pool this lies in; another one once the node was adopted
  std::size_t handles;  ///< 0 while free
};

/// The entries of a tree for nodes that are held. The first few lie in the tree itself.
class HandlePool {
 public:
  explicit HandlePool(Tree& owner) noexcept : owner_(owner) { AddFree(firstEntries_, kFirstSize); }
  HandlePool(const HandlePool&) = delete;
  HandlePool& operator=(const HandlePool&) = delete;
  ~HandlePool();

  /// Makes an entry with one handle for a node of the owner. Raises nothing but std::bad_alloc.
  HeldNode* Take(Node& node) {
    if (free_ == nullptr) AddBlock();
    HeldNode* const entry = free_;
    free_ = entry->nextFree;
    entry->node = &node;
    entry->handles = 1;
    return entry;
  }

  /// Takes an entry of this pool back, whose last handle is gone and whose tree is the owner again.
  void GiveBack(HeldNode& entry) noexcept {
    entry.nextFree = free_;
    free_ = &entry;
  }

  /// Tells whether most of the pool lies idle with so many entries in use, or none is in use.
  bool IsIdleWith(std::size_t inUse) const noexcept { return inUse < few_; }

  /// Releases the blocks of which no entry is in use. Where they are few, the pool counts as idle again with half as
  /// many in use.
  void ReleaseUnused(std::size_t inUse) noexcept;

 private:
  struct Block {
    Block* next;
  };
  static constexpr std::size_t kFirstSize = 3;
  static constexpr std::size_t kBlockSize = 30;
  static constexpr std::size_t kSmall = 500;  // a pool up to this size stays as it is

  static HeldNode* EntriesOf(Block& block) noexcept { return reinterpret_cast<HeldNode*>(&block + 1); }
  void AddFree(HeldNode* entries, std::size_t count) noexcept;
  void AddBlock();

  Tree& owner_;
  HeldNode* free_ = nullptr;
  Block* blocks_ = nullptr;
  std::size_t size_ = 0;  // how many entries there are, in use or not
  std::size_t few_ = 1;
  HeldNode firstEntries_[kFirstSize];
};

}  // namespace nerio::platform::xml
