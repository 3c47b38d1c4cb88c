#include "nerio/hosts/linux/store/key_cache.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "nerio/hosts/linux/store/folder_walk.h"
#include "tests/hosts/linux/store/child_process.h"
#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/status_output.h"
#include "tests/testing/temporary_folder.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// Of the sanitizers' run-time library; the compiler comes without the header that declares it.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();  // NOLINT(bugprone-reserved-identifier)
#endif

namespace nerio::platform {
namespace {

namespace fs = std::filesystem;
using testing::Calls;
using testing::InOrder;

using testing::kNobody;

// Longer than the time for which a change keeps a key from being cached.
void WaitUntilCacheable() { std::this_thread::sleep_for(std::chrono::milliseconds(40)); }

std::size_t AllocatedBytes() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  return __sanitizer_get_current_allocated_bytes();
#else
  return ::mallinfo2().uordblks;
#endif
}

std::string Answers(RegistryApi& registry) {
  const Calls calls(registry);
  return InOrder({calls.Open("k"_ansi), calls.Get("k"_ansi, "v"_ansi), calls.Get("k"_ansi, "w"_ansi),
                  calls.Get("k\\sub"_ansi, "v"_ansi)});
}

class KeyCacheTest : public ::testing::Test {
 protected:
  KeyCacheTest() {
    const Calls calls = stored_.calls();
    EXPECT_EQ(calls.Create("k\\sub"_ansi), kSuccess);
    EXPECT_EQ(calls.Set("k"_ansi, "v"_ansi, "old"), kSuccess);
    EXPECT_EQ(calls.Set("k\\sub"_ansi, "v"_ansi, "below"), kSuccess);
  }

  KeyFolder Folder(const std::string& folders) const {
    KeyFolder folder{stored_.Root()};
    folder.Enter(folders);
    return folder;
  }
  // Makes a cache keep what can be cached.
  static void RecordReads(KeyCache& cache, const KeyFolder& key) {
    for (int i = 0; i < 3; ++i) cache.RecordRead(key);
  }

  // Puts values into a key's file all at once.
  void WriteValues(const AnsiText& key, int count, const std::function<std::string(int)>& name,
                   const std::function<std::string(int)>& data) const {
    ValuesHeader header;
    Damage damage;
    ASSERT_TRUE(ParseHeader(testing::FileContent(stored_.ValuesFile(key.bytes())), header, damage));
    std::string records;
    for (int i = 0; i < count; ++i) {
      const std::string itsName = name(i);
      const std::string itsData = data(i);
      AppendRecord(records, {.sequence = static_cast<std::uint64_t>(i + 1),
                             .deletion = false,
                             .type = kRegSz,
                             .name = itsName,
                             .data = itsData});
    }
    header.settledEnd = kSectorSize + records.size();
    header.fileSize = (header.settledEnd + kPageSize - 1) / kPageSize * kPageSize;
    std::string file = EncodeHeader(header) + records;
    file.resize(header.fileSize);
    testing::WriteFile(stored_.ValuesFile(key.bytes()), file);
  }

