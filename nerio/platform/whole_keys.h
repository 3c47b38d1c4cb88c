#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "nerio/platform/registry_api.h"

namespace nerio::platform {

/// What a registry of the layer's own offers beside the calls of `RegistryApi`: a key as it is at one moment. The
/// system's registry has no such calls. `dynamic_cast` from a `RegistryApi` tells whether it is offered; the tool goes
/// index by index where it is not. Not for programs: the header is not installed.
class WholeKeys {
 public:
  /// A value; its texts are views for the time of a call.
  struct Value {
    std::string_view name;
    std::uint32_t type = 0;
    std::string_view data;
  };

  /// One change of a value: what it is to be, or that it is to be gone.
  struct ValueChange {
    std::string_view name;
    bool deletion = false;
    std::uint32_t type = 0;
    std::string_view data;
    /// Set for a deletion: the name as it was spelt, nothing when there was no such value.
    std::optional<std::string> deleted;
  };

  /// Gives all values of an open key, in the order of the folded names, out of one version of them: a change that happens
  /// meanwhile counts as a whole or not at all. The handle needs the right to query values.
  /// @param take called for each value, and only when the answer will be 0.
  /// @return as `EnumValue`, with 0 in place of 259.
  virtual Status ReadValues(KeyHandle key, const std::function<void(const Value&)>& take) = 0;

  /// Gives the names of all subkeys of an open key, in the order of the folded names, each once; each opens its key. One
  /// that is made or deleted meanwhile is among them or not. The handle needs the right to enumerate subkeys.
  /// @param[out] names only when the answer is 0.
  /// @return as `EnumKey`, with 0 in place of 259.
  virtual Status ReadSubkeys(KeyHandle key, std::vector<AnsiText>& names) = 0;

  /// Makes changes of the values of an open key, in their order, all of them or none: durable when the answer is 0. To
  /// delete what is not there is no failure. The handle needs the right to set values.
  /// @return as `SetValue`.
  virtual Status ChangeValues(KeyHandle key, std::span<ValueChange> changes) = 0;

 protected:
  ~WholeKeys() = default;
};

}  // namespace nerio::platform
