#include "tools/nerio/registry/registry_access.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/testing/ansi_literal.h"
#include "tests/testing/forwarding_registry.h"
#include "tests/testing/status_output.h"
#include "tests/tools/tool_run.h"
#include "tools/nerio/registry/registry_failure.h"

namespace nerio::tool {
namespace {

using platform::KeyHandle;
using platform::Status;
using ::testing::ElementsAre;

// A registry that lists one key by a name that does not open it, as the ANSI functions do with a name outside the code
// page; or that deletes it as soon as its name was read.
class ElusiveRegistry final : public testing::ForwardingRegistry {
 public:
  ElusiveRegistry(platform::RegistryApi& inner, bool vanishes) : ForwardingRegistry(inner), vanishes_(vanishes) {}

  Status EnumKey(KeyHandle key, std::uint32_t index, AnsiText& name) override {
    const Status status = ForwardingRegistry::EnumKey(key, index, name);
    if (status == platform::kSuccess && name == "Elusiva"_ansi && !vanishes_) name = "??"_ansi;
    if (status == platform::kNoMoreItems && vanishes_) DeleteKey(platform::kHkeyLocalMachine, "Software\\Elusiva"_ansi);
    return status;
  }

 private:
  bool vanishes_;
};

struct Walk {
  Status status{};
  std::vector<AnsiText> keys;
  AnsiText failed;

  explicit Walk(platform::RegistryApi& registry) {
    std::vector<StoredKey> branch;
    RegistryKey at;
    status = ReadBranch(registry, {platform::kHkeyLocalMachine, "Software"_ansi}, branch, at);
    for (const StoredKey& stored : branch) keys.push_back(stored.key.path);
    failed = at.path;
  }
};

TEST(ReadBranch, KeyWhoseListedNameDoesNotOpenIt_IsNotLeftOut) {
  ToolHost tool;
  tool.Create("Software\\Altra"_ansi);
  tool.Create("Software\\Elusiva"_ansi);
  ElusiveRegistry registry(tool.registry, false);
  const Walk walk(registry);
  EXPECT_EQ(walk.status, kNameOutsideCodePage);
  EXPECT_EQ(walk.failed, "Software\\??"_ansi);
  EXPECT_EQ(tool.registry.OpenHandles(), 0u);
}

TEST(ReadBranch, KeyThatVanishesMeanwhile_IsLeftOut) {
  ToolHost tool;
  tool.Create("Software\\Altra"_ansi);
  tool.Create("Software\\Elusiva"_ansi);
  ElusiveRegistry registry(tool.registry, true);
  const Walk walk(registry);
  EXPECT_EQ(walk.status, platform::kSuccess);
  EXPECT_THAT(walk.keys, ElementsAre("Software"_ansi, "Software\\Altra"_ansi));
}

TEST(RegistryFailure, DiskThatCannotBeWrittenTo_IsExplainedAndNoMatterOfRights) {
  const Failure failure = RegistryFailure(platform::kWriteProtect, "cannot write it");
  EXPECT_EQ(failure.exit(), Exit::kFailed);
  EXPECT_STREQ(failure.what(), "cannot write it: the disk cannot be written to (19)");
}

TEST(WalkBranch, ShareGrowsEvenlyOverTheKeysOfALevel) {
  ToolHost tool;
  for (const char* path : {"T\\a", "T\\b\\c", "T\\d"}) tool.Create(AnsiText(path));
  std::vector<double> shares;
  WalkBranch(tool.registry, {platform::kHkeyLocalMachine, "T"_ansi}, platform::kKeyRead, [&](const Visit& here) {
    shares.push_back(here.share);
    return true;
  });
  EXPECT_EQ(shares, (std::vector<double>{0, 0.25, 0.5, 0.625, 0.75}));
}

}  // namespace
}  // namespace nerio::tool
