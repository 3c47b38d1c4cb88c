#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "nerio/hosts/linux/store/handle_table.h"
#include "nerio/hosts/linux/store/key_cache.h"
#include "nerio/hosts/linux/store/registry_roots.h"
#include "nerio/platform/registry_api.h"
#include "nerio/platform/whole_keys.h"

namespace nerio::platform {

/// The registry on the file system: a key is a folder, its values are one file in it. No server, and no memory between
/// calls but the open handles, what each of them listed last, and a cache; every call checks first whether that is still
/// current, so several processes and threads work on the same keys at once and see each other's changes with the next
/// call. The kernel decides who may do what: the permissions of a key's folder are the key's.
///
/// A change is durable and whole when its call has returned 0; a call that fails or is killed leaves the old state or
/// the new one. What is stored, and how, docs/registry-format.md says.
///
/// Beside the return codes of the interface, calls answer 8 when memory or descriptors run out, 112 when the disk is
/// full, 170 when a change has waited 30 s for other writers, 1015 when what is stored is damaged or something else is in
/// its place (nothing is changed then), and 1016 when the system fails in another way. Any thread may make any call.
class LinuxRegistry final : public RegistryApi, public WholeKeys {
 public:
  /// @param folder the folder of all roots, made by the first change, with mode 0700. Empty: that of the environment variable
  /// NERIO_REGISTRY; where that is not set, $XDG_DATA_HOME/nerio/registry or ~/.local/share/nerio/registry (0700), and for
  /// all roots but HKEY_CURRENT_USER /var/lib/nerio/registry (0755) in a process that may use it, see `RegistryRoots`. The
  /// environment is asked on the first call that needs it. A missing root is made by the first change, and is empty until
  /// then; where this user may not make it, it answers 2.
  explicit LinuxRegistry(std::filesystem::path folder = {}) : roots_(std::move(folder)) {}

  /// Every right of `access` is checked against the permissions of the key's folder, for the effective user: a handle
  /// for reading needs read and search, one for changing write and search. The change itself needs read too, which is
  /// not asked for before. Folders above it need search only.
  Status OpenKey(KeyHandle root, const AnsiText& subKey, std::uint32_t options, std::uint32_t access,
                 KeyHandle& opened) override;

  /// A new key belongs to its creator and has the permissions of the key that it is made in; its handle has every right
  /// that was asked for. Class, options and security are ignored: every key lasts.
  Status CreateKey(KeyHandle root, const AnsiText& subKey, std::uint32_t reserved, const AnsiText& keyClass,
                   std::uint32_t options, std::uint32_t access, const SecurityAttributes& security, KeyHandle& created,
                   std::uint32_t& disposition) override;

  Status QueryValue(KeyHandle key, const AnsiText& name, std::uint32_t& type, std::span<char> data,
                    std::uint32_t& size) override;
  Status SetValue(KeyHandle key, const AnsiText& name, std::uint32_t reserved, std::uint32_t type,
                  std::span<const char> data) override;

  /// Needs no right of the handle, only reading, writing and searching the folders of the key and of the key
  /// above it.
  Status DeleteKey(KeyHandle key, const AnsiText& subKey) override;
  Status DeleteValue(KeyHandle key, const AnsiText& name) override;
  Status CloseKey(KeyHandle key) override;
  Status EnumKey(KeyHandle key, std::uint32_t index, AnsiText& name) override;
  Status EnumValue(KeyHandle key, std::uint32_t index, AnsiText& name, std::uint32_t& type, std::string& data) override;

  Status ReadValues(KeyHandle key, const std::function<void(const Value&)>& take) override;
  Status ReadSubkeys(KeyHandle key, std::vector<AnsiText>& names) override;
  Status ChangeValues(KeyHandle key, std::span<ValueChange> changes) override;

 private:
  Status Find(KeyHandle handle, std::shared_ptr<const HandleTarget>& key);
  template <typename Call>
  Status OnKey(KeyHandle handle, std::uint32_t right, const Deadline* change, Call call);
  template <typename Call>
  Status OnPath(KeyHandle root, std::string_view path, const Deadline* change, Call call);
  bool IsClassesRoot(KeyHandle handle) const;
  Status OpenPath(KeyHandle root, std::string_view path, std::uint32_t access, KeyHandle& opened);
  KeyHandle RootYetToBeMade(KeyHandle handle);
  Status IfYetToBeMade(KeyHandle handle, Status answer);
  Status SubkeysOf(KeyHandle handle, const HandleTarget& opened, std::shared_ptr<SubkeyList>& subkeys);
  Status ValuesOf(KeyHandle handle, const HandleTarget& opened, std::shared_ptr<const CachedKey>& values);

  RegistryRoots roots_;
  HandleTable handles_;
  KeyCache cache_;
};

}  // namespace nerio::platform
