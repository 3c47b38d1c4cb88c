#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "nerio/platform/status.h"
#include "nerio/types/ansi_text.h"
#include "nerio/types/visibility.h"

// A macro of Xlib.h is set aside here and is as before after this header.
#pragma push_macro("Status")
#undef Status

namespace nerio::platform {

/// Names a predefined root or an open key. 32 bits on every host.
using KeyHandle = std::uint32_t;

/// The predefined roots, each a `KeyHandle`.
enum PredefinedRoot : KeyHandle {
  kHkeyClassesRoot = 0x80000000,
  kHkeyCurrentUser = 0x80000001,
  kHkeyLocalMachine = 0x80000002,
  kHkeyUsers = 0x80000003,
  kHkeyCurrentConfig = 0x80000005,
};

constexpr std::uint32_t kRegNone = 0;
constexpr std::uint32_t kRegSz = 1;
constexpr std::uint32_t kRegExpandSz = 2;
constexpr std::uint32_t kRegBinary = 3;
constexpr std::uint32_t kRegDword = 4;
constexpr std::uint32_t kRegMultiSz = 7;

constexpr std::uint32_t kKeyQueryValue = 0x1;
constexpr std::uint32_t kKeySetValue = 0x2;
constexpr std::uint32_t kKeyCreateSubKey = 0x4;
constexpr std::uint32_t kKeyEnumerateSubKeys = 0x8;
constexpr std::uint32_t kKeyNotify = 0x10;
constexpr std::uint32_t kKeyCreateLink = 0x20;
constexpr std::uint32_t kReadControl = 0x20000;
/// Read rights: READ_CONTROL, query, enumerate, notify.
constexpr std::uint32_t kKeyRead = 0x20019;

constexpr std::uint32_t kRegOptionNonVolatile = 0;
constexpr std::uint32_t kRegCreatedNewKey = 1;
constexpr std::uint32_t kRegOpenedExistingKey = 2;

/// The security-attributes record that a creation points to, with the native layout's fields. All zero asks for default
/// security.
struct SecurityAttributes {
  std::uint32_t length = 0;
  void* descriptor = nullptr;
  std::int32_t inheritHandle = 0;
};

/// Mirrors the ANSI registry functions of the platform one to one: same order of arguments, same integers, no defaults,
/// no retries, no conversion. Nothing raises; each call answers its native return code.
///
/// Names and paths are bytes in the ANSI code page and end at their first NUL. A path is relative to `root` or `key`,
/// its levels separated by "\"; an empty one names the handle's own key. Names differ in case only: one name.
class NERIO_PUBLIC RegistryApi {
 public:
  virtual ~RegistryApi() = default;

  /// Opens a key (RegOpenKeyExA). On failure `opened` is 0, or untouched when `root` is 0 or the path is over-long.
  /// @param access the rights that the handle needs; refused as a whole (5) when one is missing.
  virtual Status OpenKey(KeyHandle root, const AnsiText& subKey, std::uint32_t options, std::uint32_t access,
                         KeyHandle& opened) = 0;

  /// Creates a key with all missing levels, or opens it when it is there (RegCreateKeyExA).
  /// @param[out] disposition `kRegCreatedNewKey` or `kRegOpenedExistingKey`.
  virtual Status CreateKey(KeyHandle root, const AnsiText& subKey, std::uint32_t reserved, const AnsiText& keyClass,
                           std::uint32_t options, std::uint32_t access, const SecurityAttributes& security,
                           KeyHandle& created, std::uint32_t& disposition) = 0;

  /// Reads a value's stored bytes (RegQueryValueExA, reserved argument null). An empty name is the unnamed value.
  /// @param[out] type the stored type, also when the buffer is too small; 0 on any other failure, untouched when `key`
  /// is 0.
  /// @param[out] data receives the bytes; only when they fit.
  /// @param[in,out] size in: bytes offered; out: bytes stored, or needed when the answer is 234. Untouched when
  /// missing.
  virtual Status QueryValue(KeyHandle key, const AnsiText& name, std::uint32_t& type, std::span<char> data,
                            std::uint32_t& size) = 0;

  /// Stores exactly the bytes of `data` as the value's data (RegSetValueExA): no terminator is ever added.
  virtual Status SetValue(KeyHandle key, const AnsiText& name, std::uint32_t reserved, std::uint32_t type,
                          std::span<const char> data) = 0;

  /// Deletes a key that has no subkeys (RegDeleteKeyA). 5 when it has some, 2 when it is missing.
  virtual Status DeleteKey(KeyHandle key, const AnsiText& subKey) = 0;

  /// Deletes a value (RegDeleteValueA). 2 when it is missing.
  virtual Status DeleteValue(KeyHandle key, const AnsiText& name) = 0;

  /// Closes an open key (RegCloseKey). A predefined root may be closed and stays usable; a closed handle answers 6.
  virtual Status CloseKey(KeyHandle key) = 0;

  /// Gives the name of the `index`-th subkey, in the order of the folded names (RegEnumKeyExA); 259 after the last
  /// one.
  virtual Status EnumKey(KeyHandle key, std::uint32_t index, AnsiText& name) = 0;

  /// Gives name, type and stored bytes of the `index`-th value, in the order of the folded names (RegEnumValueA); 259
  /// after the last one.
  virtual Status EnumValue(KeyHandle key, std::uint32_t index, AnsiText& name, std::uint32_t& type,
                           std::string& data) = 0;
};

}  // namespace nerio::platform

#pragma pop_macro("Status")
