#pragma once

#include "nerio/types/ansi_text.h"

namespace nerio::testing {

/// A key of its own below HKEY_LOCAL_MACHINE\Software for one test, deleted with everything below it at the end,
/// whoever is denied what there. The registry is that of the build tree's Wine prefix.
class ScratchKey {
 public:
  /// @throws std::runtime_error when the key cannot be made.
  ScratchKey();
  ScratchKey(const ScratchKey&) = delete;
  ScratchKey& operator=(const ScratchKey&) = delete;
  ~ScratchKey();

  /// Returns the path of something below the key, or of the key itself, relative to HKEY_LOCAL_MACHINE.
  AnsiText Path(const AnsiText& below = {}) const {
    return below.empty() ? path_ : AnsiText(path_.bytes() + '\\' + below.bytes());
  }

 private:
  AnsiText path_;
};

/// Denies everybody the rights `denied` on a key below HKEY_LOCAL_MACHINE and allows all others.
/// @throws std::runtime_error when the key's owner may not do that.
void DenyRights(const AnsiText& path, unsigned long denied);

}  // namespace nerio::testing
