#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "nerio/hosts/linux/store/values_format.h"
#include "nerio/platform/host.h"
#include "tests/hosts/linux/store/child_process.h"
#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/testing/temporary_folder.h"
#include "tools/nerio/command_line.h"

namespace nerio::tool {
namespace {

using platform::RecordCursor;
using platform::ValueRecord;
using platform::ValuesHeader;

constexpr const char* kKey = "HKLM\\Software\\Nerio\\App";

// A registry of its own, and the tool in a process of its own, as its user has it.
class RepairTest : public ::testing::Test {
 protected:
  RepairTest() {
    for (std::size_t i = 0; i < 6; ++i) Run({"reg", "set", kKey, "v" + std::to_string(i), std::string(20 * i, 'x')});
    Run({"reg", "set", kKey, "v2", "new"});
    Run({"reg", "delete", kKey, "v3", "--yes"});
    sound_ = Content(values_);
    before_ = Run({"reg", "list", kKey});
  }

  // Returns exit code, standard output and standard error.
  std::string Run(const std::vector<std::string>& arguments) const {
    return testing::AnswerOfChild([&] {
      ::setenv("NERIO_REGISTRY", folder_.path().c_str(), 1);
      const auto host = platform::OpenHost();
      std::istringstream in;
      std::ostringstream out;
      std::ostringstream err;
      const int exit = CommandLine("1").Run(arguments, host->Services(), in, out, err, false);
      return std::to_string(exit) + "\n" + out.str() + err.str();
    });
  }

