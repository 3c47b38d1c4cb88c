#include "nerio/support/records.h"

namespace nerio {

Variant GetFieldValue(platform::RecordField& field, TextView defaultText) {
  if (std::holds_alternative<Null>(field.get_Value())) return Text(defaultText);
  // Read a second time, deliberately.
  return field.get_Value();
}

void PopulateRecordset(platform::RecordSet& recordSet) {
  constexpr std::int32_t kPlainMove = 0;
  const bool beforeFirst = recordSet.get_BOF() != False;
  const bool behindLast = recordSet.get_EOF() != False;
  if (beforeFirst || behindLast) return;
  recordSet.MoveLast(kPlainMove);
  recordSet.MoveFirst();
}

}  // namespace nerio
