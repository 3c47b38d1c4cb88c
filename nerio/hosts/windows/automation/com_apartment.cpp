#include "nerio/hosts/windows/automation/com_apartment.h"

#include <windows.h>

#include <objbase.h>

namespace nerio::platform {

ComApartment::ComApartment() noexcept : entered_(SUCCEEDED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {}

ComApartment::~ComApartment() {
  if (entered_) ::CoUninitialize();
}

}  // namespace nerio::platform