  static std::string Content(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  void Damage(const std::string& bytes) const { std::ofstream(values_, std::ios::binary) << bytes; }

  // Where the records of a sound file are.
  static std::vector<std::size_t> Offsets(const std::string& file) {
    ValuesHeader header;
    platform::Damage damage;
    EXPECT_TRUE(platform::ParseHeader(file, header, damage));
    RecordCursor cursor(file, header);
    std::vector<std::size_t> offsets{static_cast<std::size_t>(cursor.position())};
    for (ValueRecord record; cursor.Next(record);) offsets.push_back(static_cast<std::size_t>(cursor.position()));
    offsets.pop_back();
    return offsets;
  }

  // The damaged files that are kept.
  std::vector<std::filesystem::path> Kept() const {
    std::vector<std::filesystem::path> kept;
    for (const auto& entry : std::filesystem::directory_iterator(values_.parent_path())) {
      if (entry.path().filename().string().starts_with("%left-")) kept.push_back(entry.path());
    }
    return kept;
  }

  // Repairs a file that is damaged in this way. @return what `reg list` then shows.
  std::string Repaired(const std::string& damaged) {
    for (const auto& file : Kept()) std::filesystem::remove(file);
    Damage(damaged);
    EXPECT_TRUE(Run({"reg", "list", kKey}).starts_with("1\n"));
    const std::string said = Run({"reg", "repair", kKey});
    EXPECT_TRUE(said.starts_with("0\n" + values_.string() + ": at ")) << said;
    const auto kept = Kept();
    EXPECT_EQ(kept.size(), 1u);
    if (kept.size() != 1) return said;
    EXPECT_EQ(Content(kept.front()), damaged);
    EXPECT_NE(said.find("\nthe damaged file is kept as " + kept.front().string() + "\nrepaired HKEY_LOCAL_MACHINE\\"),
              std::string::npos)
        << said;
    return Run({"reg", "list", kKey});
  }

  testing::TemporaryFolder folder_;
  std::filesystem::path values_ = folder_.path() / "HKEY_LOCAL_MACHINE/software/nerio/app/%values";
  std::string sound_;
  std::string before_;
};

std::string WithoutLine(std::string text, const std::string& begin) {
  const std::size_t at = text.find("\n" + begin + "\t");
  if (at != std::string::npos) text.erase(at + 1, text.find('\n', at + 1) - at);
  return text;
}

// The records are v0 to v5, v2 anew, and the deletion of v3.
TEST_F(RepairTest, DamagedRecord_IsLostAloneWhateverIsDamagedInIt) {
  const std::vector<std::size_t> offsets = Offsets(sound_);
  ASSERT_EQ(offsets.size(), 8u);
  for (std::size_t i = 0; i < offsets.size(); ++i) {
    // A byte of the head, so that its length is not known, and one of the name.
    for (const std::size_t byte : {13u, 25u}) {
      std::string damaged = sound_;
      damaged[offsets[i] + byte] ^= 0x40;
      std::string wanted = WithoutLine(before_, "v" + std::to_string(i));
      if (i == 2 || i == 3) wanted = before_;  // what came later counts
      if (i == 6) wanted.replace(wanted.find("\tnew\n"), 5, '\t' + std::string(40, 'x') + '\n');
      if (i == 7) wanted.insert(wanted.find("v4\t"), "v3\tREG_SZ\t" + std::string(60, 'x') + '\n');
      // The last record may count as cut off, when nothing but its head is unreadable.
      if (i == 7 && byte == 13) continue;
      EXPECT_EQ(Repaired(damaged), wanted) << i << " " << byte;
    }
  }
  EXPECT_TRUE(Run({"reg", "doctor"}).find("no damage") != std::string::npos);
}

TEST_F(RepairTest, FileOfALaterVersion_IsLeftToTheNerioThatWroteIt) {
  const std::string later = testing::OfLaterVersion(sound_);
  Damage(later);
  EXPECT_EQ(Run({"reg", "repair", kKey}), "2\nnerio: " + values_.string() +
                                              ": not of version 1; a later Nerio may have written it, and reads it\n"
                                              "  repair it with the Nerio that wrote it\n");
  EXPECT_EQ(Content(values_), later);
  EXPECT_EQ(Kept().size(), 0u);
}

TEST_F(RepairTest, DamagedHeaderTrailerOrLength_LosesNothing) {
  for (const std::size_t byte : {0u, 9u, 13u, 20u, 33u, 41u, 49u, 57u, 61u, 300u, 508u, 511u}) {
    std::string damaged = sound_;
    damaged[byte] ^= 0x40;
    EXPECT_EQ(Repaired(damaged), before_) << byte;
  }
  const std::vector<std::size_t> offsets = Offsets(sound_);
  for (std::size_t i = 0; i < offsets.size(); ++i) {
    std::string damaged = sound_;
    const std::size_t end = i + 1 < offsets.size() ? offsets[i + 1] : offsets[i] + 32;
    damaged[damaged.rfind('\xA5', end - 1)] ^= 0x40;
    EXPECT_EQ(Repaired(damaged), before_) << i;
  }
  EXPECT_EQ(Repaired(sound_ + std::string(4096, '\0')), before_);
  EXPECT_EQ(Repaired(sound_.substr(0, 4000)), before_);
  EXPECT_EQ(Repaired(sound_.substr(0, offsets[5])),
            "0\n" + before_.substr(2, before_.find("v2\t") - 2) + "v2\tREG_SZ\t" + std::string(40, 'x') +
                "\nv3\tREG_SZ\t" + std::string(60, 'x') + "\nv4\tREG_SZ\t" + std::string(80, 'x') + "\n");
  EXPECT_EQ(Repaired(""), "0\n");
  EXPECT_EQ(Repaired(std::string(5000, 'x')), "0\n");
}

// A record inside the data of another one is not one of the key's, also where the outer one is damaged.
TEST_F(RepairTest, RecordInsideData_IsNotBroughtBack) {
  for (const std::uint64_t sequence : {1u, 9u, 10u, 100u}) {
    std::string inner;
    platform::AppendRecord(inner, {sequence, false, 1, "finto", "x"});
    std::string hex;
    // The head and the name before the data take 29 bytes.
    for (const char byte : std::string(3, '.') + std::string(32, '.') + inner + inner) {
      constexpr char kDigits[] = "0123456789abcdef";
      hex += {kDigits[static_cast<unsigned char>(byte) >> 4], kDigits[byte & 0xF]};
    }
    Damage(sound_);
    EXPECT_TRUE(Run({"reg", "set", kKey, "outer", hex, "--type", "binary"}).starts_with("0\n"));
    EXPECT_TRUE(Run({"reg", "set", kKey, "dopo", "y"}).starts_with("0\n"));
    const std::string whole = Content(values_);
    const std::size_t place = whole.find("finto");
    ASSERT_EQ((place - platform::kRecordHeadSize) % 32, 0u);
    std::string damaged = whole;
    damaged[Offsets(whole)[8] + 30] ^= 0x40;  // its head is whole, so it is passed over
    const std::string list = Repaired(damaged);
    EXPECT_EQ(list.find("finto"), std::string::npos) << list;
    EXPECT_NE(list.find("dopo\tREG_SZ\ty\n"), std::string::npos) << list;
    damaged[Offsets(whole)[8] + 13] ^= 0x40;
    if (sequence != 9 && sequence != 10) {
      const std::string scanned = Repaired(damaged);
      EXPECT_EQ(scanned.find("finto"), std::string::npos) << scanned;
      EXPECT_NE(scanned.find("dopo\tREG_SZ\ty\n"), std::string::npos) << scanned;
    }
  }
}

TEST_F(RepairTest, KeyCanBeUsedAfterIt) {
  std::string damaged = sound_;
  damaged[9] ^= 1;
  EXPECT_EQ(Repaired(damaged), before_);
  EXPECT_TRUE(Run({"reg", "set", kKey, "v9", "nuovo"}).starts_with("0\n"));
  EXPECT_EQ(Run({"reg", "get", kKey, "v9"}), "0\nnuovo\n");
  EXPECT_TRUE(Run({"reg", "delete", kKey, "--yes"}).starts_with("0\n"));
  EXPECT_TRUE(Run({"reg", "test", kKey}).starts_with("3\n"));
}

TEST_F(RepairTest, Json_SaysWhatWasDone) {
  std::string damaged = sound_;
  damaged[9] ^= 1;
  Damage(damaged);
  const std::string said = Run({"reg", "repair", kKey, "--json"});
  EXPECT_EQ(said, "0\n{\"key\":\"HKEY_LOCAL_MACHINE\\\\Software\\\\Nerio\\\\App\",\"repaired\":true,\"file\":\"" +
                      values_.string() +
                      "\",\"offset\":12,\"what\":\"the header's checksum is wrong\",\"values\":5,\"kept\":\"" +
                      Kept().at(0).string() + "\"}\n");
}

TEST_F(RepairTest, NothingDamagedMissingOrBadInput) {
  EXPECT_EQ(Run({"reg", "repair", kKey}),
            "0\nHKEY_LOCAL_MACHINE\\Software\\Nerio\\App: it is in order, there is nothing to repair\n");
  EXPECT_EQ(Run({"reg", "repair", kKey, "--json"}),
            "0\n{\"key\":\"HKEY_LOCAL_MACHINE\\\\Software\\\\Nerio\\\\App\",\"repaired\":false}\n");
  EXPECT_EQ(Content(values_), sound_);
  EXPECT_TRUE(Run({"reg", "repair", "HKLM\\Manca"}).starts_with("3\nnerio: cannot repair "));
  EXPECT_TRUE(Run({"reg", "repair", "Manca"}).starts_with("5\n"));
  EXPECT_TRUE(Run({"reg", "repair", "HKLM\\Manca", "--json"}).starts_with("3\n{\"error\":{\"exit\":3,"));
  // Without a file there is nothing to bring back, and the key can be used again.
  std::filesystem::remove(values_);
  EXPECT_TRUE(Run({"reg", "repair", kKey})
                  .ends_with("repaired HKEY_LOCAL_MACHINE\\Software\\Nerio\\App: it has 0 values now\n"));
  EXPECT_EQ(Run({"reg", "list", kKey}), "0\n");
  // What is no file is left alone.
  std::filesystem::remove(values_);
  std::filesystem::create_symlink("elsewhere", values_);
  EXPECT_TRUE(Run({"reg", "repair", kKey}).starts_with("1\n"));
  EXPECT_TRUE(std::filesystem::is_symlink(values_));
}

}  // namespace
}  // namespace nerio::tool
