#include "nerio/hosts/portable/xml/xml_name_table.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>

namespace nerio::platform::xml {

// Two units at a time, multiplied and folded. An address takes part, which differs from process to process, so that a
// document cannot bring names along that were chosen to meet in one bucket.
std::uint32_t NameTable::Hash(TextView spelling) noexcept {
  static const char anchor = 0;
  constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15;
  std::uint64_t hash = (reinterpret_cast<std::uintptr_t>(&anchor) ^ spelling.size()) * kFactor;
  const char16_t* unit = spelling.data();
  std::size_t rest = spelling.size();
  for (; rest >= 2; rest -= 2, unit += 2) {
    std::uint32_t pair;
    std::memcpy(&pair, unit, sizeof pair);
    hash = (hash ^ pair) * kFactor;
    hash ^= hash >> 32;
  }
  if (rest != 0) {
    hash = (hash ^ *unit) * kFactor;
    hash ^= hash >> 32;
  }
  return static_cast<std::uint32_t>(hash);
}

Name* NameTable::FindHashed(TextView spelling, std::uint32_t hash) const noexcept {
  for (Name* name = buckets_[hash & (bucketCount_ - 1)]; name != nullptr; name = name->next) {
    if (name->Is(spelling, hash)) return name;
  }
  return nullptr;
}

Name* NameTable::Add(TextView spelling, std::uint32_t hash) {
  if (spelling.size() > std::numeric_limits<std::uint32_t>::max() / sizeof(char16_t) - sizeof(Name)) {
    throw std::bad_alloc();
  }
  if (nameCount_ >= bucketCount_) Grow();
  void* const place = arena_->Allocate(sizeof(Name) + spelling.size() * sizeof(char16_t), alignof(Name));
  Name*& bucket = buckets_[hash & (bucketCount_ - 1)];
  auto* const name = ::new (place) Name{bucket, tree_, 0, hash, static_cast<std::uint32_t>(spelling.size())};
  spelling.copy(reinterpret_cast<char16_t*>(name + 1), spelling.size());
  bucket = name;
  ++nameCount_;
  arena_->Waste(name->Size());
  return name;
}

void NameTable::Clear() noexcept {
  std::fill(std::begin(firstBuckets_), std::end(firstBuckets_), nullptr);
  buckets_ = firstBuckets_;
  bucketCount_ = kFirstBuckets;
  nameCount_ = 0;
}

void NameTable::TakeOver(const NameTable& other) noexcept {
  std::copy(std::begin(other.firstBuckets_), std::end(other.firstBuckets_), firstBuckets_);
  buckets_ = other.buckets_ == other.firstBuckets_ ? firstBuckets_ : other.buckets_;
  bucketCount_ = other.bucketCount_;
  nameCount_ = other.nameCount_;
}

void NameTable::Grow() {
  const std::size_t count = bucketCount_ * 2;
  Name** const buckets = arena_->MakeZeros<Name*>(count);
  for (std::size_t i = 0; i < bucketCount_; ++i) {
    for (Name* name = buckets_[i]; name != nullptr;) {
      Name* const next = name->next;
      Name*& bucket = buckets[name->hash & (count - 1)];
      name->next = bucket;
      bucket = name;
      name = next;
    }
  }
  // NOLINTNEXTLINE(bugprone-sizeof-expression): they hold pointers.
  if (buckets_ != firstBuckets_) arena_->Waste(bucketCount_ * sizeof(Name*));
  buckets_ = buckets;
  bucketCount_ = count;
}

}  // namespace nerio::platform::xml
