// The registry access of the layer over the system's own registry: what only the real one can show.
#include "nerio/registry/native_layer.h"

#include <gtest/gtest.h>
#include <windows.h>
// The order matters: the internal functions need the types above.
#include <winternl.h>

#include <vector>

#include "nerio/hosts/windows/automation/wide.h"
#include "nerio/hosts/windows/code_page.h"
#include "nerio/hosts/windows/registry.h"
#include "nerio/registry/branch_names.h"
#include "nerio/registry/cregistry.h"
#include "nerio/types/utf8.h"
#include "tests/hosts/windows/scratch_key.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/registry_access.h"

namespace nerio::registry {
namespace {

using platform::kHkeyLocalMachine;
using testing::DenyRights;
using testing::ScratchKey;

// The system's table of all open handles; the class of information that asks for it, and its layout.
constexpr auto kSystemHandles = static_cast<SYSTEM_INFORMATION_CLASS>(16);
struct HandleEntry {
  ULONG process;
  BYTE objectType;
  BYTE flags;
  USHORT handle;
  void* object;
  ACCESS_MASK access;
};

// Counts the handles that this process holds.
std::size_t OpenHandles() {
  std::vector<std::byte> buffer(1 << 20);
  ULONG needed = 0;
  const NTSTATUS status =
      ::NtQuerySystemInformation(kSystemHandles, buffer.data(), static_cast<ULONG>(buffer.size()), &needed);
  EXPECT_EQ(status, 0) << "the table of handles";
  const ULONG count = *reinterpret_cast<const ULONG*>(buffer.data());
  const auto* entries = reinterpret_cast<const HandleEntry*>(buffer.data() + sizeof(ULONG));
  std::size_t own = 0;
  for (ULONG i = 0; i < count; ++i) own += entries[i].process == ::GetCurrentProcessId() ? 1u : 0u;
  return own;
}

class NativeLayerOnWindows : public ::testing::Test {
 protected:
  bool Do(std::int32_t operation, const AnsiText& path, TextView name = u"v", TextView data = u"abc") {
    platform::KeyHandle root = kHkeyLocalMachine;
    Text pathText = codePage_.ToText(path.bytes());
    Text valueName(name);
    data_ = data;
    std::int16_t type = 1;
    std::int16_t result = 4711;
    OperazioneRegistro(operation, root, pathText, valueName, data_, type, result, registry_, codePage_);
    EXPECT_TRUE(result == 0 || result == 1) << result;
    return result == 1;
  }

