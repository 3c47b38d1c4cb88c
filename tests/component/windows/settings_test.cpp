// The settings of the component below roots other than HKEY_LOCAL_MACHINE: native calls as whole transcripts, and the real
// registry where it refuses to write below HKEY_LOCAL_MACHINE. Wine grants every user the rights of an administrator, so
// one who may not write there is not to be had: the key denies everybody.
#include "nerio/component/windows/settings.h"

#include <gtest/gtest.h>

#include "nerio/hosts/windows/automation/bstr.h"
#include "nerio/registry/cregistry.h"
#include "tests/component/windows/loaded_component.h"
#include "tests/hosts/windows/scratch_key.h"
#include "tests/registry/registry_world.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/fake_host.h"
#include "tests/testing/raised_error.h"

namespace nerio::component {
namespace {

using namespace platform;        // NOLINT(google-build-using-namespace): every native name below is the seam's
using namespace nerio::testing;  // NOLINT(google-build-using-namespace): every tool below is the tests'

constexpr std::uint32_t kMask = 0x2003F;
constexpr KeyHandle kStep = InMemoryRegistry::kHandleStep;

class Settings : public ::testing::Test {
 protected:
  KeyHandle Next() const { return world_.model.NextHandle(); }
  // The calls that find a level of the chain missing and make it; the handle of the new key stays open.
  static Transcript CreationOf(const AnsiText& path, KeyHandle next) {
    return {OpenKeyCall{kHkeyCurrentUser, path, 0, kMask}, OpenKeyCall{kHkeyCurrentUser, ""_ansi, 0, kMask},
            CreateKeyCall{next, path, 0, ""_ansi, 0, kMask, 0, nullptr, 0}, CloseKeyCall{next}};
  }
  static Transcript TestOf(const AnsiText& path, KeyHandle next) {
    return {OpenKeyCall{kHkeyCurrentUser, path, 0, kMask}, CloseKeyCall{next}};
  }

  void ExpectNoLocalMachine() const {
    for (const RegistryCall& call : world_.recorder.calls) {
      const auto* const open = std::get_if<OpenKeyCall>(&call);
      EXPECT_FALSE(open != nullptr && open->root == kHkeyLocalMachine);
    }
  }

