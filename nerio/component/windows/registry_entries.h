#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "nerio/types/text.h"

namespace nerio::component {

/// Text values entered in the registry that are taken back when this object goes, last first, unless they are kept.
/// What was there before is then there again: values with their types, and no key more.
class RegistryEntries {
 public:
  /// @param root a predefined root; every key is below it.
  explicit RegistryEntries(HKEY root) noexcept : root_(root) {}
  RegistryEntries(const RegistryEntries&) = delete;
  RegistryEntries& operator=(const RegistryEntries&) = delete;
  ~RegistryEntries();

  /// Sets a text value; makes its key where it is missing.
  /// @param name of the value; null is the unnamed one.
  /// @return 0 or the system's error number.
  /// @throws std::bad_alloc before anything is changed.
  LSTATUS Set(const Text& key, const wchar_t* name, TextView value);
  /// Leaves everything that was entered.
  void Keep() noexcept { changes_.clear(); }

 private:
  // What undoes one step: a key that was not there goes, or a value becomes what it was.
  struct Change {
    Text key;
    bool isKey = false;
    std::wstring name = {};
    bool wasThere = false;
    DWORD type = REG_NONE;
    std::vector<BYTE> data = {};
  };

  void RememberMissingKeys(const Text& key);
  void RememberValue(const Text& key, const wchar_t* name);
  void Undo(const Change& change) const noexcept;

  HKEY root_;
  std::vector<Change> changes_;
};

}  // namespace nerio::component
