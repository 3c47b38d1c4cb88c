#pragma once

#include <cstdint>

// A macro of Xlib.h is set aside here and is as before after this header.
#pragma push_macro("Status")
#undef Status

namespace nerio::platform {

/// The number by which the system itself tells why one of its calls failed: errno on Linux, GetLastError on Windows
/// (for a GUID there, the HRESULT of CoCreateGuid).
enum class SystemStatus : std::int32_t { kSuccess = 0 };

/// An HRESULT of the conversions between texts and values, the same number on every host. Those that have no name here
/// are possible too.
enum class AutomationStatus : std::int32_t {
  kSuccess = 0,
  /// The one failure of reading a text as a date (DISP_E_TYPEMISMATCH).
  kTypeMismatch = static_cast<std::int32_t>(0x80020005u),
  /// A date whose days lie outside what can be written (E_INVALIDARG).
  kInvalidArgument = static_cast<std::int32_t>(0x80070057u),
  /// No memory was left for the result (E_OUTOFMEMORY).
  kOutOfMemory = static_cast<std::int32_t>(0x8007000Eu),
};
using AutomationStatus::kInvalidArgument;
using AutomationStatus::kOutOfMemory;
using AutomationStatus::kTypeMismatch;

/// A return code of the registry, the same number on every host. Those that have no name here are possible too.
enum class Status : std::int32_t {
  kSuccess = 0,
  kFileNotFound = 2,
  kAccessDenied = 5,
  kInvalidHandle = 6,
  kNotEnoughMemory = 8,
  kWriteProtect = 19,
  kInvalidParameter = 87,
  kDiskFull = 112,
  kBadPathname = 161,
  kBusy = 170,
  kMoreData = 234,
  kNoMoreItems = 259,
  kRegistryCorrupt = 1015,
  kRegistryIoFailed = 1016,
  kKeyDeleted = 1018,
};
// The registry's names are used without the type's; `kSuccess` of the other two is spelt out with it.
using enum Status;

/// Returns the plain number of a status, to be shown or to be carried by an `Error`. There is no other way from one of
/// the three number spaces to a number, and none from one to another.
constexpr std::int32_t NumberOf(Status status) noexcept { return static_cast<std::int32_t>(status); }
constexpr std::int32_t NumberOf(SystemStatus status) noexcept { return static_cast<std::int32_t>(status); }
constexpr std::int32_t NumberOf(AutomationStatus status) noexcept { return static_cast<std::int32_t>(status); }

}  // namespace nerio::platform

#pragma pop_macro("Status")
