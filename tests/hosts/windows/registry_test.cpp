#include "nerio/hosts/windows/registry.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <array>

#include "tests/hosts/windows/scratch_key.h"
#include "tests/platform/conformance/registry_conformance.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/status_output.h"

namespace nerio::platform {
namespace {

using testing::DenyRights;
using testing::ScratchKey;

const bool kRegistered = testing::RegisterRegistry("Advapi32", testing::StandAloneRegistry<WindowsRegistry>, true);

constexpr std::uint32_t kNoOptions = 0;
constexpr std::uint32_t kAllSeven = 0x2003F;

class Advapi32 : public ::testing::Test {
 protected:
  KeyHandle Open(const AnsiText& path, std::uint32_t access = kAllSeven) {
    KeyHandle key = 0;
    EXPECT_EQ(registry_.OpenKey(kHkeyLocalMachine, path, kNoOptions, access, key), kSuccess);
    return key;
  }
  AnsiText Create(const AnsiText& name) {
    KeyHandle key = 0;
    std::uint32_t disposition = 0;
    EXPECT_EQ(registry_.CreateKey(kHkeyLocalMachine, scratch_.Path(name), 0, ""_ansi, kRegOptionNonVolatile, kAllSeven,
                                  {}, key, disposition),
              kSuccess);
    EXPECT_EQ(registry_.CloseKey(key), kSuccess);
    return scratch_.Path(name);
  }

  ScratchKey scratch_;
  WindowsRegistry registry_;
};

// The system would store a fourth byte if the bytes handed to it were followed by a NUL, as those of a text are.
TEST_F(Advapi32, SetValue_TextWithoutTerminator_StoresItsBytesAndNoMore) {
  const KeyHandle key = Open(scratch_.Path());
  for (const std::uint32_t type : {kRegSz, kRegExpandSz, kRegMultiSz, kRegBinary}) {
    const std::string text = "abc";
    ASSERT_EQ(registry_.SetValue(key, "v"_ansi, 0, type, text), kSuccess);
    std::array<char, 16> data;
    data.fill('#');
    std::uint32_t stored = 99;
    std::uint32_t size = data.size();
    EXPECT_EQ(registry_.QueryValue(key, "v"_ansi, stored, data, size), kSuccess);
    EXPECT_EQ(stored, type);
    EXPECT_EQ(size, 3u);
    EXPECT_EQ(std::string(data.data(), size), "abc");
  }
  EXPECT_EQ(registry_.CloseKey(key), kSuccess);
}

TEST_F(Advapi32, SetValue_NoBytes_StoresNone) {
  const KeyHandle key = Open(scratch_.Path());
  ASSERT_EQ(registry_.SetValue(key, "v"_ansi, 0, kRegSz, {}), kSuccess);
  std::uint32_t type = 99;
  std::uint32_t size = 0;
  EXPECT_EQ(registry_.QueryValue(key, "v"_ansi, type, {}, size), kSuccess);
  EXPECT_EQ(type, kRegSz);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(registry_.CloseKey(key), kSuccess);
}

TEST_F(Advapi32, QueryValue_NoRoom_AnswersMoreDataAndTheSize) {
  const KeyHandle key = Open(scratch_.Path());
  ASSERT_EQ(registry_.SetValue(key, "v"_ansi, 0, kRegBinary, std::string("abc")), kSuccess);
  std::uint32_t type = 99;
  std::uint32_t size = 0;
  EXPECT_EQ(registry_.QueryValue(key, "v"_ansi, type, {}, size), kMoreData);
  EXPECT_EQ(type, kRegBinary);
  EXPECT_EQ(size, 3u);
  EXPECT_EQ(registry_.CloseKey(key), kSuccess);
}

TEST_F(Advapi32, EnumValue_LongNameAndData_ComeWhole) {
  const KeyHandle key = Open(scratch_.Path());
  const AnsiText longName(std::string(16383, 'n'));
  const std::string longData(100'000, 'd');
  ASSERT_EQ(registry_.SetValue(key, longName, 0, kRegBinary, longData), kSuccess);
  AnsiText name = "junk"_ansi;
  std::uint32_t type = 99;
  std::string data = "junk";
  EXPECT_EQ(registry_.EnumValue(key, 0, name, type, data), kSuccess);
  EXPECT_TRUE(name == longName) << name.size();
  EXPECT_EQ(type, kRegBinary);
  EXPECT_TRUE(data == longData) << data.size();
  EXPECT_EQ(registry_.EnumValue(key, 1, name, type, data), kNoMoreItems);
  EXPECT_TRUE(name == longName && data == longData) << "left as they were";
  EXPECT_EQ(registry_.CloseKey(key), kSuccess);
}

TEST_F(Advapi32, OpenKey_EachRightDeniedInTurn_RefusesTheSevenAndGrantsTheOtherSix) {
  constexpr std::array kSeven{kReadControl,         kKeyQueryValue, kKeySetValue,  kKeyCreateSubKey,
                              kKeyEnumerateSubKeys, kKeyNotify,     kKeyCreateLink};
  for (const std::uint32_t denied : kSeven) {
    const AnsiText path = Create(AnsiText("diritto " + std::to_string(denied)));
    DenyRights(path, denied);
    KeyHandle key = 4711;
    EXPECT_EQ(registry_.OpenKey(kHkeyLocalMachine, path, kNoOptions, kAllSeven, key), kAccessDenied) << denied;
    EXPECT_EQ(key, 0u) << denied;
    EXPECT_EQ(registry_.CloseKey(Open(path, kAllSeven & ~denied)), kSuccess) << denied;
  }
}

TEST_F(Advapi32, OpenKey_RightsBeyondTheSevenDenied_IsGranted) {
  const AnsiText path = Create("altri diritti"_ansi);
  DenyRights(path, DELETE | WRITE_OWNER);
  EXPECT_EQ(registry_.CloseKey(Open(path)), kSuccess);
  KeyHandle key = 0;
  EXPECT_EQ(registry_.OpenKey(kHkeyLocalMachine, path, kNoOptions, KEY_ALL_ACCESS, key), kAccessDenied);
}

}  // namespace
}  // namespace nerio::platform
