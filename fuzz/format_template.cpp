// Fills any template with any texts and compares the result with a walk over the text for each index.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "nerio/support/templates.h"
#include "tests/support/naive_template.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Values that hold placeholders of the next ones multiply: a short input keeps the result below some megabytes.
  constexpr std::size_t kLongest = 160;
  if (size == 0 || size > kLongest) return 0;

  // The first byte is the lower bound; the lines behind it are the template and then the values.
  const auto lowerBound = static_cast<std::int8_t>(data[0]);
  std::vector<nerio::Text> lines(1);
  for (std::size_t i = 1; i < size; ++i) {
    if (data[i] == '\n') {
      lines.emplace_back();
    } else {
      lines.back() += static_cast<char16_t>(data[i]);
    }
  }
  const nerio::Text messageTemplate = lines.front();
  lines.erase(lines.begin());

  const nerio::ArgumentList arguments{{lines.begin(), lines.end()}, lowerBound};
  const nerio::Text expected = nerio::testing::NaivelyFormatted(messageTemplate, lines, lowerBound);
  nerio::fuzz::Require(nerio::fuzz::AsAnswered(nerio::FormatTemplate(messageTemplate, arguments), u'{') == expected);
  return 0;
}