  testing::StoredRegistry stored_;
};

TEST_F(KeyCacheTest, KeyThatIsReadAgain_IsCachedWithItsValues) {
  WaitUntilCacheable();
  KeyCache cache;
  EXPECT_EQ(cache.Find(Folder("k")), nullptr);
  for (int i = 0; i < 2; ++i) {
    cache.RecordRead(Folder("k"));
    EXPECT_EQ(cache.Find(Folder("k")), nullptr) << "one value read once is not worth it";
  }
  cache.RecordRead(Folder("k"));
  const auto cached = cache.Find(Folder("k"));
  ASSERT_NE(cached, nullptr);
  ValueRecord value;
  ASSERT_TRUE(cached->Find("V", value));
  EXPECT_EQ(value.name, "v");
  EXPECT_EQ(value.data, "old");
  EXPECT_EQ(value.type, kRegSz);
  EXPECT_FALSE(cached->Find("w", value));
}

TEST_F(KeyCacheTest, KeyThatWasJustChanged_IsNotCachedYet) {
  KeyCache cache;
  ASSERT_EQ(stored_.calls().Set("k"_ansi, "v"_ansi, "new"), kSuccess);
  RecordReads(cache, Folder("k"));
  EXPECT_EQ(cache.Find(Folder("k")), nullptr);
  WaitUntilCacheable();
  cache.RecordRead(Folder("k"));
  EXPECT_NE(cache.Find(Folder("k")), nullptr);
}

TEST_F(KeyCacheTest, KeyThatAWriterHasLocked_IsCachedAsItIs) {
  WaitUntilCacheable();
  KeyCache cache;
  LockedKey locked;
  ASSERT_EQ(LockKey(Folder("k"), O_PATH, Deadline(kChangeLimit), locked), kSuccess);
  RecordReads(cache, Folder("k"));
  EXPECT_NE(cache.Find(Folder("k")), nullptr);
}

TEST_F(KeyCacheTest, KeyWhoseLockThisUserMayNotOpen_IsCachedAsAnyOther) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  for (const char* place : {"", "k"}) fs::permissions(stored_.Key(place), static_cast<fs::perms>(0755));
  fs::permissions(stored_.folder(), static_cast<fs::perms>(0755));
  fs::permissions(stored_.ValuesFile("k"), static_cast<fs::perms>(0644));
  WaitUntilCacheable();
  EXPECT_EQ(testing::AnswerOfChild([&]() -> std::string {
              if (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)
                return "can not change user";
              if (::access((stored_.Key("k") / "%lock").c_str(), R_OK) == 0) return "may open the lock";
              KeyCache cache;
              RecordReads(cache, Folder("k"));
              return cache.Find(Folder("k")) ? "cached" : "not cached";
            }),
            "cached");
}

TEST_F(KeyCacheTest, RootsAndWhatIsNotAKey_AreNotCached) {
  WaitUntilCacheable();
  KeyCache cache;
  for (const KeyFolder& path : {KeyFolder(stored_.Root()), Folder("missing"), Folder("k/%values")}) {
    RecordReads(cache, path);
    EXPECT_EQ(cache.Find(path), nullptr) << path.path();
  }
}

TEST_F(KeyCacheTest, FileSystemNotKnownForReliableTimes_IsReadEachTime) {
  const testing::TemporaryFolder place;
  if (::mount("nerio", place.path().c_str(), "ramfs", 0, nullptr) != 0) {
    GTEST_SKIP() << "no right to mount another file system";
  }
  fs::copy(stored_.Root(), place.path() / "root", fs::copy_options::recursive);
  WaitUntilCacheable();
  KeyFolder path{place.path() / "root"};
  path.Enter("k");
  KeyCache cache;
  RecordReads(cache, path);
  EXPECT_EQ(cache.Find(path), nullptr);
  EXPECT_EQ(::umount(place.path().c_str()), 0);
}

// A clock that is set back gives a second change the same time of whole seconds.
TEST_F(KeyCacheTest, FileSystemWithTimesOfWholeSeconds_IsReadEachTime) {
  const testing::TemporaryFolder place(testing::MemoryFolder());
  const fs::path image = place.path() / "image";
  const fs::path mounted = place.path() / "mounted";
  fs::create_directory(mounted);
  testing::WriteFile(image, "");
  fs::resize_file(image, std::uintmax_t{8} << 20);
  const std::string make = "mkfs.ext4 -q -F -I 128 " + image.string() + " >/dev/null 2>&1 && mount -o loop " +
                           image.string() + " " + mounted.string() + " >/dev/null 2>&1";
  if (std::system(make.c_str()) != 0) GTEST_SKIP() << "no right to mount a file system, or no mkfs.ext4";  // NOLINT
  fs::copy(stored_.Root(), mounted / "root", fs::copy_options::recursive);
  std::this_thread::sleep_for(std::chrono::milliseconds(2100));
  KeyFolder path{mounted / "root"};
  path.Enter("k");
  KeyCache cache;
  RecordReads(cache, path);
  EXPECT_EQ(cache.Find(path), nullptr);
  EXPECT_EQ(::umount(mounted.c_str()), 0);
}

TEST_F(KeyCacheTest, ManyKeys_TakeNoDescriptorsAndBoundedMemory) {
  constexpr int kKeys = 2200;
  for (int i = 0; i < kKeys; ++i) fs::copy(stored_.Key("k"), stored_.Key("k" + std::to_string(i)));
  WaitUntilCacheable();
  KeyCache cache;
  const auto openFiles = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); };
  const auto before = openFiles();
  for (int i = 0; i < kKeys; ++i) RecordReads(cache, Folder("k" + std::to_string(i)));
  EXPECT_EQ(openFiles(), before);
  EXPECT_EQ(cache.Find(Folder("k0")), nullptr) << "the one used longest ago makes room";
  EXPECT_NE(cache.Find(Folder("k" + std::to_string(kKeys - 1))), nullptr);
}

