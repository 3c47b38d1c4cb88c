#include "nerio/component/windows/registry_entries.h"

#include <utility>

#include "nerio/hosts/windows/automation/wide.h"

namespace nerio::component {

using platform::Wide;

RegistryEntries::~RegistryEntries() {
  while (!changes_.empty()) {
    Undo(changes_.back());
    changes_.pop_back();
  }
}

LSTATUS RegistryEntries::Set(const Text& key, const wchar_t* name, TextView value) {
  const Text terminated(value);
  RememberMissingKeys(key);
  RememberValue(key, name);
  HKEY opened = nullptr;
  LSTATUS status = ::RegCreateKeyExW(root_, Wide(key), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_SET_VALUE, nullptr,
                                     &opened, nullptr);
  if (status != ERROR_SUCCESS) return status;
  status = ::RegSetValueExW(opened, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(terminated.c_str()),
                            static_cast<DWORD>((terminated.size() + 1) * sizeof(char16_t)));
  ::RegCloseKey(opened);
  return status;
}

void RegistryEntries::RememberMissingKeys(const Text& key) {
  for (std::size_t end = key.find(u'\\');; end = key.find(u'\\', end + 1)) {
    Change change{.key = key.substr(0, end), .isKey = true};
    HKEY opened = nullptr;
    const LSTATUS status = ::RegOpenKeyExW(root_, Wide(change.key), 0, KEY_QUERY_VALUE, &opened);
    if (status == ERROR_SUCCESS) ::RegCloseKey(opened);
    if (status == ERROR_FILE_NOT_FOUND) changes_.push_back(std::move(change));
    if (end == Text::npos) return;
  }
}

void RegistryEntries::RememberValue(const Text& key, const wchar_t* name) {
  Change change{.key = key, .name = name != nullptr ? name : L""};
  HKEY opened = nullptr;
  // Of a key that is missing there is no value to remember; a value that cannot be read is not changed either.
  if (::RegOpenKeyExW(root_, Wide(key), 0, KEY_QUERY_VALUE, &opened) != ERROR_SUCCESS) return;
  DWORD size = 0;
  LSTATUS status = ::RegQueryValueExW(opened, name, nullptr, nullptr, nullptr, &size);
  if (status == ERROR_SUCCESS) {
    change.wasThere = true;
    change.data.resize(size);
    status = ::RegQueryValueExW(opened, name, nullptr, &change.type, change.data.data(), &size);
  }
  ::RegCloseKey(opened);
  if (status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND) changes_.push_back(std::move(change));
}

void RegistryEntries::Undo(const Change& change) const noexcept {
  if (change.isKey) {
    ::RegDeleteKeyW(root_, Wide(change.key));
    return;
  }
  HKEY opened = nullptr;
  if (::RegOpenKeyExW(root_, Wide(change.key), 0, KEY_SET_VALUE, &opened) != ERROR_SUCCESS) return;
  if (change.wasThere) {
    ::RegSetValueExW(opened, change.name.c_str(), 0, change.type, change.data.data(),
                     static_cast<DWORD>(change.data.size()));
  } else {
    ::RegDeleteValueW(opened, change.name.c_str());
  }
  ::RegCloseKey(opened);
}

}  // namespace nerio::component
