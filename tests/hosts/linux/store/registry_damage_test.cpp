#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <set>
#include <string>

#include "nerio/hosts/linux/store/values_format.h"
#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/status_output.h"

namespace nerio::platform {
namespace {

namespace fs = std::filesystem;
using testing::Calls;
using ::testing::ElementsAre;
using testing::FileContent;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::StoredRegistry;
using testing::WriteFile;

// A registry with one small key, whose values file the tests spoil: two values and one that was replaced.
class RegistryDamage : public ::testing::Test {
 protected:
  RegistryDamage() {
    EXPECT_EQ(calls_.Create("k"_ansi), kSuccess);
    EXPECT_EQ(calls_.Set("k"_ansi, "a"_ansi, "old"), kSuccess);
    EXPECT_EQ(calls_.Set("k"_ansi, "b"_ansi, "two"), kSuccess);
    EXPECT_EQ(calls_.Set("k"_ansi, "a"_ansi, "new"), kSuccess);
    content_ = FileContent(file_);
  }

  // Every call that reads or changes the key's values fails, and none changes the file.
  void ExpectRefusedEverywhere(const std::string& spoilt) {
    EXPECT_EQ(calls_.Get("k"_ansi, "a"_ansi), "[1015]");
    EXPECT_EQ(calls_.Get("k"_ansi, "missing"_ansi), "[1015]");
    EXPECT_EQ(calls_.Set("k"_ansi, "c"_ansi, "x"), kRegistryCorrupt);
    EXPECT_EQ(calls_.DeleteValue("k"_ansi, "a"_ansi), kRegistryCorrupt);
    EXPECT_EQ(calls_.Delete("k"_ansi), kRegistryCorrupt);
    EXPECT_EQ(FileContent(file_), spoilt);
  }

