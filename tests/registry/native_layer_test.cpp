#include "nerio/registry/native_layer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <optional>

#include "nerio/types/utf8.h"
#include "tests/registry/registry_world.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/status_output.h"
#include "tests/testing/tables.h"

namespace nerio::registry {
namespace {

using namespace platform;        // NOLINT(google-build-using-namespace): every native name below is the seam's
using namespace nerio::testing;  // NOLINT(google-build-using-namespace): every tool below is the tests'

constexpr std::uint32_t kEveryRightOfTheMask[] = {kReadControl,         kKeyQueryValue, kKeySetValue,  kKeyCreateSubKey,
                                                  kKeyEnumerateSubKeys, kKeyNotify,     kKeyCreateLink};
constexpr std::int16_t kJunkResult = 77;
const std::string kEmptyBuffer(1024, '\0');

// The seven arguments, filled with junk that shows what a call leaves alone.
struct Arguments {
  std::int32_t operation = 0;
  KeyHandle root = kHkeyLocalMachine;
  Text path = u"Software\\App";
  Text valueName = u"Nome";
  Text valueData = u"dato";
  std::int16_t valueType = 1;
  std::int16_t result = kJunkResult;

  friend bool operator==(const Arguments&, const Arguments&) = default;
};

void PrintTo(const Arguments& arguments, std::ostream* out) {
  *out << "operation " << arguments.operation << ", root " << arguments.root << ", path \"" << ToUtf8(arguments.path)
       << "\", name \"" << ToUtf8(arguments.valueName) << "\", data \"" << ToUtf8(arguments.valueData) << "\" of "
       << arguments.valueData.size() << ", type " << arguments.valueType << ", result " << arguments.result;
}

class NativeLayer : public ::testing::Test {
 protected:
  // Makes the call; `calls()` has its native calls afterwards.
  std::int16_t Run(Arguments& arguments, CodePage* codePage = nullptr) {
    world_.recorder.calls.clear();
    OperazioneRegistro(arguments.operation, arguments.root, arguments.path, arguments.valueName, arguments.valueData,
                       arguments.valueType, arguments.result, world_.recorder,
                       codePage != nullptr ? *codePage : world_.codePage);
    return arguments.result;
  }
  std::int16_t Run(std::int32_t operation) {
    Arguments arguments;
    arguments.operation = operation;
    return Run(arguments);
  }
  const Transcript& calls() const { return world_.recorder.calls; }

  void Store(const AnsiText& name, std::uint32_t type, const std::string& data) {
    StoreValue(model_, kHkeyLocalMachine, "Software\\App"_ansi, name, type, data);
  }
  std::string Stored(const AnsiText& name) { return ValueOf(model_, kHkeyLocalMachine, "Software\\App"_ansi, name); }

