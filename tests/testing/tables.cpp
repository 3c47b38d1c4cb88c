#include "tests/testing/tables.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "nerio/types/utf8.h"

namespace nerio::testing {
namespace {

std::vector<std::string> Split(const std::string& line) {
  std::vector<std::string> fields;
  std::size_t start = 0;
  for (std::size_t tab; (tab = line.find('\t', start)) != std::string::npos; start = tab + 1) {
    fields.push_back(line.substr(start, tab - start));
  }
  fields.push_back(line.substr(start));
  return fields;
}

}  // namespace

std::filesystem::path DataFolder() {
  const char* folder = std::getenv("NERIO_TEST_DATA");
  return folder != nullptr && *folder != '\0' ? folder : NERIO_TEST_DATA_FOLDER;
}

Table::Table(const std::string& fileName) : fileName_(fileName) {
  std::ifstream file(DataFolder() / fileName, std::ios::binary);
  std::string line;
  if (!file || !std::getline(file, line)) throw std::runtime_error("no table " + (DataFolder() / fileName).string());
  columns_ = Split(line);
  for (std::size_t number = 2; std::getline(file, line); ++number) {
    Row row{number, Split(line)};
    if (row.fields.size() != columns_.size()) {
      throw std::runtime_error(fileName + ":" + std::to_string(number) + ": " + std::to_string(row.fields.size()) +
                               " fields instead of " + std::to_string(columns_.size()));
    }
    rows_.push_back(std::move(row));
  }
  if (rows_.empty()) throw std::runtime_error("no rows in table " + fileName);
}

const std::string& Table::Field(const Row& row, const std::string& column) const {
  const auto found = std::find(columns_.begin(), columns_.end(), column);
  if (found == columns_.end()) throw std::runtime_error("no column " + column + " in table " + fileName_);
  return row.fields[static_cast<std::size_t>(std::distance(columns_.begin(), found))];
}

Text Unescape(const std::string& field) {
  Text out;
  std::size_t start = 0;
  for (std::size_t i = 0; i + 1 < field.size();) {
    if (field[i] != '\\') {
      ++i;
      continue;
    }
    out += FromUtf8(std::string_view(field).substr(start, i - start));
    const char kind = field[i + 1];
    if (kind == 'u' && i + 6 <= field.size()) {
      out += static_cast<char16_t>(std::stoul(field.substr(i + 2, 4), nullptr, 16));
      i += 6;
    } else {
      out += kind == 't' ? u'\t' : kind == 'n' ? u'\n' : static_cast<char16_t>(static_cast<unsigned char>(kind));
      i += 2;
    }
    start = i;
  }
  return out += FromUtf8(std::string_view(field).substr(start));
}

std::string Escape(TextView text) {
  std::string out;
  for (const char16_t unit : text) {
    if (unit == u'\\') {
      out += "\\\\";
    } else if (unit >= u' ' && unit <= u'~') {
      out += static_cast<char>(unit);
    } else {
      out += "\\u" + ToHex({static_cast<char>(unit >> 8), static_cast<char>(unit & 0xFF)});
    }
  }
  return out;
}

std::string FromHex(const std::string& digits) {
  if (digits.size() % 2 != 0 || digits.find_first_not_of("0123456789ABCDEFabcdef") != std::string::npos) {
    throw std::runtime_error("not pairs of hexadecimal digits: " + digits);
  }
  std::string bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    bytes += static_cast<char>(std::stoul(digits.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

std::string ToHex(const std::string& bytes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string digits;
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    digits += kDigits[value >> 4];
    digits += kDigits[value & 0xF];
  }
  return digits;
}

}  // namespace nerio::testing
