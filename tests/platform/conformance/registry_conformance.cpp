#include "tests/platform/conformance/registry_conformance.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <ios>
#include <map>
#include <set>
#include <utility>

#include "nerio/hosts/portable/text/fold_case.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/in_memory_registry.h"
#include "tests/testing/status_output.h"
#include "tests/testing/tables.h"

namespace nerio::testing {

using namespace platform;  // NOLINT(google-build-using-namespace): every name below is the seam's

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const bool kModelRegistered = RegisterRegistry("InMemory", StandAloneRegistry<InMemoryRegistry>);

const AnsiText kWorkPath = "Software\\NerioConformance"_ansi;

std::vector<RegistryImplementation>& Implementations() {
  static std::vector<RegistryImplementation> implementations;
  return implementations;
}

}  // namespace

void PrintTo(const RegistryImplementation& implementation, std::ostream* out) { *out << implementation.name; }

bool RegisterRegistry(const std::string& name, RegistryFactory open, bool limitsPaths) {
  auto& all = Implementations();
  const auto before = std::find_if(all.begin(), all.end(), [&](const auto& other) { return name < other.name; });
  all.insert(before, {name, open, limitsPaths});
  return true;
}

std::vector<RegistryImplementation> RegisteredRegistries() { return Implementations(); }

RegistryConformance::RegistryConformance() {
  DeleteTree(registry_, kHkeyLocalMachine, kWorkPath);
  work_ = Create(kHkeyLocalMachine, kWorkPath);
}

RegistryConformance::~RegistryConformance() {
  for (const KeyHandle key : opened_) registry_.CloseKey(key);
  try {
    DeleteTree(registry_, kHkeyLocalMachine, kWorkPath);
  } catch (const std::exception& error) {
    ADD_FAILURE() << error.what();
  }
}

KeyHandle RegistryConformance::Open(KeyHandle root, const AnsiText& path, std::uint32_t access) {
  KeyHandle opened = 0;
  EXPECT_EQ(registry_.OpenKey(root, path, kRegOptionNonVolatile, access, opened), kSuccess) << path;
  opened_.push_back(opened);
  return opened;
}

KeyHandle RegistryConformance::Create(KeyHandle root, const AnsiText& path, std::uint32_t access) {
  KeyHandle created = 0;
  std::uint32_t disposition = 0;
  EXPECT_EQ(registry_.CreateKey(root, path, 0, ""_ansi, kRegOptionNonVolatile, access, {}, created, disposition),
            kSuccess)
      << path;
  opened_.push_back(created);
  return created;
}

std::string RegistryConformance::TryOpen(KeyHandle root, const AnsiText& path, std::uint32_t access) {
  KeyHandle opened = kJunkHandle;
  const Status status = registry_.OpenKey(root, path, kRegOptionNonVolatile, access, opened);
  if (status == kSuccess) {
    EXPECT_NE(opened, 0u);
    EXPECT_EQ(registry_.CloseKey(opened), kSuccess);
  } else {
    EXPECT_EQ(opened, root == 0 ? kJunkHandle : 0u) << path;
  }
  return std::to_string(NumberOf(status));
}

std::string RegistryConformance::TryCreate(KeyHandle root, const AnsiText& path, std::uint32_t access) {
  KeyHandle created = kJunkHandle;
  std::uint32_t disposition = kJunkNumber;
  const Status status =
      registry_.CreateKey(root, path, 0, ""_ansi, kRegOptionNonVolatile, access, {}, created, disposition);
  if (status != kSuccess) return std::to_string(NumberOf(status));
  EXPECT_EQ(registry_.CloseKey(created), kSuccess);
  if (disposition == kRegCreatedNewKey) return "0 created";
  return disposition == kRegOpenedExistingKey ? "0 there" : "0 and no disposition";
}

Status RegistryConformance::Set(KeyHandle key, const AnsiText& name, std::uint32_t type, const std::string& data) {
  return registry_.SetValue(key, name, 0, type, data);
}

TEST_P(RegistryConformance, CreateKey_MakesEveryMissingLevelOnce) {
  EXPECT_EQ(TryOpen(work_, "a\\b\\c"_ansi), "2");
  EXPECT_EQ(TryCreate(work_, "a\\b\\c"_ansi), "0 created");
  EXPECT_EQ(TryCreate(work_, "a\\b\\c"_ansi), "0 there");
  EXPECT_EQ(TryCreate(work_, "a\\b\\d"_ansi), "0 created");
  EXPECT_EQ(TryOpen(work_, "a\\b"_ansi), "0");
  EXPECT_THAT(SubKeys(work_), ElementsAre("a"_ansi));
  EXPECT_THAT(SubKeys(Open(work_, "a\\b"_ansi)), ElementsAre("c"_ansi, "d"_ansi));
}