TEST_F(KeyCacheTest, KeyThatIsReadAgainAndAgain_OutlastsAnyNumberOfOthers) {
  WaitUntilCacheable();
  KeyCache cache;
  RecordReads(cache, Folder("k"));
  for (int i = 0; i < 3000; ++i) {
    cache.RecordRead(Folder("other" + std::to_string(i)));
    ASSERT_NE(cache.Find(Folder("k")), nullptr) << i;
  }
}

TEST_F(KeyCacheTest, KeysAtOnce_Are2048) {
  WaitUntilCacheable();
  for (const int others : {2047, 2048}) {
    KeyCache cache;
    RecordReads(cache, Folder("k"));
    for (int i = 0; i < others; ++i) cache.RecordRead(Folder("other" + std::to_string(i)));
    EXPECT_EQ(cache.Find(Folder("k")) != nullptr, others < 2048) << others;
  }
}

TEST_F(KeyCacheTest, FileUpToTheLimit_IsRead) {
  WaitUntilCacheable();
  const auto size = static_cast<std::int64_t>(fs::file_size(stored_.ValuesFile("k")));
  for (const std::int64_t limit : {size - 1, size, size + 1}) {
    bool isTooLarge = false;
    EXPECT_EQ(ReadWithStamp(Folder("k"), {.file = limit}, isTooLarge) != nullptr, limit >= size) << limit;
  }
}

TEST_F(KeyCacheTest, LastChange_IsKeptUpToEightMebibytes) {
  constexpr std::size_t kMost = std::size_t{8} << 20;
  for (const std::size_t size : {kMost, kMost + kPageSize}) {
    // A name of one byte, two checksums, a head and a trailer go with the data.
    const std::string data(size - kSectorSize - RecordSpace(1, 1) + 2, 'x');
    const ValueRecord value{.sequence = 1, .deletion = false, .type = kRegBinary, .name = "v", .data = data};
    testing::WriteFile(stored_.ValuesFile("k"), EncodeFile({}, {value}, Room::None));
    Descriptor file;
    ASSERT_EQ(OpenByPath(stored_.ValuesFile("k"), O_RDONLY, file), kSuccess);
    KeyCache cache;
    auto change = cache.TakeLastChange();
    ASSERT_EQ(change->values.Read(file.get()), kSuccess);
    ASSERT_EQ(change->values.Memory(), size);
    cache.KeepLastChange(std::move(change));
    EXPECT_EQ(cache.TakeLastChange()->values.Memory(), size == kMost ? size : 0);
  }
}

// Keys of a few bytes each, whose values cost more than what is in them.
TEST_F(KeyCacheTest, WholeCache_TakesNoMoreMemoryThanItsBound) {
  constexpr int kKeys = 100;
  constexpr int kValues = 2500;
  for (int i = 0; i < kKeys; ++i) {
    const AnsiText key("k" + std::to_string(i));
    ASSERT_EQ(stored_.calls().Create(key), kSuccess);
    WriteValues(
        key, kValues, [](int number) { return std::to_string(number); }, [](int) { return std::string(); });
  }
  WaitUntilCacheable();
  const std::size_t before = AllocatedBytes();
  KeyCache cache;
  for (int i = 0; i < kKeys; ++i) RecordReads(cache, Folder("k" + std::to_string(i)));
  EXPECT_NE(cache.Find(Folder("k" + std::to_string(kKeys - 1))), nullptr);
  EXPECT_LE(AllocatedBytes() - before, std::size_t{4} << 20);
  EXPECT_EQ(cache.Find(Folder("k0")), nullptr) << "the one used longest ago makes room";
}

