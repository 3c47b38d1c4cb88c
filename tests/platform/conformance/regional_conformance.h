#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

#include "nerio/platform/regional_settings.h"

namespace nerio::testing {

using RegionalSettingsFactory = std::unique_ptr<platform::RegionalSettings> (*)();

/// What every implementation of `RegionalSettings` must do, whatever the region. Instantiate it with a factory for each
/// one.
class RegionalConformance : public ::testing::TestWithParam<RegionalSettingsFactory> {
 protected:
  /// Reads a text; nothing for one that is no date. A failure must be the only one there is and leave its output alone.
  std::optional<double> Read(TextView text);
  /// Writes a date, which must succeed.
  Text Write(double days);
  /// Expects that a date cannot be written and that the output is left alone.
  void ExpectNotWritten(double days);
  /// Writes a number, which must succeed, with "." for the region's decimal mark.
  template <typename Value>
  std::string Number(platform::AutomationStatus (platform::RegionalSettings::*convert)(Value, Text&), Value value);

  std::unique_ptr<platform::RegionalSettings> settings_ = GetParam()();
};

}  // namespace nerio::testing
