#include "sqlite_record_set.h"

#include <cstring>
#include <utility>

#include "nerio/types/utf8.h"

namespace nerio::examples {
namespace {

[[noreturn]] void RaiseNoCurrentRecord() {
  throw Error(kErrNoCurrentRecord, u"SqliteRecordSet", u"Nessun record corrente");
}

// SQLite hands out UTF-16 in the machine's byte order.
Text FromUtf16(const void* units, int bytes) {
  Text text(static_cast<std::size_t>(bytes) / sizeof(char16_t), u'\0');
  std::memcpy(text.data(), units, text.size() * sizeof(char16_t));
  return text;
}

Text FromUtf16(const void* units) {
  const auto* text = static_cast<const char16_t*>(units);
  return text != nullptr ? Text(text) : Text();
}

}  // namespace

SqliteRecordSet::SqliteRecordSet(sqlite3* database, const std::string& sql) : database_(database) {
  sqlite3_stmt* statement = nullptr;
  const int status = sqlite3_prepare_v2(database, sql.c_str(), -1, &statement, nullptr);
  statement_.reset(statement);
  if (status != SQLITE_OK) RaiseDatabaseError();
  if (statement == nullptr) throw Error(SQLITE_MISUSE, u"sqlite", FromUtf8(sqlite3_errstr(SQLITE_MISUSE)));
  ReadNext();
}

Boolean SqliteRecordSet::get_BOF() { return ToBoolean(records_.empty() || position_ == 0); }

Boolean SqliteRecordSet::get_EOF() { return ToBoolean(position_ > records_.size()); }

void SqliteRecordSet::MoveLast(std::int32_t /*options*/) {
  while (ReadNext()) {
  }
  if (records_.empty()) RaiseNoCurrentRecord();
  position_ = records_.size();
}

void SqliteRecordSet::MoveFirst() {
  if (records_.empty()) RaiseNoCurrentRecord();
  position_ = 1;
}

void SqliteRecordSet::MoveNext() {
  if (get_EOF() != False) RaiseNoCurrentRecord();
  if (position_ == records_.size()) ReadNext();
  ++position_;
}

void SqliteRecordSet::MovePrevious() {
  if (get_BOF() != False) RaiseNoCurrentRecord();
  --position_;
}

SqliteField SqliteRecordSet::Field(TextView name) {
  const int columns = sqlite3_column_count(statement_.get());
  for (int column = 0; column < columns; ++column) {
    if (FromUtf16(sqlite3_column_name16(statement_.get(), column)) == name) {
      return {*this, static_cast<std::size_t>(column)};
    }
  }
  throw Error(kErrItemNotFound, u"SqliteRecordSet", u"Elemento non trovato nell'insieme");
}

bool SqliteRecordSet::ReadNext() {
  if (failure_ != nullptr) std::rethrow_exception(failure_);
  if (complete_) return false;
  const int status = sqlite3_step(statement_.get());
  if (status == SQLITE_DONE) {
    complete_ = true;
    return false;
  }
  if (status != SQLITE_ROW) RaiseDatabaseError();
  std::vector<Variant> record;
  const int columns = sqlite3_column_count(statement_.get());
  record.reserve(static_cast<std::size_t>(columns));
  for (int column = 0; column < columns; ++column) record.push_back(ReadColumn(column));
  records_.push_back(std::move(record));
  return true;
}

Variant SqliteRecordSet::ReadColumn(int column) {
  sqlite3_stmt* row = statement_.get();
  switch (sqlite3_column_type(row, column)) {
    case SQLITE_INTEGER:
      return static_cast<std::int64_t>(sqlite3_column_int64(row, column));
    case SQLITE_FLOAT:
      return sqlite3_column_double(row, column);
    case SQLITE_TEXT: {
      const void* units = sqlite3_column_text16(row, column);
      if (units == nullptr) RaiseDatabaseError();  // no memory for the conversion
      return FromUtf16(units, sqlite3_column_bytes16(row, column));
    }
    case SQLITE_BLOB: {
      const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(row, column));
      const auto count = static_cast<std::size_t>(sqlite3_column_bytes(row, column));
      if (bytes == nullptr && count != 0) RaiseDatabaseError();  // no memory for the content
      return Bytes(bytes, bytes + count);
    }
    default:
      return Null{};
  }
}

void SqliteRecordSet::RaiseDatabaseError() {
  // A statement that failed would begin anew at the next step, so the set remembers that it failed.
  failure_ = std::make_exception_ptr(
      Error(sqlite3_extended_errcode(database_), u"sqlite", FromUtf16(sqlite3_errmsg16(database_))));
  std::rethrow_exception(failure_);
}

Variant SqliteField::get_Value() {
  if (set_.get_BOF() != False || set_.get_EOF() != False) RaiseNoCurrentRecord();
  return set_.records_[set_.position_ - 1][column_];
}

}  // namespace nerio::examples
