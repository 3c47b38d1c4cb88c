#include "tools/nerio/registry/reg_import.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "nerio/hosts/portable/text/code_page_1252.h"
#include "nerio/platform/host.h"
#include "nerio/platform/whole_keys.h"
#include "tests/hosts/linux/store/memory_folder.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/forwarding_registry.h"
#include "tests/testing/registry_access.h"
#include "tests/testing/status_output.h"
#include "tests/testing/temporary_folder.h"
#include "tools/nerio/output.h"

// Imports into a registry that changes the values of a key at once; what holds for every registry is in
// tests/tools/registry/reg_import_test.cpp.
namespace nerio::tool {
namespace {

using platform::KeyHandle;
using platform::Status;
using platform::WholeKeys;

// The registry on the file system, whose n-th changing call fails.
class FailingWhole final : public testing::ForwardingRegistry, public WholeKeys {
 public:
  FailingWhole(platform::RegistryApi& real, std::size_t failing, Status status)
      : ForwardingRegistry(real), whole_(dynamic_cast<WholeKeys&>(real)), failing_(failing), status_(status) {}

  std::size_t calls() const { return calls_; }
  std::size_t atOnce() const { return atOnce_; }

  Status CreateKey(KeyHandle root, const AnsiText& subKey, std::uint32_t reserved, const AnsiText& keyClass,
                   std::uint32_t options, std::uint32_t access, const platform::SecurityAttributes& security,
                   KeyHandle& created, std::uint32_t& disposition) override {
    if (Fails()) return status_;
    return ForwardingRegistry::CreateKey(root, subKey, reserved, keyClass, options, access, security, created,
                                         disposition);
  }
  Status SetValue(KeyHandle key, const AnsiText& name, std::uint32_t reserved, std::uint32_t type,
                  std::span<const char> data) override {
    return Fails() ? status_ : ForwardingRegistry::SetValue(key, name, reserved, type, data);
  }
  Status DeleteKey(KeyHandle key, const AnsiText& subKey) override {
    return Fails() ? status_ : ForwardingRegistry::DeleteKey(key, subKey);
  }
  Status DeleteValue(KeyHandle key, const AnsiText& name) override {
    return Fails() ? status_ : ForwardingRegistry::DeleteValue(key, name);
  }
  Status ReadValues(KeyHandle key, const std::function<void(const Value&)>& take) override {
    return whole_.ReadValues(key, take);
  }
  Status ReadSubkeys(KeyHandle key, std::vector<AnsiText>& names) override { return whole_.ReadSubkeys(key, names); }
  Status ChangeValues(KeyHandle key, std::span<ValueChange> changes) override {
    ++atOnce_;
    return Fails() ? status_ : whole_.ChangeValues(key, changes);
  }

 private:
  bool Fails() { return calls_++ == failing_; }

  WholeKeys& whole_;
  std::size_t failing_;
  Status status_;
  std::size_t calls_ = 0;
  std::size_t atOnce_ = 0;
};

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

struct Stored {
  Stored() : host(platform::OpenHost({.registryFolder = folder.path()})), registry(host->Services().registry) {
    Store("Software\\Nerio"_ansi, ""_ansi, 1, "predefinito");
    Store("Software\\Nerio\\App"_ansi, "Nome"_ansi, 1, "vecchio");
    Store("Software\\Nerio\\App"_ansi, "Stesso"_ansi, 1, std::string("x\0", 2));
    Store("Software\\Nerio\\App"_ansi, "Via"_ansi, 4, std::string("*\0\0\0", 4));
    Store("Software\\Vecchio\\A"_ansi, "v"_ansi, 3, "12");
    Store("Software\\Vecchio\\A"_ansi, "w"_ansi, 3, "34");
  }

  void Store(const AnsiText& path, const AnsiText& name, std::uint32_t type, const std::string& data) {
    testing::StoreValue(registry, platform::kHkeyLocalMachine, path, name, type, data);
  }
  std::vector<std::string> Everything() { return testing::ContentsOf(registry, platform::kHkeyLocalMachine, ""_ansi); }

  testing::TemporaryFolder folder{testing::MemoryFolder()};
  std::unique_ptr<platform::HostInstance> host;
  platform::RegistryApi& registry;
};

constexpr const char* kFile =
    "REGEDIT4\n"
    "[HKLM\\Software\\NERIO\\app]\n"
    "\"nome\"=\"nuovo\"\n\"Stesso\"=\"x\"\n\"Nuovo\"=dword:00000001\n\"VIA\"=-\n\"Mai stato\"=-\n\"via\"=\"z\"\n"
    "[HKLM\\Software\\Nuova\\Sotto]\n"
    "\"a\"=\"1\"\n\"b\"=\"2\"\n\"A\"=\"3\"\n@=\"senza nome\"\n"
    "[-HKLM\\Software\\VECCHIO]\n"
    "[HKLM\\Software\\Vecchio\\A]\n"
    "\"v\"=hex:03\n";

const auto kNeverInterrupted = [] { return false; };

ImportCounts ImportInto(platform::RegistryApi& registry) {
  platform::CodePage1252 codePage;
  return Import(ReadRegFile(kFile, codePage), registry, codePage, kNeverInterrupted);
}

// Hides that the registry changes values at once.
TEST(ImportAtOnce, LeavesWhatAnImportValueByValueDoes) {
  Stored whole;
  Stored single;
  testing::ForwardingRegistry byValue(single.registry);
  FailingWhole counting(whole.registry, kNone, platform::kSuccess);
  const ImportCounts counts = ImportInto(counting);
  const ImportCounts expected = ImportInto(byValue);
  EXPECT_EQ(counts.valuesSet, expected.valuesSet);
  EXPECT_EQ(counts.valuesChanged, expected.valuesChanged);
  EXPECT_EQ(counts.valuesDeleted, expected.valuesDeleted);
  EXPECT_EQ(counts.valuesKept, expected.valuesKept);
  EXPECT_EQ(counts.keysCreated, expected.keysCreated);
  EXPECT_EQ(counts.keysDeleted, expected.keysDeleted);
  EXPECT_EQ(whole.Everything(), single.Everything());
  EXPECT_EQ(counting.atOnce(), 2u) << "each key with more than one value";
}

TEST(ImportAtOnce, AnyCallThatFails_LeavesEverythingAsItWas) {
  for (std::size_t failing = 0;; ++failing) {
    Stored stored;
    const std::vector<std::string> before = stored.Everything();
    FailingWhole registry(stored.registry, failing, platform::kDiskFull);
    try {
      ImportInto(registry);
      EXPECT_EQ(registry.calls(), failing) << "call " << failing << " failed and nothing was said";
      EXPECT_GT(failing, 5u);
      return;
    } catch (const Failure& failure) {
      const std::string what = failure.what();
      EXPECT_TRUE(what.starts_with("line ")) << what;
      EXPECT_NE(what.find("the disk is full (112); nothing was imported"), std::string::npos) << what;
    }
    EXPECT_EQ(stored.Everything(), before) << "after failing call " << failing;
  }
}

TEST(ImportAtOnce, RefusedKey_IsNamedWithItsFirstValueAndLine) {
  Stored stored;
  FailingWhole registry(stored.registry, 0, platform::kAccessDenied);
  try {
    ImportInto(registry);
    FAIL() << "nothing was said";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.exit(), Exit::kAccessDenied);
    EXPECT_TRUE(std::string(failure.what())
                    .starts_with("line 3: cannot write \"nome\" in HKEY_LOCAL_MACHINE\\Software\\NERIO\\app: "))
        << failure.what();
  }
}

}  // namespace
}  // namespace nerio::tool