  ScratchKey scratch_;
  platform::WindowsRegistry registry_;
  platform::WindowsCodePage codePage_;
  Text data_;
};

TEST_F(NativeLayerOnWindows, CreaChiave_TenTimes_LeavesTenHandlesOpen) {
  ASSERT_TRUE(Do(opCreaChiave, scratch_.Path("prima"_ansi)));
  const std::size_t before = OpenHandles();
  for (int i = 0; i < 10; ++i) EXPECT_TRUE(Do(opCreaChiave, scratch_.Path(AnsiText(std::to_string(i)))));
  EXPECT_EQ(OpenHandles(), before + 10);
}

TEST_F(NativeLayerOnWindows, EveryOtherCode_LeavesNoHandleOpen) {
  ASSERT_TRUE(Do(opCreaChiave, scratch_.Path("k"_ansi)));
  const std::size_t before = OpenHandles();
  for (int i = 0; i < 10; ++i) {
    EXPECT_TRUE(Do(opVerificaChiave, scratch_.Path("k"_ansi)));
    EXPECT_TRUE(Do(opScriviValore, scratch_.Path("k"_ansi)));
    EXPECT_TRUE(Do(opLeggiValore, scratch_.Path("k"_ansi), u"v", u""));
    EXPECT_EQ(data_, u"abc");
    EXPECT_TRUE(Do(opCancellaValore, scratch_.Path("k"_ansi)));
    EXPECT_FALSE(Do(opCancellaValore, scratch_.Path("k"_ansi)));
    EXPECT_TRUE(Do(opCreaChiaveConValore, scratch_.Path("altra"_ansi)));
    EXPECT_TRUE(Do(opCancellaChiave, scratch_.Path("altra"_ansi)));
    EXPECT_FALSE(Do(opCancellaChiave, scratch_.Path("altra"_ansi)));
    EXPECT_FALSE(Do(opVerificaChiave, scratch_.Path("altra"_ansi)));
  }
  EXPECT_EQ(OpenHandles(), before);
}

TEST_F(NativeLayerOnWindows, WrittenText_IsStoredWithoutAndWithItsTerminator) {
  ASSERT_TRUE(Do(opCreaChiaveConValore, scratch_.Path("k"_ansi)));
  ASSERT_TRUE(Do(opScriviValore, scratch_.Path("k"_ansi)));
  EXPECT_EQ(testing::ValueOf(registry_, kHkeyLocalMachine, scratch_.Path("k"_ansi), ""_ansi), "1:61626300");
  EXPECT_EQ(testing::ValueOf(registry_, kHkeyLocalMachine, scratch_.Path("k"_ansi), "v"_ansi), "1:616263");
}

TEST_F(NativeLayerOnWindows, KeyThatDeniesOneRightOfTheMask_CannotBeOpenedByCodes1457) {
  for (std::uint32_t right = 1; right <= REGISTRY_ACCESS; right <<= 1) {
    if ((right & REGISTRY_ACCESS) == 0) continue;
    const AnsiText path = scratch_.Path(AnsiText("senza " + std::to_string(right)));
    ASSERT_TRUE(Do(opCreaChiave, path));
    ASSERT_TRUE(Do(opScriviValore, path));
    DenyRights(path, right);
    for (const std::int32_t operation : {opVerificaChiave, opLeggiValore, opScriviValore, opCancellaValore}) {
      EXPECT_FALSE(Do(operation, path, u"v", u"intatto")) << operation << " without " << right;
      EXPECT_EQ(data_, u"intatto");
    }
    DenyRights(path, 0);
    EXPECT_TRUE(Do(opLeggiValore, path));
    EXPECT_TRUE(Do(opCancellaChiave, path));
  }
}

// The write goes through the class: the chain is there, the key refuses, the quiet answer is the empty text.
TEST_F(NativeLayerOnWindows, ScriviRegistroEx_KeyThatDeniesWriting_AnswersAsItsPropertySays) {
  const AnsiText path = scratch_.Path("negato"_ansi);
  ASSERT_TRUE(Do(opCreaChiave, path));
  DenyRights(path, platform::kKeySetValue);
  CRegistry registry;
  platform::KeyHandle root = kHkeyLocalMachine;
  Text sRamoLavoro = codePage_.ToText(path.bytes());
  // The branch cannot be opened to be found, nor to be made again.
  EXPECT_EQ(registry.ScriviRegistroEx(u"v", u"x", root, sRamoLavoro), u"False");
  registry.RitornaErrori(True);
  try {
    registry.ScriviRegistroEx(u"v", u"x", root, sRamoLavoro);
    FAIL() << "nothing was raised";
  } catch (const Error& error) {
    EXPECT_EQ(error.number(), 1);
    EXPECT_EQ(error.source(), u"ScriviRegistro");
    EXPECT_EQ(error.description(), u"Errore durante la creazione del ramo " + sRamoLavoro);
  }
}

// A key that was opened on another machine is a root; here the machine is this one.
TEST(RemoteRegistryOnWindows, HandleOfAnotherMachine_IsARootToReadAndToList) {
  const ScratchKey scratch;
  testing::StoreValue(platform::ThisHost().registry, kHkeyLocalMachine, scratch.Path("Posta"_ansi), "Server"_ansi, 1,
                      "a");
  HKEY remote = nullptr;
  ASSERT_EQ(::RegConnectRegistryA(nullptr, HKEY_LOCAL_MACHINE, &remote), ERROR_SUCCESS);
  auto root = static_cast<platform::KeyHandle>(reinterpret_cast<std::uintptr_t>(remote));
  const Text branch = FromUtf8(scratch.Path("Posta"_ansi).bytes());
  CRegistry registry;
  Text sRamo = branch;
  EXPECT_EQ(registry.LeggiRegistroEx(u"Server", root, sRamo, u"-"), u"a");
  std::vector<Text> names;
  for (const Text& name : ValueNames(branch, root)) names.push_back(name);
  EXPECT_EQ(names, std::vector<Text>{u"Server"});
  ::RegCloseKey(remote);
}

}  // namespace
}  // namespace nerio::registry
