#include "nerio/registry/native_layer.h"

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace nerio::registry {
namespace {

using platform::KeyHandle;
using platform::kSuccess;

constexpr std::uint32_t kNoOptions = 0;
constexpr std::uint32_t kReserved = 0;
constexpr KeyHandle kNoKey = 0;

// Owns an open key and closes it.
class OpenedKey {
 public:
  explicit OpenedKey(platform::RegistryApi& registry) : registry_(registry) {}
  OpenedKey(const OpenedKey&) = delete;
  OpenedKey& operator=(const OpenedKey&) = delete;
  ~OpenedKey() {
    if (owned_) registry_.CloseKey(handle_);
  }

  // Takes what a call that answered `status` wrote into `handle`; says whether there is a key to own.
  bool Take(platform::Status status, KeyHandle handle) {
    handle_ = handle;
    owned_ = status == kSuccess;
    return owned_;
  }

  KeyHandle handle() const { return handle_; }

  // Gives the handle up without closing it.
  void Release() { owned_ = false; }

 private:
  platform::RegistryApi& registry_;
  KeyHandle handle_ = kNoKey;
  bool owned_ = false;
};

// The operations, each with the native calls in their order. They answer whether they succeeded.
class Layer {
 public:
  Layer(platform::RegistryApi& registry, platform::CodePage& codePage) : registry_(registry), codePage_(codePage) {}

  bool VerifyKey(KeyHandle root, const Text& path) {
    OpenedKey key(registry_);
    return Open(root, path, key);
  }

  bool CreateKey(KeyHandle root, const Text& path) {
    OpenedKey base(registry_);
    if (!Open(root, {}, base)) return false;
    OpenedKey created(registry_);
    if (!Create(base.handle(), path, REGISTRY_ACCESS, created)) return false;
    // The handle of the new key stays open, deliberately.
    created.Release();
    return true;
  }

  bool DeleteKey(KeyHandle root, const Text& path) {
    OpenedKey base(registry_);
    if (!Open(root, {}, base)) return false;
    return registry_.DeleteKey(base.handle(), codePage_.ToAnsi(path)) == kSuccess;
  }

  bool ReadValue(KeyHandle root, const Text& path, const Text& valueName, Text& valueData, std::int16_t valueType) {
    OpenedKey key(registry_);
    if (!Open(root, path, key)) return false;
    // A NUL is a NUL in every code page.
    std::array<char, READ_BUFFER_SIZE> buffer{};
    auto count = static_cast<std::uint32_t>(READ_BUFFER_SIZE);
    std::uint32_t type = Extended(valueType);
    if (registry_.QueryValue(key.handle(), codePage_.ToAnsi(valueName), type, buffer, count) != kSuccess) return false;
    // Of the whole buffer's text the first `count` characters are kept. Where each byte gives one, they come from what
    // was read, and the byte after it ends one that was cut; where a character takes two bytes, NULs of the buffer
    // fill up the count.
    const std::string_view whole(buffer.data(), buffer.size());
    Text data = codePage_.ToText(whole.substr(0, std::size_t{count} + 1));
    if (data.size() < count) data = codePage_.ToText(whole);
    data.resize(std::min<std::size_t>(data.size(), count));
    // The caller's type decides, not the stored one, deliberately.
    if (valueType == static_cast<std::int16_t>(platform::kRegSz) ||
        valueType == static_cast<std::int16_t>(platform::kRegExpandSz)) {
      std::erase(data, u'\0');
    }
    valueData = std::move(data);
    return true;
  }

  bool WriteValue(KeyHandle root, const Text& path, const Text& valueName, const Text& valueData,
                  std::int16_t valueType) {
    OpenedKey key(registry_);
    if (!Open(root, path, key)) return false;
    // The count leaves the terminator out, deliberately: a string is stored without one.
    return Set(key, valueName, Extended(valueType), valueData, valueData.size());
  }

  bool CreateKeyWithValue(KeyHandle root, const Text& path, Text& valueName, Text& valueData) {
    valueName = path;
    OpenedKey key(registry_);
    if (!Create(root, valueName, platform::kKeySetValue, key)) return false;
    valueName.clear();
    // The count takes the terminator in, other than that of a plain write, deliberately.
    const bool written = Set(key, valueName, platform::kRegSz, valueData, valueData.size() + 1);
    valueData = codePage_.ToText(codePage_.ToAnsi(valueData).bytes());
    return written;
  }

  bool DeleteValue(KeyHandle root, const Text& path, Text& valueName) {
    OpenedKey key(registry_);
    if (!Open(root, path, key)) return false;
    const AnsiText name = codePage_.ToAnsi(valueName);
    const bool deleted = registry_.DeleteValue(key.handle(), name) == kSuccess;
    valueName = codePage_.ToText(name.bytes());
    return deleted;
  }

 private:
  static std::uint32_t Extended(std::int16_t valueType) {
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(valueType));
  }

  // Converts a text to a buffer of at least `count` bytes, so that a count of characters never reads past it.
  std::string DataOf(const Text& text, std::size_t count) {
    std::string bytes = codePage_.ToAnsi(text).bytes();
    bytes.resize(count, '\0');
    return bytes;
  }

  bool Open(KeyHandle root, const Text& path, OpenedKey& key) {
    KeyHandle opened = kNoKey;
    const platform::Status status =
        registry_.OpenKey(root, codePage_.ToAnsi(path), kNoOptions, REGISTRY_ACCESS, opened);
    return key.Take(status, opened);
  }

  bool Create(KeyHandle root, const Text& path, std::uint32_t access, OpenedKey& key) {
    constexpr platform::SecurityAttributes kDefaultSecurity{};
    KeyHandle created = kNoKey;
    std::uint32_t disposition = 0;
    const platform::Status status =
        registry_.CreateKey(root, codePage_.ToAnsi(path), kReserved, codePage_.ToAnsi({}),
                            platform::kRegOptionNonVolatile, access, kDefaultSecurity, created, disposition);
    return key.Take(status, created);
  }

  bool Set(const OpenedKey& key, const Text& valueName, std::uint32_t type, const Text& valueData, std::size_t count) {
    const AnsiText name = codePage_.ToAnsi(valueName);
    const std::string data = DataOf(valueData, count);
    return registry_.SetValue(key.handle(), name, kReserved, type, std::span(data)) == kSuccess;
  }

  platform::RegistryApi& registry_;
  platform::CodePage& codePage_;
};

bool Dispatch(std::int32_t operation, KeyHandle root, Text& path, Text& valueName, Text& valueData,
              std::int16_t valueType, Layer layer) {
  switch (operation) {
    case opVerificaChiave:
      return layer.VerifyKey(root, path);
    case opCreaChiave:
      return layer.CreateKey(root, path);
    case opCancellaChiave:
      return layer.DeleteKey(root, path);
    case opLeggiValore:
      return layer.ReadValue(root, path, valueName, valueData, valueType);
    case opScriviValore:
      return layer.WriteValue(root, path, valueName, valueData, valueType);
    case opCreaChiaveConValore:
      return layer.CreateKeyWithValue(root, path, valueName, valueData);
    case opCancellaValore:
      return layer.DeleteValue(root, path, valueName);
    default:
      return false;
  }
}

}  // namespace

void OperazioneRegistro(std::int32_t& operation, KeyHandle& root, Text& path, Text& valueName, Text& valueData,
                        std::int16_t& valueType, std::int16_t& result, platform::RegistryApi& registry,
                        platform::CodePage& codePage) {
  const bool done = Dispatch(operation, root, path, valueName, valueData, valueType, Layer(registry, codePage));
  result = done ? 1 : 0;
}

}  // namespace nerio::registry
