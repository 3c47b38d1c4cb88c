#include "nerio/hosts/portable/xml/xml_arena.h"

#include <gtest/gtest.h>

#include <memory>

#ifdef NERIO_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#endif

namespace nerio::platform::xml {
namespace {

constexpr std::size_t kLarge = 100'000;  // gets a chunk of its own

TEST(XmlArena, Shorten_RoomOfItsOwnChunk_LeavesTheCurrentChunkAsItIs) {
  // One arena lies above the rooms in memory and one may lie below them; both look for the next room at home.
  Arena onStack;
  const auto onHeap = std::make_unique<Arena>();
  for (Arena* const arena : {&onStack, onHeap.get()}) {
    const auto* const home = reinterpret_cast<const std::uint8_t*>(arena);
    arena->Shorten(arena->MakeBytes(kLarge), kLarge, 1);
    const std::uint8_t* const small = arena->MakeBytes(8);
    EXPECT_TRUE(home <= small && small < home + sizeof(Arena));
    arena->Clear();
    arena->Shorten(arena->MakeBytes(kLarge), kLarge, 0);
    EXPECT_EQ(arena->MakeBytes(8), small);
  }
}

TEST(XmlArena, Shorten_LastRoomOfTheCurrentChunk_GivesItsEndBack) {
  Arena arena;
  std::uint8_t* const room = arena.MakeBytes(100);
  arena.Shorten(room, 100, 10);
  EXPECT_EQ(arena.MakeBytes(1), kPoisonGap == 0 ? room + 10 : room + 24);
}

TEST(XmlArena, IsWasteful_WhenAThirdOfAllIsNoLongerUsed) {
  Arena arena;
  arena.MakeBytes(kLarge);
  arena.Waste(kLarge);
  EXPECT_TRUE(arena.IsWasteful());
  arena.Regain(kLarge);
  EXPECT_FALSE(arena.IsWasteful());
  // A room shortened within its own chunk is waste, one that is given back is not.
  arena.Shorten(arena.MakeBytes(kLarge), kLarge, 0);
  EXPECT_FALSE(arena.IsWasteful());
  arena.Shorten(arena.MakeBytes(kLarge), kLarge, 10);
  EXPECT_TRUE(arena.IsWasteful());
  arena.Clear();
  EXPECT_FALSE(arena.IsWasteful());
}

TEST(XmlArena, TakeOver_LeavesWhatTheOtherMadeInItsPlace) {
  Arena arena;
  arena.MakeBytes(kLarge);
  {
    Arena other;
    other.LeaveFirstBytes();
    std::uint8_t* const small = other.MakeBytes(8);
    std::uint8_t* const large = other.MakeBytes(kLarge);
    small[7] = large[kLarge - 1] = 5;
    arena.TakeOver(other);
    EXPECT_EQ(arena.MakeBytes(8), small + 8 + kPoisonGap);
  }
  Arena empty;
  empty.LeaveFirstBytes();
  arena.TakeOver(empty);
  EXPECT_TRUE(arena.IsUnused());
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
  arena->Shorten(shortened, 100, 10);
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