TEST_F(KeyCacheTest, KeysOfManyValues_AreCached) {
  for (const int count : {10, 100, 1000, 10'000}) {
    const AnsiText key("k" + std::to_string(count));
    ASSERT_EQ(stored_.calls().Create(key), kSuccess);
    WriteValues(
        key, count, [](int number) { return "Value" + std::to_string(number); },
        [](int number) { return std::to_string(number); });
    WaitUntilCacheable();
    KeyCache cache;
    RecordReads(cache, Folder(key.bytes()));
    const auto cached = cache.Find(Folder(key.bytes()));
    ASSERT_NE(cached, nullptr) << count;
    ValueRecord value;
    for (int i = 0; i < count; ++i) {
      ASSERT_TRUE(cached->Find("VALUE" + std::to_string(i), value)) << i;
      ASSERT_EQ(value.data, std::to_string(i));
      ASSERT_EQ(value.name, "Value" + std::to_string(i));
    }
    EXPECT_FALSE(cached->Find("value", value));
    EXPECT_FALSE(cached->Find("valuex", value));
  }
}

TEST_F(KeyCacheTest, LargeKeys_MakeRoomForEachOtherAndTooLargeOnesAreNotCached) {
  const std::string large(60'000, 'x');
  for (int i = 0; i < 80; ++i) {
    const AnsiText key("k" + std::to_string(i));
    ASSERT_EQ(stored_.calls().Create(key), kSuccess);
    ASSERT_EQ(stored_.calls().Set(key, "v"_ansi, large), kSuccess);
  }
  ASSERT_EQ(stored_.calls().Set("k"_ansi, "v"_ansi, std::string(3'000'000, 'x')), kSuccess);
  WaitUntilCacheable();
  KeyCache cache;
  RecordReads(cache, Folder("k"));
  EXPECT_EQ(cache.Find(Folder("k")), nullptr);
  for (int i = 0; i < 80; ++i) RecordReads(cache, Folder("k" + std::to_string(i)));
  EXPECT_EQ(cache.Find(Folder("k0")), nullptr);
  EXPECT_NE(cache.Find(Folder("k79")), nullptr);
}

TEST_F(KeyCacheTest, LinkToTheFolderOfACachedKey_StillGivesItsValues) {
  // Deliberately: where the link leads is the very file that was read. It is refused once that changes.
  WaitUntilCacheable();
  for (int i = 0; i < 2; ++i) ASSERT_EQ(stored_.calls().Get("k"_ansi, "v"_ansi), "old");
  fs::rename(stored_.Key("k"), stored_.folder() / "elsewhere");
  fs::create_symlink("../elsewhere", stored_.Key("k"));
  EXPECT_EQ(stored_.calls().Get("k"_ansi, "v"_ansi), "old");
  testing::WriteFile(stored_.ValuesFile("k"), testing::FileContent(stored_.ValuesFile("k")));
  EXPECT_EQ(stored_.calls().Get("k"_ansi, "v"_ansi), "[1015]");
}

// What can happen to a key without the registry that cached it.
struct Change {
  const char* name;
  std::function<void(const testing::StoredRegistry&)> make;
};

std::vector<Change> Changes() {
  using Stored = testing::StoredRegistry;
  const auto mode = [](const char* name, const char* place, unsigned bits) {
    return Change{name,
                  [=](const Stored& stored) { fs::permissions(stored.Key(place), static_cast<fs::perms>(bits)); }};
  };
  const auto byAnother = [](const char* name, const std::function<Status(const Calls&)>& call) {
    return Change{name, [=](const Stored& stored) {
                    LinuxRegistry another(stored.folder());
                    ASSERT_EQ(call(Calls(another)), kSuccess);
                  }};
  };
  return {
      mode("folder that cannot be written", "k", 0500),
      mode("folder that cannot be read", "k", 0300),
      mode("folder that cannot be searched", "k", 0600),
      mode("folder without rights", "k", 0000),
      mode("folder above without search", "", 0600),
      mode("file that cannot be read", "k/%values", 0200),
      mode("file that cannot be written", "k/%values", 0400),
      {"key moved away", [](const Stored& stored) { fs::rename(stored.Key("k"), stored.Key("other")); }},
      {"root moved away", [](const Stored& stored) { fs::rename(stored.Root(), stored.folder() / "other"); }},
      {"another key in its place",
       [](const Stored& stored) {
         fs::rename(stored.Key("k"), stored.folder() / "aside");
         fs::rename(stored.folder() / "aside/sub", stored.Key("k"));
       }},
      {"copy restored in its place",
       [](const Stored& stored) {
         fs::copy(stored.Key("k"), stored.folder() / "copy", fs::copy_options::recursive);
         fs::remove_all(stored.Key("k"));
         fs::rename(stored.folder() / "copy", stored.Key("k"));
       }},
      {"values file of another key copied over its own",
       [](const Stored& stored) {
         testing::WriteFile(stored.ValuesFile("k"), testing::FileContent(stored.ValuesFile("k/sub")));
       }},
      {"values file edited in place, its time set back",
       [](const Stored& stored) {
         const fs::path file = stored.ValuesFile("k");
         const auto time = fs::last_write_time(file);
         testing::WriteFile(file, testing::FileContent(stored.ValuesFile("k/sub")));
         fs::last_write_time(file, time);
       }},
      {"one bit turned",
       [](const Stored& stored) {
         std::string content = testing::FileContent(stored.ValuesFile("k"));
         content[20] = static_cast<char>(content[20] ^ 1);
         testing::WriteFile(stored.ValuesFile("k"), content);
       }},
      {"values file cut off", [](const Stored& stored) { fs::resize_file(stored.ValuesFile("k"), 1000); }},
      {"values file removed", [](const Stored& stored) { fs::remove(stored.ValuesFile("k")); }},
      {"folder in place of the values file",
       [](const Stored& stored) {
         fs::remove(stored.ValuesFile("k"));
         fs::create_directory(stored.ValuesFile("k"));
       }},
      byAnother("value written", [](const Calls& calls) { return calls.Set("k"_ansi, "v"_ansi, "new"); }),
      byAnother("value written as it was", [](const Calls& calls) { return calls.Set("k"_ansi, "v"_ansi, "old"); }),
      byAnother("value added", [](const Calls& calls) { return calls.Set("k"_ansi, "w"_ansi, "new"); }),
      byAnother("value deleted", [](const Calls& calls) { return calls.DeleteValue("k"_ansi, "v"_ansi); }),
      byAnother("file replaced",
                [](const Calls& calls) { return calls.Set("k"_ansi, "w"_ansi, std::string(5000, 'x')); }),
      byAnother("subkey deleted", [](const Calls& calls) { return calls.Delete("k\\sub"_ansi); }),
      byAnother("key deleted and made again",
                [](const Calls& calls) {
                  return calls.Delete("k\\sub"_ansi) == kSuccess && calls.Delete("k"_ansi) == kSuccess
                             ? calls.Create("k"_ansi)
                             : kAccessDenied;
                }),
  };
}

TEST_F(KeyCacheTest, AfterEachChange_TheNextCallAnswersAsARegistryWithoutCache) {
  // Rights are checked for a user who is bound by them.
  for (const Change& change : Changes()) {
    const std::string outcome = testing::AnswerOfChild([&]() -> std::string {
      testing::StoredRegistry stored;
      if (::geteuid() == 0) {
        if (::chown(stored.folder().c_str(), kNobody, kNobody) != 0 || ::setgroups(0, nullptr) != 0 ||
            ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0) {
          return "can not change user";
        }
      }
      const Calls calls = stored.calls();
      if (calls.Create("k\\sub"_ansi) != kSuccess || calls.Set("k"_ansi, "v"_ansi, "old") != kSuccess ||
          calls.Set("k\\sub"_ansi, "v"_ansi, "below") != kSuccess) {
        return "no set-up";
      }
      WaitUntilCacheable();
      const std::string before = Answers(stored.registry());
      if (Answers(stored.registry()) != before) return "another answer without a change";
      KeyHandle handle = 0;
      stored.registry().OpenKey(kHkeyLocalMachine, "k"_ansi, 0, kKeyRead, handle);
      LinuxRegistry another(stored.folder());
      KeyHandle otherHandle = 0;
      another.OpenKey(kHkeyLocalMachine, "k"_ansi, 0, kKeyRead, otherHandle);
      change.make(stored);
      std::uint32_t type = 0;
      std::uint32_t size = 0;
      const auto ofHandles = InOrder({stored.registry().QueryValue(handle, "v"_ansi, type, {}, size), "/",
                                      another.QueryValue(otherHandle, "v"_ansi, type, {}, size)});
      const std::string after = Answers(stored.registry());
      LinuxRegistry fresh(stored.folder());
      const std::string expected = Answers(fresh);
      for (const char* place : {"", "k", "k/%values"}) {
        std::error_code ignored;
        fs::permissions(stored.Key(place), fs::perms::owner_all, ignored);
      }
      if (after != expected) return InOrder({"cached:", after, "read:", expected});
      const std::size_t slash = ofHandles.find(" / ");
      if (ofHandles.substr(0, slash) != ofHandles.substr(slash + 3)) return "open handles: " + ofHandles;
      return "equal";
    });
    EXPECT_EQ(outcome, "equal") << change.name;
  }
}

TEST_F(KeyCacheTest, HandleOfADeletedKey_IsNotTakenForTheNewOneThatIsCached) {
  ASSERT_EQ(stored_.calls().Delete("k\\sub"_ansi), kSuccess);
  KeyHandle handle = 0;
  ASSERT_EQ(stored_.registry().OpenKey(kHkeyLocalMachine, "k"_ansi, 0, kKeyRead, handle), kSuccess);
  ASSERT_EQ(stored_.calls().Delete("k"_ansi), kSuccess);
  ASSERT_EQ(stored_.calls().Create("k"_ansi), kSuccess);
  ASSERT_EQ(stored_.calls().Set("k"_ansi, "v"_ansi, "new"), kSuccess);
  WaitUntilCacheable();
  for (int i = 0; i < 3; ++i) ASSERT_EQ(stored_.calls().Get("k"_ansi, "v"_ansi), "new");
  std::uint32_t type = 0;
  std::uint32_t size = 0;
  EXPECT_EQ(stored_.registry().QueryValue(handle, "v"_ansi, type, {}, size), kKeyDeleted);
}

TEST_F(KeyCacheTest, ForkedChildOfAnotherUser_IsRefusedWhatItsParentCached) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  WaitUntilCacheable();
  for (int i = 0; i < 3; ++i) ASSERT_EQ(stored_.calls().Get("k"_ansi, "v"_ansi), "old");
  const auto asNobody = [&] {
    return testing::AnswerOfChild([&]() -> std::string {
      if (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)
        return "can not change user";
      return InOrder({stored_.calls().Get("k"_ansi, "v"_ansi), stored_.calls().Open("k"_ansi)});
    });
  };
  EXPECT_EQ(asNobody(), "[5] 5");
  for (const fs::path& folder : {stored_.folder(), stored_.Root(), stored_.Key("k")}) {
    fs::permissions(folder, fs::perms::all);
  }
  EXPECT_EQ(asNobody(), "[5] 5") << "the file itself is still private";
  fs::permissions(stored_.ValuesFile("k"), static_cast<fs::perms>(0644));
  WaitUntilCacheable();
  for (int i = 0; i < 3; ++i) ASSERT_EQ(stored_.calls().Get("k"_ansi, "v"_ansi), "old");
  EXPECT_EQ(asNobody(), "old 0");
  ASSERT_EQ(::chown(stored_.ValuesFile("k").c_str(), 1, 1), 0);
  fs::permissions(stored_.ValuesFile("k"), static_cast<fs::perms>(0600));
  EXPECT_EQ(asNobody(), "[5] 5") << "and a third one's file";
  ASSERT_EQ(::chown(stored_.ValuesFile("k").c_str(), kNobody, kNobody), 0);
  fs::permissions(stored_.ValuesFile("k"), fs::perms::none);
  WaitUntilCacheable();
  for (int i = 0; i < 3; ++i) ASSERT_EQ(stored_.calls().Get("k"_ansi, "v"_ansi), "old");
  EXPECT_EQ(asNobody(), "[5] 5") << "and its own one that it may not read";
}

TEST_F(KeyCacheTest, WhatAnotherProcessWrote_IsReadAtOnce) {
  for (int round = 0; round < 10; ++round) {
    WaitUntilCacheable();
    for (int i = 0; i < 3; ++i) stored_.calls().Get("k"_ansi, "v"_ansi);
    const std::string value = std::to_string(round);
    ASSERT_EQ(testing::AnswerOfChild([&] {
                LinuxRegistry registry(stored_.folder());
                return std::to_string(NumberOf(Calls(registry).Set("k"_ansi, "v"_ansi, value)));
              }),
              "0");
    EXPECT_EQ(stored_.calls().Get("k"_ansi, "v"_ansi), value);
  }
}

}  // namespace
}  // namespace nerio::platform
