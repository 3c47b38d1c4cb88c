#include "nerio/support/templates.h"

#include <cstddef>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "nerio/support/variant_errors.h"
#include "nerio/support/variant_text.h"
#include "nerio/types/utf8.h"

namespace nerio {
namespace {

using IndexLimits = std::numeric_limits<std::int16_t>;

// The values of a list as texts, converted in the list's order.
class ValueTexts {
 public:
  ValueTexts(const std::vector<Variant>& values, platform::RegionalSettings& regional) : values_(values) {
    for (const Variant& value : values) {
      if (std::holds_alternative<Text>(value)) continue;
      // A list of texts alone, the usual one, is lent out as it is.
      for (const Variant& each : values) converted_.push_back(VariantToText(each, regional));
      break;
    }
  }

  std::size_t size() const { return values_.size(); }
  // All of them together, in UTF-16 code units.
  std::size_t TotalLength() const {
    std::size_t total = 0;
    for (std::size_t i = 0; i < size(); ++i) total += (*this)[i].size();
    return total;
  }
  TextView operator[](std::size_t i) const { return converted_.empty() ? std::get<Text>(values_[i]) : converted_[i]; }

 private:
  const std::vector<Variant>& values_;
  std::vector<Text> converted_;
};

struct Placeholder {
  std::int32_t index;
  std::size_t length;
};

// Reads the placeholder at the front of a text that begins with "{": an index in the one form in which it is written.
std::optional<Placeholder> PlaceholderAt(TextView text) {
  constexpr std::size_t kMostDigits = 5;
  const std::size_t digits = text.size() > 1 && text[1] == u'-' ? 2 : 1;
  std::size_t end = digits;
  std::int32_t number = 0;
  for (; end < text.size() && end < digits + kMostDigits && text[end] >= u'0' && text[end] <= u'9'; ++end) {
    number = number * 10 + (text[end] - u'0');
  }
  if (end == digits || end == text.size() || text[end] != u'}') return std::nullopt;
  if (text[digits] == u'0' && end > 2) return std::nullopt;  // "00" or "-0"
  return Placeholder{digits == 2 ? -number : number, end + 1};
}

// Looks for the first "{", four units at a time: a unit that equals it leaves zero, and only a zero borrows from its
// highest bit.
std::size_t FindBrace(TextView text) {
  constexpr std::uint64_t kOnes = 0x0001'0001'0001'0001;
  std::size_t searched = 0;
  for (; text.size() - searched >= 4; searched += 4) {
    std::uint64_t units;
    std::memcpy(&units, text.data() + searched, sizeof units);
    const std::uint64_t rest = units ^ (kOnes * u'{');
    if (((rest - kOnes) & ~rest & (kOnes << 15)) != 0) break;
  }
  while (searched < text.size() && text[searched] != u'{') ++searched;
  return searched < text.size() ? searched : TextView::npos;
}

// Fills all placeholders in one scan of the template, which gives the same as the passes as long as no inserted text
// can become part of a placeholder. That takes a "{" before it: one in the inserted text itself, or one in the template
// with nothing but a piece of an index between. Answers false when it meets either; `filled` is then worth nothing.
bool FillInOneScan(TextView rest, std::int32_t first, const ValueTexts& values, Text& filled) {
  while (true) {
    const std::size_t brace = FindBrace(rest);
    filled.append(rest.substr(0, brace));
    if (brace == TextView::npos) return true;
    rest.remove_prefix(brace);
    const std::optional<Placeholder> placeholder = PlaceholderAt(rest);
    const std::int64_t i = placeholder ? std::int64_t{placeholder->index} - first : -1;
    if (i >= 0 && static_cast<std::size_t>(i) < values.size()) {
      const TextView value = values[static_cast<std::size_t>(i)];
      if (FindBrace(value) != TextView::npos) return false;
      filled.append(value);
      rest.remove_prefix(placeholder->length);
    } else {
      const std::size_t next = rest.find_first_not_of(u"-0123456789", 1);
      if (next != TextView::npos && rest[next] == u'{') return false;
      filled += u'{';
      rest.remove_prefix(1);
    }
  }
}

// Inserted text is not searched: the search goes on after it.
void ReplaceAll(Text& text, TextView wanted, TextView value) {
  std::size_t found = text.find(wanted);
  if (found == Text::npos) return;
  Text replaced;
  std::size_t copied = 0;
  for (; found != Text::npos; found = text.find(wanted, copied)) {
    replaced.append(text, copied, found - copied).append(value);
    copied = found + wanted.size();
  }
  text = std::move(replaced.append(text, copied));
}

// Each pass works on what the one before left, deliberately.
Text FillPassByPass(TextView messageTemplate, std::int32_t first, const ValueTexts& values) {
  Text text(messageTemplate);
  std::int32_t index = first;
  for (std::size_t i = 0; i < values.size(); ++i, ++index) {
    const Text placeholder = Text(1, u'{').append(FromUtf8(std::to_string(index))).append(1, u'}');
    ReplaceAll(text, placeholder, values[i]);
  }
  return text;
}

}  // namespace

void CheckIndices(std::int64_t lowerBound, std::int64_t count) {
  const bool firstFits = lowerBound >= IndexLimits::min() && lowerBound <= IndexLimits::max();
  if (!firstFits || count - 1 > IndexLimits::max() - lowerBound) throw OverflowError();
}

Text FormatTemplate(TextView messageTemplate, const ArgumentList& arguments, const platform::Host& host) {
  const auto count = static_cast<std::int64_t>(arguments.values.size());
  CheckIndices(arguments.lowerBound, count);
  if (count == 0) return Text(messageTemplate);

  const ValueTexts values(arguments.values, host.regional);
  Text text;
  // With room for placeholders that occur again: to grow would be to copy all of it.
  text.reserve(messageTemplate.size() + messageTemplate.size() / 8 + values.TotalLength());
  if (!FillInOneScan(messageTemplate, arguments.lowerBound, values, text)) {
    text = FillPassByPass(messageTemplate, arguments.lowerBound, values);
  }
  // The index cannot go on after the last one that 16 bits hold.
  if (arguments.lowerBound + count - 1 == IndexLimits::max()) throw OverflowError();
  return text;
}

}  // namespace nerio
