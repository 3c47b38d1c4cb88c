#include "tools/nerio/registry/reg_import.h"

#include <gtest/gtest.h>

#include "nerio/types/utf8.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/forwarding_registry.h"
#include "tests/testing/status_output.h"
#include "tests/tools/tool_run.h"
#include "tools/nerio/output.h"

namespace nerio::tool {
namespace {

using platform::KeyHandle;
using platform::Status;

// What else happens to a call that fails.
enum class Fault {
  kOnce,
  kForGood,       // all later ones fail too
  kDeletesFirst,  // a key is deleted all the same, as where the disk fails at the end of it
};

// A registry whose n-th changing call fails.
class FailingRegistry : public platform::RegistryApi {
 public:
  FailingRegistry(platform::RegistryApi& real, std::size_t failing, Status status, Fault fault)
      : real_(real), failing_(failing), status_(status), fault_(fault) {}

  std::size_t calls() const { return calls_; }

  Status OpenKey(KeyHandle root, const AnsiText& subKey, std::uint32_t options, std::uint32_t access,
                 KeyHandle& opened) override {
    return real_.OpenKey(root, subKey, options, access, opened);
  }
  Status CreateKey(KeyHandle root, const AnsiText& subKey, std::uint32_t reserved, const AnsiText& keyClass,
                   std::uint32_t options, std::uint32_t access, const platform::SecurityAttributes& security,
                   KeyHandle& created, std::uint32_t& disposition) override {
    if (Fails()) return status_;
    return real_.CreateKey(root, subKey, reserved, keyClass, options, access, security, created, disposition);
  }
  Status QueryValue(KeyHandle key, const AnsiText& name, std::uint32_t& type, std::span<char> data,
                    std::uint32_t& size) override {
    return real_.QueryValue(key, name, type, data, size);
  }
  Status SetValue(KeyHandle key, const AnsiText& name, std::uint32_t reserved, std::uint32_t type,
                  std::span<const char> data) override {
    return Fails() ? status_ : real_.SetValue(key, name, reserved, type, data);
  }
  Status DeleteKey(KeyHandle key, const AnsiText& subKey) override {
    const bool fails = Fails();
    if (fails && fault_ != Fault::kDeletesFirst) return status_;
    const Status status = real_.DeleteKey(key, subKey);
    return fails ? status_ : status;
  }
  Status DeleteValue(KeyHandle key, const AnsiText& name) override {
    return Fails() ? status_ : real_.DeleteValue(key, name);
  }
  Status CloseKey(KeyHandle key) override { return real_.CloseKey(key); }
  Status EnumKey(KeyHandle key, std::uint32_t index, AnsiText& name) override {
    return real_.EnumKey(key, index, name);
  }
  Status EnumValue(KeyHandle key, std::uint32_t index, AnsiText& name, std::uint32_t& type,
                   std::string& data) override {
    return real_.EnumValue(key, index, name, type, data);
  }

 private:
  bool Fails() {
    const std::size_t call = calls_++;
    return call == failing_ || (fault_ == Fault::kForGood && call > failing_);
  }

