#include "tools/nerio/registry_system.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>

#include "tests/hosts/linux/store/child_process.h"
#include "tests/testing/temporary_folder.h"

namespace nerio::tool {
namespace {

// What a process says whose registry is in this folder: one line for each place and finding.
std::string Told(const std::filesystem::path& folder) {
  return testing::AnswerOfChild([&] {
    ::setenv("NERIO_REGISTRY", folder.c_str(), 1);
    std::string told;
    for (const RegistryPlace& place : RegistryPlaces()) told += place.place + (place.present ? " is there\n" : "\n");
    for (const RegistryFinding& finding : CheckRegistry()) {
      told += std::to_string(static_cast<int>(finding.kind)) + " " + finding.place + " at " +
              std::to_string(finding.offset) + ": " + finding.what + "\n";
    }
    return told;
  });
}

TEST(RegistrySystemOnLinux, View_IsTheOnlyOne) { EXPECT_EQ(ViewOfRegistry(), (RegistryView{0, true})); }

TEST(RegistrySystemOnLinux, PlacesAndFindings_AreThoseOfTheStore) {
  const testing::TemporaryFolder folder;
  const std::string top = folder.path().string() + "/HKEY_";
  std::filesystem::create_directories(top + "USERS");
  std::ofstream(top + "USERS/file") << "x";
  std::filesystem::create_directories(top + "USERS/%gone");
  std::ofstream(top + "USERS/%lock") << "";  // shows that no writer is at work
  EXPECT_EQ(Told(folder.path()), top + "CLASSES_ROOT\n" + top + "CURRENT_USER\n" + top + "LOCAL_MACHINE\n" + top +
                                     "USERS is there\n" + top + "CURRENT_CONFIG\n" + "2 " + top +
                                     "USERS/%gone at 0: left behind by a process that was killed\n" + "0 " + top +
                                     "USERS/file at 0: not a folder, as every key is\n");
}

TEST(RegistrySystemOnLinux, Progress_CountsAKeyAsMuchAsEachOfItsSubkeysWithAllBelowIt) {
  const testing::TemporaryFolder folder;
  const std::string users = folder.path().string() + "/HKEY_USERS";
  std::filesystem::create_directories(users + "/a/c");
  std::filesystem::create_directories(users + "/b");
  std::filesystem::create_directories(folder.path().string() + "/HKEY_LOCAL_MACHINE");
  EXPECT_EQ(testing::AnswerOfChild([&] {
              ::setenv("NERIO_REGISTRY", folder.path().c_str(), 1);
              std::string told;
              CheckRegistry([&](double share) { told += std::to_string(std::lround(share * 12)) + " of 12\n"; });
              return told;
            }),
            "6 of 12\n8 of 12\n9 of 12\n10 of 12\n12 of 12\n");
}

}  // namespace
}  // namespace nerio::tool
