#pragma once

#include <memory>
#include <string>
#include <vector>

#include "nerio/platform/record_set.h"
#include "nerio/types/error.h"
#include "nerio/types/variant.h"

namespace nerio::equal_answers {

/// Gives this process, while it lives, the customs of it-IT on whichever host: the short formats of dates and times and
/// the marks that the portable conversions have built in.
/// @throws std::runtime_error when the host has another language or refuses.
class SameRegion {
 public:
  SameRegion();
  SameRegion(const SameRegion&) = delete;
  SameRegion& operator=(const SameRegion&) = delete;
  ~SameRegion();

 private:
  std::vector<Text> before_;
};

/// Makes a record field that holds a value, the way the host reaches one.
std::unique_ptr<platform::RecordField> MakeField(const Variant& value);

/// Says how a record set stands.
struct RecordSetState {
  bool beforeFirst = false;
  bool behindLast = false;
  std::string failing;  ///< the member that raises `RecordSetError`, empty for none
};

/// The error of a member that fails.
inline Error RecordSetError() { return {-2146825267, u"DAO.Recordset", u"Operazione non permessa: \u00E8 chiuso"}; }

/// Makes a record set, the way the host reaches one. It notes the calls in `calls`, which outlives it.
std::unique_ptr<platform::RecordSet> MakeRecordSet(const RecordSetState& state, std::vector<std::string>& calls);

}  // namespace nerio::equal_answers
