#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <concepts>
#include <string>
#include <string_view>

#include "nerio/platform/host.h"
#include "nerio/registry/branch_names.h"
#include "nerio/registry/cregistry.h"
#include "nerio/support/base64.h"
#include "nerio/support/build_path.h"
#include "nerio/support/component_errors.h"
#include "nerio/support/conversions.h"
#include "nerio/support/messages.h"
#include "nerio/support/records.h"
#include "nerio/support/templates.h"
#include "nerio/support/trace_log.h"
#include "nerio/support/xml.h"
#include "nerio/types/error.h"
#include "nerio/types/utf8.h"
#include "tests/testing/raised_error.h"

namespace nerio::testing {

/// Returns a result as the pages show it: texts in quotes, everything else as it is written in C++.
inline std::string Shown(TextView text) { return '"' + ToUtf8(text) + '"'; }
inline std::string Shown(const std::string& utf8) { return '"' + utf8 + '"'; }
inline std::string Shown(Boolean value) { return ToUtf8(TextOf(value)); }
template <std::same_as<bool> Bool>
std::string Shown(Bool value) {
  return value ? "true" : "false";
}
template <std::integral Number>
requires(!std::same_as<Number, bool>) std::string Shown(Number value) { return std::to_string(value); }

/// Makes a call and returns the error that it raised as the pages show it; "nothing" without one.
template <typename Call>
std::string Raised(Call&& call) {
  const std::optional<Error> error = ErrorOf(call);
  if (!error) return "nothing";
  return std::to_string(error->number()) + ", " + Shown(error->source()) + ", " + Shown(error->description());
}

/// Tells whether something is shown as a page says; a "*" at the page's end stands for any rest.
inline bool Matches(const std::string& shown, std::string_view page) {
  return page.ends_with('*') ? shown.starts_with(page.substr(0, page.size() - 1)) : shown == page;
}

}  // namespace nerio::testing

using namespace nerio;           // NOLINT(google-build-using-namespace): as the pages say
using namespace nerio::testing;  // NOLINT(google-build-using-namespace): what the tests are made of
