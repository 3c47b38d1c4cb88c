#pragma once

#include <cstddef>
#include <iterator>
#include <memory>

#include "nerio/platform/host.h"
#include "nerio/platform/registry_api.h"
#include "nerio/types/text.h"
#include "nerio/types/visibility.h"

namespace nerio {

/// The names directly below a branch, as a range: of its subkeys (`SubKeyNames`) or of its values (`ValueNames`).
///
///     for (const Text& name : ValueNames(u"Software\\Nerio\\App")) ...
///
/// An input range: each step asks the registry for one more name, so the names are never all in memory. The object owns
/// an open key and closes it at its end; it is moved, not copied, and the host's services outlive it. It belongs to the
/// thread that uses it.
class NERIO_PUBLIC BranchNames {
  class Listing;

 public:
  /// Stands on one name. Valid as long as the range that it comes from, which may be moved meanwhile; all iterators of
  /// one range stand on the same name.
  class NERIO_PUBLIC Iterator {
   public:
    using value_type = Text;
    using difference_type = std::ptrdiff_t;

    /// Returns the name, as UTF-16 code units; a letter that the system's ANSI code page cannot hold is replaced. The
    /// unnamed value has the empty name. The reference holds until the next step.
    const Text& operator*() const;

    /// Goes to the next name.
    /// @throws Error as `begin` does.
    Iterator& operator++();
    /// The same; there is nothing to give back.
    void operator++(int) { ++*this; }

    /// Tells whether there is no name left.
    bool operator==(std::default_sentinel_t) const;

   private:
    friend BranchNames;
    explicit Iterator(Listing* listing) : listing_(listing) {}

    Listing* listing_;
  };

  BranchNames(BranchNames&& other) noexcept;
  BranchNames& operator=(BranchNames&& other) noexcept;
  ~BranchNames();

  /// Goes to the first name; also a second time, for which the registry is asked again.
  ///
  /// The names come in the registry's own order. While keys or values are made or deleted there, a name may be left out
  /// or come twice: collect the names before you delete what they name.
  /// @throws Error with the registry's return code as its number (1018: the branch was deleted meanwhile), source and
  ///   description as `SubKeyNames` and `ValueNames`.
  Iterator begin();
  /// Marks the end.
  std::default_sentinel_t end() const noexcept { return {}; }

 private:
  explicit BranchNames(std::unique_ptr<Listing> listing) noexcept;
  friend NERIO_PUBLIC BranchNames SubKeyNames(TextView sRamo, platform::KeyHandle eHKEYRoot,
                                              const platform::Host& host);
  friend NERIO_PUBLIC BranchNames ValueNames(TextView sRamo, platform::KeyHandle eHKEYRoot, const platform::Host& host);

  std::unique_ptr<Listing> listing_;
};

/// Opens a branch to list the keys directly below it. The right to list them is all that it takes (KEY_ENUMERATE_SUB_KEYS
/// on Windows; on Linux the branch may be read), less than `CRegistry` needs.
/// @param sRamo the path of the branch below the root, without a leading backslash; empty: the root itself.
/// @param eHKEYRoot a predefined root or any open key.
/// @throws Error with the registry's return code as its number, such as 2 (there is no such branch) or 5 (access
///   denied), source "SubKeyNames", "Errore durante la lettura del ramo" + blank + `sRamo`.
NERIO_PUBLIC BranchNames SubKeyNames(TextView sRamo, platform::KeyHandle eHKEYRoot = platform::kHkeyLocalMachine,
                                     const platform::Host& host = platform::ThisHost());

/// Opens a branch to list its values, as `SubKeyNames` does for keys (KEY_QUERY_VALUE on Windows).
/// @throws Error as `SubKeyNames` does, source "ValueNames".
NERIO_PUBLIC BranchNames ValueNames(TextView sRamo, platform::KeyHandle eHKEYRoot = platform::kHkeyLocalMachine,
                                    const platform::Host& host = platform::ThisHost());

}  // namespace nerio
