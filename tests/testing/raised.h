#pragma once

#include <gtest/gtest.h>

#include <cstdint>

#include "nerio/types/error.h"
#include "nerio/types/utf8.h"

namespace nerio::testing {

/// Runs an action that must raise `Error`, and checks all three fields of it. Raising nothing fails the test.
template <typename Action>
void ExpectRaised(Action&& action, std::int32_t number, TextView source, TextView description) {
  try {
    action();
    ADD_FAILURE() << "nothing was raised instead of number " << number << ", " << ToUtf8(description);
  } catch (const Error& error) {
    EXPECT_EQ(error.number(), number);
    EXPECT_EQ(ToUtf8(error.source()), ToUtf8(source));
    EXPECT_EQ(ToUtf8(error.description()), ToUtf8(description));
  }
}

}  // namespace nerio::testing