TEST_P(RegistryConformance, CreateKey_HandleWorksOnTheNewKey) {
  const KeyHandle key = Create(work_, "a\\b"_ansi);
  EXPECT_EQ(Set(key, "v"_ansi, kRegSz, "x"), kSuccess);
  EXPECT_EQ(Get(Open(work_, "a\\b"_ansi), "v"_ansi), "1:78");
  EXPECT_EQ(Get(Open(work_, "a"_ansi), "v"_ansi), "2");
}

TEST_P(RegistryConformance, Paths_DoubledAndTrailingSeparatorsDoNotCount) {
  EXPECT_EQ(TryCreate(work_, "a\\\\b\\"_ansi), "0 created");
  EXPECT_THAT(SubKeys(work_), ElementsAre("a"_ansi));
  EXPECT_THAT(SubKeys(Open(work_, "a"_ansi)), ElementsAre("b"_ansi));
  for (const AnsiText& path : {"a\\b"_ansi, "a\\\\b"_ansi, "a\\\\\\b\\\\"_ansi, "A\\B\\"_ansi})
    EXPECT_EQ(TryOpen(work_, path), "0") << path;
  EXPECT_EQ(registry_.DeleteKey(work_, "a\\\\b\\"_ansi), kSuccess);
  EXPECT_EQ(TryOpen(work_, "a\\b"_ansi), "2");
}

TEST_P(RegistryConformance, Paths_LeadingSeparator_AnswersBadPathname) {
  Create(work_, "a"_ansi);
  for (const AnsiText& path : {"\\a"_ansi, "\\"_ansi, "\\\\"_ansi, "\\\\a"_ansi, "\\new"_ansi}) {
    EXPECT_EQ(TryOpen(work_, path), "161") << path;
    EXPECT_EQ(TryCreate(work_, path), "161") << path;
    EXPECT_EQ(registry_.DeleteKey(work_, path), kBadPathname) << path;
  }
  EXPECT_THAT(SubKeys(work_), ElementsAre("a"_ansi));
}

TEST_P(RegistryConformance, Paths_BelowClassesRoot_OpeningAloneTakesOneLeadingSeparator) {
  const AnsiText name = "NerioConformance"_ansi;
  DeleteTree(registry_, kHkeyClassesRoot, name);
  const KeyHandle key = Create(kHkeyClassesRoot, name);
  Create(key, "sub"_ansi);
  for (const KeyHandle root : {KeyHandle{kHkeyClassesRoot}, Open(kHkeyClassesRoot, ""_ansi)}) {
    for (const AnsiText& path : {"\\"_ansi, "\\"_ansi + name, "\\"_ansi + name + "\\\\sub\\"_ansi})
      EXPECT_EQ(TryOpen(root, path), "0") << path;
    EXPECT_EQ(TryOpen(root, "\\NerioMissing"_ansi), "2");
    for (const AnsiText& path : {"\\\\"_ansi, "\\\\"_ansi + name}) EXPECT_EQ(TryOpen(root, path), "161") << path;
    for (const AnsiText& path : {"\\"_ansi, "\\"_ansi + name, "\\\\"_ansi + name, "\\NerioMissing"_ansi}) {
      EXPECT_EQ(TryCreate(root, path), "161") << path;
      EXPECT_EQ(registry_.DeleteKey(root, path), kBadPathname) << path;
    }
  }
  EXPECT_EQ(TryOpen(key, "\\sub"_ansi), "161");
  DeleteTree(registry_, kHkeyClassesRoot, name);
}

TEST_P(RegistryConformance, Paths_EmptyOne_IsTheHandlesOwnKey) {
  const KeyHandle key = Create(work_, "a"_ansi);
  EXPECT_EQ(Set(key, "v"_ansi, kRegSz, "x"), kSuccess);
  EXPECT_EQ(Get(Open(key, ""_ansi), "v"_ansi), "1:78");
  EXPECT_EQ(Get(Create(key, ""_ansi), "v"_ansi), "1:78");
  EXPECT_EQ(TryOpen(kHkeyLocalMachine, ""_ansi), "0");
  EXPECT_EQ(TryOpen(kHkeyCurrentUser, ""_ansi), "0");
}

TEST_P(RegistryConformance, Paths_EndAtTheirFirstNul) {
  EXPECT_EQ(TryCreate(work_, "a\0b\\c"_ansi), "0 created");
  EXPECT_THAT(SubKeys(work_), ElementsAre("a"_ansi));
  EXPECT_EQ(TryOpen(work_, "A\0?"_ansi), "0");
  EXPECT_EQ(TryOpen(work_, "\0b"_ansi), "0");
  EXPECT_EQ(registry_.DeleteKey(work_, "a\0b"_ansi), kSuccess);
  EXPECT_THAT(SubKeys(work_), IsEmpty());
}