  platform::RegistryApi& real_;
  std::size_t failing_;
  Status status_;
  Fault fault_;
  std::size_t calls_ = 0;
};

// What stands below HKEY_LOCAL_MACHINE before each import.
void Furnish(ToolHost& tool) {
  tool.Store("Software\\Nerio"_ansi, ""_ansi, 1, "predefinito");
  tool.Store("Software\\Nerio\\App"_ansi, "Nome"_ansi, 1, "vecchio");
  tool.Store("Software\\Nerio\\App"_ansi, "Stesso"_ansi, 1, std::string("x\0", 2));
  tool.Store("Software\\Nerio\\App"_ansi, "Via"_ansi, 4, std::string("*\0\0\0", 4));
  tool.Store("Software\\Vecchio\\A\\B"_ansi, "v"_ansi, 3, "\x01\x02");
  tool.Store("Software\\Vecchio\\C"_ansi, "w"_ansi, 7, std::string("a\0\0", 3));
}

constexpr const char* kFile =
    "Windows Registry Editor Version 5.00\r\n"
    "\r\n"
    "[HKLM\\Software\\NERIO\\app]\r\n"
    "\"nome\"=\"nuovo\"\r\n"
    "\"Stesso\"=\"x\"\r\n"
    "\"Nuovo\"=dword:00000001\r\n"
    "\"VIA\"=-\r\n"
    "\"Mai stato\"=-\r\n"
    "\r\n"
    "[-HKLM\\Software\\VECCHIO]\r\n"
    "[-HKLM\\Software\\Mai stata]\r\n"
    "[HKLM\\Software\\Vecchio\\A]\r\n"
    "\"v\"=hex:03\r\n"
    "[HKLM\\Software\\Altro\\Ramo\\\xC3\x88]\r\n"
    "@=\"x\"\r\n"
    "[-HKLM\\Software\\altro\\ramo\\\xC3\xA8]\r\n";

const auto kNeverInterrupted = [] { return false; };

std::vector<RegSection> Sections(const std::string& file) {
  platform::CodePage1252 codePage;
  return ReadRegFile(file, codePage);
}

// Everything below HKEY_LOCAL_MACHINE as a .reg text.
std::string Everything(ToolHost& tool) {
  std::vector<StoredKey> branch;
  RegistryKey failed;
  EXPECT_EQ(ReadBranch(tool.registry, {platform::kHkeyLocalMachine, ""_ansi}, branch, failed), platform::kSuccess);
  std::vector<RegSection> sections;
  for (const StoredKey& stored : branch) {
    RegSection section;
    section.key = stored.key;
    for (const StoredValue& value : stored.values)
      section.values.push_back({value.name, false, value.type, value.data, 0});
    sections.push_back(section);
  }
  return ToUtf8(WriteRegText(sections, tool.codePage));
}

void ExpectCounts(const ImportCounts& counts) {
  EXPECT_EQ(counts.keysCreated, 5u);
  EXPECT_EQ(counts.keysDeleted, 5u);
  EXPECT_EQ(counts.valuesSet, 3u);
  EXPECT_EQ(counts.valuesChanged, 1u);
  EXPECT_EQ(counts.valuesDeleted, 1u);
  EXPECT_EQ(counts.valuesKept, 1u);
}

TEST(Import, AppliesTheFileInItsOrder) {
  ToolHost tool;
  Furnish(tool);
  ExpectCounts(Import(Sections(kFile), tool.registry, tool.codePage, kNeverInterrupted));
  EXPECT_EQ(tool.Stored("Software\\Nerio\\App"_ansi, "Nome"_ansi), "1:6e756f766f00");
  EXPECT_EQ(tool.Stored("Software\\Nerio\\App"_ansi, "Nuovo"_ansi), "4:01000000");
  EXPECT_EQ(tool.Stored("Software\\Nerio\\App"_ansi, "Via"_ansi), "");
  EXPECT_EQ(tool.Stored("Software\\Nerio"_ansi, ""_ansi),
            "1:70726564656669"
            "6e69746f");
  EXPECT_EQ(tool.Stored("Software\\Vecchio\\A"_ansi, "v"_ansi), "3:03");
  EXPECT_FALSE(tool.Has("Software\\Vecchio\\A\\B"_ansi));
  EXPECT_FALSE(tool.Has("Software\\Vecchio\\C"_ansi));
  EXPECT_TRUE(tool.Has("Software\\Altro\\Ramo"_ansi));
  EXPECT_FALSE(tool.Has(AnsiText("Software\\Altro\\Ramo\\\xC8")));
  EXPECT_EQ(tool.registry.OpenHandles(), 0u);
}

TEST(PlanImport, TellsWhatAnImportWouldDo_AndChangesNothing) {
  ToolHost tool;
  Furnish(tool);
  const std::string before = Everything(tool);
  std::vector<std::pair<Change::Kind, AnsiText>> changes;
  FailingRegistry refusing(tool.registry, 0, platform::kAccessDenied, Fault::kForGood);
  const ImportPlan plan = PlanImport(Sections(kFile), refusing, tool.codePage);
  ExpectCounts(plan.counts);
  for (const Change& change : plan.changes) changes.emplace_back(change.kind, change.key.path);
  EXPECT_EQ(refusing.calls(), 0u);
  EXPECT_EQ(Everything(tool), before);
  const std::vector<std::pair<Change::Kind, AnsiText>> expected{
      {Change::kChangeValue, "Software\\NERIO\\app"_ansi},
      {Change::kSetValue, "Software\\NERIO\\app"_ansi},
      {Change::kDeleteValue, "Software\\NERIO\\app"_ansi},
      {Change::kDeleteKey, "Software\\VECCHIO"_ansi},
      {Change::kCreateKey, "Software\\Vecchio\\A"_ansi},
      {Change::kSetValue, "Software\\Vecchio\\A"_ansi},
      {Change::kCreateKey, AnsiText("Software\\Altro\\Ramo\\\xC8")},
      {Change::kSetValue, AnsiText("Software\\Altro\\Ramo\\\xC8")},
      {Change::kDeleteKey, AnsiText("Software\\altro\\ramo\\\xE8")},
  };
  EXPECT_EQ(changes, expected);
  EXPECT_EQ(tool.registry.OpenHandles(), 0u);
}

TEST(Import, Progress_GoesFromThePlanToTheLastChange) {
  ToolHost tool;
  Furnish(tool);
  std::vector<double> planned;
  PlanImport(Sections(kFile), tool.registry, tool.codePage, [&](double share) { planned.push_back(share); });
  EXPECT_GT(planned.size(), 9u);
  EXPECT_TRUE(std::is_sorted(planned.begin(), planned.end()));
  EXPECT_GT(planned.front(), 0);
  EXPECT_EQ(planned.back(), 1);

  std::vector<double> done;
  Import(Sections(kFile), tool.registry, tool.codePage, kNeverInterrupted,
         [&](double share) { done.push_back(share); });
  EXPECT_GT(done.size(), planned.size());
  EXPECT_TRUE(std::is_sorted(done.begin(), done.end()));
  EXPECT_LT(done[planned.size() - 2], done[planned.size() + 1]);
  EXPECT_LT(done.back(), 1);
}

// Imports a file with the first, second, ... changing call failing: each time it is said, and all is as it was before.
// Returns how many calls there are.
std::size_t SweepImport(const std::string& file, Fault fault = Fault::kOnce) {
  std::size_t failing = 0;
  for (;; ++failing) {
    ToolHost tool;
    Furnish(tool);
    const std::string before = Everything(tool);
    FailingRegistry registry(tool.registry, failing, platform::kDiskFull, fault);
    try {
      Import(Sections(file), registry, tool.codePage, kNeverInterrupted);
      EXPECT_EQ(registry.calls(), failing) << "call " << failing << " failed and nothing was said";
      return registry.calls();
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.exit(), Exit::kFailed);
      const std::string what = failure.what();
      EXPECT_TRUE(what.starts_with("line ")) << what;
      EXPECT_NE(what.find("the disk is full (112); nothing was imported"), std::string::npos) << what;
    }
    EXPECT_EQ(Everything(tool), before) << "after failing call " << failing;
    EXPECT_EQ(tool.registry.OpenHandles(), 0u);
  }
}

TEST(Import, AnyCallThatFails_LeavesEverythingAsItWas) { EXPECT_GT(SweepImport(kFile), 10u); }

// A key whose deletion fails when it is gone comes back with its values, as do those deleted before it.
TEST(Import, DeletionThatFailsAfterItsKeyIsGone_LeavesEverythingAsItWas) {
  EXPECT_GT(SweepImport(kFile, Fault::kDeletesFirst), 10u);
}

// The plan knows what it made and changed itself: a file may delete that again, and make it once more.
TEST(Import, FileThatTakesItsOwnChangesBack_IsUndoneToTheLast) {
  const std::string file =
      "REGEDIT4\n[HKLM\\Software\\Nerio\\APP]\n\"NOME\"=\"nuovo\"\n\"Via\"=-\n\"via\"=\"x\"\n\"Nuovo\"=\"y\"\n"
      "[HKLM\\Software\\Nerio\\app\\Sotto\\Uno]\n\"a\"=\"1\"\n\"A\"=\"2\"\n"
      "[-HKLM\\Software\\NERIO\\App]\n[HKLM\\Software\\Nerio\\App\\Sotto]\n\"nuovo\"=\"z\"\n"
      "[-HKLM\\Software\\Nerio]\n[HKLM]\n\"radice\"=\"r\"\n";
  ToolHost tool;
  Furnish(tool);
  const ImportCounts counts = Import(Sections(file), tool.registry, tool.codePage, kNeverInterrupted);
  EXPECT_EQ(counts.keysCreated, 4u);
  EXPECT_EQ(counts.keysDeleted, 6u);
  EXPECT_EQ(counts.valuesSet, 5u);
  EXPECT_EQ(counts.valuesChanged, 2u);
  EXPECT_EQ(counts.valuesDeleted, 1u);
  EXPECT_FALSE(tool.Has("Software\\Nerio"_ansi));
  EXPECT_EQ(tool.Stored(""_ansi, "radice"_ansi), "1:7200");
  EXPECT_GT(SweepImport(file), 15u);
}

// However late the user stops it, the import either is done or leaves everything as it was.
TEST(Import, InterruptedAnywhere_LeavesEverythingAsItWas) {
  for (int asked = 0;; ++asked) {
    ToolHost tool;
    Furnish(tool);
    const std::string before = Everything(tool);
    int left = asked;
    try {
      ExpectCounts(Import(Sections(kFile), tool.registry, tool.codePage, [&left] { return left-- == 0; }));
      EXPECT_GT(asked, 12) << "one question for each changed value, each made key and each deleted key";
      break;
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.exit(), Exit::kFailed);
      EXPECT_STREQ(failure.what(), "interrupted; nothing was imported");
    }
    EXPECT_EQ(Everything(tool), before) << "after question " << asked;
    EXPECT_EQ(tool.registry.OpenHandles(), 0u);
  }
}

