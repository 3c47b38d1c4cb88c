#include "nerio/hosts/windows/automation/regional_settings.h"

#include <array>

#include "nerio/hosts/windows/automation/bstr.h"
#include "nerio/hosts/windows/automation/variant.h"

namespace nerio::platform {
namespace {

constexpr ULONG kNoFlags = 0;

// Makes one conversion that answers a new string, and hands the string over when it succeeds.
template <typename Value>
AutomationStatus Write(HRESULT(WINAPI* convert)(Value, LCID, ULONG, BSTR*), Value value, Text& text) noexcept try {
  Bstr written;
  const HRESULT result = convert(value, LOCALE_USER_DEFAULT, kNoFlags, written.put());
  if (result == S_OK) text = written.view();
  return AutomationStatus{result};
} catch (const std::bad_alloc&) {
  return AutomationStatus{E_OUTOFMEMORY};
}

}  // namespace

Text WindowsRegionalSettings::RegionName() {
  std::array<wchar_t, LOCALE_NAME_MAX_LENGTH> name{};
  const int length = ::GetUserDefaultLocaleName(name.data(), static_cast<int>(name.size()));
  return length > 0 ? Text(ViewOf(name.data(), static_cast<std::size_t>(length - 1))) : Text();
}

AutomationStatus WindowsRegionalSettings::DateFromText(TextView text, Date& date) try {
  Text padded(text.substr(0, text.find(u'\0')));
  padded.append(3, u'\0');
  DATE read = 0;
  const HRESULT result = ::VarDateFromStr(WritableWide(padded), LOCALE_USER_DEFAULT, kNoFlags, &read);
  if (result == S_OK) date.days = read;
  return AutomationStatus{result};
} catch (const std::bad_alloc&) {
  return AutomationStatus{E_OUTOFMEMORY};
}

AutomationStatus WindowsRegionalSettings::TextFromDate(Date date, Text& text) {
  return Write<DATE>(::VarBstrFromDate, date.days, text);
}

AutomationStatus WindowsRegionalSettings::TextFromDouble(double value, Text& text) {
  return Write<double>(::VarBstrFromR8, value, text);
}

AutomationStatus WindowsRegionalSettings::TextFromSingle(float value, Text& text) {
  return Write<float>(::VarBstrFromR4, value, text);
}

AutomationStatus WindowsRegionalSettings::TextFromCurrency(Currency value, Text& text) {
  return Write<CY>(::VarBstrFromCy, ToNative(value), text);
}

AutomationStatus WindowsRegionalSettings::TextFromDecimal(Decimal value, Text& text) {
  // Some versions of the system write past their buffer for a scale that no decimal can have.
  if (value.scale > 28) return kInvalidArgument;
  DECIMAL native = ToNative(value);
  return Write<DECIMAL*>(::VarBstrFromDec, &native, text);
}

}  // namespace nerio::platform
