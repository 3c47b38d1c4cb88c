#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "nerio/platform/record_set.h"
#include "nerio/types/error.h"
#include "nerio/types/text.h"
#include "nerio/types/variant.h"

namespace nerio::examples {

/// Raised by a field or a move that needs a record where the set stands on none; the number is the one DAO has for it.
constexpr std::int32_t kErrNoCurrentRecord = 3021;
/// Raised for the name of a field that the set does not have; the number is the one DAO has for it.
constexpr std::int32_t kErrItemNotFound = 3265;

class SqliteField;

/// The result of a query on a SQLite database as a scrollable record set. It reads ahead no further than its position:
/// the count of records grows with it and covers the whole set once the last record was reached.
///
/// Fields hold Null, Int64, Double, Text or Bytes, as SQLite stores them. A failure of the database raises an Error
/// with SQLite's extended result code as number, source "sqlite" and SQLite's message as description; the set then
/// raises the same one whenever it would have to read further.
class SqliteRecordSet final : public platform::RecordSet {
 public:
  /// Runs a query and stands on its first record, if there is one. The database is borrowed and outlives the set.
  /// @param sql one statement in UTF-8; a text without any is a misuse (SQLITE_MISUSE).
  SqliteRecordSet(sqlite3* database, const std::string& sql);

  Boolean get_BOF() override;
  Boolean get_EOF() override;
  /// The options are ignored: every move is a plain one.
  /// @throws Error 3021 on an empty set, which has no record to move to.
  void MoveLast(std::int32_t options) override;
  /// @throws Error 3021 on an empty set.
  void MoveFirst() override;
  /// Moves to the next record, or behind the last one. @throws Error 3021 from there.
  void MoveNext();
  /// Moves to the previous record, or before the first one. @throws Error 3021 from there.
  void MovePrevious();

  /// Returns how many records the set has read so far.
  std::size_t RecordCount() const { return records_.size(); }

  /// Returns the field of this name in whichever record is the current one. The set outlives the field.
  /// @throws Error 3265 when the set has no such field.
  SqliteField Field(TextView name);

 private:
  friend class SqliteField;

  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };

  bool ReadNext();
  Variant ReadColumn(int column);
  [[noreturn]] void RaiseDatabaseError();

  sqlite3* database_;
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
  std::vector<std::vector<Variant>> records_;
  bool complete_ = false;
  std::exception_ptr failure_;
  // Counts from 1: 0 is before the first record, one more than there are is behind the last.
  std::size_t position_ = 1;
};

/// One field of a `SqliteRecordSet`.
class SqliteField final : public platform::RecordField {
 public:
  /// @throws Error 3021 when the set stands on no record.
  Variant get_Value() override;

 private:
  friend class SqliteRecordSet;
  SqliteField(SqliteRecordSet& set, std::size_t column) : set_(set), column_(column) {}

  SqliteRecordSet& set_;
  std::size_t column_;
};

}  // namespace nerio::examples