TEST_P(RegistryConformance, KeyNames_AreAnyCharactersButTheSeparator) {
  const std::set<AnsiText, AnsiNameOrder> names = {"."_ansi,
                                                   ".."_ansi,
                                                   "/"_ansi,
                                                   "a/b"_ansi,
                                                   " "_ansi,
                                                   " a "_ansi,
                                                   "a\001b"_ansi,
                                                   "a\tb"_ansi,
                                                   "\n"_ansi,
                                                   "a*?<>|\":b"_ansi,
                                                   "CON"_ansi,
                                                   "aux.txt"_ansi,
                                                   "%41"_ansi,
                                                   "~"_ansi,
                                                   "_"_ansi,
                                                   "-"_ansi,
                                                   "+"_ansi,
                                                   "="_ansi,
                                                   AnsiText("citt\xE0"),
                                                   AnsiText("\x81\x8D\xFF"),
                                                   "a."_ansi,
                                                   "a "_ansi,
                                                   "%"_ansi,
                                                   "values"_ansi};
  for (const AnsiText& name : names) EXPECT_EQ(TryCreate(work_, name), "0 created") << ToHex(name);
  EXPECT_EQ(SubKeys(work_), std::vector<AnsiText>(names.begin(), names.end()));
  for (const AnsiText& name : names) {
    EXPECT_EQ(TryCreate(work_, name + "\\"_ansi + name), "0 created") << ToHex(name);
    EXPECT_THAT(SubKeys(Open(work_, name)), ElementsAre(name));
  }
  for (const AnsiText& name : names) {
    EXPECT_EQ(registry_.DeleteKey(work_, name), kAccessDenied) << ToHex(name);
    EXPECT_EQ(registry_.DeleteKey(work_, name + "\\"_ansi + name), kSuccess) << ToHex(name);
    EXPECT_EQ(registry_.DeleteKey(work_, name), kSuccess) << ToHex(name);
  }
  EXPECT_THAT(SubKeys(work_), IsEmpty());
}

TEST_P(RegistryConformance, Names_DifferInCaseOnly_AreOneName) {
  // Every byte that a name can hold, as a name of its own: the first spelling is kept, the other case finds it.
  std::set<AnsiText, AnsiNameOrder> expected;
  std::vector<std::string> values;
  for (int byte = 1; byte < 256; ++byte) {
    const AnsiText name(std::string(1, static_cast<char>(byte)));
    if (name == "\\"_ansi) continue;
    const bool isNew = expected.insert(name).second;
    EXPECT_EQ(TryCreate(work_, name), isNew ? "0 created" : "0 there") << byte;
    EXPECT_EQ(Set(work_, name, kRegSz, FoldAnsi(name.bytes())), kSuccess) << byte;
  }
  EXPECT_EQ(SubKeys(work_), std::vector<AnsiText>(expected.begin(), expected.end()));
  for (const AnsiText& name : expected) values.push_back(name.bytes() + "=1:" + ToHex(FoldAnsi(name.bytes())));
  EXPECT_EQ(Values(work_), values);
}

TEST_P(RegistryConformance, Names_KeepTheSpellingOfTheirFirstCreation) {
  Create(work_, AnsiText("Citt\xC0\\Due"));
  EXPECT_EQ(TryCreate(work_, AnsiText("CITT\xE0\\DUE\\tre")), "0 created");
  EXPECT_THAT(SubKeys(work_), ElementsAre(AnsiText("Citt\xC0")));
  EXPECT_THAT(SubKeys(Open(work_, AnsiText("citt\xE0"))), ElementsAre("Due"_ansi));
  EXPECT_EQ(Set(work_, "Nome"_ansi, kRegSz, "a"), kSuccess);
  EXPECT_EQ(Set(work_, "nOME"_ansi, kRegExpandSz, "b"), kSuccess);
  EXPECT_THAT(Values(work_), ElementsAre("Nome=2:62"));
  EXPECT_EQ(registry_.DeleteValue(work_, "NOME"_ansi), kSuccess);
  EXPECT_EQ(Set(work_, "NOME"_ansi, kRegSz, "c"), kSuccess);
  EXPECT_THAT(Values(work_), ElementsAre("NOME=1:63"));
  EXPECT_EQ(registry_.DeleteKey(work_, AnsiText("citt\xC0\\due\\TRE")), kSuccess);
  EXPECT_EQ(registry_.DeleteKey(work_, AnsiText("citt\xC0\\due")), kSuccess);
  Create(work_, AnsiText("citt\xE0\\DUE"));
  EXPECT_THAT(SubKeys(Open(work_, AnsiText("citt\xE0"))), ElementsAre("DUE"_ansi));
}