TEST(Import, WhatCannotBeUndone_IsNamed) {
  ToolHost tool;
  Furnish(tool);
  FailingRegistry registry(tool.registry, 3, platform::kRegistryIoFailed, Fault::kForGood);
  try {
    Import(Sections("REGEDIT4\n[HKLM\\Software\\X]\n\"a\"=\"1\"\n\"b\"=\"2\"\n\"c\"=\"3\"\n"), registry, tool.codePage,
           kNeverInterrupted);
    FAIL() << "nothing was said";
  } catch (const Failure& failure) {
    const std::string what = failure.what();
    EXPECT_TRUE(what.starts_with("line 5: cannot write \"c\" in HKEY_LOCAL_MACHINE\\Software\\X: ")) << what;
    EXPECT_NE(what.find("was undone, except for\n  \"b\" in HKEY_LOCAL_MACHINE\\Software\\X (1016)\n  \"a\" in"),
              std::string::npos)
        << what;
    EXPECT_NE(what.find("the new key HKEY_LOCAL_MACHINE\\Software\\X (1016)"), std::string::npos) << what;
  }
}

TEST(Import, RefusedKey_IsAccessDeniedWithItsLine) {
  ToolHost tool;
  Furnish(tool);
  tool.registry.SetRights(platform::kHkeyLocalMachine, "Software\\Nerio\\App"_ansi, platform::kKeyRead);
  const std::string before = Everything(tool);
  try {
    Import(Sections("REGEDIT4\n[HKLM\\Software\\Altro]\n[HKLM\\Software\\Nerio\\App]\n\"Nome\"=\"x\"\n"), tool.registry,
           tool.codePage, kNeverInterrupted);
    FAIL() << "nothing was said";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.exit(), Exit::kAccessDenied);
    EXPECT_TRUE(std::string(failure.what()).starts_with("line 4: ")) << failure.what();
  }
  EXPECT_EQ(Everything(tool), before);
}

