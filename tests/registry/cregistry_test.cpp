#include "nerio/registry/cregistry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <optional>

#include "tests/registry/registry_world.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/fake_host.h"
#include "tests/testing/raised_error.h"
#include "tests/testing/tables.h"

namespace nerio {
namespace {

using namespace platform;        // NOLINT(google-build-using-namespace): every native name below is the seam's
using namespace nerio::testing;  // NOLINT(google-build-using-namespace): every tool below is the tests'

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint32_t kMask = 0x2003F;
constexpr KeyHandle kStep = InMemoryRegistry::kHandleStep;

// The native calls that the operations are made of, each from the handle that comes next.

Transcript TestOf(const AnsiText& path, KeyHandle key, KeyHandle root = kHkeyLocalMachine) {
  return {OpenKeyCall{root, path, 0, kMask}, CloseKeyCall{key}};
}

Transcript FailedTestOf(const AnsiText& path) { return {OpenKeyCall{kHkeyLocalMachine, path, 0, kMask}}; }

Transcript CreationOf(const AnsiText& path, KeyHandle root) {
  return {OpenKeyCall{kHkeyLocalMachine, ""_ansi, 0, kMask},
          CreateKeyCall{root, path, 0, ""_ansi, 0, kMask, 0, nullptr, 0}, CloseKeyCall{root}};
}

Transcript ReadOf(const AnsiText& path, const AnsiText& name, KeyHandle key, KeyHandle root = kHkeyLocalMachine) {
  return {OpenKeyCall{root, path, 0, kMask}, QueryValueCall{key, name, 1, std::string(1024, '\0'), 1024},
          CloseKeyCall{key}};
}

Transcript WriteOf(const AnsiText& path, const AnsiText& name, const std::string& data, KeyHandle key,
                   KeyHandle root = kHkeyLocalMachine) {
  return {OpenKeyCall{root, path, 0, kMask}, SetValueCall{key, name, 0, 1, data}, CloseKeyCall{key}};
}

Transcript operator+(Transcript left, const Transcript& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

class CRegistryTest : public ::testing::Test {
 protected:
  CRegistryTest() {
    FakeHost host;
    host.registry = &world_.recorder;
    host.codePage = &world_.codePage;
    registry_.emplace(host.View());
  }

  const Transcript& calls() const { return world_.recorder.calls; }
  KeyHandle Next() const { return world_.model.NextHandle(); }
  std::string Stored(const AnsiText& path, const AnsiText& name, KeyHandle root = kHkeyLocalMachine) {
    return ValueOf(model_, root, path, name);
  }
  bool Exists(const AnsiText& path, KeyHandle root = kHkeyLocalMachine) { return KeyExists(model_, root, path); }
  void Store(const AnsiText& path, const AnsiText& name, const std::string& data, KeyHandle root = kHkeyLocalMachine) {
    StoreValue(model_, root, path, name, kRegSz, data);
  }
  // Lets a key, or a root, refuse to be opened with the layer's access.
  void Refuse(const AnsiText& path, KeyHandle root = kHkeyLocalMachine) { model_.SetRights(root, path, kKeyRead); }

  RegistryWorld world_;
  InMemoryRegistry& model_ = world_.model;
  std::optional<CRegistry> registry_;
};

// Properties and the work branch.

TEST_F(CRegistryTest, NewObject_HasItsInitialPropertiesAndCallsNothing) {
  EXPECT_EQ(registry_->RamoPrincipale(), u"Software\\Nerio");
  EXPECT_EQ(registry_->RamoPredefinito(), u"");
  EXPECT_EQ(registry_->RitornaErrori(), False);
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(CRegistryTest, Properties_KeepWhatTheyAreGivenUnchanged) {
  for (const TextView value :
       {TextView(u""), TextView(u" App "), TextView(u"\\A\\\\B\\"), TextView(u"Ж\xD83D"), TextView(u"a\0b", 3)}) {
    registry_->RamoPrincipale(value);
    registry_->RamoPredefinito(value);
    EXPECT_EQ(registry_->RamoPrincipale(), value);
    EXPECT_EQ(registry_->RamoPredefinito(), value);
  }
  registry_->RitornaErrori(True);
  EXPECT_EQ(registry_->RitornaErrori(), True);
  registry_->RitornaErrori(static_cast<Boolean>(1));
  EXPECT_EQ(static_cast<int>(registry_->RitornaErrori()), 1);
  registry_->RitornaErrori(False);
  EXPECT_EQ(registry_->RitornaErrori(), False);
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(CRegistryTest, Booleans_AreMinusOneAndZero) {
  EXPECT_EQ(static_cast<int>(registry_->VerificaRamo(u"Software")), -1);
  EXPECT_EQ(static_cast<int>(registry_->VerificaRamoEx(u"Software")), 0);
  EXPECT_EQ(static_cast<int>(registry_->CreaRamo(u"Software")), -1);
  EXPECT_EQ(static_cast<int>(registry_->CancellaRamo(u"Altro")), 0);
  EXPECT_EQ(sizeof(registry_->CreaRamo(u"Software")), 2u);
}

struct WorkBranch {
  TextView main;
  TextView defaultBranch;
  AnsiText path;
};

TEST_F(CRegistryTest, WorkBranch_IsComposedOfTheTwoBranchesUnchanged) {
  const WorkBranch kBranches[] = {
      {u"Software\\Nerio", u"App", "Software\\Nerio\\App"_ansi},
      {u"", u"App", "App"_ansi},
      {u"Main\\", u"App", "Main\\\\App"_ansi},
      {u"Main", u"\\App\\", "Main\\\\App\\"_ansi},
      {u"", u"\\App", "\\App"_ansi},
      {u" ", u" ", " \\ "_ansi},
  };
  for (const WorkBranch& row : kBranches) {
    registry_->RamoPrincipale(row.main);
    registry_->RamoPredefinito(row.defaultBranch);
    world_.recorder.calls.clear();
    registry_->LeggiRegistro(u"Nome");
    ASSERT_FALSE(calls().empty()) << row.path;
    EXPECT_EQ(std::get<OpenKeyCall>(calls().front()), (OpenKeyCall{kHkeyLocalMachine, row.path, 0, kMask}));
  }
}

TEST_F(CRegistryTest, WorkBranch_FollowsThePropertiesFromTheNextOperationOn) {
  Store("Software\\Nerio\\Uno"_ansi, "Nome"_ansi, "1");
  Store("Due"_ansi, "Nome"_ansi, "2");
  registry_->RamoPredefinito(u"Uno");
  EXPECT_EQ(registry_->LeggiRegistro(u"Nome"), u"1");
  registry_->RamoPrincipale(u"");
  registry_->RamoPredefinito(u"Due");
  EXPECT_EQ(registry_->LeggiRegistro(u"Nome"), u"2");
}

// Without a work branch.

TEST_F(CRegistryTest, NoWorkBranch_QuietAnswersAreTheEmptyTextTheTextOfFalseAndFalse) {
  KeyHandle root = kHkeyLocalMachine;
  Text branch;
  EXPECT_EQ(registry_->LeggiRegistro(u"Nome", u"predefinito"), u"");
  EXPECT_EQ(registry_->LeggiRegistroEx(u"Nome", root, branch, u"predefinito"), u"");
  EXPECT_EQ(registry_->ScriviRegistroEx(u"Nome", u"x", root, branch), u"False");
  EXPECT_EQ(registry_->CancellaRegistro(u"Nome"), False);
  EXPECT_EQ(branch, u"");
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(CRegistryTest, NoWorkBranch_Raising_EveryOperationOnItRaisesNumber0) {
  registry_->RitornaErrori(True);
  KeyHandle root = kHkeyLocalMachine;
  Text branch;
  const std::function<void()> kOperations[] = {
      [&] { registry_->LeggiRegistro(u"Nome", u"predefinito"); },
      [&] { registry_->LeggiRegistroEx(u"Nome", root, branch, u"predefinito"); },
      [&] { registry_->ScriviRegistroEx(u"Nome", u"x", root, branch); },
      [&] { registry_->CancellaRegistro(u"Nome"); },
  };
  for (const auto& operation : kOperations) {
    ExpectRaised(operation, 0, u"RamoLavoro", u"Ramo predefinito non valido");
    EXPECT_EQ(branch, u"");
  }
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(CRegistryTest, RitornaErrori_AnyValueButFalse_Raises) {
  registry_->RitornaErrori(static_cast<Boolean>(1));
  ExpectRaised([&] { registry_->LeggiRegistro(u"Nome"); }, 0, u"RamoLavoro", u"Ramo predefinito non valido");
}

// CreaRamo.

TEST_F(CRegistryTest, CreaRamo_ExistingBranch_AnswersTrueAndCreatesNothing) {
  MakeKey(model_, kHkeyLocalMachine, "Software\\App"_ansi);
  const KeyHandle key = Next();
  Text sCaption;
  EXPECT_EQ(registry_->CreaRamo(u"Software\\App", sCaption), True);
  EXPECT_EQ(sCaption, u"Crea Ramo");
  EXPECT_EQ(calls(), TestOf("Software\\App"_ansi, key));
  EXPECT_EQ(model_.OpenHandles(), 0u);
}

TEST_F(CRegistryTest, CreaRamo_MissingBranch_CreatesItUnprefixedBelowLocalMachine) {
  registry_->RamoPredefinito(u"App");
  const KeyHandle root = Next();
  EXPECT_EQ(registry_->CreaRamo(u"A\\B"), True);
  EXPECT_EQ(calls(), FailedTestOf("A\\B"_ansi) + CreationOf("A\\B"_ansi, root));
  EXPECT_THAT(ContentsOf(model_, kHkeyLocalMachine, ""_ansi), ElementsAre("\\A", "\\A\\B"));
  EXPECT_EQ(model_.OpenHandles(), 1u) << "the new key's handle stays open";
}

TEST_F(CRegistryTest, CreaRamo_CaptionOfTheCaller_IsLeftAsItIs) {
  Text sCaption = u"Mia Voce";
  EXPECT_EQ(registry_->CreaRamo(u"A", sCaption), True);
  EXPECT_EQ(sCaption, u"Mia Voce");
}

TEST_F(CRegistryTest, CreaRamo_Failing_AnswersFalseOrRaisesNumber1FromItsCaption) {
  Refuse(""_ansi);
  Text sCaption;
  EXPECT_EQ(registry_->CreaRamo(u"A\\B"), False);
  EXPECT_EQ(registry_->CreaRamo(u"A\\B", sCaption), False);
  EXPECT_EQ(sCaption, u"Crea Ramo");
  registry_->RitornaErrori(True);
  ExpectRaised([&] { registry_->CreaRamo(u"A\\B"); }, 1, u"Crea Ramo", u"Errore durante la creazione del ramo A\\B");
  sCaption.clear();
  ExpectRaised([&] { registry_->CreaRamo(u"A\\B", sCaption); }, 1, u"Crea Ramo",
               u"Errore durante la creazione del ramo A\\B");
  EXPECT_EQ(sCaption, u"Crea Ramo") << "written although it raised";
  sCaption = u"Mia Voce";
  ExpectRaised([&] { registry_->CreaRamo(u"Città Ж", sCaption); }, 1, u"Mia Voce",
               u"Errore durante la creazione del ramo Città Ж");
  EXPECT_EQ(sCaption, u"Mia Voce");
}

// CancellaRamo.

TEST_F(CRegistryTest, CancellaRamo_ExistingBranch_DeletesItBelowLocalMachine) {
  Store("Software\\App"_ansi, "Nome"_ansi, "x");
  const KeyHandle root = Next();
  Text sCaption;
  EXPECT_EQ(registry_->CancellaRamo(u"Software\\App", sCaption), True);
  EXPECT_EQ(sCaption, u"Cancella Ramo");
  EXPECT_EQ(calls(), (Transcript{OpenKeyCall{kHkeyLocalMachine, ""_ansi, 0, kMask},
                                 DeleteKeyCall{root, "Software\\App"_ansi}, CloseKeyCall{root}}));
  EXPECT_FALSE(Exists("Software\\App"_ansi));
  EXPECT_TRUE(Exists("Software"_ansi));
}

TEST_F(CRegistryTest, CancellaRamo_MissingBranch_AnswersFalseOrRaisesNumber1WithTheMessageOfACreation) {
  Text sCaption;
  EXPECT_EQ(registry_->CancellaRamo(u"A\\B"), False);
  EXPECT_EQ(registry_->CancellaRamo(u"A\\B", sCaption), False);
  EXPECT_EQ(sCaption, u"Cancella Ramo");
  registry_->RitornaErrori(True);
  ExpectRaised([&] { registry_->CancellaRamo(u"A\\B"); }, 1, u"Cancella Ramo",
               u"Errore durante la creazione del ramo A\\B");
  sCaption.clear();
  ExpectRaised([&] { registry_->CancellaRamo(u"A\\B", sCaption); }, 1, u"Cancella Ramo",
               u"Errore durante la creazione del ramo A\\B");
  EXPECT_EQ(sCaption, u"Cancella Ramo") << "written although it raised";
  sCaption = u"Mia Voce";
  ExpectRaised([&] { registry_->CancellaRamo(u"A\\B", sCaption); }, 1, u"Mia Voce",
               u"Errore durante la creazione del ramo A\\B");
}

TEST_F(CRegistryTest, CancellaRamo_BranchWithSubkeys_DeletesNothing) {
  MakeKey(model_, kHkeyLocalMachine, "A\\B"_ansi);
  EXPECT_EQ(registry_->CancellaRamo(u"A"), False);
  EXPECT_TRUE(Exists("A\\B"_ansi));
}

// LeggiRegistro and LeggiRegistroEx.

TEST_F(CRegistryTest, LeggiRegistro_ReadsTheWorkBranchBelowLocalMachine) {
  Store("Software\\Nerio\\App"_ansi, "Nome"_ansi, std::string("valore\0", 7));
  registry_->RamoPredefinito(u"App");
  const KeyHandle key = Next();
  EXPECT_EQ(registry_->LeggiRegistro(u"Nome", u"predefinito"), u"valore");
  EXPECT_EQ(calls(), ReadOf("Software\\Nerio\\App"_ansi, "Nome"_ansi, key));
  EXPECT_EQ(model_.OpenHandles(), 0u);
}

TEST_F(CRegistryTest, LeggiRegistro_NothingToRead_AnswersTheDefaultAndNeverRaises) {
  registry_->RamoPredefinito(u"App");
  for (const Boolean raising : {False, True}) {
    registry_->RitornaErrori(raising);
    EXPECT_EQ(registry_->LeggiRegistro(u"Nome", u"predefinito"), u"predefinito") << "no branch";
    EXPECT_EQ(registry_->LeggiRegistro(u"Nome"), u"");
  }
  Store("Software\\Nerio\\App"_ansi, "Lungo"_ansi, std::string(1025, 'x'));
  for (const Boolean raising : {False, True}) {
    registry_->RitornaErrori(raising);
    EXPECT_EQ(registry_->LeggiRegistro(u"Nome", u"predefinito"), u"predefinito") << "no value";
    EXPECT_EQ(registry_->LeggiRegistro(u"Lungo", u"predefinito"), u"predefinito") << "too long";
  }
  Store("Software\\Nerio\\App"_ansi, "Nome"_ansi, "x");
  Refuse("Software\\Nerio\\App"_ansi);
  EXPECT_EQ(registry_->LeggiRegistro(u"Nome", u"predefinito"), u"predefinito") << "refused";
}

TEST_F(CRegistryTest, LeggiRegistro_EmptyValue_AnswersTheEmptyTextAndNotTheDefault) {
  Store("Software\\Nerio\\App"_ansi, "Nome"_ansi, "");
  registry_->RamoPredefinito(u"App");
  EXPECT_EQ(registry_->LeggiRegistro(u"Nome", u"predefinito"), u"");
}

TEST_F(CRegistryTest, LeggiRegistro_OtherTypes_AreReadAsTextWithoutNuls) {
  registry_->RamoPredefinito(u"App");
  StoreValue(model_, kHkeyLocalMachine, "Software\\Nerio\\App"_ansi, "Multi"_ansi, kRegMultiSz,
             std::string("uno\0due\0\0", 9));
  StoreValue(model_, kHkeyLocalMachine, "Software\\Nerio\\App"_ansi, "Numero"_ansi, kRegDword,
             std::string("A\0B\0", 4));
  EXPECT_EQ(registry_->LeggiRegistro(u"Multi"), u"unodue");
  EXPECT_EQ(registry_->LeggiRegistro(u"Numero"), u"AB");
}

TEST_F(CRegistryTest, LeggiRegistro_EmptyName_ReadsTheUnnamedValue) {
  Store("Software\\Nerio\\App"_ansi, ""_ansi, "senza nome");
  registry_->RamoPredefinito(u"App");
  EXPECT_EQ(registry_->LeggiRegistro(u""), u"senza nome");
}

TEST_F(CRegistryTest, LeggiRegistroEx_ExplicitBranch_IsReadBelowTheRootAndLeftAsItIs) {
  Store("Altra\\Via"_ansi, "Nome"_ansi, "qui", kHkeyCurrentUser);
  registry_->RitornaErrori(True);
  const KeyHandle key = Next();
  KeyHandle eHKEYRoot = kHkeyCurrentUser;
  Text sRamoLavoro = u"Altra\\Via";
  EXPECT_EQ(registry_->LeggiRegistroEx(u"Nome", eHKEYRoot, sRamoLavoro, u"predefinito"), u"qui")
      << "no default branch is needed";
  EXPECT_EQ(calls(), ReadOf("Altra\\Via"_ansi, "Nome"_ansi, key, kHkeyCurrentUser));
  EXPECT_EQ(eHKEYRoot, kHkeyCurrentUser);
  EXPECT_EQ(sRamoLavoro, u"Altra\\Via");
}

TEST_F(CRegistryTest, LeggiRegistroEx_EmptyBranch_BecomesTheWorkBranchInTheCallersVariable) {
  Store("Software\\Nerio\\App"_ansi, "Nome"_ansi, "utente", kHkeyCurrentUser);
  Store("Software\\Nerio\\App"_ansi, "Nome"_ansi, "macchina");
  registry_->RamoPredefinito(u"App");
  KeyHandle eHKEYRoot = kHkeyCurrentUser;
  Text sRamoLavoro;
  EXPECT_EQ(registry_->LeggiRegistroEx(u"Nome", eHKEYRoot, sRamoLavoro), u"utente");
  EXPECT_EQ(sRamoLavoro, u"Software\\Nerio\\App");
  EXPECT_EQ(registry_->LeggiRegistroEx(u"Nome", eHKEYRoot), u"utente");
  EXPECT_EQ(registry_->LeggiRegistroEx(u"Nome"), u"macchina");
}

TEST_F(CRegistryTest, LeggiRegistroEx_MissingValueOrBranch_AnswersTheDefaultAndNeverRaises) {
  MakeKey(model_, kHkeyLocalMachine, "Altra\\Via"_ansi);
  KeyHandle eHKEYRoot = kHkeyLocalMachine;
  for (const Boolean raising : {False, True}) {
    registry_->RitornaErrori(raising);
    Text sRamoLavoro = u"Altra\\Via";
    EXPECT_EQ(registry_->LeggiRegistroEx(u"Nome", eHKEYRoot, sRamoLavoro, u"predefinito"), u"predefinito");
    EXPECT_EQ(sRamoLavoro, u"Altra\\Via");
    sRamoLavoro = u"Nessuna\\Via";
    EXPECT_EQ(registry_->LeggiRegistroEx(u"Nome", eHKEYRoot, sRamoLavoro, u"predefinito"), u"predefinito");
    EXPECT_EQ(registry_->LeggiRegistroEx(u"Nome", eHKEYRoot, sRamoLavoro), u"");
  }
}

// ScriviRegistroEx.

TEST_F(CRegistryTest, ScriviRegistroEx_FreshObject_CreatesTheChainLevelByLevelAndWrites) {
  registry_->RamoPredefinito(u"App");
  const KeyHandle first = Next();
  KeyHandle eHKEYRoot = kHkeyLocalMachine;
  Text sRamoLavoro;
  EXPECT_EQ(registry_->ScriviRegistroEx(u"Nome", u"x", eHKEYRoot, sRamoLavoro), u"True");
  EXPECT_EQ(sRamoLavoro, u"Software\\Nerio\\App");
  // Each creation takes a handle for the root and leaves that of the new key open.
  EXPECT_EQ(calls(), FailedTestOf("Software"_ansi) + CreationOf("Software"_ansi, first) +
                         FailedTestOf("Software\\Nerio"_ansi) + CreationOf("Software\\Nerio"_ansi, first + 2 * kStep) +
                         FailedTestOf("Software\\Nerio\\App"_ansi) +
                         CreationOf("Software\\Nerio\\App"_ansi, first + 4 * kStep) +
                         WriteOf("Software\\Nerio\\App"_ansi, "Nome"_ansi, "x", first + 6 * kStep));
  EXPECT_THAT(
      ContentsOf(model_, kHkeyLocalMachine, ""_ansi),
      ElementsAre("\\Software", "\\Software\\Nerio", "\\Software\\Nerio\\App", "\\Software\\Nerio\\App  Nome=1:78"));
  EXPECT_EQ(model_.OpenHandles(), 3u);
}

TEST_F(CRegistryTest, ScriviRegistroEx_ExistingChain_TestsEachLevelAndWrites) {
  Store("Software\\Nerio\\App"_ansi, "Nome"_ansi, "vecchio");
  registry_->RamoPredefinito(u"App");
  const KeyHandle first = Next();
  EXPECT_EQ(registry_->ScriviRegistroEx(u"Nome", u"nuovo"), u"True");
  EXPECT_EQ(calls(), TestOf("Software"_ansi, first) + TestOf("Software\\Nerio"_ansi, first + kStep) +
                         TestOf("Software\\Nerio\\App"_ansi, first + 2 * kStep) +
                         WriteOf("Software\\Nerio\\App"_ansi, "Nome"_ansi, "nuovo", first + 3 * kStep));
  EXPECT_EQ(Stored("Software\\Nerio\\App"_ansi, "Nome"_ansi), "1:6E756F766F") << "without a terminator";
  EXPECT_EQ(model_.OpenHandles(), 0u);
}

TEST_F(CRegistryTest, ScriviRegistroEx_WhatItWrites_IsReadBack) {
  registry_->RamoPredefinito(u"App");
  for (const Text& value : {Text(u""), Text(u"x"), Text(u"perché €"), Text(1024, u'y')}) {
    EXPECT_EQ(registry_->ScriviRegistroEx(u"Nome", value), u"True");
    EXPECT_EQ(registry_->LeggiRegistro(u"Nome", u"predefinito"), value);
  }
  EXPECT_EQ(registry_->ScriviRegistroEx(u"Nome", Text(1025, u'y')), u"True");
  EXPECT_EQ(registry_->LeggiRegistro(u"Nome", u"predefinito"), u"predefinito") << "longer than a read takes";
}

TEST_F(CRegistryTest, ScriviRegistroEx_BranchOnlyBelowLocalMachine_AnswersEmptyTextOrRaisesNumber4) {
  MakeKey(model_, kHkeyLocalMachine, "Ramo"_ansi);
  KeyHandle eHKEYRoot = kHkeyCurrentUser;
  Text sRamoLavoro = u"Ramo";
  const KeyHandle key = Next();
  EXPECT_EQ(registry_->ScriviRegistroEx(u"Nome", u"x", eHKEYRoot, sRamoLavoro), u"");
  EXPECT_EQ(calls(), TestOf("Ramo"_ansi, key) + Transcript({OpenKeyCall{kHkeyCurrentUser, "Ramo"_ansi, 0, kMask}}));
  EXPECT_EQ(eHKEYRoot, kHkeyCurrentUser);
  registry_->RitornaErrori(True);
  ExpectRaised([&] { registry_->ScriviRegistroEx(u"Nome", u"x", eHKEYRoot, sRamoLavoro); }, 4, u"ScriviRegistro",
               u"Errore durante la memorizzazione del valore nella chiave 'Nome'");
  EXPECT_FALSE(Exists("Ramo"_ansi, kHkeyCurrentUser));
}

TEST_F(CRegistryTest, ScriviRegistroEx_OtherRoot_CreatesTheChainBelowLocalMachineAllTheSame) {
  Store("Ramo\\Sotto"_ansi, "Nome"_ansi, "vecchio", kHkeyCurrentUser);
  KeyHandle eHKEYRoot = kHkeyCurrentUser;
  Text sRamoLavoro = u"Ramo\\Sotto";
  EXPECT_EQ(registry_->ScriviRegistroEx(u"Nome", u"nuovo", eHKEYRoot, sRamoLavoro), u"True");
  EXPECT_EQ(Stored("Ramo\\Sotto"_ansi, "Nome"_ansi, kHkeyCurrentUser), "1:6E756F766F");
  EXPECT_THAT(ContentsOf(model_, kHkeyLocalMachine, ""_ansi), ElementsAre("\\Ramo", "\\Ramo\\Sotto"));
}

TEST_F(CRegistryTest, ScriviRegistroEx_OtherRootByTheShortForm_UsesTheWorkBranch) {
  MakeKey(model_, kHkeyCurrentUser, "Software\\Nerio\\App"_ansi);
  registry_->RamoPredefinito(u"App");
  KeyHandle eHKEYRoot = kHkeyCurrentUser;
  EXPECT_EQ(registry_->ScriviRegistroEx(u"Nome", u"x", eHKEYRoot), u"True");
  EXPECT_EQ(Stored("Software\\Nerio\\App"_ansi, "Nome"_ansi, kHkeyCurrentUser), "1:78");
}

TEST_F(CRegistryTest, ScriviRegistroEx_ChainCannotBeCreated_AnswersTheTextOfFalseOrRaisesNumber1) {
  MakeKey(model_, kHkeyLocalMachine, "Software"_ansi);
  Refuse("Software"_ansi);
  registry_->RamoPredefinito(u"App");
  KeyHandle eHKEYRoot = kHkeyLocalMachine;
  Text sRamoLavoro;
  EXPECT_EQ(registry_->ScriviRegistroEx(u"Nome", u"x", eHKEYRoot, sRamoLavoro), u"False");
  EXPECT_EQ(sRamoLavoro, u"Software\\Nerio\\App");
  registry_->RitornaErrori(True);
  sRamoLavoro.clear();
  ExpectRaised([&] { registry_->ScriviRegistroEx(u"Nome", u"x", eHKEYRoot, sRamoLavoro); }, 1, u"ScriviRegistro",
               u"Errore durante la creazione del ramo Software");
  EXPECT_EQ(sRamoLavoro, u"Software\\Nerio\\App") << "written although it raised";
}

TEST_F(CRegistryTest, ScriviRegistroEx_ChainBreaksHalfWay_KeepsTheLevelsMadeBefore) {
  registry_->RitornaErrori(True);
  registry_->RamoPredefinito(Text(257, u'k'));
  ExpectRaised([&] { registry_->ScriviRegistroEx(u"Nome", u"x"); }, 1, u"ScriviRegistro",
               u"Errore durante la creazione del ramo Software\\Nerio\\" + Text(257, u'k'));
  EXPECT_THAT(ContentsOf(model_, kHkeyLocalMachine, ""_ansi), ElementsAre("\\Software", "\\Software\\Nerio"));
}

TEST_F(CRegistryTest, ScriviRegistroEx_TwoBackslashesInTheBranch_CallCreaRamoForTheEmptyPartToo) {
  const KeyHandle first = Next();
  KeyHandle eHKEYRoot = kHkeyLocalMachine;
  Text sRamoLavoro = u"A\\\\B";
  EXPECT_EQ(registry_->ScriviRegistroEx(u"Nome", u"x", eHKEYRoot, sRamoLavoro), u"True");
  EXPECT_EQ(calls(), FailedTestOf("A"_ansi) + CreationOf("A"_ansi, first) + TestOf("A\\"_ansi, first + 2 * kStep) +
                         FailedTestOf("A\\\\B"_ansi) + CreationOf("A\\\\B"_ansi, first + 3 * kStep) +
                         WriteOf("A\\\\B"_ansi, "Nome"_ansi, "x", first + 5 * kStep));
  EXPECT_THAT(ContentsOf(model_, kHkeyLocalMachine, ""_ansi), ElementsAre("\\A", "\\A\\B", "\\A\\B  Nome=1:78"));
}

TEST_F(CRegistryTest, ScriviRegistroEx_TrailingBackslash_TestsTheLastLevelTwice) {
  const KeyHandle first = Next();
  KeyHandle eHKEYRoot = kHkeyLocalMachine;
  Text sRamoLavoro = u"A\\";
  EXPECT_EQ(registry_->ScriviRegistroEx(u"Nome", u"x", eHKEYRoot, sRamoLavoro), u"True");
  EXPECT_EQ(calls(), FailedTestOf("A"_ansi) + CreationOf("A"_ansi, first) + TestOf("A\\"_ansi, first + 2 * kStep) +
                         WriteOf("A\\"_ansi, "Nome"_ansi, "x", first + 3 * kStep));
}

TEST_F(CRegistryTest, ScriviRegistroEx_LeadingBackslash_CreatesTheChainWithoutItAndFailsToWrite) {
  const KeyHandle first = Next();
  KeyHandle eHKEYRoot = kHkeyLocalMachine;
  Text sRamoLavoro = u"\\A";
  EXPECT_EQ(registry_->ScriviRegistroEx(u"Nome", u"x", eHKEYRoot, sRamoLavoro), u"");
  EXPECT_EQ(calls(), TestOf(""_ansi, first) + FailedTestOf("A"_ansi) + CreationOf("A"_ansi, first + kStep) +
                         FailedTestOf("\\A"_ansi));
  EXPECT_THAT(ContentsOf(model_, kHkeyLocalMachine, ""_ansi), ElementsAre("\\A"));
}

TEST_F(CRegistryTest, ScriviRegistroEx_CharacterThatBecomesABackslash_DoesNotPartTheBranch) {
  const KeyHandle first = Next();
  KeyHandle eHKEYRoot = kHkeyLocalMachine;
  Text sRamoLavoro = u"A\u2216B";
  EXPECT_EQ(registry_->ScriviRegistroEx(u"Nome", u"x", eHKEYRoot, sRamoLavoro), u"True");
  EXPECT_EQ(calls(), FailedTestOf("A\\B"_ansi) + CreationOf("A\\B"_ansi, first) +
                         WriteOf("A\\B"_ansi, "Nome"_ansi, "x", first + 2 * kStep));
}

// CancellaRegistro.

TEST_F(CRegistryTest, CancellaRegistro_DeletesTheValueOfTheWorkBranch) {
  Store("Software\\Nerio\\App"_ansi, "Nome"_ansi, "x");
  Store("Software\\Nerio\\App"_ansi, "Altro"_ansi, "y");
  registry_->RamoPredefinito(u"App");
  const KeyHandle key = Next();
  EXPECT_EQ(registry_->CancellaRegistro(u"Nome"), True);
  EXPECT_EQ(calls(), (Transcript{OpenKeyCall{kHkeyLocalMachine, "Software\\Nerio\\App"_ansi, 0, kMask},
                                 DeleteValueCall{key, "Nome"_ansi}, CloseKeyCall{key}}));
  EXPECT_EQ(Stored("Software\\Nerio\\App"_ansi, "Nome"_ansi), "2");
  EXPECT_EQ(Stored("Software\\Nerio\\App"_ansi, "Altro"_ansi), "1:79");
}

TEST_F(CRegistryTest, CancellaRegistro_MissingValueOrBranch_AnswersFalseOrRaisesNumber5) {
  registry_->RamoPredefinito(u"App");
  for (const bool branch : {false, true}) {
    if (branch) MakeKey(model_, kHkeyLocalMachine, "Software\\Nerio\\App"_ansi);
    registry_->RitornaErrori(False);
    EXPECT_EQ(registry_->CancellaRegistro(u"Nome Ж"), False);
    registry_->RitornaErrori(True);
    ExpectRaised([&] { registry_->CancellaRegistro(u"Nome Ж"); }, 5, u"CancellaChiave",
                 u"Errore durante la rimozione delle chiave 'Nome Ж'");
  }
}

// The call has the letter replaced, also in the copy of the name that it gives back; the description has it as passed.
TEST_F(CRegistryTest, CancellaRegistro_LetterOutsideTheCodePage_IsReplacedInTheCallAndNotInTheDescription) {
  Store("Software\\Nerio\\App"_ansi, "Nome ?"_ansi, "x");
  registry_->RamoPredefinito(u"App");
  registry_->RitornaErrori(True);
  KeyHandle key = Next();
  EXPECT_EQ(registry_->CancellaRegistro(u"Nome Ж"), True);
  EXPECT_EQ(calls(), (Transcript{OpenKeyCall{kHkeyLocalMachine, "Software\\Nerio\\App"_ansi, 0, kMask},
                                 DeleteValueCall{key, "Nome ?"_ansi}, CloseKeyCall{key}}));
  ExpectRaised([&] { registry_->CancellaRegistro(u"Nome Ж"); }, 5, u"CancellaChiave",
               u"Errore durante la rimozione delle chiave 'Nome Ж'");
}

// VerificaRamo and VerificaRamoEx.

TEST_F(CRegistryTest, VerificaRamoAndVerificaRamoEx_AnswerInOppositeSenses) {
  MakeKey(model_, kHkeyLocalMachine, "Software\\App"_ansi);
  const KeyHandle first = Next();
  EXPECT_EQ(registry_->VerificaRamo(u"Software\\App"), False);
  EXPECT_EQ(registry_->VerificaRamoEx(u"Software\\App"), True);
  EXPECT_EQ(registry_->VerificaRamo(u"Software\\Altro"), True);
  EXPECT_EQ(registry_->VerificaRamoEx(u"Software\\Altro"), False);
  EXPECT_EQ(calls(), TestOf("Software\\App"_ansi, first) + TestOf("Software\\App"_ansi, first + kStep) +
                         FailedTestOf("Software\\Altro"_ansi) + FailedTestOf("Software\\Altro"_ansi));
}

TEST_F(CRegistryTest, VerificaRamoEx_TestsBelowAnyRootAndLeavesIt) {
  MakeKey(model_, kHkeyCurrentUser, "Solo Qui"_ansi);
  KeyHandle eHKEYRoot = kHkeyCurrentUser;
  EXPECT_EQ(registry_->VerificaRamoEx(u"Solo Qui", eHKEYRoot), True);
  EXPECT_EQ(registry_->VerificaRamoEx(u"Solo Qui"), False);
  EXPECT_EQ(registry_->VerificaRamo(u"Solo Qui"), True);
  EXPECT_EQ(eHKEYRoot, kHkeyCurrentUser);
}

TEST_F(CRegistryTest, VerificaRamo_BranchThatCannotBeOpened_CountsAsMissingAndRaisesNothing) {
  MakeKey(model_, kHkeyLocalMachine, "Chiuso"_ansi);
  Refuse("Chiuso"_ansi);
  registry_->RitornaErrori(True);
  EXPECT_EQ(registry_->VerificaRamo(u"Chiuso"), True);
  EXPECT_EQ(registry_->VerificaRamoEx(u"Chiuso"), False);
}

// One variable for two parameters, and views into a variable that is written.

TEST_F(CRegistryTest, CreaRamo_OneVariableForBranchAndCaption_Works) {
  Text both = u"A\\B";
  EXPECT_EQ(registry_->CreaRamo(both, both), True);
  EXPECT_TRUE(Exists("A\\B"_ansi));
  EXPECT_EQ(both, u"A\\B");
  registry_->RitornaErrori(True);
  Refuse("A"_ansi);
  both = u"A";
  ExpectRaised([&] { registry_->CreaRamo(both, both); }, 1, u"A", u"Errore durante la creazione del ramo A");
  // Empty: the branch stays the empty one, which is the root itself.
  both.clear();
  const KeyHandle root = Next();
  world_.recorder.calls.clear();
  EXPECT_EQ(registry_->CreaRamo(both, both), True);
  EXPECT_EQ(calls(), TestOf(""_ansi, root));
  EXPECT_EQ(both, u"Crea Ramo");
}

TEST_F(CRegistryTest, CancellaRamo_OneVariableForBranchAndCaption_Works) {
  MakeKey(model_, kHkeyLocalMachine, "A\\B"_ansi);
  Text both = u"A\\B";
  EXPECT_EQ(registry_->CancellaRamo(both, both), True);
  EXPECT_FALSE(Exists("A\\B"_ansi));
  registry_->RitornaErrori(True);
  ExpectRaised([&] { registry_->CancellaRamo(both, both); }, 1, u"A\\B", u"Errore durante la creazione del ramo A\\B");
  both.clear();
  ExpectRaised([&] { registry_->CancellaRamo(both, both); }, 1, u"Cancella Ramo",
               u"Errore durante la creazione del ramo ");
  EXPECT_EQ(both, u"Cancella Ramo");
  EXPECT_TRUE(Exists("A"_ansi));
}

TEST_F(CRegistryTest, LeggiRegistroEx_OneVariableForNameDefaultAndBranch_Works) {
  KeyHandle eHKEYRoot = kHkeyLocalMachine;
  Text all = u"Un ramo che non sta nel testo breve";
  EXPECT_EQ(registry_->LeggiRegistroEx(all, eHKEYRoot, all, all), all) << "the default";
  Store("Un ramo che non sta nel testo breve"_ansi, "un RAMO che non sta nel testo breve"_ansi, "trovato");
  EXPECT_EQ(registry_->LeggiRegistroEx(all, eHKEYRoot, all, all), u"trovato");
  // Empty: the branch becomes the work branch, name and default stay empty.
  Store("Software\\Nerio\\App molto piu lungo"_ansi, ""_ansi, "senza nome");
  registry_->RamoPredefinito(u"App molto piu lungo");
  all.clear();
  EXPECT_EQ(registry_->LeggiRegistroEx(all, eHKEYRoot, all, all), u"senza nome");
  EXPECT_EQ(all, u"Software\\Nerio\\App molto piu lungo");
  registry_->RamoPredefinito(u"Altro");
  all.clear();
  EXPECT_EQ(registry_->LeggiRegistroEx(all, eHKEYRoot, all, all), u"");
  EXPECT_EQ(all, u"Software\\Nerio\\Altro");
}

TEST_F(CRegistryTest, ScriviRegistroEx_OneVariableForNameValueAndBranch_Works) {
  KeyHandle eHKEYRoot = kHkeyLocalMachine;
  Text all = u"Un ramo che non sta nel testo breve";
  EXPECT_EQ(registry_->ScriviRegistroEx(all, all, eHKEYRoot, all), u"True");
  const AnsiText ansi = "Un ramo che non sta nel testo breve"_ansi;
  EXPECT_EQ(Stored(ansi, ansi), "1:" + ToHex(ansi));
  // Empty: the branch becomes the work branch, name and value stay empty.
  registry_->RamoPredefinito(u"App molto piu lungo");
  all.clear();
  EXPECT_EQ(registry_->ScriviRegistroEx(all, all, eHKEYRoot, all), u"True");
  EXPECT_EQ(Stored("Software\\Nerio\\App molto piu lungo"_ansi, ""_ansi), "1:");
  EXPECT_EQ(all, u"Software\\Nerio\\App molto piu lungo");
}

TEST_F(CRegistryTest, ScriviRegistroEx_ViewsIntoTheBranchVariable_AreReadAsTheyWere) {
  KeyHandle eHKEYRoot = kHkeyLocalMachine;
  Text sRamoLavoro = u"Primo\\Secondo";
  EXPECT_EQ(registry_->ScriviRegistroEx(TextView(sRamoLavoro).substr(0, 5), TextView(sRamoLavoro).substr(6), eHKEYRoot,
                                        sRamoLavoro),
            u"True");
  EXPECT_EQ(Stored("Primo\\Secondo"_ansi, "Primo"_ansi), "1:5365636F6E646F");
}

TEST_F(CRegistryTest, InOutParameters_TakeLiteralsAndValuesWithoutAName) {
  Store("branch"_ansi, "n"_ansi, "Anna", kHkeyCurrentUser);
  EXPECT_EQ(registry_->LeggiRegistroEx(u"n", kHkeyCurrentUser, u"branch", u"default"), u"Anna");
  EXPECT_EQ(registry_->LeggiRegistroEx(u"n", KeyHandle{kHkeyCurrentUser}, Text(u"branch")), u"Anna");
  EXPECT_EQ(registry_->LeggiRegistroEx(u"manca", kHkeyCurrentUser, TextView(u"branchX", 6), u"default"), u"default");
  EXPECT_EQ(registry_->VerificaRamoEx(u"branch", kHkeyCurrentUser), True);

  registry_->RitornaErrori(True);
  const TextView message = u"Errore durante la creazione del ramo x";
  ExpectRaised([&] { registry_->CancellaRamo(u"x", u"caption"); }, 1, u"caption", message);
  ExpectRaised([&] { registry_->CancellaRamo(u"x", Text()); }, 1, u"Cancella Ramo", message);
}

TEST_F(CRegistryTest, Properties_TakeAViewOfThemselves) {
  registry_->RamoPrincipale(TextView(registry_->RamoPrincipale()).substr(9));
  EXPECT_EQ(registry_->RamoPrincipale(), u"Nerio");
}

// What every failing native call leads to, quiet and raising.

struct RaisedError {
  std::int32_t number;
  TextView source;
  TextView description;
};

constexpr RaisedError kNotCreated = {1, u"Mia Voce", u"Errore durante la creazione del ramo A\\B"};
constexpr RaisedError kNotWritten = {4, u"ScriviRegistro",
                                     u"Errore durante la memorizzazione del valore nella chiave 'Nome'"};
constexpr RaisedError kNotDeleted = {5, u"CancellaChiave", u"Errore durante la rimozione delle chiave 'Nome'"};
constexpr RaisedError kNoLevelA = {1, u"ScriviRegistro", u"Errore durante la creazione del ramo A"};
constexpr RaisedError kNoLevelB = {1, u"ScriviRegistro", u"Errore durante la creazione del ramo A\\B"};

enum class Operation {
  // these take a caption
  CreaRamoMissing,
  CreaRamoExisting,
  CancellaRamo,
  // these do not
  LeggiRegistro,
  LeggiRegistroEx,
  ScriviRegistroEx,
  CancellaRegistro,
  VerificaRamo,
  VerificaRamoEx,
};

Text Perform(Operation operation, CRegistry& registry, KeyHandle& root, Text& inOut) {
  switch (operation) {
    case Operation::CreaRamoMissing:
    case Operation::CreaRamoExisting:
      return Text(TextOf(registry.CreaRamo(u"A\\B", inOut)));
    case Operation::CancellaRamo:
      return Text(TextOf(registry.CancellaRamo(u"A\\B", inOut)));
    case Operation::LeggiRegistro:
      return registry.LeggiRegistro(u"Nome", u"predefinito");
    case Operation::LeggiRegistroEx:
      return registry.LeggiRegistroEx(u"Nome", root, inOut, u"predefinito");
    case Operation::ScriviRegistroEx:
      return registry.ScriviRegistroEx(u"Nome", u"x", root, inOut);
    case Operation::CancellaRegistro:
      return Text(TextOf(registry.CancellaRegistro(u"Nome")));
    case Operation::VerificaRamo:
      return Text(TextOf(registry.VerificaRamo(u"A\\B")));
    case Operation::VerificaRamoEx:
      return Text(TextOf(registry.VerificaRamoEx(u"A\\B", root)));
  }
  return {};
}

struct Sweep {
  Operation operation;
  std::size_t failingCall;  // 0: none
  TextView answer;          // when quiet, and also when raising where there is no error
  const RaisedError* error;
};

// The work branch is A\B. Where a value is read it is "letto".
const Sweep kSweeps[] = {
    // the test, which finds nothing; then root, creation, close
    {Operation::CreaRamoMissing, 0, u"True", nullptr},
    {Operation::CreaRamoMissing, 1, u"True", nullptr},
    {Operation::CreaRamoMissing, 2, u"False", &kNotCreated},
    {Operation::CreaRamoMissing, 3, u"False", &kNotCreated},
    {Operation::CreaRamoMissing, 4, u"True", nullptr},
    // the test and its close; a test that fails is followed by the creation
    {Operation::CreaRamoExisting, 0, u"True", nullptr},
    {Operation::CreaRamoExisting, 1, u"True", nullptr},
    {Operation::CreaRamoExisting, 2, u"True", nullptr},
    // root, deletion, close
    {Operation::CancellaRamo, 0, u"True", nullptr},
    {Operation::CancellaRamo, 1, u"False", &kNotCreated},
    {Operation::CancellaRamo, 2, u"False", &kNotCreated},
    {Operation::CancellaRamo, 3, u"True", nullptr},
    // open, query, close
    {Operation::LeggiRegistro, 0, u"letto", nullptr},
    {Operation::LeggiRegistro, 1, u"predefinito", nullptr},
    {Operation::LeggiRegistro, 2, u"predefinito", nullptr},
    {Operation::LeggiRegistro, 3, u"letto", nullptr},
    {Operation::LeggiRegistroEx, 0, u"letto", nullptr},
    {Operation::LeggiRegistroEx, 1, u"predefinito", nullptr},
    {Operation::LeggiRegistroEx, 2, u"predefinito", nullptr},
    {Operation::LeggiRegistroEx, 3, u"letto", nullptr},
    // A: test, root, creation, close; A\B: the same; then open, set, close
    {Operation::ScriviRegistroEx, 0, u"True", nullptr},
    {Operation::ScriviRegistroEx, 1, u"True", nullptr},
    {Operation::ScriviRegistroEx, 2, u"False", &kNoLevelA},
    {Operation::ScriviRegistroEx, 3, u"False", &kNoLevelA},
    {Operation::ScriviRegistroEx, 4, u"True", nullptr},
    {Operation::ScriviRegistroEx, 5, u"True", nullptr},
    {Operation::ScriviRegistroEx, 6, u"False", &kNoLevelB},
    {Operation::ScriviRegistroEx, 7, u"False", &kNoLevelB},
    {Operation::ScriviRegistroEx, 8, u"True", nullptr},
    {Operation::ScriviRegistroEx, 9, u"", &kNotWritten},
    {Operation::ScriviRegistroEx, 10, u"", &kNotWritten},
    {Operation::ScriviRegistroEx, 11, u"True", nullptr},
    // open, deletion, close
    {Operation::CancellaRegistro, 0, u"True", nullptr},
    {Operation::CancellaRegistro, 1, u"False", &kNotDeleted},
    {Operation::CancellaRegistro, 2, u"False", &kNotDeleted},
    {Operation::CancellaRegistro, 3, u"True", nullptr},
    // open, close
    {Operation::VerificaRamo, 0, u"False", nullptr},
    {Operation::VerificaRamo, 1, u"True", nullptr},
    {Operation::VerificaRamo, 2, u"False", nullptr},
    {Operation::VerificaRamoEx, 0, u"True", nullptr},
    {Operation::VerificaRamoEx, 1, u"False", nullptr},
    {Operation::VerificaRamoEx, 2, u"True", nullptr},
};

// Returns how many keys some calls created whose handle stays open: all but the failing one.
std::size_t KeptOpen(const Transcript& calls, std::size_t failingCall) {
  std::size_t kept = 0;
  for (std::size_t i = 0; i < calls.size(); ++i) {
    if (std::holds_alternative<CreateKeyCall>(calls[i]) && i + 1 != failingCall) ++kept;
  }
  return kept;
}

TEST(CRegistryFailures, EachNativeCallInTurn_AnswersQuietlyOrRaises) {
  std::size_t callsWithoutFailure = 0;
  for (const Sweep& row : kSweeps) {
    for (const Boolean raising : {False, True}) {
      SCOPED_TRACE(::testing::Message() << "operation " << static_cast<int>(row.operation) << ", failing call "
                                        << row.failingCall << (raising == True ? ", raising" : ", quiet"));
      RegistryWorld world;
      if (row.operation != Operation::CreaRamoMissing && row.operation != Operation::ScriviRegistroEx) {
        StoreValue(world.model, kHkeyLocalMachine, "A\\B"_ansi, "Nome"_ansi, kRegSz, "letto");
      }
      FakeHost host;
      host.registry = &world.recorder;
      host.codePage = &world.codePage;
      CRegistry registry(host.View());
      registry.RamoPrincipale(u"A");
      registry.RamoPredefinito(u"B");
      registry.RitornaErrori(raising);
      const bool takesCaption = row.operation <= Operation::CancellaRamo;
      KeyHandle root = kHkeyLocalMachine;
      Text inOut = takesCaption ? u"Mia Voce" : u"";
      const auto run = [&] { return Perform(row.operation, registry, root, inOut); };

      world.failing.FailCall(row.failingCall, kAccessDenied);
      if (raising == True && row.error != nullptr) {
        ExpectRaised(run, row.error->number, row.error->source, row.error->description);
      } else {
        EXPECT_EQ(ToUtf8(run()), ToUtf8(row.answer));
      }
      const bool takesBranch =
          row.operation == Operation::LeggiRegistroEx || row.operation == Operation::ScriviRegistroEx;
      EXPECT_EQ(inOut, takesCaption ? u"Mia Voce" : takesBranch ? u"A\\B" : u"");
      EXPECT_EQ(root, kHkeyLocalMachine);

      const Transcript& calls = world.recorder.calls;
      EXPECT_EQ(world.model.OpenHandles(), KeptOpen(calls, row.failingCall));
      if (row.failingCall == 0) callsWithoutFailure = calls.size();
      EXPECT_LE(row.failingCall, calls.size()) << "the call that was to fail was made";
      for (const RegistryCall& call : calls) {
        EXPECT_FALSE(std::holds_alternative<EnumKeyCall>(call) || std::holds_alternative<EnumValueCall>(call));
      }
      const Sweep& next = *(&row + (&row + 1 == std::end(kSweeps) ? 0 : 1));
      if (next.operation != row.operation) {
        EXPECT_EQ(row.failingCall, callsWithoutFailure) << "the table has every call";
      }
    }
  }
}

}  // namespace
}  // namespace nerio