TEST_P(RegistryConformance, KeyNames_Of256CharactersWorkAndOf257AnswerInvalidParameter) {
  const AnsiText longest(std::string(256, 'k'));
  EXPECT_EQ(TryCreate(work_, longest), "0 created");
  EXPECT_EQ(TryOpen(work_, AnsiText(std::string(256, 'K'))), "0");
  EXPECT_THAT(SubKeys(work_), ElementsAre(longest));
  EXPECT_EQ(TryCreate(work_, longest + "k"_ansi), "87");
  EXPECT_EQ(TryOpen(work_, longest + "k"_ansi), "87");
  EXPECT_EQ(registry_.DeleteKey(work_, longest), kSuccess);
  // Letters that a store may have to encode fill up its own limits faster.
  const std::string accented(256, '\xE8');
  EXPECT_EQ(TryCreate(work_, AnsiText(accented)), "0 created");
  EXPECT_EQ(TryCreate(work_, AnsiText(accented.substr(1) + "\xEC")), "0 created");
  EXPECT_EQ(TryCreate(work_, AnsiText(accented.substr(1) + "\xC8")), "0 there");
  EXPECT_THAT(SubKeys(work_), ElementsAre(AnsiText(accented), AnsiText(accented.substr(1) + "\xEC")));
}

TEST_P(RegistryConformance, ValueNames_Of16383CharactersWorkAndLongerOnesFail) {
  const AnsiText longest(std::string(16383, 'v'));
  EXPECT_EQ(Set(work_, longest, kRegSz, "x"), kSuccess);
  EXPECT_EQ(Get(work_, AnsiText(std::string(16383, 'V'))), "1:78");
  EXPECT_THAT(Values(work_), ElementsAre(longest.bytes() + "=1:78"));
  EXPECT_EQ(registry_.DeleteValue(work_, longest), kSuccess);
  for (const std::size_t length : {16384u, 32766u}) {
    const AnsiText tooLong(std::string(length, 'v'));
    EXPECT_EQ(Set(work_, tooLong, kRegSz, "x"), kInvalidParameter) << length;
    EXPECT_EQ(Get(work_, tooLong), "2") << length;
    EXPECT_EQ(registry_.DeleteValue(work_, tooLong), kFileNotFound) << length;
  }
  for (const std::size_t length : {32767u, 40000u}) {
    const AnsiText tooLong(std::string(length, 'v'));
    EXPECT_EQ(Set(work_, tooLong, kRegSz, "x"), kInvalidParameter) << length;
    EXPECT_EQ(Get(work_, tooLong), "87") << length;
    EXPECT_EQ(registry_.DeleteValue(work_, tooLong), kInvalidParameter) << length;
  }
  EXPECT_THAT(Values(work_), IsEmpty());
}

TEST_P(RegistryConformance, ValueNames_AreAnyCharactersAndEndAtTheirFirstNul) {
  const std::set<AnsiText, AnsiNameOrder> names = {""_ansi,          "\\"_ansi,       "a\\b"_ansi, "\\\\x"_ansi,
                                                   " a "_ansi,       "a\tb\nc"_ansi,  "@"_ansi,    "/"_ansi,
                                                   AnsiText("\x81"), AnsiText("\xE0")};
  for (const AnsiText& name : names) EXPECT_EQ(Set(work_, name, kRegSz, name.bytes()), kSuccess) << ToHex(name);
  std::vector<std::string> values;
  for (const AnsiText& name : names) values.push_back(name.bytes() + "=1:" + ToHex(name));
  EXPECT_EQ(Values(work_), values);
  for (const AnsiText& name : names) EXPECT_EQ(Get(work_, name), "1:" + ToHex(name)) << ToHex(name);
  EXPECT_EQ(Set(work_, "cut\0off"_ansi, kRegSz, "x"), kSuccess);
  EXPECT_EQ(Get(work_, "cut"_ansi), "1:78");
  EXPECT_EQ(Get(work_, "CUT\0"_ansi), "1:78");
  EXPECT_EQ(registry_.DeleteValue(work_, "cut\0ting"_ansi), kSuccess);
  EXPECT_EQ(Get(work_, "cut"_ansi), "2");
  EXPECT_EQ(registry_.DeleteValue(work_, "\0x"_ansi), kSuccess);
  EXPECT_EQ(Get(work_, ""_ansi), "2");
}

TEST_P(RegistryConformance, SetValue_StoresExactlyItsBytesUnderAnyType) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  const std::string datas[] = {"",
                               "a",
                               "abc",
                               std::string("abc\0", 4),
                               std::string(4, '\0'),
                               std::string("a\0b", 3),
                               std::string("one\0two\0\0", 9),
                               all};
  for (const std::uint32_t type : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 11u, 99u, 0xFFFFu, 0xFFFFFFFFu}) {
    for (const std::string& data : datas) {
      const std::string expected = std::to_string(type) + ":" + ToHex(data);
      EXPECT_EQ(Set(work_, "v"_ansi, type, data), kSuccess) << expected;
      EXPECT_EQ(Get(work_, "v"_ansi), expected);
      EXPECT_THAT(Values(work_), ElementsAre("v=" + expected));
    }
  }
}

TEST_P(RegistryConformance, SetValue_SizesOfAllOrders_ComeBackWhole) {
  for (const std::size_t size : {1023u, 1024u, 1025u, 4095u, 4096u, 4097u, 70000u, 1100000u}) {
    std::string data(size, 'd');
    for (std::size_t i = 0; i < size; i += 61) data[i] = static_cast<char>(i / 61);
    EXPECT_EQ(Set(work_, "v"_ansi, kRegBinary, data), kSuccess) << size;
    EXPECT_EQ(Get(work_, "v"_ansi), "3:" + ToHex(data)) << size;
  }
}

