#include "nerio/hosts/portable/xml/xml_arena.h"

#include <algorithm>

namespace nerio::platform::xml {

void Arena::DeleteChunks() noexcept {
  while (chunks_ != nullptr) ::operator delete(std::exchange(chunks_, chunks_->previous));
}

void Arena::Clear() noexcept {
  DeleteChunks();
  next_ = first_;
  end_ = first_ + sizeof first_;
  last_ = first_;
  chunkSize_ = kSmallestChunk;
  size_ = 0;
  wasted_ = 0;
  Poison(first_, sizeof first_);
}

void Arena::TakeOver(Arena& other) noexcept {
  Clear();
  if (other.chunks_ == nullptr) return;
  chunks_ = std::exchange(other.chunks_, nullptr);
  next_ = other.next_;
  end_ = other.end_;
  last_ = other.last_;
  chunkSize_ = other.chunkSize_;
  size_ = other.size_;
  wasted_ = other.wasted_;
}

std::byte* Arena::AddChunk(std::size_t bytes) {
  if (bytes > SIZE_MAX - sizeof(Chunk)) throw std::bad_alloc();
  void* const memory = ::operator new(sizeof(Chunk) + bytes);
  chunks_ = ::new (memory) Chunk{chunks_, bytes};
  size_ += bytes;
  return reinterpret_cast<std::byte*>(chunks_ + 1);
}

void Arena::ShortenChunk(void* start, std::size_t made, std::size_t used) noexcept {
  if (used != 0) {
    Poison(static_cast<std::byte*>(start) + used, made - used);
    Waste(made - used);
    return;
  }
  size_ -= chunks_->size;
  ::operator delete(std::exchange(chunks_, chunks_->previous));
}

void* Arena::AllocateInNewChunk(std::size_t bytes) {
  // What would take a good part of a chunk gets one of its own; the current one stays in use. It is somewhat larger
  // than asked for: what is allocated next is often a copy of the same size, and copying between places that lie just a
  // few bytes more than a memory page apart is slow, since the processor takes each load to depend on the stores before
  // it.
  constexpr std::size_t kApart = 1024;
  if (bytes > SIZE_MAX - kApart) throw std::bad_alloc();
  if (bytes > chunkSize_ / 4) {
    std::byte* const own = AddChunk(bytes + kApart);
    Poison(own + bytes, kApart);
    return own;
  }
  const std::size_t size = chunkSize_ - sizeof(Chunk);
  std::byte* const start = AddChunk(size);
  chunkSize_ = std::min(chunkSize_ * 2, kLargestChunk);
  Poison(start, size);
  Unpoison(start, bytes);
  last_ = start;
  next_ = start + bytes + kPoisonGap;
  end_ = start + size;
  return start;
}

}  // namespace nerio::platform::xml
