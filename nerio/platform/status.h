#pragma once

#include <cstdint>

// A macro of Xlib.h is set aside here and is as before after this header.
#pragma push_macro("Status")
#undef Status

namespace nerio::platform {

/// A return code of the registry, the same number on every host: 0 is success, everything else failure.
/// `registry_api.h` names the ones that callers tell apart; every other number is possible too.
enum class Status : std::int32_t {};

/// The number by which the system itself tells why one of its calls failed: errno on Linux, GetLastError on Windows
/// (for a GUID there, the HRESULT of CoCreateGuid).
enum class SystemStatus : std::int32_t { kSuccess = 0 };

/// An HRESULT of the conversions between texts and values, the same number on every host: 0 is success, everything else
/// failure. `regional_settings.h` names some.
enum class AutomationStatus : std::int32_t { kSuccess = 0 };

/// The registry's own success; the other two spell theirs out, as in `SystemStatus::kSuccess`.
constexpr Status kSuccess{0};

/// Returns the plain number of a status, to be shown or to be carried by an `Error`. There is no other way from one of
/// the three number spaces to a number, and none from one to another.
constexpr std::int32_t NumberOf(Status status) noexcept { return static_cast<std::int32_t>(status); }
constexpr std::int32_t NumberOf(SystemStatus status) noexcept { return static_cast<std::int32_t>(status); }
constexpr std::int32_t NumberOf(AutomationStatus status) noexcept { return static_cast<std::int32_t>(status); }

}  // namespace nerio::platform

#pragma pop_macro("Status")
