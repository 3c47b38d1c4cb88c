// A host that has loaded the compiler's shared run-time library before the component. An entry of its own: where the
// component's exceptions go astray, the process ends.
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/component/windows/every_member.h"
#include "tests/component/windows/loaded_component.h"

namespace nerio::component {
namespace {

namespace fs = std::filesystem;
using testing::LoadedComponent;

TEST(OtherRuntime, LoadedBefore_EveryMemberAnswersAndRaisesAsEver) {
  // The first is what the second needs.
  for (const char* const library : {NERIO_SHARED_THREADS, NERIO_SHARED_RUNTIME}) {
    ASSERT_NE(::LoadLibraryW(fs::absolute(library).c_str()), nullptr) << library << ": " << ::GetLastError();
  }
  ASSERT_NE(::GetModuleHandleW(L"libgcc_s_dw2-1.dll"), nullptr);
  const LoadedComponent component;
  const std::wstring folder = fs::path(testing::ComponentPath()).parent_path().wstring();
  EXPECT_EQ(testing::CallEveryMember(component.Create().get(), folder), testing::EveryAnswer());
}

}  // namespace
}  // namespace nerio::component