  StoredRegistry stored_;
  Calls calls_ = stored_.calls();
  fs::path file_ = stored_.ValuesFile("k");
  std::string content_;
};

TEST_F(RegistryDamage, FileOfALaterVersion_IsRefusedAndStaysAsItIs) {
  const std::string later = testing::OfLaterVersion(content_);
  WriteFile(file_, later);
  ExpectRefusedEverywhere(later);
  EXPECT_THAT(stored_.Findings(), ElementsAre(HasSubstr(":8: not of version 1; a later Nerio may have written it")));
}

TEST_F(RegistryDamage, Sound_NothingIsFound) {
  EXPECT_THAT(stored_.Findings(), IsEmpty());
  EXPECT_EQ(calls_.Get("k"_ansi, "a"_ansi), "new");
  EXPECT_EQ(calls_.Get("k"_ansi, "b"_ansi), "two");
}

TEST_F(RegistryDamage, Truncated_AtEveryByte_AnswersDamageAndStays) {
  for (std::size_t size = 0; size < content_.size(); ++size) {
    const std::string spoilt = content_.substr(0, size);
    WriteFile(file_, spoilt);
    // The calls on each length take a while; the two that a user makes first will do for most.
    if (size % 128 == 0 || size < 8) {
      ExpectRefusedEverywhere(spoilt);
    } else {
      ASSERT_EQ(calls_.Get("k"_ansi, "a"_ansi), "[1015]") << size;
      ASSERT_EQ(calls_.Set("k"_ansi, "c"_ansi, "x"), kRegistryCorrupt) << size;
      ASSERT_EQ(fs::file_size(file_), size);
    }
  }
  ASSERT_THAT(stored_.Findings(), ElementsAre(HasSubstr("damage:HKEY_LOCAL_MACHINE/k/%values:4095: ")));
}

TEST_F(RegistryDamage, Lengthened_AnswersDamageAndStays) {
  for (const std::size_t added : {1u, 511u, 4096u, 100000u}) {
    const std::string spoilt = content_ + std::string(added, '\0');
    WriteFile(file_, spoilt);
    ExpectRefusedEverywhere(spoilt);
  }
}

TEST_F(RegistryDamage, AnyBitFlipped_GivesNoWrongValueAndIsFound) {
  // After the last record everything is zero, up to the end of the page.
  const std::size_t end = content_.find_last_not_of('\0') + 1;
  std::size_t refused = 0;
  for (std::size_t byte = 0; byte < content_.size(); ++byte) {
    for (int bit = 0; bit < 8; ++bit) {
      if (byte >= end + 64 && byte % 97 != 0) continue;
      std::string spoilt = content_;
      spoilt[byte] = static_cast<char>(spoilt[byte] ^ (1 << bit));
      WriteFile(file_, spoilt);
      const std::string a = calls_.Get("k"_ansi, "a"_ansi);
      const std::string b = calls_.Get("k"_ansi, "b"_ansi);
      ASSERT_EQ(stored_.Findings().size(), 1u) << byte << "." << bit;
      if (byte < end) {
        // Every byte that says anything is covered by a checksum.
        ASSERT_EQ(a + b, "[1015][1015]") << byte << "." << bit;
        ++refused;
      } else {
        // A lone bit in the zeros is either damage or the rest of a write that was cut off, which loses nothing.
        ASSERT_TRUE(a + b == "[1015][1015]" || a + b == "newtwo") << byte << "." << bit << ": " << a << b;
      }
      ASSERT_EQ(FileContent(file_), spoilt);
    }
  }
  EXPECT_EQ(refused, end * 8);
}

TEST_F(RegistryDamage, NextWriter_DropsWhatWasCutOff) {
  std::string torn = content_;
  torn[2000] = 'x';
  WriteFile(file_, torn);
  EXPECT_THAT(stored_.Findings(), ElementsAre(HasSubstr("leftover:HKEY_LOCAL_MACHINE/k/%values:")));
  EXPECT_EQ(calls_.Get("k"_ansi, "a"_ansi), "new");
  EXPECT_EQ(calls_.Set("k"_ansi, "c"_ansi, "three"), kSuccess);
  EXPECT_EQ(calls_.Get("k"_ansi, "a"_ansi) + calls_.Get("k"_ansi, "b"_ansi) + calls_.Get("k"_ansi, "c"_ansi),
            "newtwothree");
  EXPECT_THAT(stored_.Findings(), IsEmpty());
}

TEST_F(RegistryDamage, DamagedKey_LeavesItsSubkeysAndNeighboursAlone) {
  ASSERT_EQ(calls_.Create("k\\sub"_ansi), kSuccess);
  ASSERT_EQ(calls_.Set("k\\sub"_ansi, "v"_ansi, "x"), kSuccess);
  ASSERT_EQ(calls_.Create("other"_ansi), kSuccess);
  WriteFile(file_, "spoilt");
  EXPECT_EQ(calls_.Open("k"_ansi), kRegistryCorrupt);
  EXPECT_EQ(calls_.Get("k\\sub"_ansi, "v"_ansi), "x");
  EXPECT_EQ(calls_.Set("k\\sub"_ansi, "v"_ansi, "y"), kSuccess);
  EXPECT_THAT(calls_.SubKeys(""_ansi), ElementsAre("k"_ansi, "other"_ansi));
}

// One thing that somebody can put where a key's file belongs.
struct OddFile {
  const char* name;
  std::function<void(const fs::path&)> put;
};

std::vector<OddFile> OddFiles() {
  return {
      {"missing", [](const fs::path&) {}},
      {"FIFO", [](const fs::path& path) { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); }},
      {"folder", [](const fs::path& path) { fs::create_directory(path); }},
      {"link to a copy", [](const fs::path& path) { fs::create_symlink("copy", path); }},
      {"link to nothing", [](const fs::path& path) { fs::create_symlink("nothing", path); }},
      {"link to itself", [](const fs::path& path) { fs::create_symlink(path.filename(), path); }},
      {"device", [](const fs::path& path) { fs::create_symlink("/dev/zero", path); }},
      {"socket",
       [](const fs::path& path) {
         sockaddr_un address{};
         address.sun_family = AF_UNIX;
         ASSERT_LT(path.string().size(), sizeof address.sun_path);
         path.string().copy(address.sun_path, sizeof address.sun_path - 1);
         const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
         ASSERT_EQ(::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
         ::close(socket);
       }},
  };
}

// Real devices take a privilege to make.
std::vector<OddFile> OddFilesAndDevices() {
  std::vector<OddFile> files = OddFiles();
  if (::geteuid() != 0) {
    std::puts("not run as root: a device in place of a file is only tried through a link");
    return files;
  }
  const auto device = [](unsigned major, unsigned minor) {
    return [=](const fs::path& path) { ASSERT_EQ(::mknod(path.c_str(), S_IFCHR | 0600, makedev(major, minor)), 0); };
  };
  files.push_back({"/dev/null", device(1, 3)});
  files.push_back({"/dev/zero", device(1, 5)});
  files.push_back({"/dev/full", device(1, 7)});
  return files;
}

TEST_F(RegistryDamage, OddFileInPlaceOfTheValues_IsRefusedAndStays) {
  for (const OddFile& odd : OddFilesAndDevices()) {
    SCOPED_TRACE(odd.name);
    fs::rename(file_, stored_.Key("k") / "copy");
    odd.put(file_);
    const auto before = fs::symlink_status(file_).type();
    EXPECT_EQ(calls_.Open("k"_ansi), kRegistryCorrupt);
    EXPECT_EQ(calls_.Open("k"_ansi, kKeyRead), kRegistryCorrupt);
    EXPECT_EQ(calls_.Delete("k"_ansi), kRegistryCorrupt);
    EXPECT_THAT(stored_.Findings(), ElementsAre(HasSubstr("damage:HKEY_LOCAL_MACHINE/k/%values:0: "),
                                                "damage:HKEY_LOCAL_MACHINE/k/copy:0: not a folder, as every key is"));
    EXPECT_EQ(fs::symlink_status(file_).type(), before);
    fs::remove(file_);
    fs::rename(stored_.Key("k") / "copy", file_);
    EXPECT_EQ(calls_.Get("k"_ansi, "a"_ansi), "new");
  }
  EXPECT_EQ(FileContent(file_), content_);
}

TEST_F(RegistryDamage, OddFileInPlaceOfTheValues_IsRefusedToAnOpenHandle) {
  KeyHandle key = 0;
  ASSERT_EQ(stored_.registry().OpenKey(kHkeyLocalMachine, "k"_ansi, 0, testing::kFullAccess, key), kSuccess);
  for (const OddFile& odd : OddFilesAndDevices()) {
    SCOPED_TRACE(odd.name);
    fs::rename(file_, stored_.Key("k") / "copy");
    odd.put(file_);
    std::uint32_t type = 0;
    std::uint32_t size = 0;
    EXPECT_EQ(stored_.registry().QueryValue(key, "a"_ansi, type, {}, size), kRegistryCorrupt);
    EXPECT_EQ(stored_.registry().SetValue(key, "a"_ansi, 0, kRegSz, std::string("x")), kRegistryCorrupt);
    EXPECT_EQ(stored_.registry().DeleteValue(key, "a"_ansi), kRegistryCorrupt);
    AnsiText name;
    EXPECT_EQ(stored_.registry().EnumKey(key, 0, name), kRegistryCorrupt);
    fs::remove(file_);
    fs::rename(stored_.Key("k") / "copy", file_);
  }
  EXPECT_EQ(FileContent(file_), content_);
}

TEST_F(RegistryDamage, OddFileInPlaceOfTheLock_StopsWritersOnly) {
  const fs::path lock = stored_.Key("k") / "%lock";
  for (const OddFile& odd : OddFilesAndDevices()) {
    if (odd.name == std::string("missing")) continue;
    SCOPED_TRACE(odd.name);
    fs::remove(lock);
    odd.put(lock);
    EXPECT_EQ(calls_.Get("k"_ansi, "a"_ansi), "new");
    EXPECT_EQ(calls_.Set("k"_ansi, "a"_ansi, "x"), kRegistryCorrupt);
    EXPECT_EQ(calls_.DeleteValue("k"_ansi, "a"_ansi), kRegistryCorrupt);
    EXPECT_EQ(calls_.Create("k\\sub"_ansi), kRegistryCorrupt);
    EXPECT_EQ(calls_.Delete("k"_ansi), kRegistryCorrupt);
    EXPECT_THAT(stored_.Findings(), ElementsAre(HasSubstr("damage:HKEY_LOCAL_MACHINE/k/%lock:0: ")));
  }
  fs::remove(lock);
  WriteFile(lock, "");
  EXPECT_EQ(calls_.Set("k"_ansi, "a"_ansi, "again"), kSuccess);
}

// A power cut can take it where the file system has no journal.
TEST_F(RegistryDamage, MissingLock_IsMadeAgainByTheNextWriter) {
  fs::remove(stored_.Key("k/%lock"));
  EXPECT_EQ(calls_.Get("k"_ansi, "a"_ansi), "new");
  EXPECT_THAT(stored_.Findings(), ElementsAre("leftover:HKEY_LOCAL_MACHINE/k/%lock:0: is missing"));
  EXPECT_EQ(calls_.Set("k"_ansi, "a"_ansi, "x"), kSuccess);
  EXPECT_THAT(stored_.Findings(), IsEmpty());
  EXPECT_EQ(fs::status(stored_.Key("k/%lock")).permissions(), static_cast<fs::perms>(0600));
}

TEST_F(RegistryDamage, OddFileInPlaceOfTheFolder_IsRefusedAndStays) {
  const fs::path aside = stored_.folder() / "aside";
  for (const OddFile& odd : OddFilesAndDevices()) {
    if (odd.name == std::string("missing") || odd.name == std::string("folder")) continue;
    SCOPED_TRACE(odd.name);
    fs::rename(stored_.Key("k"), aside);
    odd.put(stored_.Key("k"));
    EXPECT_EQ(calls_.Open("k"_ansi), kRegistryCorrupt);
    EXPECT_EQ(calls_.Create("k"_ansi), kRegistryCorrupt);
    EXPECT_EQ(calls_.Create("k\\sub"_ansi), kRegistryCorrupt);
    EXPECT_EQ(calls_.Delete("k"_ansi), kRegistryCorrupt);
    EXPECT_THAT(calls_.SubKeys(""_ansi), IsEmpty());
    EXPECT_THAT(stored_.Findings(), ElementsAre("damage:HKEY_LOCAL_MACHINE/k:0: not a folder, as every key is"));
    EXPECT_NE(fs::symlink_status(stored_.Key("k")).type(), fs::file_type::not_found);
    fs::remove(stored_.Key("k"));
    fs::rename(aside, stored_.Key("k"));
  }
  EXPECT_EQ(calls_.Get("k"_ansi, "a"_ansi), "new");
}

TEST_F(RegistryDamage, LinkAmongTheFoldersAbove_IsNotFollowed) {
  ASSERT_EQ(calls_.Create("k\\sub"_ansi), kSuccess);
  fs::rename(stored_.Key("k"), stored_.folder() / "elsewhere");
  fs::create_symlink("../elsewhere", stored_.Key("k"));
  EXPECT_EQ(calls_.Open("k\\sub"_ansi), kRegistryCorrupt);
  EXPECT_EQ(calls_.Create("k\\sub\\new"_ansi), kRegistryCorrupt);
  EXPECT_FALSE(fs::exists(stored_.folder() / "elsewhere/sub/new"));
}

TEST_F(RegistryDamage, FileWhereTheFoldersOfTheRootsBelong_IsFoundAsEveryCallFindsIt) {
  const std::filesystem::path file = stored_.folder() / "file";
  testing::WriteFile(file, "x");
  platform::LinuxRegistry registry(file);
  EXPECT_EQ(testing::Calls(registry).Open(""_ansi), kRegistryCorrupt);
  const std::vector<RegistryFinding> findings = CheckRegistry({file});
  ASSERT_EQ(findings.size(), 5u);
  for (const RegistryFinding& finding : findings) {
    EXPECT_EQ(finding.kind, RegistryFinding::Kind::Damage);
    EXPECT_TRUE(finding.place.starts_with(file.string() + "/HKEY_")) << finding.place;
    EXPECT_EQ(finding.what, "can not be read (1015)");
  }
}

TEST_F(RegistryDamage, StrayFolder_IsNoKeyAndNotDeleted) {
  fs::create_directory(stored_.Key("k/notes"));
  fs::create_directory(stored_.Key("k/Upper"));
  EXPECT_EQ(calls_.Open("k\\notes"_ansi), kRegistryCorrupt);
  EXPECT_EQ(calls_.Delete("k"_ansi), kAccessDenied);
  EXPECT_TRUE(fs::exists(stored_.Key("k/notes")));
  EXPECT_THAT(stored_.Findings(), ElementsAre("damage:HKEY_LOCAL_MACHINE/k/Upper:0: no key has a folder of this name",
                                              "damage:HKEY_LOCAL_MACHINE/k/notes/%lock:0: is missing",
                                              "damage:HKEY_LOCAL_MACHINE/k/notes/%values:0: is missing"));
}

TEST_F(RegistryDamage, Leftovers_AreInvisibleAndSweptByTheNextWriter) {
  const auto leave = [&] {
    for (const char* left : {"%make", "%gone"}) {
      fs::create_directory(stored_.Key("k") / left);
      WriteFile(stored_.Key("k") / left / "%values", "half");
      WriteFile(stored_.Key("k") / left / "%lock", "");
    }
    WriteFile(stored_.Key("k/%new"), "half");
  };
  leave();
  EXPECT_THAT(calls_.SubKeys("k"_ansi), IsEmpty());
  EXPECT_EQ(stored_.Findings().size(), 3u);
  EXPECT_THAT(stored_.Findings().front(), HasSubstr("leftover:HKEY_LOCAL_MACHINE/k/%gone:0: "));
  ASSERT_EQ(calls_.Set("k"_ansi, "a"_ansi, "x"), kSuccess);
  EXPECT_THAT(stored_.Findings(), IsEmpty());
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(stored_.Key("k"))) names.insert(entry.path().filename());
  EXPECT_THAT(names, ElementsAre("%lock", "%values"));
  leave();
  ASSERT_EQ(calls_.Create("k\\sub"_ansi), kSuccess);
  EXPECT_THAT(stored_.Findings(), IsEmpty());
}

// What is no key's own is not removed, but in nobody's way.
TEST_F(RegistryDamage, NotesUnderAReservedName_AreSetAsideByTheNextKeyThatNeedsIt) {
  ASSERT_EQ(calls_.Create("k\\doomed"_ansi), kSuccess);
  for (const char* name : {"%make", "%gone"}) {
    fs::create_directory(stored_.Key("k") / name);
    WriteFile(stored_.Key("k") / name / "notes", name);
  }
  EXPECT_EQ(calls_.Create("k\\sub"_ansi), kSuccess);
  EXPECT_EQ(calls_.Delete("k\\doomed"_ansi), kSuccess);
  std::set<std::string> notes;
  for (const auto& entry : fs::directory_iterator(stored_.Key("k"))) {
    if (entry.path().filename().string().starts_with("%left-")) notes.insert(FileContent(entry.path() / "notes"));
  }
  EXPECT_THAT(notes, ElementsAre("%gone", "%make"));
}

TEST_F(RegistryDamage, LeftoversOfAnyMomentAfterAChange_AreSweptByTheNextOne) {
  for (int turn = 0; turn < 200; ++turn) {
    ASSERT_EQ(calls_.Set("k"_ansi, "a"_ansi, std::to_string(turn)), kSuccess);
    const fs::path left = stored_.Key("k") / (turn % 2 == 0 ? "%new" : "%gone");
    if (turn % 2 == 0) WriteFile(left, "half");
    if (turn % 2 != 0) fs::create_directory(left);
    ASSERT_EQ(calls_.Set("k"_ansi, "b"_ansi, std::to_string(turn)), kSuccess);
    ASSERT_FALSE(fs::exists(left)) << turn;
  }
}

TEST_F(RegistryDamage, NumbersOfRecords_GoOnWhenTheFileIsReplaced) {
  ValuesHeader header;
  Damage damage;
  ASSERT_TRUE(ParseHeader(content_, header, damage));
  EXPECT_EQ(header.firstSequence, 1u);
  ASSERT_EQ(calls_.Set("k"_ansi, "c"_ansi, std::string(5000, 'x')), kSuccess);
  // Three records were in the old file.
  ASSERT_TRUE(ParseHeader(FileContent(file_), header, damage));
  EXPECT_EQ(header.firstSequence, 4u);
}

TEST_F(RegistryDamage, Leftovers_DoNotStopADeletion) {
  fs::create_directory(stored_.Key("k/%make"));
  WriteFile(stored_.Key("k/%make/%values"), "half");
  fs::create_directory(stored_.Key("%gone"));
  WriteFile(stored_.Key("%gone/%lock"), "");
  EXPECT_EQ(calls_.Delete("k"_ansi), kSuccess);
  EXPECT_EQ(calls_.Open("k"_ansi), kFileNotFound);
  EXPECT_FALSE(fs::exists(stored_.Key("%gone")));
}

}  // namespace
}  // namespace nerio::platform