TEST_P(RegistryConformance, QueryValue_BufferTooSmall_AnswersTheNeededSizeAndLeavesTheBuffer) {
  EXPECT_EQ(Set(work_, "v"_ansi, kRegExpandSz, "abcd"), kSuccess);
  for (const std::uint32_t offered : {0u, 1u, 3u}) {
    std::string buffer(8, kJunkByte);
    std::uint32_t type = kJunkNumber;
    std::uint32_t size = offered;
    EXPECT_EQ(registry_.QueryValue(work_, "v"_ansi, type, std::span(buffer.data(), offered), size), kMoreData)
        << offered;
    EXPECT_EQ(type, kRegExpandSz);
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(buffer, std::string(8, kJunkByte));
  }
  for (const std::uint32_t offered : {4u, 5u, 1024u}) {
    std::string buffer(1024, kJunkByte);
    std::uint32_t type = kJunkNumber;
    std::uint32_t size = offered;
    EXPECT_EQ(registry_.QueryValue(work_, "v"_ansi, type, std::span(buffer.data(), offered), size), kSuccess)
        << offered;
    EXPECT_EQ(type, kRegExpandSz);
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(buffer.substr(0, 4), "abcd");
    EXPECT_EQ(buffer.substr(offered), std::string(1024 - offered, kJunkByte)) << "behind what was offered";
  }
}

TEST_P(RegistryConformance, QueryValue_MissingValue_LeavesSizeAndBuffer) {
  std::string buffer(16, kJunkByte);
  std::uint32_t type = kJunkNumber;
  std::uint32_t size = 16;
  EXPECT_EQ(registry_.QueryValue(work_, "missing"_ansi, type, buffer, size), kFileNotFound);
  EXPECT_EQ(type, kRegNone);
  EXPECT_EQ(size, 16u);
  EXPECT_EQ(buffer, std::string(16, kJunkByte));
}

TEST_P(RegistryConformance, SetValue_AgainAndAgain_KeepsTheLastOne) {
  for (int round = 0; round < 200; ++round) {
    EXPECT_EQ(Set(work_, "v"_ansi, kRegSz, std::to_string(round)), kSuccess);
    EXPECT_EQ(Set(work_, round % 2 == 0 ? "even"_ansi : "odd"_ansi, kRegSz, std::string(100, 'x')), kSuccess);
  }
  EXPECT_EQ(Get(work_, "v"_ansi), "1:313939");
  EXPECT_EQ(Values(work_).size(), 3u);
}

TEST_P(RegistryConformance, DeleteValue_TakesOneValueAndAnswersNotFoundTheSecondTime) {
  EXPECT_EQ(Set(work_, "a"_ansi, kRegSz, "1"), kSuccess);
  EXPECT_EQ(Set(work_, "b"_ansi, kRegSz, "2"), kSuccess);
  EXPECT_EQ(registry_.DeleteValue(work_, "A"_ansi), kSuccess);
  EXPECT_EQ(registry_.DeleteValue(work_, "A"_ansi), kFileNotFound);
  EXPECT_THAT(Values(work_), ElementsAre("b=1:32"));
  EXPECT_EQ(Set(work_, "a"_ansi, kRegSz, "3"), kSuccess);
  EXPECT_THAT(Values(work_), ElementsAre("a=1:33", "b=1:32"));
}

TEST_P(RegistryConformance, DeleteKey_WithValues_TakesThemWithIt) {
  EXPECT_EQ(Set(Create(work_, "k"_ansi), "v"_ansi, kRegSz, "x"), kSuccess);
  Create(work_, "sibling"_ansi);
  EXPECT_EQ(registry_.DeleteKey(work_, "K"_ansi), kSuccess);
  EXPECT_EQ(TryOpen(work_, "k"_ansi), "2");
  EXPECT_THAT(SubKeys(work_), ElementsAre("sibling"_ansi));
  EXPECT_THAT(Values(Create(work_, "k"_ansi)), IsEmpty());
}

TEST_P(RegistryConformance, DeleteKey_WithSubkeysOrMissing_DeletesNothing) {
  Create(work_, "k\\s"_ansi);
  EXPECT_EQ(registry_.DeleteKey(work_, "k"_ansi), kAccessDenied);
  EXPECT_EQ(TryOpen(work_, "k\\s"_ansi), "0");
  EXPECT_EQ(registry_.DeleteKey(work_, "missing"_ansi), kFileNotFound);
  EXPECT_EQ(registry_.DeleteKey(work_, "missing\\deeper"_ansi), kFileNotFound);
  EXPECT_EQ(registry_.DeleteKey(work_, "k\\s"_ansi), kSuccess);
  EXPECT_EQ(registry_.DeleteKey(work_, "k"_ansi), kSuccess);
}

