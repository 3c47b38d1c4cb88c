#include "tools/nerio/registry_system.h"

#include <gtest/gtest.h>
#include <windows.h>

namespace nerio::tool {
namespace {

TEST(RegistrySystemOnWindows, Registry_IsKeptByTheSystem) {
  const std::vector<RegistryPlace> places = RegistryPlaces();
  ASSERT_EQ(places.size(), 5u);
  for (const RegistryPlace& place : places) EXPECT_TRUE(place.present) << place.place;
  EXPECT_EQ(places[2].root, platform::kHkeyLocalMachine);
  EXPECT_EQ(places[2].place, "HKEY_LOCAL_MACHINE");
  EXPECT_TRUE(CheckRegistry().empty());
}

// The system tells a 32-bit program on 64 bits by a variable as well.
TEST(RegistrySystemOnWindows, View_On32And64Bits_IsThatOf32BitPrograms) {
  const bool on64Bits = ::GetEnvironmentVariableW(L"PROCESSOR_ARCHITEW6432", nullptr, 0) != 0;
  EXPECT_EQ(ViewOfRegistry(), (RegistryView{32, !on64Bits}));
}

}  // namespace
}  // namespace nerio::tool
