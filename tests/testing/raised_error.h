#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <utility>

#include "nerio/types/error.h"
#include "nerio/types/text.h"
#include "nerio/types/utf8.h"

namespace nerio::testing {

/// Makes a call and returns the Error that it raised; nothing when none was raised.
template <typename Call>
std::optional<Error> ErrorOf(Call&& call) {
  try {
    call();
  } catch (const Error& error) {
    return error;
  }
  return std::nullopt;
}

/// Checks that an error was raised, and all three of its fields.
inline void ExpectError(const std::optional<Error>& error, std::int32_t number, TextView source, TextView description) {
  ASSERT_TRUE(error.has_value()) << "nothing was raised";
  EXPECT_EQ(error->number(), number);
  EXPECT_EQ(ToUtf8(error->source()), ToUtf8(source));
  EXPECT_EQ(ToUtf8(error->description()), ToUtf8(description));
}

/// Makes a call that must raise an Error, and checks all three of its fields.
template <typename Call>
void ExpectRaised(Call&& call, std::int32_t number, TextView source, TextView description) {
  ExpectError(ErrorOf(std::forward<Call>(call)), number, source, description);
}

}  // namespace nerio::testing
