#include "nerio/platform/host.h"

#include <gtest/gtest.h>
#include <windows.h>
// The order matters: the COM headers need the types above.
#include <objbase.h>

#include <array>
#include <filesystem>
#include <thread>

#include "nerio/hosts/windows/automation/wide.h"
#include "nerio/types/error.h"
#include "tests/testing/status_output.h"

namespace nerio::platform {
namespace {

static_assert(noexcept(ThisHost()));

TEST(WindowsHost, ThisHost_IsAlwaysTheSame) { EXPECT_EQ(&ThisHost(), &ThisHost()); }

TEST(WindowsHost, ModuleFolder_IsThatOfTheProgramWhereTheCodeIsLinkedIntoIt) {
  std::array<wchar_t, 4096> path{};
  const DWORD length = ::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  const std::filesystem::path program(Text(ViewOf(path.data(), length)));
  Text folder = u"junk";
  EXPECT_EQ(ThisHost().module.Folder(folder), SystemStatus::kSuccess);
  EXPECT_EQ(folder, program.parent_path().u16string());
}

// A thread of a program is in no apartment until something enters one.
TEST(WindowsHost, Documents_OnAThreadOfItsOwn_NeedAnOpenHost) {
  std::thread([] {
    std::int32_t number = 0;
    try {
      ThisHost().xml.CreateDocument();
    } catch (const Error& error) {
      number = error.number();
    }
    EXPECT_EQ(number, CO_E_NOTINITIALIZED);
  }).join();
  std::thread([] {
    const std::unique_ptr<HostInstance> host = OpenHost();
    XmlDom& dom = host->Services().xml;
    for (XmlObject* document : {dom.CreateDocument(), dom.CreateDocumentByName()}) {
      EXPECT_NE(document, nullptr);
      dom.Release(document);
    }
  }).join();
}

}  // namespace
}  // namespace nerio::platform