  RegistryWorld world_;
  FakeHost fake_{.registry = &world_.recorder, .codePage = &world_.codePage};
  const Host host_ = fake_.View();
};

Transcript operator+(Transcript left, const Transcript& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

TEST_F(Settings, ScriviImpostazione_OtherRoot_MakesTheChainBelowThatRoot) {
  const KeyHandle first = Next();
  ScriviImpostazione(u"App", u"Nome", u"citt\u00E0", kHkeyCurrentUser, host_);
  // Each creation takes two handles: that of the root and that of the key.
  const KeyHandle last = first + 6 * kStep;
  EXPECT_EQ(world_.recorder.calls,
            (CreationOf("Software"_ansi, first) + CreationOf("Software\\Nerio"_ansi, first + 2 * kStep) +
             CreationOf("Software\\Nerio\\App"_ansi, first + 4 * kStep) +
             Transcript{OpenKeyCall{kHkeyCurrentUser, "Software\\Nerio\\App"_ansi, 0, kMask},
                        SetValueCall{last, "Nome"_ansi, 0, kRegSz, "citt\xE0"}, CloseKeyCall{last}}));
  EXPECT_FALSE(KeyExists(world_.model, kHkeyLocalMachine, "Software"_ansi));
}

TEST_F(Settings, ScriviImpostazione_OtherRootWithTheBranch_LeavesTheChainAlone) {
  ScriviImpostazione(u"App\\Posta", u"Nome", u"1", kHkeyCurrentUser, host_);
  world_.recorder.calls.clear();
  const KeyHandle first = Next();
  ScriviImpostazione(u"App\\Posta", u"Nome", u"2", kHkeyCurrentUser, host_);
  const KeyHandle last = first + 4 * kStep;
  EXPECT_EQ(world_.recorder.calls,
            (TestOf("Software"_ansi, first) + TestOf("Software\\Nerio"_ansi, first + kStep) +
             TestOf("Software\\Nerio\\App"_ansi, first + 2 * kStep) +
             TestOf("Software\\Nerio\\App\\Posta"_ansi, first + 3 * kStep) +
             Transcript{OpenKeyCall{kHkeyCurrentUser, "Software\\Nerio\\App\\Posta"_ansi, 0, kMask},
                        SetValueCall{last, "Nome"_ansi, 0, kRegSz, "2"}, CloseKeyCall{last}}));
}

TEST_F(Settings, OtherRoot_ReadsAndDeletesBelowIt) {
  ScriviImpostazione(u"App", u"Nome", u"x", kHkeyCurrentUser, host_);
  world_.recorder.calls.clear();
  const KeyHandle first = Next();
  EXPECT_EQ(LeggiImpostazione(u"App", u"Nome", u"-", kHkeyCurrentUser, host_), u"x");
  CancellaImpostazione(u"App", u"Nome", kHkeyCurrentUser, host_);
  EXPECT_EQ(world_.recorder.calls,
            (Transcript{OpenKeyCall{kHkeyCurrentUser, "Software\\Nerio\\App"_ansi, 0, kMask},
                        QueryValueCall{first, "Nome"_ansi, 1, std::string(1024, '\0'), 1024}, CloseKeyCall{first},
                        OpenKeyCall{kHkeyCurrentUser, "Software\\Nerio\\App"_ansi, 0, kMask},
                        DeleteValueCall{first + kStep, "Nome"_ansi}, CloseKeyCall{first + kStep}}));
  EXPECT_EQ(LeggiImpostazione(u"App", u"Nome", u"-", kHkeyCurrentUser, host_), u"-");
}

// What CRegistry does, call by call, where the root is its own.
TEST_F(Settings, LocalMachine_IsWhatTheRegistryObjectDoes) {
  ScriviImpostazione(u"App", u"Nome", u"x", kHkeyLocalMachine, host_);
  CancellaImpostazione(u"App", u"Nome", kHkeyLocalMachine, host_);
  RegistryWorld other;
  const FakeHost host{.registry = &other.recorder, .codePage = &other.codePage};
  CRegistry registry(host.View());
  registry.RamoPredefinito(u"App");
  registry.ScriviRegistroEx(u"Nome", u"x");
  registry.CancellaRegistro(u"Nome");
  EXPECT_EQ(world_.recorder.calls, other.recorder.calls);
}

TEST_F(Settings, OtherRoot_EachNativeCallThatFails_RaisesOrIsMadeUpForAndTouchesNoOtherRoot) {
  ScriviImpostazione(u"App", u"Nome", u"x", kHkeyCurrentUser, host_);
  int raised = 0;
  for (std::size_t call = 1;; ++call) {
    world_.recorder.calls.clear();
    const std::size_t open = world_.model.OpenHandles();
    world_.failing.FailCall(call, Status{5});
    const auto error = ErrorOf([&] { ScriviImpostazione(u"App", u"Nome", u"y", kHkeyCurrentUser, host_); });
    const bool failed = world_.failing.Calls() >= call;
    world_.failing.FailCall(0, kSuccess);
    if (error.has_value()) {
      ++raised;
      ExpectError(error, 4, u"ScriviRegistro", u"Errore durante la memorizzazione del valore nella chiave 'Nome'");
    }
    // A level that could not be opened is made once more, and the handle of one that is made stays open.
    EXPECT_LE(world_.model.OpenHandles(), open + 1) << call;
    ExpectNoLocalMachine();
    if (!failed) break;
    ASSERT_LT(call, 20u);
  }
  EXPECT_EQ(raised, 2) << "the last open and the write";
}

TEST_F(Settings, OtherRoot_RaisesWhatTheRegistryObjectRaises) {
  world_.model.SetRights(kHkeyCurrentUser, {}, kKeyRead);
  ExpectError(ErrorOf([&] { ScriviImpostazione(u"App", u"Nome", u"x", kHkeyCurrentUser, host_); }), 1,
              u"ScriviRegistro", u"Errore durante la creazione del ramo Software");
  world_.model.SetRights(kHkeyCurrentUser, {}, InMemoryRegistry::kAllRights);
  ScriviImpostazione(u"App", u"Nome", u"x", kHkeyCurrentUser, host_);
  const KeyHandle none = 0;
  ExpectError(ErrorOf([&] { CancellaImpostazione(u"App", u"Manca", kHkeyCurrentUser, host_); }), 5, u"CancellaChiave",
              u"Errore durante la rimozione delle chiave 'Manca'");
  ExpectError(ErrorOf([&] { ScriviImpostazione(u"App", u"Nome", u"x", none, host_); }), 1, u"ScriviRegistro",
              u"Errore durante la creazione del ramo Software");
  EXPECT_EQ(LeggiImpostazione(u"App", u"Nome", u"-", none, host_), u"-");
  ExpectNoLocalMachine();
}

TEST(ComponentSettings, LocalMachineThatRefuses_LeavesTheUsersRootUsable) {
  constexpr TextView kBranch = u"Prova senza diritti";
  const AnsiText path("Software\\Nerio\\Prova senza diritti");
  HKEY key = nullptr;
  ASSERT_EQ(::RegCreateKeyA(HKEY_LOCAL_MACHINE, path.c_str(), &key), ERROR_SUCCESS);
  ::RegCloseKey(key);
  DenyRights(path, KEY_SET_VALUE | KEY_CREATE_SUB_KEY);
  const LoadedComponent component;
  const ComPointer<INerioComponent> object = component.Create();
  const Bstr branch(kBranch);
  const Bstr name(u"Nome");
  const Bstr value(u"citt\u00E0");
  VARIANT root;
  V_VT(&root) = VT_UI4;
  V_UI4(&root) = kHkeyLocalMachine;
  VARIANT_BOOL done = VARIANT_TRUE;
  EXPECT_EQ(object->ScriviImpostazione(branch.get(), name.get(), value.get(), root, &done),
            static_cast<HRESULT>(0x800A0001));
  EXPECT_EQ(done, VARIANT_FALSE);

  V_UI4(&root) = kHkeyCurrentUser;
  EXPECT_EQ(object->ScriviImpostazione(branch.get(), name.get(), value.get(), root, &done), S_OK);
  EXPECT_EQ(done, VARIANT_TRUE);
  Bstr text;
  EXPECT_EQ(object->LeggiImpostazione(branch.get(), name.get(), nullptr, root, text.put()), S_OK);
  EXPECT_EQ(text.view(), u"citt\u00E0");
  EXPECT_EQ(object->CancellaImpostazione(branch.get(), name.get(), root, &done), S_OK);
  EXPECT_EQ(done, VARIANT_TRUE);
  EXPECT_EQ(object->CancellaImpostazione(branch.get(), name.get(), root, &done), static_cast<HRESULT>(0x800A0005));

  DenyRights(path, 0);
  EXPECT_EQ(::RegDeleteKeyA(HKEY_LOCAL_MACHINE, path.c_str()), ERROR_SUCCESS);
  EXPECT_EQ(::RegDeleteKeyA(HKEY_CURRENT_USER, path.c_str()), ERROR_SUCCESS);
}

}  // namespace
}  // namespace nerio::component
