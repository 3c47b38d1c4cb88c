#include "nerio/hosts/portable/xml/xml_handles.h"

#include <algorithm>
#include <new>
#include <utility>

namespace nerio::platform::xml {

HandlePool::~HandlePool() {
  while (blocks_ != nullptr) ::operator delete(std::exchange(blocks_, blocks_->next));
}

void HandlePool::AddFree(HeldNode* entries, std::size_t count) noexcept {
  for (std::size_t i = count; i-- > 0;) free_ = ::new (&entries[i]) HeldNode{{.nextFree = free_}, &owner_, &owner_, 0};
  size_ += count;
}

void HandlePool::AddBlock() {
  void* const memory = ::operator new(sizeof(Block) + kBlockSize * sizeof(HeldNode));
  blocks_ = ::new (memory) Block{blocks_};
  AddFree(EntriesOf(*blocks_), kBlockSize);
  if (size_ > kSmall) few_ = size_ / 4;
}

void HandlePool::ReleaseUnused(std::size_t inUse) noexcept {
  const auto isFree = [](const HeldNode& entry) { return entry.handles == 0; };
  free_ = nullptr;
  const auto keepFree = [&](HeldNode* entries, std::size_t count) {
    for (std::size_t i = count; i-- > 0;) {
      if (isFree(entries[i])) GiveBack(entries[i]);
    }
  };
  for (Block** link = &blocks_; *link != nullptr;) {
    Block* const block = *link;
    HeldNode* const entries = EntriesOf(*block);
    if (std::all_of(entries, entries + kBlockSize, isFree)) {
      *link = block->next;
      ::operator delete(block);
      size_ -= kBlockSize;
    } else {
      keepFree(entries, kBlockSize);
      link = &block->next;
    }
  }
  keepFree(firstEntries_, kFirstSize);
  few_ = size_ > kSmall ? std::min(size_ / 4, std::max<std::size_t>(1, inUse / 2)) : 1;
}

}  // namespace nerio::platform::xml
