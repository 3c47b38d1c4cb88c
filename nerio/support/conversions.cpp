#include "nerio/support/conversions.h"

#include "nerio/support/trace_log.h"
#include "nerio/support/variant_text.h"

namespace nerio {
namespace {

Text ZeroDateText(const platform::Host& host) { return VariantToText(Date{}, host.regional); }

Text CheckedDate(TextView text, const platform::Host& host) {
  const Text argument(text);
  WriteLog(u"GetDate IN : " + argument, host);
  Date date;
  const bool isDate = host.regional.DateFromText(argument, date) == platform::AutomationStatus::kSuccess;
  Text result = isDate ? argument : ZeroDateText(host);
  WriteLog(u"GetDate OUT : " + result, host);
  return result;
}

}  // namespace

Text GetGuid(const platform::Host& host) noexcept {
  try {
    platform::GuidBytes guid{};
    if (host.guids.Create(guid) != platform::SystemStatus::kSuccess) return {};
    constexpr char16_t kDigits[] = u"0123456789ABCDEF";
    Text text(36, u'-');
    char16_t* out = text.data();
    // In the order of memory, deliberately: the first three groups show their fields' bytes reversed.
    for (std::size_t i = 0; i < guid.size(); ++i) {
      if (i == 4 || i == 6 || i == 8 || i == 10) ++out;
      *out++ = kDigits[guid[i] >> 4];
      *out++ = kDigits[guid[i] & 0xF];
    }
    return text;
  } catch (...) {
    return {};
  }
}

Text GetDate(TextView text, const platform::Host& host) noexcept {
  // Every failure, wherever it came from, becomes the zero date's text.
  try {
    return CheckedDate(text, host);
  } catch (...) {
  }
  try {
    return ZeroDateText(host);
  } catch (...) {
  }
  try {
    return u"00:00:00";
  } catch (...) {
    return {};
  }
}

}  // namespace nerio
