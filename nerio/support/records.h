#pragma once

#include "nerio/platform/record_set.h"
#include "nerio/types/text.h"
#include "nerio/types/variant.h"
#include "nerio/types/visibility.h"

namespace nerio {

/// Reads a field of a record, with a text in place of null.
///
/// The value of a field that is not null is read twice, on purpose: once to test it and once to return it.
///
/// It does not check that a field was given: where `field` stands for none, the first reading raises what that
/// gives (error 91, object not set). Traps nothing.
///
/// @param field borrowed for the call.
/// @param defaultText what stands for null; always a text in the result, whatever the field's own type.
/// @return the field's value with its own type, unchanged; `defaultText` as a Text when the value is null.
/// @throws Error whatever the database library reports, unchanged.
NERIO_PUBLIC Variant GetFieldValue(platform::RecordField& field, TextView defaultText);

/// Reads a record set to its end, so that its record count covers every record, and moves it back to its first record.
/// Does so only when it stands on a record: an empty set is not moved, nor one that stands before its first or after
/// its last record.
///
/// Reads `BOF` and `EOF`, each once and in this order, then calls `MoveLast` with options 0 and `MoveFirst`. Traps
/// nothing: a move that fails leaves the set where the failure left it.
///
/// @param recordSet borrowed for the call.
/// @throws Error whatever the database library reports, unchanged.
NERIO_PUBLIC void PopulateRecordset(platform::RecordSet& recordSet);

}  // namespace nerio
