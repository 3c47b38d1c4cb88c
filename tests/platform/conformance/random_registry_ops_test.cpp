#include "tests/testing/random_registry_ops.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "tests/platform/conformance/registry_conformance.h"
#include "tests/testing/ansi_literal.h"
#include "tests/testing/failing_registry.h"
#include "tests/testing/in_memory_registry.h"
#include "tests/testing/status_output.h"

namespace nerio::testing {
namespace {

using namespace platform;  // NOLINT(google-build-using-namespace): every native name below is the seam's

const AnsiText kPath = "Software\\NerioRandom"_ansi;
constexpr std::uint32_t kSeed = 20010911;
constexpr std::size_t kOperations = 10000;

TEST_P(RegistryConformance, TenThousandRandomOperations_AnswerAsTheModelDoes) {
  InMemoryRegistry model;
  EXPECT_EQ(CompareRandomOperations(registry_, model, kPath, kSeed, kOperations), "");
  EXPECT_EQ(model.OpenHandles(), 0u);
}

// The comparison itself: it has to see what goes wrong.

TEST(CompareRandomOperations, OneCallFails_TellsItsSeedAndNumber) {
  for (const std::size_t failing : {20u, 500u, 2000u}) {
    InMemoryRegistry inner;
    InMemoryRegistry model;
    FailingRegistry subject(inner);
    subject.FailCall(failing, kNotEnoughMemory);
    EXPECT_THAT(CompareRandomOperations(subject, model, kPath, 7, 2000),
                ::testing::AllOf(::testing::StartsWith("seed 7, call "), ::testing::HasSubstr("8 instead of ")))
        << failing;
  }
}

// Loses what is longer than 4,999 bytes, and answers that all went well.
class Forgetful final : public ForwardingRegistry {
 public:
  using ForwardingRegistry::ForwardingRegistry;
  Status SetValue(KeyHandle key, const AnsiText& name, std::uint32_t reserved, std::uint32_t type,
                  std::span<const char> data) override {
    return ForwardingRegistry::SetValue(key, name, reserved, type,
                                        data.first(std::min<std::size_t>(data.size(), 4999)));
  }
};

TEST(CompareRandomOperations, WrongContents_AreSeen) {
  InMemoryRegistry inner;
  InMemoryRegistry model;
  Forgetful subject(inner);
  EXPECT_THAT(CompareRandomOperations(subject, model, kPath, 7, 2000), ::testing::HasSubstr("4999"));
}

// Counts the answers, so that the random calls are known to be worth their name.
class Counting final : public ForwardingRegistry {
 public:
  using ForwardingRegistry::ForwardingRegistry;
  std::map<Status, int> answers;

  Status OpenKey(KeyHandle root, const AnsiText& subKey, std::uint32_t options, std::uint32_t access,
                 KeyHandle& opened) override {
    return Count(ForwardingRegistry::OpenKey(root, subKey, options, access, opened));
  }
  Status QueryValue(KeyHandle key, const AnsiText& name, std::uint32_t& type, std::span<char> data,
                    std::uint32_t& size) override {
    return Count(ForwardingRegistry::QueryValue(key, name, type, data, size));
  }
  Status SetValue(KeyHandle key, const AnsiText& name, std::uint32_t reserved, std::uint32_t type,
                  std::span<const char> data) override {
    return Count(ForwardingRegistry::SetValue(key, name, reserved, type, data));
  }
  Status DeleteKey(KeyHandle key, const AnsiText& subKey) override {
    return Count(ForwardingRegistry::DeleteKey(key, subKey));
  }
  Status EnumKey(KeyHandle key, std::uint32_t index, AnsiText& name) override {
    return Count(ForwardingRegistry::EnumKey(key, index, name));
  }

 private:
  Status Count(Status status) {
    ++answers[status];
    return status;
  }
};

TEST(CompareRandomOperations, EveryAnswerOccursOften) {
  InMemoryRegistry inner;
  InMemoryRegistry model;
  Counting subject(inner);
  EXPECT_EQ(CompareRandomOperations(subject, model, kPath, kSeed, kOperations), "");
  int calls = 0;
  for (const auto& [status, count] : subject.answers) calls += count;
  EXPECT_GT(subject.answers[kSuccess] * 3, calls) << "a third of the calls succeeds";
  for (const Status status :
       {kFileNotFound, kAccessDenied, kInvalidParameter, kBadPathname, kMoreData, kNoMoreItems, kKeyDeleted}) {
    EXPECT_GT(subject.answers[status], 10) << status;
  }
}

}  // namespace
}  // namespace nerio::testing
