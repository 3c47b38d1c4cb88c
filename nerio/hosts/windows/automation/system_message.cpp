#include "nerio/hosts/windows/automation/system_message.h"

#include <windows.h>

#include <memory>
#include <string>

#include "nerio/hosts/windows/automation/wide.h"
#include "nerio/types/utf8.h"

namespace nerio::platform {

Text SystemMessage(std::int32_t number) {
  wchar_t* message = nullptr;
  // With this flag the buffer's argument is the address of a pointer.
  const DWORD length =
      ::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                       nullptr, static_cast<DWORD>(number), 0, reinterpret_cast<wchar_t*>(&message), 0, nullptr);
  if (length == 0) return u"Errore " + FromUtf8(std::to_string(number));
  const std::unique_ptr<wchar_t, decltype(&::LocalFree)> owner(message, &::LocalFree);
  const TextView text = ViewOf(message, length);
  return Text(text.substr(0, text.find_last_not_of(u"\r\n ") + 1));
}

}  // namespace nerio::platform
