#include "nerio/hosts/portable/xml/xml_arena.h"

#include <gtest/gtest.h>

#include <memory>

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
  EXPECT_EQ(arena.MakeBytes(1), room + 10);
}

}  // namespace
}  // namespace nerio::platform::xml