// What a dry run says of rights is what the import then meets.
TEST(CheckRights, RefusesWhatTheImportWouldBeRefused) {
  struct Row {
    AnsiText key;
    std::uint32_t rights;
    const char* file;
    const char* refused;  // what is said; nullptr where the import is done
  };
  constexpr std::uint32_t kAll = 0xF003F;
  const AnsiText app = "Software\\Nerio\\App"_ansi;
  const AnsiText old = "Software\\Vecchio"_ansi;
  const Row rows[] = {
      {app, platform::kKeyRead, "[HKLM\\Software\\Nerio\\App]\n\"Nome\"=\"x\"\n", "line 3: cannot write \"Nome\" in "},
      {app, platform::kKeyRead, "[HKLM\\Software\\Nerio\\App]\n\"Via\"=-\n", "line 3: cannot delete \"Via\" in "},
      {app, platform::kKeyRead, "[HKLM\\Software\\Nerio\\App]\n\"Stesso\"=\"x\"\n", nullptr},
      {app, kAll & ~0x10000u, "[-HKLM\\Software\\Nerio\\App]\n", "line 2: cannot delete HKEY_LOCAL_MACHINE"},
      {app, platform::kKeyRead, "[-HKLM\\Software\\Nerio\\App]\n[HKLM\\Software\\Nerio\\App]\n\"a\"=\"1\"\n",
       "line 2: cannot delete "},
      {app, kAll & ~platform::kKeySetValue,
       "[-HKLM\\Software\\Nerio\\App]\n[HKLM\\Software\\Nerio\\App]\n\"a\"=\"1\"\n", nullptr},
      {old, kAll, "[HKLM\\Software\\Vecchio\\D\\E]\n\"a\"=\"1\"\n[-HKLM\\Software\\Vecchio]\n", nullptr},
  };
  for (const Row& row : rows) {
    ToolHost tool;
    Furnish(tool);
    tool.registry.SetRights(platform::kHkeyLocalMachine, row.key, row.rights);
    const std::vector<RegSection> sections = Sections(std::string("REGEDIT4\n") + row.file);
    const std::string before = Everything(tool);
    std::string said = "done";
    try {
      CheckRights(PlanImport(sections, tool.registry, tool.codePage), tool.registry, tool.codePage);
    } catch (const RefusedCall& refused) {
      EXPECT_EQ(refused.status, platform::kAccessDenied);
      said = refused.ToFailure("; nothing was imported").what();
    }
    EXPECT_EQ(Everything(tool), before);
    EXPECT_EQ(tool.registry.OpenHandles(), 0u);
    EXPECT_TRUE(said.starts_with(row.refused != nullptr ? row.refused : "done")) << row.file << said;
    std::string imported = "done";
    try {
      Import(sections, tool.registry, tool.codePage, kNeverInterrupted);
    } catch (const Failure& failure) {
      imported = failure.what();
    }
    EXPECT_EQ(imported, said) << row.file;
  }
}