TEST_P(RegistryConformance, DeleteKey_EmptyPath_DeletesTheHandlesOwnKey) {
  const KeyHandle key = Create(work_, "k\\s"_ansi);
  const KeyHandle parent = Open(work_, "k"_ansi);
  EXPECT_EQ(registry_.DeleteKey(parent, ""_ansi), kAccessDenied);
  EXPECT_EQ(registry_.DeleteKey(key, ""_ansi), kSuccess);
  EXPECT_EQ(registry_.DeleteKey(parent, ""_ansi), kSuccess);
  EXPECT_EQ(TryOpen(work_, "k"_ansi), "2");
}

TEST_P(RegistryConformance, DeleteKey_Root_AnswersAccessDenied) {
  EXPECT_EQ(registry_.DeleteKey(kHkeyLocalMachine, ""_ansi), kAccessDenied);
  EXPECT_EQ(registry_.DeleteKey(kHkeyCurrentUser, ""_ansi), kAccessDenied);
  EXPECT_EQ(registry_.DeleteKey(Open(kHkeyLocalMachine, ""_ansi), ""_ansi), kAccessDenied);
}

TEST_P(RegistryConformance, DeletedKey_ItsHandlesAnswerKeyDeletedAlsoAfterReCreation) {
  const KeyHandle key = Create(work_, "k"_ansi);
  EXPECT_EQ(Set(key, "v"_ansi, kRegSz, "old"), kSuccess);
  EXPECT_EQ(registry_.DeleteKey(work_, "k"_ansi), kSuccess);
  for (const bool reCreated : {false, true}) {
    if (reCreated) {
      EXPECT_EQ(Set(Create(work_, "k"_ansi), "v"_ansi, kRegSz, "new"), kSuccess);
    }
    AnsiText name = "untouched"_ansi;
    std::uint32_t type = kJunkNumber;
    std::string data = "untouched";
    EXPECT_EQ(Get(key, "v"_ansi), "1018");
    EXPECT_EQ(Set(key, "v"_ansi, kRegSz, "x"), kKeyDeleted);
    EXPECT_EQ(registry_.DeleteValue(key, "v"_ansi), kKeyDeleted);
    EXPECT_EQ(TryCreate(key, "sub"_ansi), "1018");
    EXPECT_EQ(TryCreate(key, ""_ansi), "1018");
    EXPECT_EQ(TryOpen(key, ""_ansi), "1018");
    EXPECT_EQ(TryOpen(key, "sub"_ansi), "1018");
    EXPECT_EQ(registry_.DeleteKey(key, ""_ansi), kKeyDeleted);
    EXPECT_EQ(registry_.DeleteKey(key, "sub"_ansi), kKeyDeleted);
    EXPECT_EQ(registry_.EnumKey(key, 0, name), kKeyDeleted);
    EXPECT_EQ(registry_.EnumValue(key, 0, name, type, data), kKeyDeleted);
  }
  EXPECT_EQ(Get(Open(work_, "k"_ansi), "v"_ansi), "1:6E6577");
  EXPECT_EQ(registry_.CloseKey(key), kSuccess);
  EXPECT_EQ(registry_.CloseKey(key), kInvalidHandle);
}

TEST_P(RegistryConformance, DeletedKey_WithItsParent_ItsHandlesAnswerKeyDeleted) {
  const KeyHandle child = Create(work_, "p\\c"_ansi);
  const KeyHandle parent = Open(work_, "p"_ansi);
  EXPECT_EQ(registry_.DeleteKey(parent, "c"_ansi), kSuccess);
  EXPECT_EQ(registry_.DeleteKey(work_, "p"_ansi), kSuccess);
  Create(work_, "p\\c"_ansi);
  EXPECT_EQ(Get(child, "v"_ansi), "1018");
  EXPECT_EQ(Get(parent, "v"_ansi), "1018");
}

TEST_P(RegistryConformance, Handles_AreIndependentOfEachOther) {
  KeyHandle first = 0;
  ASSERT_EQ(registry_.OpenKey(work_, ""_ansi, kRegOptionNonVolatile, kLayerAccess, first), kSuccess);
  const KeyHandle second = Open(work_, ""_ansi);
  EXPECT_NE(first, second);
  EXPECT_EQ(registry_.CloseKey(first), kSuccess);
  EXPECT_EQ(registry_.CloseKey(first), kInvalidHandle);
  EXPECT_EQ(Set(second, "v"_ansi, kRegSz, "x"), kSuccess);
  EXPECT_EQ(Get(work_, "v"_ansi), "1:78");
}

