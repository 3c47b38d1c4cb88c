#include "nerio/registry/branch_names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <ranges>
#include <utility>
#include <vector>

#include "tests/registry/registry_world.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/fake_host.h"
#include "tests/testing/raised_error.h"

namespace nerio {
namespace {

using namespace platform;        // NOLINT(google-build-using-namespace): every native name below is the seam's
using namespace nerio::testing;  // NOLINT(google-build-using-namespace): every tool below is the tests'
using ::testing::ElementsAre;
using ::testing::IsEmpty;

static_assert(std::input_iterator<BranchNames::Iterator>);
static_assert(std::ranges::input_range<BranchNames>);
static_assert(std::movable<BranchNames> && !std::copyable<BranchNames>);

std::vector<Text> Collected(BranchNames names) {
  std::vector<Text> collected;
  for (const Text& name : names) collected.push_back(name);
  return collected;
}

// Both functions do the same, each with calls of its own.
struct Function {
  const char16_t* name;
  BranchNames (*open)(TextView, KeyHandle, const Host&);
  std::uint32_t access;
  RegistryCall (*step)(KeyHandle, std::uint32_t);
};

const Function kFunctions[] = {
    {u"SubKeyNames", SubKeyNames, kKeyEnumerateSubKeys,
     [](KeyHandle key, std::uint32_t index) -> RegistryCall {
       return EnumKeyCall{key, index};
     }},
    {u"ValueNames", ValueNames, kKeyQueryValue,
     [](KeyHandle key, std::uint32_t index) -> RegistryCall {
       return EnumValueCall{key, index};
     }},
};

class BranchNamesTest : public ::testing::Test {
 protected:
  // Two of each, called alike: keys Uno and Due with a key below one of them, values likewise.
  void Fill() {
    MakeKey(world_.model, kHkeyCurrentUser, "Software\\App\\Uno\\Sotto"_ansi);
    for (const AnsiText& name : {"Uno"_ansi, "Due"_ansi}) {
      MakeKey(world_.model, kHkeyCurrentUser, "Software\\App\\"_ansi + name);
      StoreValue(world_.model, kHkeyCurrentUser, "Software\\App"_ansi, name, kRegDword, "\x01\x02\x03\x04");
    }
    open_ = world_.model.OpenHandles();
  }
  std::size_t HandlesLeft() const { return world_.model.OpenHandles() - open_; }

