#include "tools/nerio/registry/registry_access.h"

#include <algorithm>
#include <span>

#include "nerio/platform/whole_keys.h"

namespace nerio::tool {
namespace {

using platform::kSuccess;
using platform::Status;

constexpr std::uint32_t kNoOptions = 0;
constexpr std::uint32_t kReserved = 0;

// Tells whether a key is among those that are listed below its upper key.
bool IsListed(platform::RegistryApi& registry, const RegistryKey& key) {
  const AnsiText name(key.path.bytes().substr(key.path.bytes().rfind('\\') + 1));
  KeyGuard opened;
  std::vector<AnsiText> names;
  return OpenKey(registry, UpperKey(key), platform::kKeyEnumerateSubKeys, opened) == kSuccess &&
         ListKeys(registry, opened.get(), names) == kSuccess &&
         std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

Status OpenKey(platform::RegistryApi& registry, const RegistryKey& key, std::uint32_t access, KeyGuard& opened) {
  platform::KeyHandle handle = 0;
  const Status status = registry.OpenKey(key.root, key.path, kNoOptions, access, handle);
  if (status == kSuccess) opened = KeyGuard(registry, handle);
  return status;
}

Status CreateKey(platform::RegistryApi& registry, const RegistryKey& key, std::uint32_t access, KeyGuard& opened,
                 bool& created) {
  platform::KeyHandle handle = 0;
  std::uint32_t disposition = 0;
  const Status status = registry.CreateKey(key.root, key.path, kReserved, {}, platform::kRegOptionNonVolatile, access,
                                           {}, handle, disposition);
  if (status != kSuccess) return status;
  opened = KeyGuard(registry, handle);
  created = disposition == platform::kRegCreatedNewKey;
  return status;
}

Status ReadValue(platform::RegistryApi& registry, platform::KeyHandle key, const AnsiText& name, StoredValue& value) {
  StoredValue read{name, 0, std::string(1024, '\0')};
  for (;;) {
    auto size = static_cast<std::uint32_t>(read.data.size());
    const Status status = registry.QueryValue(key, name, read.type, std::span<char>(read.data), size);
    if (status == kSuccess) {
      read.data.resize(size);
      value = std::move(read);
      return status;
    }
    // The value may have grown once more before the next call, so this goes on until it fits.
    if (status != platform::kMoreData || size <= read.data.size()) return status;
    read.data.resize(size);
  }
}

Status StoreValue(platform::RegistryApi& registry, platform::KeyHandle key, const StoredValue& value) {
  return registry.SetValue(key, value.name, kReserved, value.type, std::span<const char>(value.data));
}

bool ReadsAtOnce(platform::RegistryApi& registry) { return dynamic_cast<platform::WholeKeys*>(&registry) != nullptr; }

Status ListValues(platform::RegistryApi& registry, platform::KeyHandle key, std::vector<StoredValue>& values) {
  if (auto* const whole = dynamic_cast<platform::WholeKeys*>(&registry)) {
    return whole->ReadValues(key, [&values](const platform::WholeKeys::Value& value) {
      values.push_back({AnsiText(std::string(value.name)), value.type, std::string(value.data)});
    });
  }
  for (std::uint32_t index = 0;; ++index) {
    StoredValue value;
    const Status status = registry.EnumValue(key, index, value.name, value.type, value.data);
    if (status == platform::kNoMoreItems) return kSuccess;
    if (status != kSuccess) return status;
    values.push_back(std::move(value));
  }
}

AnsiText SpelledName(platform::RegistryApi& registry, platform::CodePage& codePage, const RegistryKey& key,
                     const AnsiText& name) {
  KeyGuard opened;
  std::vector<StoredValue> values;
  if (OpenKey(registry, key, platform::kKeyQueryValue, opened) == kSuccess) ListValues(registry, opened.get(), values);
  const Text folded = FoldedName(name, codePage);
  const auto found = std::find_if(values.begin(), values.end(),
                                  [&](const StoredValue& value) { return FoldedName(value.name, codePage) == folded; });
  return found != values.end() ? found->name : name;
}

Status ListKeys(platform::RegistryApi& registry, platform::KeyHandle key, std::vector<AnsiText>& names) {
  if (auto* const whole = dynamic_cast<platform::WholeKeys*>(&registry)) return whole->ReadSubkeys(key, names);
  for (std::uint32_t index = 0;; ++index) {
    AnsiText name;
    const Status status = registry.EnumKey(key, index, name);
    if (status == platform::kNoMoreItems) return kSuccess;
    if (status != kSuccess) return status;
    names.push_back(std::move(name));
  }
}

void WalkBranch(platform::RegistryApi& registry, const RegistryKey& key, std::uint32_t access,
                const std::function<bool(const Visit&)>& visit, std::size_t deepest) {
  // The keys still to be visited, the next one last. Each is opened by its whole path, so none stays open in between.
  struct Pending {
    RegistryKey key;
    std::size_t depth;
    double share;  // of the walk that is done before it
    double width;  // of the walk that it and those below it are
  };
  std::vector<Pending> pending{{key, 0, 0, 1}};
  while (!pending.empty()) {
    Pending next = std::move(pending.back());
    pending.pop_back();
    Visit here{next.key, next.depth, 0, kSuccess, next.share};
    KeyGuard opened;
    std::vector<AnsiText> names;
    here.status = OpenKey(registry, next.key, access | platform::kKeyEnumerateSubKeys, opened);
    if (here.status == kSuccess) here.status = ListKeys(registry, opened.get(), names);
    const bool vanished = here.status == platform::kFileNotFound || here.status == platform::kKeyDeleted;
    if (vanished && next.depth > 0) {
      // Where every listed name opens its key, one that is listed again was made again.
      if (ReadsAtOnce(registry) || !IsListed(registry, next.key)) continue;
      here.status = kNameOutsideCodePage;
    }
    if (here.status == kSuccess) {
      here.handle = opened.get();
    } else {
      names.clear();
    }
    if (!visit(here)) return;
    if (next.depth >= deepest) continue;
    const double width = next.width / static_cast<double>(names.size() + 1);
    for (std::size_t i = names.size(); i > 0; --i) {
      pending.push_back({{next.key.root, JoinPath(next.key.path, names[i - 1])},
                         next.depth + 1,
                         next.share + width * static_cast<double>(i),
                         width});
    }
  }
}

Status ReadBranch(platform::RegistryApi& registry, const RegistryKey& key, std::vector<StoredKey>& branch,
                  RegistryKey& failed, const std::function<void(double)>& reached) {
  Status status = kSuccess;
  WalkBranch(registry, key, platform::kKeyRead, [&](const Visit& here) {
    if (reached) reached(here.share);
    StoredKey read{here.key, {}};
    status = here.handle != 0 ? ListValues(registry, here.handle, read.values) : here.status;
    if (status == platform::kKeyDeleted && here.depth > 0) {
      status = kSuccess;
      return true;
    }
    if (status != kSuccess) {
      failed = here.key;
      return false;
    }
    branch.push_back(std::move(read));
    return true;
  });
  return status;
}

}  // namespace nerio::tool
