// A client that reaches the component in a process of its own, the system's surrogate, as one of 64 bits has to. Here
// both have 32 bits.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "tests/component/windows/every_member.h"
#include "tests/component/windows/loaded_component.h"

// The order matters: it needs the system's types.
#include <tlhelp32.h>

namespace nerio::component {
namespace {

using platform::ComPointer;
using testing::LoadedComponent;

std::set<DWORD> Surrogates() {
  std::set<DWORD> found;
  const HANDLE list = ::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  PROCESSENTRY32W process{};
  process.dwSize = sizeof process;
  for (BOOL more = ::Process32FirstW(list, &process); more != 0; more = ::Process32NextW(list, &process)) {
    if (::lstrcmpiW(process.szExeFile, L"dllhost.exe") == 0) found.insert(process.th32ProcessID);
  }
  ::CloseHandle(list);
  return found;
}

// Ends the surrogates that start as long as this object lives: that of Wine stays when its last object is gone, and
// holds the test's output open.
class OwnSurrogates {
 public:
  ~OwnSurrogates() {
    for (const DWORD id : Surrogates()) {
      if (before_.contains(id)) continue;
      const HANDLE process = ::OpenProcess(PROCESS_TERMINATE, FALSE, id);
      ::TerminateProcess(process, 0);
      ::CloseHandle(process);
    }
  }

 private:
  const std::set<DWORD> before_ = Surrogates();
};

TEST(OutOfProcess, EveryMemberAnswersAndRaisesAsInProcess) {
  const OwnSurrogates surrogates;
  const LoadedComponent component;
  ASSERT_EQ(component.registerServer(), S_OK);
  {
    ComPointer<IDispatch> object;
    ASSERT_EQ(::CoCreateInstance(CLSID_Component, nullptr, CLSCTX_LOCAL_SERVER, IID_IDispatch, object.putVoid()), S_OK);
    EXPECT_EQ(component.canUnloadNow(), S_OK) << "the object is in this process";
    const std::wstring folder = std::filesystem::path(testing::ComponentPath()).parent_path().wstring();
    EXPECT_EQ(testing::CallEveryMember(object.get(), folder), testing::EveryAnswer());
  }
  EXPECT_EQ(component.unregisterServer(), S_OK);
}

}  // namespace
}  // namespace nerio::component