TEST_P(RegistryConformance, Handles_NullClosedAndInvented_AnswerInvalidHandle) {
  KeyHandle closed = 0;
  ASSERT_EQ(registry_.OpenKey(work_, ""_ansi, kRegOptionNonVolatile, kLayerAccess, closed), kSuccess);
  ASSERT_EQ(registry_.CloseKey(closed), kSuccess);
  for (const KeyHandle handle : {KeyHandle{0}, closed, KeyHandle{0x12345678}, KeyHandle{0x80000007},
                                 KeyHandle{0x8000000A}, KeyHandle{0x80000010}, KeyHandle{0xFFFFFFFF}}) {
    AnsiText name = "untouched"_ansi;
    std::uint32_t type = kJunkNumber;
    std::string data = "untouched";
    EXPECT_EQ(TryOpen(handle, "x"_ansi), "6") << handle;
    EXPECT_EQ(TryOpen(handle, ""_ansi), "6") << handle;
    EXPECT_EQ(TryCreate(handle, "x"_ansi), "6") << handle;
    EXPECT_EQ(Get(handle, "v"_ansi), "6") << handle;
    EXPECT_EQ(Set(handle, "v"_ansi, kRegSz, "x"), kInvalidHandle) << handle;
    EXPECT_EQ(registry_.DeleteKey(handle, "x"_ansi), kInvalidHandle) << handle;
    EXPECT_EQ(registry_.DeleteKey(handle, ""_ansi), kInvalidHandle) << handle;
    EXPECT_EQ(registry_.DeleteValue(handle, "v"_ansi), kInvalidHandle) << handle;
    EXPECT_EQ(registry_.EnumKey(handle, 0, name), kInvalidHandle) << handle;
    EXPECT_EQ(registry_.EnumValue(handle, 0, name, type, data), kInvalidHandle) << handle;
    // Any handle in the range of the predefined ones closes without effect.
    EXPECT_EQ(registry_.CloseKey(handle), handle >= 0x80000000 ? kSuccess : kInvalidHandle) << handle;
  }
}

TEST_P(RegistryConformance, Roots_AreKeysThatCanBeClosedAndStayUsable) {
  for (const KeyHandle root : {kHkeyLocalMachine, kHkeyCurrentUser}) {
    EXPECT_EQ(registry_.CloseKey(root), kSuccess);
    EXPECT_EQ(TryOpen(root, ""_ansi), "0");
    EXPECT_EQ(Set(root, "NerioConformance"_ansi, kRegSz, "x"), kSuccess);
    EXPECT_EQ(Get(root, "NerioConformance"_ansi), "1:78");
    EXPECT_EQ(Get(Open(root, ""_ansi), "NerioConformance"_ansi), "1:78");
    EXPECT_EQ(registry_.DeleteValue(root, "NerioConformance"_ansi), kSuccess);
    EXPECT_EQ(Get(root, "NerioConformance"_ansi), "2");
  }
  for (const KeyHandle root : {kHkeyClassesRoot, kHkeyUsers, kHkeyCurrentConfig})
    EXPECT_EQ(TryOpen(root, ""_ansi), "0");
}

TEST_P(RegistryConformance, Roots_AreSeparateTrees) {
  Create(work_, "OnlyThere"_ansi);
  EXPECT_EQ(TryOpen(kHkeyCurrentUser, kWorkPath + "\\OnlyThere"_ansi), "2");
}

TEST_P(RegistryConformance, Access_HandleGrantsWhatItWasOpenedFor) {
  const KeyHandle writeOnly = Create(work_, "k"_ansi, kKeySetValue);
  EXPECT_EQ(Set(writeOnly, ""_ansi, kRegSz, "x"), kSuccess);
  EXPECT_EQ(Get(writeOnly, ""_ansi), "5");
  EXPECT_EQ(Get(writeOnly, "missing"_ansi), "5");
  EXPECT_EQ(TryCreate(writeOnly, "sub"_ansi), "0 created");
  EXPECT_EQ(TryOpen(writeOnly, ""_ansi), "0");
  EXPECT_EQ(registry_.DeleteValue(writeOnly, ""_ansi), kSuccess);
  const KeyHandle readOnly = Open(work_, "k"_ansi, kKeyRead);
  EXPECT_EQ(Set(readOnly, "v"_ansi, kRegSz, "x"), kAccessDenied);
  EXPECT_EQ(registry_.DeleteValue(readOnly, "v"_ansi), kAccessDenied);
  EXPECT_EQ(Get(readOnly, "v"_ansi), "2");
  EXPECT_EQ(TryCreate(readOnly, "sub"_ansi), "0 there");
  EXPECT_EQ(registry_.DeleteKey(readOnly, "sub"_ansi), kSuccess);
  const KeyHandle nothing = Open(work_, "k"_ansi, 0);
  EXPECT_EQ(Get(nothing, "v"_ansi), "5");
  EXPECT_EQ(Set(nothing, "v"_ansi, kRegSz, "x"), kAccessDenied);
  EXPECT_EQ(TryOpen(work_, "k"_ansi, 0xF003F), "0");
  EXPECT_EQ(TryOpen(work_, "k"_ansi, 0x2000000), "0");
}

