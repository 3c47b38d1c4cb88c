#include "tests/platform/conformance/registry_replay.h"

#include <gtest/gtest.h>

#include <iostream>
#include <stdexcept>
#include <string>

#include "nerio/hosts/portable/text/code_page_1252.h"
#include "tests/platform/conformance/registry_conformance.h"
#include "tests/testing/failing_registry.h"
#include "tests/testing/in_memory_registry.h"
#include "tests/testing/tables.h"

namespace nerio::testing {
namespace {

TEST(Table, registry_tsv) {
  const auto implementations = RegisteredRegistries();
  ASSERT_FALSE(implementations.empty());
  platform::CodePage1252 codePage;
  for (const RegistryImplementation& implementation : implementations) {
    SCOPED_TRACE(implementation.name);
    const auto subject = implementation.open();
    const RegistryReplay replay =
        ReplayRegistry("registry.tsv", subject->Registry(), codePage, implementation.limitsPaths);

    std::cout << implementation.name << ": " << replay.checked << " rows checked, " << replay.differences.size()
              << " answered otherwise\n";
    std::size_t leftOut = 0;
    for (const auto& [kind, count] : replay.leftOut) {
      std::cout << "  left out: " << count << " rows: " << kind << '\n';
      leftOut += count;
    }
    for (const std::string& exception : replay.exceptions) std::cout << "  exception: " << exception << '\n';

    for (const std::string& difference : replay.differences) ADD_FAILURE() << difference;
    const std::size_t rows = Table("registry.tsv").rows().size();
    EXPECT_EQ(replay.checked + leftOut + replay.exceptions.size(), rows) << "every row ends in one of the three ways";
    EXPECT_LT(replay.exceptions.size() * 20, rows) << "exceptions stay below 5 % of the rows";
    EXPECT_GT(replay.checked * 2, rows) << "most rows can be checked";
  }
}

// The replay itself: it has to see one wrong answer among all.
TEST(ReplayRegistry, OneCallAnswersWrong_IsReported) {
  platform::CodePage1252 codePage;
  for (const std::size_t failing : {10u, 100u, 500u, 1000u}) {
    InMemoryRegistry inner;
    FailingRegistry subject(inner);
    subject.FailCall(failing, platform::kDiskFull);
    try {
      EXPECT_FALSE(ReplayRegistry("registry.tsv", subject, codePage).differences.empty()) << failing;
    } catch (const std::runtime_error& error) {
      // The failed call was one that arranges a case.
      EXPECT_NE(std::string(error.what()).find("112"), std::string::npos) << error.what();
    }
  }
}

}  // namespace
}  // namespace nerio::testing
