#include "tests/hosts/windows/automation/system_region.h"

#include <windows.h>

#include <array>
#include <stdexcept>

#include "nerio/hosts/windows/automation/wide.h"
#include "tests/testing/recorded_regions.h"

namespace nerio::testing {
namespace {

Text Setting(const std::string& name, LCTYPE type) {
  std::array<wchar_t, 256> buffer{};
  const int length = ::GetLocaleInfoW(LOCALE_USER_DEFAULT, type, buffer.data(), static_cast<int>(buffer.size()));
  if (length == 0) throw std::runtime_error("the system has no " + name);
  return Text(platform::ViewOf(buffer.data(), static_cast<std::size_t>(length - 1)));
}

}  // namespace

platform::RegionalData SystemRegion() {
  RegionValues values;
  const auto add = [&](const std::string& name, LCTYPE type) { values[name] = Setting(name, type); };
  add("LOCALE_SNAME", LOCALE_SNAME);
  add("LOCALE_SSHORTDATE", LOCALE_SSHORTDATE);
  add("LOCALE_STIMEFORMAT", LOCALE_STIMEFORMAT);
  add("LOCALE_SDATE", LOCALE_SDATE);
  add("LOCALE_IDATE", LOCALE_IDATE);
  add("LOCALE_S1159", LOCALE_S1159);
  add("LOCALE_S2359", LOCALE_S2359);
  add("LOCALE_SDECIMAL", LOCALE_SDECIMAL);
  // The numbers of consecutive names are consecutive.
  for (LCTYPE i = 0; i < 12; ++i) {
    add("LOCALE_SMONTHNAME" + std::to_string(i + 1), LOCALE_SMONTHNAME1 + i);
    add("LOCALE_SABBREVMONTHNAME" + std::to_string(i + 1), LOCALE_SABBREVMONTHNAME1 + i);
  }
  for (LCTYPE i = 0; i < 7; ++i) {
    add("LOCALE_SDAYNAME" + std::to_string(i + 1), LOCALE_SDAYNAME1 + i);
    add("LOCALE_SABBREVDAYNAME" + std::to_string(i + 1), LOCALE_SABBREVDAYNAME1 + i);
  }
  return RegionOf(values);
}

}  // namespace nerio::testing
