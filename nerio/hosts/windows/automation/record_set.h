#pragma once

#include "nerio/hosts/windows/automation/variant.h"
#include "nerio/platform/record_set.h"

namespace nerio::platform {

/// Reads a field of a database library through its automation interface, by the member's name. The object is borrowed;
/// null is allowed and raises 91 when it is used. What the object reports (EXCEPINFO) becomes an Error with its number,
/// source and description unchanged.
class AutomationField final : public RecordField {
 public:
  explicit AutomationField(IDispatch* field) noexcept : field_(field) {}

  /// @throws Error 13 when the value has a type that no field can hold.
  Variant get_Value() override;

  /// Lends what the last read found, as the object gave it: with its automation type and an array's own bounds, which
  /// a `Variant` does not keep. Empty before any read.
  NativeVariant& native() noexcept { return native_; }

 private:
  IDispatch* field_;
  NativeVariant native_;
};

/// Moves a record set of a database library (DAO, or any object with the same members) in the same way.
class AutomationRecordSet final : public RecordSet {
 public:
  explicit AutomationRecordSet(IDispatch* records) noexcept : records_(records) {}

  Boolean get_BOF() override;
  Boolean get_EOF() override;
  /// An object that answers that the count of arguments is wrong is asked once more, without the options.
  void MoveLast(std::int32_t options) override;
  void MoveFirst() override;

 private:
  IDispatch* records_;
};

}  // namespace nerio::platform