  RegistryWorld world_;
  InMemoryRegistry& model_ = world_.model;
};

TEST(NativeLayerConstants, HaveTheirNumbers) {
  EXPECT_EQ(REGISTRY_ACCESS, 0x2003Fu);
  EXPECT_EQ(READ_BUFFER_SIZE, 1024u);
  EXPECT_EQ(opVerificaChiave, 1);
  EXPECT_EQ(opCreaChiave, 2);
  EXPECT_EQ(opCancellaChiave, 3);
  EXPECT_EQ(opLeggiValore, 4);
  EXPECT_EQ(opScriviValore, 5);
  EXPECT_EQ(opCreaChiaveConValore, 6);
  EXPECT_EQ(opCancellaValore, 7);
}

TEST_F(NativeLayer, AnyOtherCode_GivesResult0AndTouchesNothing) {
  MakeKey(model_, kHkeyLocalMachine, "Software\\App"_ansi);
  for (const std::int32_t code : {0, 8, -1, 9, 100, 65537, 65540, std::numeric_limits<std::int32_t>::min(),
                                  std::numeric_limits<std::int32_t>::max()}) {
    Arguments arguments;
    arguments.operation = code;
    Arguments expected = arguments;
    expected.result = 0;
    Run(arguments);
    EXPECT_EQ(arguments, expected);
    EXPECT_EQ(calls(), Transcript{}) << code;
  }
}

// Transcripts: each code when all goes well, and when the open fails.

TEST_F(NativeLayer, VerificaChiave_ExistingKey_OpensAndCloses) {
  MakeKey(model_, kHkeyLocalMachine, "Software\\App"_ansi);
  const KeyHandle key = model_.NextHandle();
  EXPECT_EQ(Run(opVerificaChiave), 1);
  EXPECT_EQ(calls(), (Transcript{OpenKeyCall{kHkeyLocalMachine, "Software\\App"_ansi, 0, 0x2003F}, CloseKeyCall{key}}));
}

TEST_F(NativeLayer, VerificaChiave_MissingKey_OpensOnly) {
  EXPECT_EQ(Run(opVerificaChiave), 0);
  EXPECT_EQ(calls(), (Transcript{OpenKeyCall{kHkeyLocalMachine, "Software\\App"_ansi, 0, 0x2003F}}));
}

TEST_F(NativeLayer, CreaChiave_MissingKey_OpensTheRootCreatesBelowItAndClosesTheRootOnly) {
  const KeyHandle root = model_.NextHandle();
  EXPECT_EQ(Run(opCreaChiave), 1);
  EXPECT_EQ(calls(), (Transcript{OpenKeyCall{kHkeyLocalMachine, ""_ansi, 0, 0x2003F},
                                 CreateKeyCall{root, "Software\\App"_ansi, 0, ""_ansi, 0, 0x2003F, 0, nullptr, 0},
                                 CloseKeyCall{root}}));
  EXPECT_TRUE(KeyExists(model_, kHkeyLocalMachine, "Software\\App"_ansi));
}

TEST_F(NativeLayer, CreaChiave_EachCall_LeavesTheHandleOfItsKeyOpen) {
  for (std::size_t call = 1; call <= 3; ++call) {
    const KeyHandle created = model_.NextHandle() + InMemoryRegistry::kHandleStep;
    EXPECT_EQ(Run(opCreaChiave), 1);
    EXPECT_EQ(model_.OpenHandles(), call);
    EXPECT_EQ(model_.SetValue(created, "v"_ansi, 0, kRegSz, std::span<const char>()), kSuccess)
        << "the key's own handle";
  }
}

TEST_F(NativeLayer, CreaChiave_RootCannotBeOpened_CreatesNothing) {
  model_.SetRights(kHkeyLocalMachine, ""_ansi, 0);
  EXPECT_EQ(Run(opCreaChiave), 0);
  EXPECT_EQ(calls(), (Transcript{OpenKeyCall{kHkeyLocalMachine, ""_ansi, 0, 0x2003F}}));
}

TEST_F(NativeLayer, CancellaChiave_ExistingKey_OpensTheRootDeletesBelowItAndCloses) {
  MakeKey(model_, kHkeyLocalMachine, "Software\\App"_ansi);
  const KeyHandle root = model_.NextHandle();
  EXPECT_EQ(Run(opCancellaChiave), 1);
  EXPECT_EQ(calls(), (Transcript{OpenKeyCall{kHkeyLocalMachine, ""_ansi, 0, 0x2003F},
                                 DeleteKeyCall{root, "Software\\App"_ansi}, CloseKeyCall{root}}));
  EXPECT_FALSE(KeyExists(model_, kHkeyLocalMachine, "Software\\App"_ansi));
  EXPECT_TRUE(KeyExists(model_, kHkeyLocalMachine, "Software"_ansi));
}

TEST_F(NativeLayer, CancellaChiave_MissingKey_GivesResult0AndClosesTheRoot) {
  const KeyHandle root = model_.NextHandle();
  EXPECT_EQ(Run(opCancellaChiave), 0);
  EXPECT_EQ(calls(), (Transcript{OpenKeyCall{kHkeyLocalMachine, ""_ansi, 0, 0x2003F},
                                 DeleteKeyCall{root, "Software\\App"_ansi}, CloseKeyCall{root}}));
}

TEST_F(NativeLayer, CancellaChiave_KeyWithSubkeys_DeletesNothing) {
  MakeKey(model_, kHkeyLocalMachine, "Software\\App\\Sotto"_ansi);
  EXPECT_EQ(Run(opCancellaChiave), 0);
  EXPECT_TRUE(KeyExists(model_, kHkeyLocalMachine, "Software\\App\\Sotto"_ansi));
}

TEST_F(NativeLayer, LeggiValore_ExistingValue_OffersABufferOf1024NulsAndTheCallersType) {
  Store("Nome"_ansi, kRegSz, "abc");
  const KeyHandle key = model_.NextHandle();
  Arguments arguments;
  arguments.operation = opLeggiValore;
  arguments.valueType = 2;
  EXPECT_EQ(Run(arguments), 1);
  EXPECT_EQ(arguments.valueData, u"abc");
  EXPECT_EQ(calls(), (Transcript{OpenKeyCall{kHkeyLocalMachine, "Software\\App"_ansi, 0, 0x2003F},
                                 QueryValueCall{key, "Nome"_ansi, 2, kEmptyBuffer, 1024}, CloseKeyCall{key}}));
}

TEST_F(NativeLayer, LeggiValore_MissingValue_LeavesTheDataAndCloses) {
  MakeKey(model_, kHkeyLocalMachine, "Software\\App"_ansi);
  const KeyHandle key = model_.NextHandle();
  Arguments arguments;
  arguments.operation = opLeggiValore;
  EXPECT_EQ(Run(arguments), 0);
  EXPECT_EQ(arguments.valueData, u"dato");
  EXPECT_EQ(calls(), (Transcript{OpenKeyCall{kHkeyLocalMachine, "Software\\App"_ansi, 0, 0x2003F},
                                 QueryValueCall{key, "Nome"_ansi, 1, kEmptyBuffer, 1024}, CloseKeyCall{key}}));
}

TEST_F(NativeLayer, LeggiValore_MissingKey_OpensOnlyAndLeavesTheData) {
  Arguments arguments;
  arguments.operation = opLeggiValore;
  EXPECT_EQ(Run(arguments), 0);
  EXPECT_EQ(arguments.valueData, u"dato");
  EXPECT_EQ(calls(), (Transcript{OpenKeyCall{kHkeyLocalMachine, "Software\\App"_ansi, 0, 0x2003F}}));
}

TEST_F(NativeLayer, ScriviValore_ThreeCharacters_StoresExactlyThreeBytes) {
  MakeKey(model_, kHkeyLocalMachine, "Software\\App"_ansi);
  const KeyHandle key = model_.NextHandle();
  Arguments arguments;
  arguments.operation = opScriviValore;
  arguments.valueData = u"abc";
  EXPECT_EQ(Run(arguments), 1);
  EXPECT_EQ(calls(), (Transcript{OpenKeyCall{kHkeyLocalMachine, "Software\\App"_ansi, 0, 0x2003F},
                                 SetValueCall{key, "Nome"_ansi, 0, 1, "abc"}, CloseKeyCall{key}}));
  EXPECT_EQ(Stored("Nome"_ansi), "1:616263");
}

TEST_F(NativeLayer, ScriviValore_MissingKey_OpensOnlyAndCreatesNothing) {
  EXPECT_EQ(Run(opScriviValore), 0);
  EXPECT_EQ(calls(), (Transcript{OpenKeyCall{kHkeyLocalMachine, "Software\\App"_ansi, 0, 0x2003F}}));
  EXPECT_FALSE(KeyExists(model_, kHkeyLocalMachine, "Software"_ansi));
}

TEST_F(NativeLayer, CreaChiaveConValore_ThreeCharacters_StoresFourBytesAsTheUnnamedValue) {
  const KeyHandle key = model_.NextHandle();
  Arguments arguments;
  arguments.operation = opCreaChiaveConValore;
  arguments.valueData = u"abc";
  arguments.valueType = 3;
  EXPECT_EQ(Run(arguments), 1);
  EXPECT_EQ(calls(),
            (Transcript{CreateKeyCall{kHkeyLocalMachine, "Software\\App"_ansi, 0, ""_ansi, 0, 0x2, 0, nullptr, 0},
                        SetValueCall{key, ""_ansi, 0, 1, std::string("abc\0", 4)}, CloseKeyCall{key}}));
  EXPECT_EQ(Stored(""_ansi), "1:61626300") << "a string, whatever the caller's type";
}

TEST_F(NativeLayer, CreaChiaveConValore_CreationRefused_MakesNoOtherCall) {
  MakeKey(model_, kHkeyLocalMachine, "Software\\App"_ansi);
  model_.SetRights(kHkeyLocalMachine, "Software\\App"_ansi, kKeyRead);
  EXPECT_EQ(Run(opCreaChiaveConValore), 0);
  EXPECT_EQ(calls(),
            (Transcript{CreateKeyCall{kHkeyLocalMachine, "Software\\App"_ansi, 0, ""_ansi, 0, 0x2, 0, nullptr, 0}}));
}

TEST_F(NativeLayer, CancellaValore_ExistingValue_DeletesAndCloses) {
  Store("Nome"_ansi, kRegSz, "abc");
  const KeyHandle key = model_.NextHandle();
  EXPECT_EQ(Run(opCancellaValore), 1);
  EXPECT_EQ(calls(), (Transcript{OpenKeyCall{kHkeyLocalMachine, "Software\\App"_ansi, 0, 0x2003F},
                                 DeleteValueCall{key, "Nome"_ansi}, CloseKeyCall{key}}));
  EXPECT_EQ(Stored("Nome"_ansi), "2");
}

TEST_F(NativeLayer, CancellaValore_MissingValue_GivesResult0AndCloses) {
  MakeKey(model_, kHkeyLocalMachine, "Software\\App"_ansi);
  const KeyHandle key = model_.NextHandle();
  EXPECT_EQ(Run(opCancellaValore), 0);
  EXPECT_EQ(calls(), (Transcript{OpenKeyCall{kHkeyLocalMachine, "Software\\App"_ansi, 0, 0x2003F},
                                 DeleteValueCall{key, "Nome"_ansi}, CloseKeyCall{key}}));
}

TEST_F(NativeLayer, CancellaValore_MissingKey_OpensOnly) {
  EXPECT_EQ(Run(opCancellaValore), 0);
  EXPECT_EQ(calls(), (Transcript{OpenKeyCall{kHkeyLocalMachine, "Software\\App"_ansi, 0, 0x2003F}}));
}

TEST_F(NativeLayer, EveryCode_TakesAnOpenKeyAsItsRoot) {
  MakeKey(model_, kHkeyCurrentUser, "Base"_ansi);
  KeyHandle base = 0;
  ASSERT_EQ(model_.OpenKey(kHkeyCurrentUser, "Base"_ansi, 0, kLayerAccess, base), kSuccess);
  Arguments arguments;
  arguments.root = base;
  arguments.path = u"A\\B";
  for (const std::int32_t code : {opCreaChiave, opVerificaChiave, opScriviValore, opLeggiValore, opCancellaValore,
                                  opCreaChiaveConValore, opCancellaChiave}) {
    arguments.operation = code;
    EXPECT_EQ(Run(arguments), 1) << code;
  }
  EXPECT_THAT(ContentsOf(model_, kHkeyCurrentUser, "Base"_ansi), ::testing::ElementsAre("\\A"));
}

// What every failing native call leads to: the result, the closes, the variables.

struct Sweep {
  std::int32_t operation;
  std::size_t failingCall;  // 0: none
  std::int16_t result;
  TextView valueName;  // afterwards; before it is "Nome Ж", which the code page turns into "Nome ?"
  TextView valueData;  // afterwards; before it is "dato Ж"
  std::size_t openHandles;
};

const Sweep kSweeps[] = {
    // open, close
    {opVerificaChiave, 0, 1, u"Nome Ж", u"dato Ж", 0},
    {opVerificaChiave, 1, 0, u"Nome Ж", u"dato Ж", 0},
    {opVerificaChiave, 2, 1, u"Nome Ж", u"dato Ж", 0},
    // open the root, create, close the root; the created key stays open
    {opCreaChiave, 0, 1, u"Nome Ж", u"dato Ж", 1},
    {opCreaChiave, 1, 0, u"Nome Ж", u"dato Ж", 0},
    {opCreaChiave, 2, 0, u"Nome Ж", u"dato Ж", 0},
    {opCreaChiave, 3, 1, u"Nome Ж", u"dato Ж", 1},
    // open the root, delete, close
    {opCancellaChiave, 0, 1, u"Nome Ж", u"dato Ж", 0},
    {opCancellaChiave, 1, 0, u"Nome Ж", u"dato Ж", 0},
    {opCancellaChiave, 2, 0, u"Nome Ж", u"dato Ж", 0},
    {opCancellaChiave, 3, 1, u"Nome Ж", u"dato Ж", 0},
    // open, query, close
    {opLeggiValore, 0, 1, u"Nome Ж", u"letto", 0},
    {opLeggiValore, 1, 0, u"Nome Ж", u"dato Ж", 0},
    {opLeggiValore, 2, 0, u"Nome Ж", u"dato Ж", 0},
    {opLeggiValore, 3, 1, u"Nome Ж", u"letto", 0},
    // open, set, close
    {opScriviValore, 0, 1, u"Nome Ж", u"dato Ж", 0},
    {opScriviValore, 1, 0, u"Nome Ж", u"dato Ж", 0},
    {opScriviValore, 2, 0, u"Nome Ж", u"dato Ж", 0},
    {opScriviValore, 3, 1, u"Nome Ж", u"dato Ж", 0},
    // create, set, close; the path goes into the name first, the empty text once the key is there, and the data comes
    // back from the code page
    {opCreaChiaveConValore, 0, 1, u"", u"dato ?", 0},
    {opCreaChiaveConValore, 1, 0, u"Software\\App", u"dato Ж", 0},
    {opCreaChiaveConValore, 2, 0, u"", u"dato ?", 0},
    {opCreaChiaveConValore, 3, 1, u"", u"dato ?", 0},
    // open, delete, close; the name comes back from the code page once it was used
    {opCancellaValore, 0, 1, u"Nome ?", u"dato Ж", 0},
    {opCancellaValore, 1, 0, u"Nome Ж", u"dato Ж", 0},
    {opCancellaValore, 2, 0, u"Nome ?", u"dato Ж", 0},
    {opCancellaValore, 3, 1, u"Nome ?", u"dato Ж", 0},
};

// Returns what follows a failure of the `failing`-th of some calls: only the closes of the keys that were open by then.
Transcript WhatFollows(const Transcript& calls, std::size_t failing, KeyHandle firstHandle) {
  KeyHandle next = firstHandle;
  Transcript expected;
  for (std::size_t i = 0; i < calls.size(); ++i) {
    const CloseKeyCall* close = std::get_if<CloseKeyCall>(&calls[i]);
    if (i < failing || (close != nullptr && close->key < next)) expected.push_back(calls[i]);
    const bool opens = std::holds_alternative<OpenKeyCall>(calls[i]) || std::holds_alternative<CreateKeyCall>(calls[i]);
    if (opens && i + 1 < failing) next += InMemoryRegistry::kHandleStep;
  }
  return expected;
}

TEST(NativeLayerFailures, EachNativeCallInTurn_EndsTheOperationAndClosesWhatIsOpen) {
  Transcript whole;
  for (const Sweep& row : kSweeps) {
    for (const Status status : {kFileNotFound, kAccessDenied, kMoreData, kKeyDeleted, Status{1}, Status{-1}}) {
      SCOPED_TRACE(::testing::Message() << "code " << row.operation << ", failing call " << row.failingCall
                                        << ", status " << status);
      RegistryWorld world;
      if (row.operation != opCreaChiave && row.operation != opCreaChiaveConValore) {
        StoreValue(world.model, kHkeyLocalMachine, "Software\\App"_ansi, "Nome ?"_ansi, kRegSz, "letto");
      }
      const KeyHandle firstHandle = world.model.NextHandle();
      Arguments arguments;
      arguments.operation = row.operation;
      arguments.valueName = u"Nome Ж";
      arguments.valueData = u"dato Ж";
      Arguments expected = arguments;
      expected.valueName = row.valueName;
      expected.valueData = row.valueData;
      expected.result = row.result;
      world.failing.FailCall(row.failingCall, status);
      OperazioneRegistro(arguments.operation, arguments.root, arguments.path, arguments.valueName, arguments.valueData,
                         arguments.valueType, arguments.result, world.recorder, world.codePage);
      EXPECT_EQ(arguments, expected);
      EXPECT_EQ(world.model.OpenHandles(), row.openHandles);
      if (row.failingCall == 0) whole = world.recorder.calls;
      ASSERT_LE(row.failingCall, whole.size());
      EXPECT_EQ(world.recorder.calls, row.failingCall == 0 ? whole : WhatFollows(whole, row.failingCall, firstHandle));
      for (const RegistryCall& call : world.recorder.calls) {
        EXPECT_FALSE(std::holds_alternative<EnumKeyCall>(call) || std::holds_alternative<EnumValueCall>(call));
      }
    }
  }
}

TEST(NativeLayerFailures, TheTableHasEveryNativeCallOfEveryCode) {
  for (std::int32_t code = opVerificaChiave; code <= opCancellaValore; ++code) {
    const auto rows = std::count_if(std::begin(kSweeps), std::end(kSweeps),
                                    [code](const Sweep& row) { return row.operation == code; });
    EXPECT_EQ(rows, code == opVerificaChiave ? 3 : 4) << code;
  }
}

// Reading.

struct Reading {
  std::int16_t callersType;
  std::uint32_t storedType;
  std::string stored;
  Text text;
};

TEST_F(NativeLayer, LeggiValore_TrimsByTheCallersTypeAndNeverByTheStoredOne) {
  const auto bytes = [](const char* hex) { return FromHex(hex); };
  const Reading kReadings[] = {
      {1, kRegSz, "abc", u"abc"},
      {1, kRegSz, bytes("61626300"), u"abc"},
      {2, kRegSz, bytes("61626300"), u"abc"},
      {1, kRegExpandSz, bytes("61626300"), u"abc"},
      {1, kRegSz, "", u""},
      {1, kRegSz, bytes("00"), u""},
      {1, kRegSz, bytes("61000062"), u"ab"},
      // a multi-string runs together
      {1, kRegMultiSz, bytes("6F6E650074776F0000"), u"onetwo"},
      {2, kRegMultiSz, bytes("6F6E650074776F0000"), u"onetwo"},
      // a number gives its bytes without the zero ones
      {1, kRegDword, bytes("00000000"), u""},
      {1, kRegDword, bytes("41004200"), u"AB"},
      {1, kRegDword, bytes("FF0080E8"), u"\u00FF\u20AC\u00E8"},
      {1, kRegBinary, bytes("8100"), u"\u0081"},
      // any other type of the caller keeps every NUL, also of a string
      {7, kRegMultiSz, bytes("6F6E650074776F0000"), Text(u"one\0two\0\0", 9)},
      {7, kRegSz, bytes("61626300"), Text(u"abc\0", 4)},
      {3, kRegSz, bytes("61626300"), Text(u"abc\0", 4)},
      {0, kRegSz, bytes("61626300"), Text(u"abc\0", 4)},
      {4, kRegDword, bytes("00000000"), Text(4, u'\0')},
      {-1, kRegSz, bytes("6100"), Text(u"a\0", 2)},
      {257, kRegSz, bytes("6100"), Text(u"a\0", 2)},
      {32767, kRegSz, "", u""},
  };
  for (const Reading& row : kReadings) {
    Store("Nome"_ansi, row.storedType, row.stored);
    Arguments arguments;
    arguments.operation = opLeggiValore;
    arguments.valueType = row.callersType;
    Arguments expected = arguments;
    expected.valueData = row.text;
    expected.result = 1;
    Run(arguments);
    EXPECT_EQ(arguments, expected) << "stored " << row.storedType << ':' << ToHex(row.stored);
  }
}

TEST_F(NativeLayer, LeggiValore_StringOf1023CharactersOrFewer_ComesWholeWithoutItsTerminator) {
  for (const std::size_t length : {0u, 1u, 2u, 511u, 1022u, 1023u}) {
    Store("Nome"_ansi, kRegSz, std::string(length, 'x') + '\0');
    Arguments arguments;
    arguments.operation = opLeggiValore;
    EXPECT_EQ(Run(arguments), 1) << length;
    EXPECT_EQ(arguments.valueData, Text(length, u'x'));
  }
}

TEST_F(NativeLayer, LeggiValore_1024BytesFitAndMoreFailInsteadOfBeingCut) {
  Store("Nome"_ansi, kRegSz, std::string(1024, 'x'));
  Arguments arguments;
  arguments.operation = opLeggiValore;
  EXPECT_EQ(Run(arguments), 1);
  EXPECT_EQ(arguments.valueData, Text(1024, u'x'));
  for (const std::string& stored : {std::string(1025, 'x'), std::string(1024, 'x') + '\0', std::string(70000, 'x')}) {
    Store("Nome"_ansi, kRegSz, stored);
    arguments.valueData = u"dato";
    arguments.result = kJunkResult;
    EXPECT_EQ(Run(arguments), 0) << stored.size();
    EXPECT_EQ(arguments.valueData, u"dato");
  }
}

TEST_F(NativeLayer, LeggiValore_EmptyName_ReadsTheUnnamedValue) {
  Store(""_ansi, kRegSz, "senza nome");
  Arguments arguments;
  arguments.operation = opLeggiValore;
  arguments.valueName.clear();
  EXPECT_EQ(Run(arguments), 1);
  EXPECT_EQ(arguments.valueData, u"senza nome");
}

// A registry that reports more bytes than it was offered.
class Boasting final : public ForwardingRegistry {
 public:
  using ForwardingRegistry::ForwardingRegistry;
  Status QueryValue(KeyHandle, const AnsiText&, std::uint32_t& type, std::span<char> data,
                    std::uint32_t& size) override {
    std::fill(data.begin(), data.end(), 'z');
    type = kRegSz;
    size = 0xFFFFFFFF;
    return kSuccess;
  }
};

TEST_F(NativeLayer, LeggiValore_CountBeyondTheBuffer_KeepsTheBuffer) {
  MakeKey(model_, kHkeyLocalMachine, "Software\\App"_ansi);
  Boasting boasting(model_);
  Arguments arguments;
  OperazioneRegistro(arguments.operation = opLeggiValore, arguments.root, arguments.path, arguments.valueName,
                     arguments.valueData, arguments.valueType, arguments.result, boasting, world_.codePage);
  EXPECT_EQ(arguments.result, 1);
  EXPECT_EQ(arguments.valueData, Text(1024, u'z'));
}

// Writing.

TEST_F(NativeLayer, ScriviValore_StoresTheCallersTypeExtendedWithItsSign) {
  MakeKey(model_, kHkeyLocalMachine, "Software\\App"_ansi);
  const std::pair<std::int16_t, const char*> kTypes[] = {
      {0, "0:6461746F"},   {1, "1:6461746F"},         {2, "2:6461746F"},           {4, "4:6461746F"},
      {99, "99:6461746F"}, {32767, "32767:6461746F"}, {-1, "4294967295:6461746F"}, {-32768, "4294934528:6461746F"},
  };
  for (const auto& [type, stored] : kTypes) {
    Arguments arguments;
    arguments.operation = opScriviValore;
    arguments.valueType = type;
    EXPECT_EQ(Run(arguments), 1) << type;
    EXPECT_EQ(Stored("Nome"_ansi), stored);
  }
}

TEST_F(NativeLayer, ScriviValore_CountsTheCharactersNulsIncluded) {
  MakeKey(model_, kHkeyLocalMachine, "Software\\App"_ansi);
  const std::pair<Text, const char*> kDatas[] = {
      {u"", "1:"},
      {u"a", "1:61"},
      {Text(u"a\0b", 3), "1:610062"},
      {Text(u"\0", 1), "1:00"},
      {u"è€Ж", "1:E8803F"},
      {u"\U0001F600", "1:3F3F"},
      {Text{u'\xD83D'}, "1:3F"},
  };
  for (const auto& [data, stored] : kDatas) {
    Arguments arguments;
    arguments.operation = opScriviValore;
    arguments.valueData = data;
    EXPECT_EQ(Run(arguments), 1);
    EXPECT_EQ(Stored("Nome"_ansi), stored);
    EXPECT_EQ(arguments.valueData, data) << "a write leaves the data alone";
  }
}

TEST_F(NativeLayer, CreaChiaveConValore_EmptyText_StoresTheTerminatorAlone) {
  Arguments arguments;
  arguments.operation = opCreaChiaveConValore;
  arguments.valueData.clear();
  EXPECT_EQ(Run(arguments), 1);
  EXPECT_EQ(Stored(""_ansi), "1:00");
}

TEST_F(NativeLayer, CreaChiaveConValore_ExistingKey_WritesItsUnnamedValue) {
  Store(""_ansi, kRegBinary, "old");
  Store("Nome"_ansi, kRegSz, "altro");
  EXPECT_EQ(Run(opCreaChiaveConValore), 1);
  EXPECT_EQ(Stored(""_ansi), "1:6461746F00");
  EXPECT_EQ(Stored("Nome"_ansi), "1:616C74726F");
}

// The code page.

TEST_F(NativeLayer, PathAndName_AreConvertedToTheCodePage) {
  MakeKey(model_, kHkeyLocalMachine, AnsiText("Citt\xE0\\?"));
  const KeyHandle key = model_.NextHandle();
  Arguments arguments;
  arguments.operation = opScriviValore;
  arguments.path = u"Città\\Ж";
  arguments.valueName = u"€ Ā";
  EXPECT_EQ(Run(arguments), 1);
  EXPECT_EQ(calls(), (Transcript{OpenKeyCall{kHkeyLocalMachine, AnsiText("Citt\xE0\\?"), 0, 0x2003F},
                                 SetValueCall{key, AnsiText("\x80 A"), 0, 1, "dato"}, CloseKeyCall{key}}));
  EXPECT_EQ(arguments.path, u"Città\\Ж");
  EXPECT_EQ(arguments.valueName, u"€ Ā");
}

// A code page in which every character beyond ASCII takes two bytes: 81 and its own low byte.
class TwoByteCodePage final : public CodePage {
 public:
  std::uint32_t Identifier() override { return 0; }
  AnsiText ToAnsi(TextView text) override {
    std::string bytes;
    for (const char16_t unit : text) {
      if (unit >= 0x80) bytes += '\x81';
      bytes += static_cast<char>(unit & 0xFF);
    }
    return AnsiText(bytes);
  }
  Text ToText(std::string_view bytes) override {
    Text text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      const bool lead = bytes[i] == '\x81' && i + 1 < bytes.size();
      text += static_cast<char16_t>(static_cast<unsigned char>(bytes[lead ? ++i : i]));
    }
    return text;
  }
};

TEST_F(NativeLayer, TwoByteCodePage_AWriteIsCutToTheCharactersOfTheText) {
  MakeKey(model_, kHkeyLocalMachine, "Software\\App"_ansi);
  TwoByteCodePage codePage;
  Arguments arguments;
  arguments.operation = opScriviValore;
  arguments.valueData = u"èàù";
  EXPECT_EQ(Run(arguments, &codePage), 1);
  EXPECT_EQ(Stored("Nome"_ansi), "1:81E881");
  arguments.operation = opCreaChiaveConValore;
  EXPECT_EQ(Run(arguments, &codePage), 1);
  EXPECT_EQ(Stored(""_ansi), "1:81E881E0") << "one more, and no terminator";
  EXPECT_EQ(arguments.valueData, u"èàù");
}

TEST_F(NativeLayer, TwoByteCodePage_AReadConvertsTheWholeBufferAndKeepsAsManyCharactersAsBytes) {
  TwoByteCodePage codePage;
  Arguments arguments;
  arguments.operation = opLeggiValore;
  Store("Nome"_ansi, kRegSz, "\x81\xE8\x81\xE0\x81\xF9");
  arguments.valueType = 3;
  EXPECT_EQ(Run(arguments, &codePage), 1);
  EXPECT_EQ(arguments.valueData, Text(u"èàù\0\0\0", 6));
  arguments.valueType = 1;
  EXPECT_EQ(Run(arguments, &codePage), 1);
  EXPECT_EQ(arguments.valueData, u"èàù");
  // A cut character is completed by the buffer's next byte, not left alone at the end.
  Store("Nome"_ansi, kRegSz, "\x81\xE8\x81");
  arguments.valueType = 3;
  EXPECT_EQ(Run(arguments, &codePage), 1);
  EXPECT_EQ(arguments.valueData, Text(u"è\0\0", 3));
  Store("Nome"_ansi, kRegSz, "ab\x81");
  EXPECT_EQ(Run(arguments, &codePage), 1);
  EXPECT_EQ(arguments.valueData, Text(u"ab\0", 3)) << "also where there are as many characters as bytes without it";
}

// A code page that makes fewer bytes than characters: NULs and "x" vanish.
class LosingCodePage final : public CodePage {
 public:
  std::uint32_t Identifier() override { return 0; }
  AnsiText ToAnsi(TextView text) override {
    std::string bytes;
    for (const char16_t unit : text) {
      if (unit != u'\0' && unit != u'x') bytes += static_cast<char>(unit);
    }
    return AnsiText(bytes);
  }
  Text ToText(std::string_view bytes) override {
    Text text;
    for (const char byte : bytes) {
      if (byte != '\0') text += static_cast<char16_t>(static_cast<unsigned char>(byte));
    }
    return text;
  }
};

TEST_F(NativeLayer, CodePageWithFewerBytes_AWriteIsFilledUpAndNeverReadsPastTheBuffer) {
  MakeKey(model_, kHkeyLocalMachine, "Software\\App"_ansi);
  LosingCodePage codePage;
  Arguments arguments;
  arguments.operation = opScriviValore;
  arguments.valueData = u"axbxx";
  EXPECT_EQ(Run(arguments, &codePage), 1);
  EXPECT_EQ(Stored("Nome"_ansi), "1:6162000000");
  arguments.operation = opCreaChiaveConValore;
  EXPECT_EQ(Run(arguments, &codePage), 1);
  EXPECT_EQ(Stored(""_ansi), "1:616200000000");
  EXPECT_EQ(arguments.valueData, u"ab") << "as the code page returns it";
}

TEST_F(NativeLayer, CodePageWithFewerBytes_AReadStillOffers1024Bytes) {
  Store("Nome"_ansi, kRegSz, std::string("a\0b", 3));
  LosingCodePage codePage;
  const KeyHandle key = model_.NextHandle();
  Arguments arguments;
  arguments.operation = opLeggiValore;
  arguments.valueType = 3;
  EXPECT_EQ(Run(arguments, &codePage), 1);
  EXPECT_EQ(arguments.valueData, u"ab") << "fewer characters than the count: all there are";
  EXPECT_EQ(calls(), (Transcript{OpenKeyCall{kHkeyLocalMachine, "Software\\App"_ansi, 0, 0x2003F},
                                 QueryValueCall{key, "Nome"_ansi, 3, kEmptyBuffer, 1024}, CloseKeyCall{key}}));
}

// Rights.

TEST_F(NativeLayer, KeyThatRefusesOneRightOfTheMask_CannotBeOpenedByCodes1457) {
  Store("Nome"_ansi, kRegSz, "abc");
  for (const std::uint32_t right : kEveryRightOfTheMask) {
    model_.SetRights(kHkeyLocalMachine, "Software\\App"_ansi, InMemoryRegistry::kAllRights & ~right);
    for (const std::int32_t code : {opVerificaChiave, opLeggiValore, opScriviValore, opCancellaValore}) {
      Arguments arguments;
      arguments.operation = code;
      EXPECT_EQ(Run(arguments), 0) << "code " << code << " without right " << right;
      EXPECT_EQ(arguments.valueData, u"dato");
      EXPECT_EQ(calls(), (Transcript{OpenKeyCall{kHkeyLocalMachine, "Software\\App"_ansi, 0, 0x2003F}}));
    }
    EXPECT_EQ(model_.OpenHandles(), 0u);
  }
  model_.SetRights(kHkeyLocalMachine, "Software\\App"_ansi, InMemoryRegistry::kAllRights);
  EXPECT_EQ(Stored("Nome"_ansi), "1:616263");
}

TEST_F(NativeLayer, RootThatRefusesOneRightOfTheMask_CannotBeUsedByCodes2And3ButByCodes1And4) {
  Store("Nome"_ansi, kRegSz, "abc");
  for (const std::uint32_t right : kEveryRightOfTheMask) {
    model_.SetRights(kHkeyLocalMachine, ""_ansi, InMemoryRegistry::kAllRights & ~right);
    for (const std::int32_t code : {opCreaChiave, opCancellaChiave}) {
      EXPECT_EQ(Run(code), 0) << "code " << code << " without right " << right;
      EXPECT_EQ(calls(), (Transcript{OpenKeyCall{kHkeyLocalMachine, ""_ansi, 0, 0x2003F}}));
    }
    EXPECT_EQ(Run(opVerificaChiave), 1);
    EXPECT_EQ(Run(opLeggiValore), 1);
  }
}

TEST_F(NativeLayer, KeyThatRefusesTheRightsOutsideTheMask_CanBeUsed) {
  Store("Nome"_ansi, kRegSz, "abc");
  model_.SetRights(kHkeyLocalMachine, "Software\\App"_ansi, REGISTRY_ACCESS);
  for (const std::int32_t code : {opVerificaChiave, opLeggiValore, opScriviValore, opCancellaValore, opCreaChiave}) {
    EXPECT_EQ(Run(code), 1) << code;
  }
  EXPECT_EQ(Run(opCancellaChiave), 0) << "the key refuses its own deletion";
}

// One variable for two arguments.

TEST_F(NativeLayer, OneVariableForPathAndName_Works) {
  Store("Software\\App"_ansi, kRegSz, "omonimo");
  const auto run = [&](std::int32_t operation, Text& pathAndName, Text& data) {
    KeyHandle root = kHkeyLocalMachine;
    std::int16_t type = 1;
    std::int16_t result = kJunkResult;
    OperazioneRegistro(operation, root, pathAndName, pathAndName, data, type, result, world_.recorder, world_.codePage);
    return result;
  };
  Text both = u"Software\\App";
  Text data;
  EXPECT_EQ(run(opLeggiValore, both, data), 1);
  EXPECT_EQ(data, u"omonimo");
  data = u"nuovo";
  EXPECT_EQ(run(opScriviValore, both, data), 1);
  EXPECT_EQ(Stored("Software\\App"_ansi), "1:6E756F766F");
  EXPECT_EQ(run(opCancellaValore, both, data), 1);
  EXPECT_EQ(Stored("Software\\App"_ansi), "2");
  EXPECT_EQ(both, u"Software\\App");
  both = u"Software\\Sei";
  EXPECT_EQ(run(opCreaChiaveConValore, both, data), 1);
  EXPECT_EQ(ValueOf(model_, kHkeyLocalMachine, "Software\\Sei"_ansi, ""_ansi), "1:6E756F766F00");
  EXPECT_EQ(both, u"") << "emptied as the name";
}

TEST_F(NativeLayer, OneVariableForPathAndData_Works) {
  Store("Nome"_ansi, kRegSz, "letto");
  const auto run = [&](std::int32_t operation, Text& pathAndData) {
    KeyHandle root = kHkeyLocalMachine;
    Text name = u"Nome";
    std::int16_t type = 1;
    std::int16_t result = kJunkResult;
    OperazioneRegistro(operation, root, pathAndData, name, pathAndData, type, result, world_.recorder, world_.codePage);
    return result;
  };
  Text both = u"Software\\App";
  EXPECT_EQ(run(opLeggiValore, both), 1);
  EXPECT_EQ(both, u"letto");
  both = u"Software\\App";
  EXPECT_EQ(run(opScriviValore, both), 1);
  EXPECT_EQ(Stored("Nome"_ansi), "1:" + ToHex("Software\\App"));
  EXPECT_EQ(run(opCreaChiaveConValore, both), 1);
  EXPECT_EQ(Stored(""_ansi), "1:" + ToHex("Software\\App") + "00");
  EXPECT_EQ(both, u"Software\\App");
}

TEST_F(NativeLayer, OneVariableForNameAndData_IsOneText) {
  Store("Nome"_ansi, kRegSz, "letto");
  const auto run = [&](std::int32_t operation, Text& nameAndData) {
    KeyHandle root = kHkeyLocalMachine;
    Text path = u"Software\\App";
    std::int16_t type = 1;
    std::int16_t result = kJunkResult;
    OperazioneRegistro(operation, root, path, nameAndData, nameAndData, type, result, world_.recorder, world_.codePage);
    return result;
  };
  Text both = u"Nome";
  EXPECT_EQ(run(opLeggiValore, both), 1);
  EXPECT_EQ(both, u"letto");
  EXPECT_EQ(run(opScriviValore, both), 1);
  EXPECT_EQ(Stored("letto"_ansi), "1:6C6574746F");
  EXPECT_EQ(run(opCancellaValore, both), 1);
  EXPECT_EQ(Stored("letto"_ansi), "2");
  // The name is emptied before the data is written, and it is the same text.
  EXPECT_EQ(run(opCreaChiaveConValore, both), 1);
  EXPECT_EQ(Stored(""_ansi), "1:00");
  EXPECT_EQ(both, u"");
}

TEST_F(NativeLayer, OneVariableForTypeAndResult_IsReadBeforeItIsWritten) {
  Store("Nome"_ansi, kRegSz, std::string("ab\0", 3));
  const auto run = [&](std::int32_t operation, std::int16_t& typeAndResult, Text& data) {
    KeyHandle root = kHkeyLocalMachine;
    Text path = u"Software\\App";
    Text name = u"Nome";
    OperazioneRegistro(operation, root, path, name, data, typeAndResult, typeAndResult, world_.recorder,
                       world_.codePage);
  };
  std::int16_t both = 2;
  Text data;
  run(opLeggiValore, both, data);
  EXPECT_EQ(both, 1);
  EXPECT_EQ(data, u"ab") << "trimmed by type 2";
  both = 7;
  run(opScriviValore, both, data);
  EXPECT_EQ(both, 1);
  EXPECT_EQ(Stored("Nome"_ansi), "7:6162");
  both = 1;
  run(8, both, data);
  EXPECT_EQ(both, 0);
}

}  // namespace
}  // namespace nerio::registry
