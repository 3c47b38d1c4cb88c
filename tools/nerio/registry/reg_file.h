#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "nerio/platform/code_page.h"
#include "nerio/types/text.h"
#include "tools/nerio/registry/registry_key.h"

namespace nerio::tool {

/// The .reg text format, read and written without loss.
///
/// What the registry stores for a text type is bytes in the ANSI code page; the format has UTF-16 there (version 5.00)
/// or the bytes themselves (REGEDIT4). The classic form `"name"="text"` means the text with one terminating NUL, no
/// more and no less. Any other text data is written as `hex(1):`, so that reading a written file stores the same bytes
/// again: a text without a terminator, as CRegistry stores it, is such data, and a comment line above it shows the
/// text.
///
/// In quotes, `\\` is a backslash and `\"` a quote, as everywhere; `\n` and `\r` are a line feed and a carriage return,
/// which a name may hold and a line cannot. A key whose name has one of those two is written in quotes as well,
/// `["HKEY_LOCAL_MACHINE\\a\nb"]`, which other readers refuse.

/// One value of a .reg file.
struct RegValue {
  AnsiText name;         ///< empty: the unnamed value, `@`
  bool removed = false;  ///< `=-`: the value is to be deleted; type and data mean nothing
  std::uint32_t type = 0;
  std::string data;      ///< the bytes to store; text types in the ANSI code page
  std::size_t line = 0;  ///< 1-based line of the file that it came from; 0 when it came from elsewhere
};

/// One key of a .reg file with its values, in the order of the file.
struct RegSection {
  RegistryKey key;
  bool removed = false;  ///< `[-KEY]`: the key is to be deleted with everything below it; there are no values then
  std::vector<RegValue> values;
  std::size_t line = 0;
};

/// Tells what is wrong in a .reg file; `what()` says why, in UTF-8, without the line.
class BadRegFile : public std::runtime_error {
 public:
  BadRegFile(std::size_t line, const std::string& reason) : std::runtime_error(reason), line_(line) {}
  std::size_t line() const noexcept { return line_; }

 private:
  std::size_t line_;
};

/// Reads a whole .reg file: UTF-16LE with byte-order mark, UTF-8 with or without one, or, under the header REGEDIT4
/// without a mark, the ANSI code page. Lines end with CR LF, LF or CR; a text in quotes may go on over lines, whose ends
/// belong to it as they are.
/// @throws BadRegFile at the first thing that does not read. Nothing is guessed and nothing is skipped.
std::vector<RegSection> ReadRegFile(std::string_view bytes, platform::CodePage& codePage);

/// Writes the text of a .reg file of version 5.00, lines ended by CR LF.
Text WriteRegText(const std::vector<RegSection>& sections, platform::CodePage& codePage);

/// Puts the keys and the values of each in the order of their names, whatever the case of letters, each key after the
/// one above it.
void SortSections(std::vector<RegSection>& sections, platform::CodePage& codePage);

/// Turns the text of a .reg file into UTF-8 without byte-order mark, lines ended by LF.
std::string Utf8WithLineFeeds(const Text& text);

/// Turns a text into the bytes of a file: UTF-16LE with byte-order mark.
std::string EncodeUtf16(TextView text);

}  // namespace nerio::tool
