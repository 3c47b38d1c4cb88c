#include "platform/windows/code_page.h"

#include <windows.h>

#include "platform/windows/wide.h"

namespace nerio::platform {
namespace {

constexpr DWORD kNoFlags = 0;

}  // namespace

std::uint32_t WindowsCodePage::Identifier() { return ::GetACP(); }

AnsiText WindowsCodePage::ToAnsi(TextView text) {
  if (text.empty()) return {};  // a length of 0 is an invalid argument
  const int units = static_cast<int>(text.size());
  const int size = ::WideCharToMultiByte(CP_ACP, kNoFlags, Wide(text), units, nullptr, 0, nullptr, nullptr);
  AnsiText bytes(static_cast<std::size_t>(size), '\0');
  ::WideCharToMultiByte(CP_ACP, kNoFlags, Wide(text), units, bytes.data(), size, nullptr, nullptr);
  return bytes;
}

Text WindowsCodePage::ToText(std::string_view bytes) {
  if (bytes.empty()) return {};
  const int count = static_cast<int>(bytes.size());
  const int size = ::MultiByteToWideChar(CP_ACP, kNoFlags, bytes.data(), count, nullptr, 0);
  Text text(static_cast<std::size_t>(size), u'\0');
  ::MultiByteToWideChar(CP_ACP, kNoFlags, bytes.data(), count, WritableWide(text), size);
  return text;
}

}  // namespace nerio::platform
