#include "tools/nerio/console.h"

#include <gtest/gtest.h>

#include <csignal>

namespace nerio::tool {
namespace {

TEST(HeldInterrupts, WhatAsksTheProcessToEnd_IsNotedAndHeldBack) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    // Whoever has started the tests may have it ignored, as nohup does.
    struct sigaction before {};
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    ASSERT_EQ(::sigaction(signal, &standard, &before), 0);
    {
      const HeldInterrupts interrupts;
      EXPECT_FALSE(interrupts.Requested());
      ASSERT_EQ(std::raise(signal), 0);
      EXPECT_TRUE(interrupts.Requested()) << signal;
    }
    ::sigaction(signal, &before, nullptr);
  }
}

TEST(HeldInterrupts, Afterwards_EverythingIsAsBefore) {
  struct sigaction before {};
  ASSERT_EQ(::sigaction(SIGTERM, nullptr, &before), 0);
  { const HeldInterrupts interrupts; }
  struct sigaction after {};
  ASSERT_EQ(::sigaction(SIGTERM, nullptr, &after), 0);
  EXPECT_EQ(after.sa_handler, before.sa_handler);
}

TEST(HeldInterrupts, WhatWasIgnored_IsStillIgnored) {
  struct sigaction before {};
  struct sigaction ignored {};
  ignored.sa_handler = SIG_IGN;
  ASSERT_EQ(::sigaction(SIGHUP, &ignored, &before), 0);
  {
    const HeldInterrupts interrupts;
    std::raise(SIGHUP);
    EXPECT_FALSE(interrupts.Requested());
  }
  ::sigaction(SIGHUP, &before, nullptr);
}

}  // namespace
}  // namespace nerio::tool
