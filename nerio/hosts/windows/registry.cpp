#include "nerio/hosts/windows/registry.h"

#include <windows.h>

#include <array>
#include <cstddef>
#include <new>
#include <string>
#include <utility>

namespace nerio::platform {
namespace {

static_assert(sizeof(HKEY) == sizeof(KeyHandle), "a key handle has 32 bits: build for 32-bit Windows");
static_assert(sizeof(SecurityAttributes) == sizeof(SECURITY_ATTRIBUTES) &&
                  offsetof(SecurityAttributes, length) == offsetof(SECURITY_ATTRIBUTES, nLength) &&
                  offsetof(SecurityAttributes, descriptor) == offsetof(SECURITY_ATTRIBUTES, lpSecurityDescriptor) &&
                  offsetof(SecurityAttributes, inheritHandle) == offsetof(SECURITY_ATTRIBUTES, bInheritHandle),
              "the seam's record is the system's own");

HKEY ToNative(KeyHandle handle) { return reinterpret_cast<HKEY>(handle); }
KeyHandle FromNative(HKEY handle) { return reinterpret_cast<KeyHandle>(handle); }

// Makes a call that may have to copy what it passes on; too little memory for that is a native code like any other.
template <typename Call>
Status WithMemory(Call&& call) noexcept {
  try {
    return call();
  } catch (const std::bad_alloc&) {
    return kNotEnoughMemory;
  }
}

// A value name has at most 16,383 characters, each of at most two bytes in an ANSI code page, and a key name fewer.
constexpr DWORD kNameRoom = 2 * 16383 + 1;

}  // namespace

Status WindowsRegistry::OpenKey(KeyHandle root, const AnsiText& subKey, std::uint32_t options, std::uint32_t access,
                                KeyHandle& opened) {
  HKEY handle = ToNative(opened);
  const Status status{::RegOpenKeyExA(ToNative(root), subKey.c_str(), options, access, &handle)};
  opened = FromNative(handle);
  return status;
}

Status WindowsRegistry::CreateKey(KeyHandle root, const AnsiText& subKey, std::uint32_t reserved,
                                  const AnsiText& keyClass, std::uint32_t options, std::uint32_t access,
                                  const SecurityAttributes& security, KeyHandle& created, std::uint32_t& disposition) {
  HKEY handle = ToNative(created);
  DWORD did = disposition;
  SECURITY_ATTRIBUTES attributes{security.length, security.descriptor, security.inheritHandle};
  // The class is declared writable and only read.
  const Status status{::RegCreateKeyExA(ToNative(root), subKey.c_str(), reserved, const_cast<char*>(keyClass.c_str()),
                                        options, access, &attributes, &handle, &did)};
  created = FromNative(handle);
  disposition = did;
  return status;
}

Status WindowsRegistry::QueryValue(KeyHandle key, const AnsiText& name, std::uint32_t& type, std::span<char> data,
                                   std::uint32_t& size) {
  // A null buffer would ask for the size alone and succeed.
  BYTE nowhere = 0;
  BYTE* buffer = data.empty() ? &nowhere : reinterpret_cast<BYTE*>(data.data());
  DWORD stored = type;
  DWORD count = size;
  const Status status{::RegQueryValueExA(ToNative(key), name.c_str(), nullptr, &stored, buffer, &count)};
  type = stored;
  size = count;
  return status;
}

Status WindowsRegistry::SetValue(KeyHandle key, const AnsiText& name, std::uint32_t reserved, std::uint32_t type,
                                 std::span<const char> data) {
  return WithMemory([&]() -> Status {
    constexpr char kGuard = '\x01';
    std::string guarded;
    guarded.reserve(data.size() + 1);
    guarded.assign(data.begin(), data.end());
    guarded += kGuard;
    return Status{::RegSetValueExA(ToNative(key), name.c_str(), reserved, type,
                                   reinterpret_cast<const BYTE*>(guarded.data()), static_cast<DWORD>(data.size()))};
  });
}

Status WindowsRegistry::DeleteKey(KeyHandle key, const AnsiText& subKey) {
  return Status{::RegDeleteKeyA(ToNative(key), subKey.c_str())};
}

Status WindowsRegistry::DeleteValue(KeyHandle key, const AnsiText& name) {
  return Status{::RegDeleteValueA(ToNative(key), name.c_str())};
}

Status WindowsRegistry::CloseKey(KeyHandle key) { return Status{::RegCloseKey(ToNative(key))}; }

Status WindowsRegistry::EnumKey(KeyHandle key, std::uint32_t index, AnsiText& name) {
  return WithMemory([&]() -> Status {
    std::array<char, kNameRoom> buffer;
    DWORD length = kNameRoom;
    const Status status{
        ::RegEnumKeyExA(ToNative(key), index, buffer.data(), &length, nullptr, nullptr, nullptr, nullptr)};
    if (status == kSuccess) name = AnsiText(std::string(buffer.data(), length));
    return status;
  });
}

Status WindowsRegistry::EnumValue(KeyHandle key, std::uint32_t index, AnsiText& name, std::uint32_t& type,
                                  std::string& data) {
  return WithMemory([&]() -> Status {
    std::array<char, kNameRoom> buffer;
    std::string bytes(1024, '\0');
    for (;;) {
      DWORD length = kNameRoom;
      DWORD stored = 0;
      DWORD count = static_cast<DWORD>(bytes.size());
      const Status status{::RegEnumValueA(ToNative(key), index, buffer.data(), &length, nullptr, &stored,
                                          reinterpret_cast<BYTE*>(bytes.data()), &count)};
      if (status == kMoreData && count > bytes.size()) {
        bytes.resize(count);
        continue;
      }
      if (status == kSuccess) {
        bytes.resize(count);
        name = AnsiText(std::string(buffer.data(), length));
        type = stored;
        data = std::move(bytes);
      }
      return status;
    }
  });
}

}  // namespace nerio::platform
