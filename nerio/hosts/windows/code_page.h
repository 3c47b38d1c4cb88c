#pragma once

#include "nerio/platform/code_page.h"

namespace nerio::platform {

/// Converts with the system's own conversion to and from its ANSI code page (CP_ACP).
class WindowsCodePage final : public CodePage {
 public:
  std::uint32_t Identifier() override;
  AnsiText ToAnsi(TextView text) override;
  Text ToText(std::string_view bytes) override;
};

}  // namespace nerio::platform