// A registry in which one key can be neither opened nor made.
class ClosedKeyRegistry final : public testing::ForwardingRegistry {
 public:
  ClosedKeyRegistry(platform::RegistryApi& inner, Status status) : ForwardingRegistry(inner), status_(status) {}

  Status OpenKey(KeyHandle root, const AnsiText& subKey, std::uint32_t options, std::uint32_t access,
                 KeyHandle& opened) override {
    return subKey == kClosed ? status_ : ForwardingRegistry::OpenKey(root, subKey, options, access, opened);
  }
  Status CreateKey(KeyHandle root, const AnsiText& subKey, std::uint32_t reserved, const AnsiText& keyClass,
                   std::uint32_t options, std::uint32_t access, const platform::SecurityAttributes& security,
                   KeyHandle& created, std::uint32_t& disposition) override {
    return subKey == kClosed ? status_
                             : ForwardingRegistry::CreateKey(root, subKey, reserved, keyClass, options, access,
                                                             security, created, disposition);
  }

 private:
  const AnsiText kClosed = "Software\\Chiusa"_ansi;
  Status status_;
};

TEST(Import, KeyWithoutValuesThatCannotBeMade_IsAFailure) {
  const std::pair<Status, Exit> rows[] = {{platform::kAccessDenied, Exit::kAccessDenied},
                                          {platform::kMoreData, Exit::kBadInput},
                                          {platform::kRegistryIoFailed, Exit::kFailed}};
  for (const auto& [status, exit] : rows) {
    ToolHost tool;
    Furnish(tool);
    const std::string before = Everything(tool);
    ClosedKeyRegistry registry(tool.registry, status);
    const std::vector<RegSection> sections = Sections("REGEDIT4\n[HKLM\\Software\\Altro]\n[HKLM\\Software\\Chiusa]\n");
    for (const bool preview : {false, true}) {
      try {
        if (preview) {
          PlanImport(sections, registry, tool.codePage);
        } else {
          Import(sections, registry, tool.codePage, kNeverInterrupted);
        }
        ADD_FAILURE() << "nothing was said";
      } catch (const RefusedCall& refused) {
        EXPECT_TRUE(preview);
        EXPECT_EQ(refused.status, status);
        EXPECT_EQ(refused.line, 3u);
        EXPECT_EQ(refused.doing, "cannot open or create HKEY_LOCAL_MACHINE\\Software\\Chiusa");
      } catch (const Failure& failure) {
        EXPECT_FALSE(preview);
        EXPECT_EQ(failure.exit(), exit);
        EXPECT_TRUE(std::string(failure.what())
                        .starts_with("line 3: cannot open or create HKEY_LOCAL_MACHINE\\Software\\Chiusa: "))
            << failure.what();
      }
    }
    EXPECT_EQ(Everything(tool), before);
  }
}

}  // namespace
}  // namespace nerio::tool
