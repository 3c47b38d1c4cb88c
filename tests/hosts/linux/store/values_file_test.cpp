#include "nerio/hosts/linux/store/values_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "nerio/hosts/linux/store/folder_walk.h"
#include "tests/hosts/linux/store/stored_registry.h"
#include "tests/testing/ansi_literal.h"

namespace nerio::platform {
namespace {

using testing::FileContent;
using testing::WriteFile;

std::string Described(const ValueRecord& value) {
  return std::to_string(value.sequence) + ':' + std::to_string(value.type) + ' ' + std::string(value.name) + '=' +
         std::string(value.data) + '\n';
}

// Everything that an object tells of the file that it has read.
std::string Described(Status status, const ValuesFile& file, const std::vector<std::string>& names) {
  std::string text = std::to_string(NumberOf(status)) + ' ' + std::to_string(static_cast<int>(file.state())) + ' ';
  if (file.state() != RecordCursor::End::Whole) {
    return text + std::to_string(file.damage().offset) + ' ' + (file.damage().what ? file.damage().what : "");
  }
  for (const std::uint64_t number : {file.recordsEnd(), file.nextSequence(), file.addedRecords()}) {
    text += std::to_string(number) + ' ';
  }
  for (const ValueRecord& value : file.Values()) text += Described(value);
  for (const std::string& name : names) {
    ValueRecord found;
    text += file.Find(name, found) ? Described(found) : "none\n";
  }
  return text;
}

// A key whose values file takes several reads, and what changes it, by hand or not.
class ValuesFileTest : public ::testing::Test {
 protected:
  ValuesFileTest() {
    EXPECT_EQ(calls_.Create("k"_ansi), kSuccess);
    for (int i = 0; i < 700; ++i) Set(i, "first");
    for (const char* name : {"Value0", "VALUE1", "value699", "value700", "Missing", ""}) names_.emplace_back(name);
  }

  void Set(int number, const std::string& data) {
    EXPECT_EQ(calls_.Set("k"_ansi, AnsiText("Value" + std::to_string(number)), data), kSuccess);
  }

  // Compares a file that is read again with one that is read for the first time.
  void ExpectSame(const std::string& what) {
    Descriptor file;
    ASSERT_EQ(OpenByPath(path_, O_RDONLY, file), kSuccess);
    ValuesFile fresh;
    const std::string expected = Described(fresh.Read(file.get()), fresh, names_);
    EXPECT_EQ(Described(again_.ReadAgain(file.get(), ""), again_, names_), expected) << what;
  }

  // Changes the content by hand, and undoes it.
  void ExpectSameAfter(const std::string& what, const std::string& changed) {
    const std::string content = FileContent(path_);
    WriteFile(path_, changed);
    ExpectSame(what);
    WriteFile(path_, content);
    ExpectSame(what + ", undone");
  }

  testing::StoredRegistry stored_;
  testing::Calls calls_ = stored_.calls();
  std::string path_ = stored_.ValuesFile("k");
  std::vector<std::string> names_;
  ValuesFile again_;
};

TEST_F(ValuesFileTest, ReadAgainAfterChanges_IsAsReadForTheFirstTime) {
  std::mt19937 random(12);
  ExpectSame("at first");
  ExpectSame("unchanged");
  for (int turn = 0; turn < 1500; ++turn) {
    const int number = static_cast<int>(random() % 710);
    if (random() % 4 == 0) {
      calls_.DeleteValue("k"_ansi, AnsiText("VALUE" + std::to_string(number)));
    } else {
      Set(number, std::string(random() % 90, 'x'));
    }
    // Sometimes several changes come between two readings.
    if (random() % 4 != 0) ExpectSame("turn " + std::to_string(turn));
    if (HasFailure()) return;
  }
}

TEST_F(ValuesFileTest, ReadAgainAfterDamageByHand_IsAsReadForTheFirstTime) {
  std::mt19937 random(13);
  ExpectSame("at first");
  const std::string content = FileContent(path_);
  for (int turn = 0; turn < 300; ++turn) {
    const std::size_t place = random() % content.size();
    std::string changed = content;
    changed[place] = static_cast<char>(changed[place] ^ (1 << random() % 8));
    ExpectSameAfter("a bit at " + std::to_string(place), changed);
    ExpectSameAfter("cut at " + std::to_string(place), content.substr(0, place));
    ExpectSameAfter("zeros from " + std::to_string(place),
                    content.substr(0, place) + std::string(content.size() - place, '\0'));
    if (HasFailure()) return;
  }
  for (const std::size_t more : {std::size_t{1}, std::size_t{4096}}) {
    ExpectSameAfter("longer", content + std::string(more, '\0'));
  }
  ExpectSameAfter("empty", "");
}

}  // namespace
}  // namespace nerio::platform