TEST_P(RegistryConformance, Access_EachRightAndEachGenericOne_AllowsItsCallsAlone) {
  const auto allowed = [&](KeyHandle key) {
    AnsiText name;
    std::uint32_t type = 0;
    std::string data;
    std::string calls;
    if (Get(key, "v"_ansi) != "5") calls += "query ";
    if (registry_.EnumKey(key, 0, name) != kAccessDenied) calls += "subkeys ";
    if (registry_.EnumValue(key, 0, name, type, data) != kAccessDenied) calls += "values ";
    if (Set(key, "v"_ansi, kRegSz, "x") != kAccessDenied) calls += "set ";
    return calls;
  };
  constexpr std::uint32_t kGenericRead = 0x80000000;
  constexpr std::uint32_t kGenericWrite = 0x40000000;
  constexpr std::uint32_t kGenericExecute = 0x20000000;
  constexpr std::uint32_t kGenericAll = 0x10000000;
  constexpr std::uint32_t kMaximumAllowed = 0x02000000;
  const std::map<std::uint32_t, std::string> expected{
      {kKeyQueryValue, "query values "},
      {kKeySetValue, "set "},
      {kKeyCreateSubKey, ""},
      {kKeyEnumerateSubKeys, "subkeys "},
      {kKeyNotify, ""},
      {kReadControl, ""},
      {kKeyRead, "query subkeys values "},
      {kGenericRead, "query subkeys values "},
      {kGenericExecute, "query subkeys values "},
      {kGenericWrite, "set "},
      {kGenericWrite | kKeyEnumerateSubKeys, "subkeys set "},
      {kGenericAll, "query subkeys values set "},
      {kMaximumAllowed, "query subkeys values set "},
  };
  Create(work_, "there"_ansi);
  for (const auto& [asked, calls] : expected) {
    EXPECT_EQ(allowed(Open(work_, "there"_ansi, asked)), calls) << "opened for " << std::hex << asked;
    const AnsiText made("made for " + std::to_string(asked));
    EXPECT_EQ(allowed(Create(work_, made, asked)), calls) << "made for " << std::hex << asked;
  }
}

TEST_P(RegistryConformance, EnumKeyAndEnumValue_BehindTheLast_AnswerNoMoreItems) {
  AnsiText name = "untouched"_ansi;
  std::uint32_t type = kJunkNumber;
  std::string data = "untouched";
  EXPECT_EQ(registry_.EnumKey(work_, 0, name), kNoMoreItems);
  EXPECT_EQ(registry_.EnumValue(work_, 0, name, type, data), kNoMoreItems);
  Create(work_, "k"_ansi);
  EXPECT_EQ(Set(work_, "v"_ansi, kRegDword, std::string(4, '\1')), kSuccess);
  EXPECT_EQ(registry_.EnumKey(work_, 0, name), kSuccess);
  EXPECT_EQ(name, "k"_ansi);
  EXPECT_EQ(registry_.EnumValue(work_, 0, name, type, data), kSuccess);
  EXPECT_EQ(name, "v"_ansi);
  EXPECT_EQ(type, kRegDword);
  EXPECT_EQ(data, std::string(4, '\1'));
  for (const std::uint32_t index : {1u, 2u, 1000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(registry_.EnumKey(work_, index, name), kNoMoreItems) << index;
    EXPECT_EQ(registry_.EnumValue(work_, index, name, type, data), kNoMoreItems) << index;
  }
}

TEST_P(RegistryConformance, ManyKeysAndValues_AreAllThereInOrder) {
  std::set<AnsiText, AnsiNameOrder> names;
  for (int i = 0; i < 300; ++i) {
    const AnsiText name((i % 2 == 0 ? "Nome " : "nome ") + std::to_string(i * 7919 % 300));
    names.insert(name);
    EXPECT_EQ(TryCreate(work_, name), "0 created");
    EXPECT_EQ(Set(work_, name, kRegSz, std::to_string(i)), kSuccess);
  }
  EXPECT_EQ(SubKeys(work_), std::vector<AnsiText>(names.begin(), names.end()));
  EXPECT_EQ(Values(work_).size(), names.size());
}

TEST_P(RegistryConformance, DeepChain_IsCreatedFoundAndTakenDown) {
  std::string path = "1";
  for (int level = 2; level <= 100; ++level) path.append("\\").append(std::to_string(level % 10));
  EXPECT_EQ(TryCreate(work_, AnsiText(path)), "0 created");
  EXPECT_EQ(Set(Open(work_, AnsiText(path)), "v"_ansi, kRegSz, "deep"), kSuccess);
  EXPECT_EQ(Get(Open(work_, AnsiText(path)), "v"_ansi), "1:64656570");
  for (; !path.empty(); path.resize(path.size() < 2 ? 0 : path.size() - 2)) {
    EXPECT_EQ(registry_.DeleteKey(work_, AnsiText(path)), kSuccess) << path;
  }
  EXPECT_THAT(SubKeys(work_), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Registry, RegistryConformance, ::testing::ValuesIn(RegisteredRegistries()),
                         [](const auto& implementation) { return implementation.param.name; });

}  // namespace nerio::testing
