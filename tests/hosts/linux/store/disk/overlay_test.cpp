// A container starts with keys in the lower layer of an overlay, whose folders cannot be moved.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>

#include <filesystem>
#include <string>

#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/hosts/linux/store/system_call_seam.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/status_output.h"

namespace nerio::platform {
namespace {

namespace fs = std::filesystem;
using testing::Calls;

class Overlay : public ::testing::Test {
 protected:
  // Lays an empty upper layer over a registry with the key k\\doomed.
  bool Mount() {
    for (const char* folder : {"lower", "upper", "work", "merged"}) fs::create_directory(place_.path() / folder);
    LinuxRegistry registry(place_.path() / "lower");
    EXPECT_EQ(Calls(registry).Create("k\\doomed"_ansi), kSuccess);
    EXPECT_EQ(Calls(registry).Set("k\\doomed"_ansi, "v"_ansi, "x"), kSuccess);
    const std::string layers = "lowerdir=" + (place_.path() / "lower").string() +
                               ",upperdir=" + (place_.path() / "upper").string() +
                               ",workdir=" + (place_.path() / "work").string();
    isMounted_ = ::mount("overlay", Merged().c_str(), "overlay", 0, layers.c_str()) == 0;
    return isMounted_;
  }
  ~Overlay() override {
    if (isMounted_) ::umount(Merged().c_str());
  }
  fs::path Merged() const { return place_.path() / "merged"; }

 private:
  testing::TemporaryFolder place_{testing::MemoryFolder()};
  bool isMounted_ = false;
};

// A mount for each moment.
class OverlayKill : public Overlay, public ::testing::WithParamInterface<std::size_t> {};

TEST_P(OverlayKill, DeletionOfAKeyFromTheLowerLayer_LeavesItWholeOrGone) {
  if (!Mount()) GTEST_SKIP() << "no right to mount an overlay";
  testing::RecordDisk();
  testing::DieAfter(GetParam());
  Status deleted = kSuccess;
  {
    LinuxRegistry registry(Merged());
    deleted = Calls(registry).Delete("k\\doomed"_ansi);
  }
  const bool killed = testing::EndFaults();
  testing::EndRecording();
  EXPECT_TRUE(killed || deleted == kSuccess) << deleted;
  LinuxRegistry registry(Merged());
  const Calls calls(registry);
  const std::string value = calls.Get("k\\doomed"_ansi, "v"_ansi);
  EXPECT_TRUE(value == "[2]" || (killed && value == "x")) << value;
  EXPECT_EQ(calls.SubKeys("k"_ansi).size(), value == "x" ? 1u : 0u);
  for (const RegistryFinding& finding : CheckRegistry({Merged()})) {
    EXPECT_EQ(finding.kind, RegistryFinding::Kind::Leftover) << finding.place << ": " << finding.what;
    EXPECT_TRUE(killed) << finding.place << ": " << finding.what;
  }
  // Whatever a killed process left is in nobody's way.
  EXPECT_EQ(calls.Create("k\\doomed"_ansi), kSuccess);
  EXPECT_EQ(calls.Set("k\\doomed"_ansi, "w"_ansi, "new"), kSuccess);
  EXPECT_EQ(calls.Delete("k\\doomed"_ansi), kSuccess);
  EXPECT_EQ(calls.Delete("k"_ansi), kSuccess);
  EXPECT_EQ(calls.Set(""_ansi, "v"_ansi, "x"), kSuccess);
  EXPECT_TRUE(CheckRegistry({Merged()}).empty());
}

INSTANTIATE_TEST_SUITE_P(Moments, OverlayKill, ::testing::Range<std::size_t>(1, 10));

}  // namespace
}  // namespace nerio::platform
