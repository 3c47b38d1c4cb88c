#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "nerio/types/ansi_text.h"
#include "nerio/types/text.h"

namespace nerio::testing {

/// Returns the folder of the tests' tables and sample files: the environment variable NERIO_TEST_DATA where it is set,
/// else `tests/data` of the source tree.
std::filesystem::path DataFolder();

/// One table of recorded answers: UTF-8, a header line, fields parted by tabs. Fields keep their escapes; `Unescape`
/// resolves them.
class Table {
 public:
  struct Row {
    std::size_t line;  ///< 1-based line in the file, to name a failing row
    std::vector<std::string> fields;
  };

  /// Reads `DataFolder() / fileName`. @throws std::runtime_error naming the file when it is missing, empty, or has a
  /// row with another number of fields than its header.
  explicit Table(const std::string& fileName);

  const std::vector<Row>& rows() const { return rows_; }
  /// Returns the field of `row` in the column called `column`. @throws std::runtime_error for an unknown column.
  const std::string& Field(const Row& row, const std::string& column) const;

 private:
  std::string fileName_;
  std::vector<std::string> columns_;
  std::vector<Row> rows_;
};

/// Resolves the tables' escapes \t, \n, \\ and \uXXXX (one UTF-16 code unit each) in a UTF-8 field.
Text Unescape(const std::string& field);

/// Writes a text in printable ASCII, every other code unit as \uXXXX and the backslash twice; `Unescape` gives it back.
std::string Escape(TextView text);

/// Reads pairs of hexadecimal digits. @throws std::runtime_error when the text is not made of such pairs.
std::string FromHex(const std::string& digits);

/// Writes bytes as pairs of upper-case hexadecimal digits.
std::string ToHex(const std::string& bytes);
inline std::string ToHex(const AnsiText& text) { return ToHex(text.bytes()); }

}  // namespace nerio::testing