  RegistryWorld world_;
  Host host_ = FakeHost{.registry = &world_.recorder, .codePage = &world_.codePage}.View();
  std::size_t open_ = 0;
};

TEST_F(BranchNamesTest, Loop_OpensWithTheRightToListAsksForOneNameAtATimeAndCloses) {
  Fill();
  for (const Function& function : kFunctions) {
    world_.recorder.calls.clear();
    const KeyHandle key = world_.model.NextHandle();
    EXPECT_THAT(Collected(function.open(u"Software\\App", kHkeyCurrentUser, host_)), ElementsAre(u"Due", u"Uno"));
    EXPECT_EQ(world_.recorder.calls,
              (Transcript{OpenKeyCall{kHkeyCurrentUser, "Software\\App"_ansi, 0, function.access},
                          function.step(key, 0), function.step(key, 1), function.step(key, 2), CloseKeyCall{key}}));
  }
}

TEST_F(BranchNamesTest, EmptyBranch_HasNoName) {
  MakeKey(world_.model, kHkeyLocalMachine, "Vuoto"_ansi);
  for (const Function& function : kFunctions) {
    EXPECT_THAT(Collected(function.open(u"Vuoto", kHkeyLocalMachine, host_)), IsEmpty());
  }
}

TEST_F(BranchNamesTest, NoPath_ListsTheRootItself) {
  Fill();
  EXPECT_THAT(Collected(SubKeyNames(u"", kHkeyCurrentUser, host_)), ElementsAre(u"Software"));
  EXPECT_THAT(Collected(ValueNames(u"", kHkeyCurrentUser, host_)), IsEmpty());
}

TEST_F(BranchNamesTest, UnnamedValueAndLettersOfTheCodePage_ComeAsTexts) {
  StoreValue(world_.model, kHkeyLocalMachine, AnsiText("Citt\xE0"), ""_ansi, kRegSz, "x");
  StoreValue(world_.model, kHkeyLocalMachine, AnsiText("Citt\xE0"), AnsiText("\x80"), kRegSz, "x");
  EXPECT_THAT(Collected(SubKeyNames(u"", kHkeyLocalMachine, host_)), ElementsAre(u"Citt\u00E0"));
  EXPECT_THAT(Collected(ValueNames(u"Citt\u00E0", kHkeyLocalMachine, host_)), ElementsAre(u"", u"\u20AC"));
}

TEST_F(BranchNamesTest, Algorithms_TakeTheRange) {
  Fill();
  EXPECT_EQ(std::ranges::count(SubKeyNames(u"Software\\App", kHkeyCurrentUser, host_), u"Due"), 1);
  std::vector<Text> copied;
  std::ranges::copy(ValueNames(u"Software\\App", kHkeyCurrentUser, host_), std::back_inserter(copied));
  EXPECT_THAT(copied, ElementsAre(u"Due", u"Uno"));
}

TEST_F(BranchNamesTest, LoopLeftEarly_AsksNoMoreAndCloses) {
  Fill();
  for (const Function& function : kFunctions) {
    world_.recorder.calls.clear();
    const KeyHandle key = world_.model.NextHandle();
    for (const Text& name : function.open(u"Software\\App", kHkeyCurrentUser, host_)) {
      EXPECT_EQ(name, u"Due");
      break;
    }
    EXPECT_EQ(world_.recorder.calls,
              (Transcript{OpenKeyCall{kHkeyCurrentUser, "Software\\App"_ansi, 0, function.access},
                          function.step(key, 0), CloseKeyCall{key}}));
  }
}

TEST_F(BranchNamesTest, SecondBegin_SeesWhatWasMadeMeanwhile) {
  MakeKey(world_.model, kHkeyLocalMachine, "App\\Uno"_ansi);
  BranchNames names = SubKeyNames(u"App", kHkeyLocalMachine, host_);
  EXPECT_EQ(std::ranges::distance(names), 1);
  MakeKey(world_.model, kHkeyLocalMachine, "App\\Due"_ansi);
  EXPECT_EQ(std::ranges::distance(names), 2);
}

TEST_F(BranchNamesTest, MovedAndAssigned_EachHandleIsClosedOnce) {
  Fill();
  {
    BranchNames names = SubKeyNames(u"Software\\App", kHkeyCurrentUser, host_);
    const auto first = names.begin();
    const BranchNames moved = std::move(names);
    EXPECT_EQ(*first, u"Due");
    EXPECT_EQ(HandlesLeft(), 1u);
    names = ValueNames(u"Software\\App", kHkeyCurrentUser, host_);
    names = ValueNames(u"Software\\App\\Uno", kHkeyCurrentUser, host_);
    EXPECT_EQ(HandlesLeft(), 2u);
    EXPECT_FALSE(names.begin() != names.end());
  }
  EXPECT_EQ(HandlesLeft(), 0u);
}

// Errors: the number is the registry's own.

TEST_F(BranchNamesTest, MissingBranch_RaisesItsNumber) {
  for (const Function& function : kFunctions) {
    ExpectRaised([&] { function.open(u"Manca\\Citt\u00E0", kHkeyLocalMachine, host_); }, 2, function.name,
                 u"Errore durante la lettura del ramo Manca\\Citt\u00E0");
  }
  EXPECT_EQ(HandlesLeft(), 0u);
}

TEST_F(BranchNamesTest, BranchThatMayBeReadOnly_IsListed_AndOneThatMayNotIsDenied) {
  Fill();
  world_.model.SetRights(kHkeyCurrentUser, "Software\\App"_ansi, kKeyRead);
  EXPECT_EQ(Collected(ValueNames(u"Software\\App", kHkeyCurrentUser, host_)).size(), 2u);
  world_.model.SetRights(kHkeyCurrentUser, "Software\\App"_ansi, kReadControl);
  for (const Function& function : kFunctions) {
    ExpectRaised([&] { function.open(u"Software\\App", kHkeyCurrentUser, host_); }, 5, function.name,
                 u"Errore durante la lettura del ramo Software\\App");
  }
}

TEST_F(BranchNamesTest, BranchDeletedWhileItIsListed_RaisesItsNumber) {
  MakeKey(world_.model, kHkeyLocalMachine, "App"_ansi);
  BranchNames names = ValueNames(u"App", kHkeyLocalMachine, host_);
  DeleteTree(world_.model, kHkeyLocalMachine, "App"_ansi);
  ExpectRaised([&] { names.begin(); }, 1018, u"ValueNames", u"Errore durante la lettura del ramo App");
}

TEST_F(BranchNamesTest, EachCallThatFails_RaisesItsNumberAndLeavesNoHandleOpen) {
  Fill();
  // The open and three steps; the close after them has nobody to tell.
  for (const Function& function : kFunctions) {
    for (std::size_t call = 1; call <= 5; ++call) {
      world_.failing.FailCall(call, kRegistryCorrupt);
      const auto error = ErrorOf([&] { Collected(function.open(u"Software\\App", kHkeyCurrentUser, host_)); });
      EXPECT_EQ(world_.failing.Calls(), call == 5 ? 5u : call == 1 ? 1u : call + 1) << call;
      if (call < 5) {
        ExpectError(error, 1015, function.name, u"Errore durante la lettura del ramo Software\\App");
      } else {
        EXPECT_FALSE(error.has_value());
      }
      EXPECT_EQ(HandlesLeft(), 0u) << call;
    }
    world_.failing.FailCall(0, kSuccess);
  }
}

}  // namespace
}  // namespace nerio
