// Reads any bytes as a .reg file: it is refused with a line, or what was read comes back from what is written of it.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "nerio/hosts/portable/text/code_page_1252.h"
#include "tools/nerio/registry/reg_file.h"

namespace {

using nerio::fuzz::Require;
using nerio::tool::BadRegFile;
using nerio::tool::RegSection;
using nerio::tool::RegValue;

bool SameValue(const RegValue& left, const RegValue& right) {
  if (left.name != right.name || left.removed != right.removed) return false;
  return left.removed || (left.type == right.type && nerio::fuzz::AsAnswered(left.data, '\0') == right.data);
}

bool SameSection(const RegSection& left, const RegSection& right) {
  return left.key.root == right.key.root && left.key.path == right.key.path && left.removed == right.removed &&
         std::equal(left.values.begin(), left.values.end(), right.values.begin(), right.values.end(), SameValue);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  nerio::platform::CodePage1252 codePage;
  std::vector<RegSection> sections;
  try {
    sections = nerio::tool::ReadRegFile({reinterpret_cast<const char*>(data), size}, codePage);
  } catch (const BadRegFile& error) {
    Require(error.line() > 0 && *error.what() != '\0');
    return 0;
  }
  const std::string written = nerio::tool::EncodeUtf16(nerio::tool::WriteRegText(sections, codePage));
  const std::vector<RegSection> again = nerio::tool::ReadRegFile(written, codePage);
  Require(std::equal(sections.begin(), sections.end(), again.begin(), again.end(), SameSection));
  return 0;
}
