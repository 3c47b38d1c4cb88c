#include "nerio/hosts/portable/xml/xml_arena.h"

#include <gtest/gtest.h>

#include <memory>

#ifdef NERIO_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#endif

namespace nerio::platform::xml {
namespace {

constexpr std::size_t kLarge = 100'000;  // gets a chunk of its own

TEST(XmlArena, ShortenTo_RoomOfItsOwnChunk_LeavesTheCurrentChunkAsItIs) {
  // One arena lies above the rooms in memory and one may lie below them; both look for the next room at home.
  Arena onStack;
  const auto onHeap = std::make_unique<Arena>();
  for (Arena* const arena : {&onStack, onHeap.get()}) {
    const auto* const home = reinterpret_cast<const std::uint8_t*>(arena);
    std::uint8_t* const large = arena->MakeBytes(kLarge);
    arena->ShortenTo(large + 1);
    const std::uint8_t* const small = arena->MakeBytes(8);
    EXPECT_TRUE(home <= small && small < home + sizeof(Arena));
    arena->Clear();
    arena->ShortenTo(arena->MakeBytes(kLarge));
    EXPECT_EQ(arena->MakeBytes(8), small);
  }
}

TEST(XmlArena, ShortenTo_LastRoomOfTheCurrentChunk_GivesItsEndBack) {
  Arena arena;
  std::uint8_t* const room = arena.MakeBytes(100);
  arena.ShortenTo(room + 10);
  EXPECT_EQ(arena.MakeBytes(1), kPoisonGap == 0 ? room + 10 : room + 24);
}

#ifdef NERIO_ADDRESS_SANITIZER
TEST(XmlArena, WhatLiesAroundARoom_IsPoisoned) {
  const auto arena = std::make_unique<Arena>();
  const auto poisoned = [](const std::uint8_t* place) { return __asan_address_is_poisoned(place) == 1; };
  for (const std::size_t count : {std::size_t{1}, std::size_t{13}, std::size_t{600}, std::size_t{2000}, kLarge}) {
    const std::uint8_t* const room = arena->MakeBytes(count);
    arena->MakeBytes(3);
    EXPECT_EQ(__asan_region_is_poisoned(const_cast<std::uint8_t*>(room), count), nullptr) << count;
    EXPECT_TRUE(poisoned(room + count)) << count;
  }
  std::uint8_t* const shortened = arena->MakeBytes(100);
  arena->ShortenTo(shortened + 10);
  EXPECT_FALSE(poisoned(shortened + 9));
  EXPECT_TRUE(poisoned(shortened + 10));
  arena->Clear();
  const std::uint8_t* const first = arena->MakeBytes(1);
  EXPECT_FALSE(poisoned(first));
  EXPECT_TRUE(poisoned(first + 1));
}
#endif

}  // namespace
}  // namespace nerio::platform::xml
