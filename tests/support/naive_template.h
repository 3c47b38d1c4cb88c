#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "nerio/types/text.h"

namespace nerio::testing {

/// Fills a template in the plainest way there is: for each index one walk over the text, unit by unit. The answer that
/// `FormatTemplate` is compared with.
inline Text NaivelyFormatted(Text text, const std::vector<Text>& values, std::int32_t lowerBound) {
  std::int32_t index = lowerBound;
  for (const Text& value : values) {
    Text placeholder = u"{";
    for (const char digit : std::to_string(index)) placeholder += static_cast<char16_t>(digit);
    placeholder += u'}';
    Text filled;
    for (std::size_t i = 0; i < text.size();) {
      if (text.compare(i, placeholder.size(), placeholder) == 0) {
        filled += value;
        i += placeholder.size();
      } else {
        filled += text[i++];
      }
    }
    text = filled;
    ++index;
  }
  return text;
}

}  // namespace nerio::testing
