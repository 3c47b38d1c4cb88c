#pragma once

#include <cstdint>
#include <string_view>

#include "nerio/types/ansi_text.h"
#include "nerio/types/text.h"
#include "nerio/types/visibility.h"

namespace nerio::platform {

/// Converts between text and the system's ANSI code page. Neither direction can fail: what the code page cannot hold is
/// replaced as the platform's conversion does (best fit where one exists, "?" otherwise, one per code unit).
class NERIO_PUBLIC CodePage {
 public:
  virtual ~CodePage() = default;

  /// Returns the number of the code page, 1252 for the Western one.
  virtual std::uint32_t Identifier() = 0;

  /// Converts a text, NULs included, to bytes (WideCharToMultiByte, flags 0). No terminator is added.
  virtual AnsiText ToAnsi(TextView text) = 0;

  /// Converts bytes, NULs included, to a text (MultiByteToWideChar, flags 0).
  virtual Text ToText(std::string_view bytes) = 0;
};

}  // namespace nerio::platform
