#include "nerio/hosts/windows/code_page.h"

#include <windows.h>

#include <string>
#include <utility>

#include "nerio/hosts/windows/automation/wide.h"

namespace nerio::platform {
namespace {

constexpr DWORD kNoFlags = 0;

}  // namespace

std::uint32_t WindowsCodePage::Identifier() { return ::GetACP(); }

AnsiText WindowsCodePage::ToAnsi(TextView text) {
  if (text.empty()) return {};  // a length of 0 is an invalid argument
  const int units = static_cast<int>(text.size());
  // Room for a byte a unit, which is enough for most code pages; the others tell how much they need.
  std::string bytes(text.size(), '\0');
  int size = ::WideCharToMultiByte(CP_ACP, kNoFlags, Wide(text), units, bytes.data(), units, nullptr, nullptr);
  if (size == 0) {
    size = ::WideCharToMultiByte(CP_ACP, kNoFlags, Wide(text), units, nullptr, 0, nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(size));
    ::WideCharToMultiByte(CP_ACP, kNoFlags, Wide(text), units, bytes.data(), size, nullptr, nullptr);
  }
  bytes.resize(static_cast<std::size_t>(size));
  return AnsiText(std::move(bytes));
}

Text WindowsCodePage::ToText(std::string_view bytes) {
  if (bytes.empty()) return {};
  // No code page makes more units than there are bytes.
  const int count = static_cast<int>(bytes.size());
  Text text(bytes.size(), u'\0');
  const int size = ::MultiByteToWideChar(CP_ACP, kNoFlags, bytes.data(), count, WritableWide(text), count);
  text.resize(static_cast<std::size_t>(size));
  return text;
}

}  // namespace nerio::platform
