#include "nerio/registry/branch_names.h"

#include <cstdint>
#include <string>
#include <utility>

#include "nerio/registry/messages.h"
#include "nerio/types/error.h"

namespace nerio {

using platform::KeyHandle;

namespace {

constexpr std::uint32_t kNoOptions = 0;

}  // namespace

// An open key and the name that the range stands on.
class BranchNames::Listing {
 public:
  enum Kind { kSubKeys, kValues };

  Listing(Kind kind, TextView branch, KeyHandle root, const platform::Host& host)
      : kind_(kind), branch_(branch), registry_(host.registry), codePage_(host.codePage) {
    const std::uint32_t access = kind == kSubKeys ? platform::kKeyEnumerateSubKeys : platform::kKeyQueryValue;
    const platform::Status status = registry_.OpenKey(root, codePage_.ToAnsi(branch), kNoOptions, access, key_);
    if (status != platform::kSuccess) Raise(status);
  }
  Listing(const Listing&) = delete;
  Listing& operator=(const Listing&) = delete;
  ~Listing() { registry_.CloseKey(key_); }

  void First() {
    index_ = 0;
    Read();
  }
  void Next() {
    ++index_;
    Read();
  }
  bool AtEnd() const { return atEnd_; }
  const Text& Name() const { return name_; }

 private:
  void Read() {
    AnsiText name;
    const platform::Status status = Enumerate(name);
    if (status != platform::kSuccess && status != platform::kNoMoreItems) Raise(status);
    atEnd_ = status == platform::kNoMoreItems;
    name_ = codePage_.ToText(name.bytes());
  }

  platform::Status Enumerate(AnsiText& name) {
    if (kind_ == kSubKeys) return registry_.EnumKey(key_, index_, name);
    std::uint32_t type = 0;
    std::string data;
    return registry_.EnumValue(key_, index_, name, type, data);
  }

  [[noreturn]] void Raise(platform::Status status) const {
    throw Error(platform::NumberOf(status), kind_ == kSubKeys ? u"SubKeyNames" : u"ValueNames",
                Text(registry::kReadBranchMessage) + u" " + branch_);
  }

  Kind kind_;
  Text branch_;
  platform::RegistryApi& registry_;
  platform::CodePage& codePage_;
  KeyHandle key_ = 0;
  std::uint32_t index_ = 0;
  bool atEnd_ = true;
  Text name_;
};

const Text& BranchNames::Iterator::operator*() const { return listing_->Name(); }

BranchNames::Iterator& BranchNames::Iterator::operator++() {
  listing_->Next();
  return *this;
}

bool BranchNames::Iterator::operator==(std::default_sentinel_t) const { return listing_->AtEnd(); }

BranchNames::BranchNames(std::unique_ptr<Listing> listing) noexcept : listing_(std::move(listing)) {}
BranchNames::BranchNames(BranchNames&& other) noexcept = default;
BranchNames& BranchNames::operator=(BranchNames&& other) noexcept = default;
BranchNames::~BranchNames() = default;

BranchNames::Iterator BranchNames::begin() {
  listing_->First();
  return Iterator(listing_.get());
}

BranchNames SubKeyNames(TextView sRamo, KeyHandle eHKEYRoot, const platform::Host& host) {
  using Listing = BranchNames::Listing;
  return BranchNames(std::make_unique<Listing>(Listing::kSubKeys, sRamo, eHKEYRoot, host));
}

BranchNames ValueNames(TextView sRamo, KeyHandle eHKEYRoot, const platform::Host& host) {
  using Listing = BranchNames::Listing;
  return BranchNames(std::make_unique<Listing>(Listing::kValues, sRamo, eHKEYRoot, host));
}

}  // namespace nerio
