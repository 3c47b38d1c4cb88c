// Loads the component's library from the path that is its argument and has it write a line. Answers 0 when it did.
#include <cwchar>

#include "nerio/hosts/windows/automation/bstr.h"
#include "tests/component/windows/loaded_component.h"

int wmain(int, wchar_t** arguments) {
  const nerio::platform::Bstr line(u"perch\u00E9 \u20AC");
  const nerio::TextView library = nerio::platform::ViewOf(arguments[1], std::wcslen(arguments[1]));
  return nerio::testing::LoadedComponent(nerio::Text(library)).Create()->WriteLog(line.get());
}
