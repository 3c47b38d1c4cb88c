#include "platform/windows/system_message.h"

#include <windows.h>

#include "platform/windows/wide.h"

namespace nerio::platform {

Text SystemMessage(std::int32_t number) {
  wchar_t* message = nullptr;
  // With this flag the buffer's argument is the address of a pointer.
  const DWORD length =
      ::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                       nullptr, static_cast<DWORD>(number), 0, reinterpret_cast<wchar_t*>(&message), 0, nullptr);
  if (length == 0) return {};
  Text text(ViewOf(message, length));
  ::LocalFree(message);
  const std::size_t end = text.find_last_not_of(u"\r\n ");
  text.resize(end == Text::npos ? 0 : end + 1);
  return text;
}

}  // namespace nerio::platform
