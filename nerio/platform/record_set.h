#pragma once

#include <cstdint>

#include "nerio/types/boolean.h"
#include "nerio/types/variant.h"
#include "nerio/types/visibility.h"

namespace nerio::platform {

/// Borrows one field of the current record of a record set (a DAO `Field`). Whoever implements it owns the real object.
class NERIO_PUBLIC RecordField {
 public:
  virtual ~RecordField() = default;

  /// Reads the field's `Value` with its own type.
  /// @throws Error whatever the database library reports, unchanged.
  virtual Variant get_Value() = 0;
};

/// Borrows a set of records with a current position (a DAO `Recordset`). Whoever implements it owns the real object.
/// Every member lets through whatever the database library reports, as an Error, unchanged.
class NERIO_PUBLIC RecordSet {
 public:
  virtual ~RecordSet() = default;

  /// Tells whether the position is before the first record. Together with get_EOF true: there is no record at all.
  virtual Boolean get_BOF() = 0;

  /// Tells whether the position is after the last record.
  virtual Boolean get_EOF() = 0;

  /// Moves to the last record, reading the set to its end.
  /// @param options 0 for a plain move that returns when it is done.
  virtual void MoveLast(std::int32_t options) = 0;

  /// Moves to the first record.
  virtual void MoveFirst() = 0;
};

}  // namespace nerio::platform
