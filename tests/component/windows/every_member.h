#pragma once

#include <string>
#include <vector>

#include "nerio_automation.h"

namespace nerio::testing {

/// Calls every member of a component's object by its name, as a script does, once with and once without success where
/// it can fail, on a document, fields and record sets of this process. The trace file in `folder`, the folder of the
/// object's library, is held by this process for some of the calls.
/// @return one line for each call: the member and its answer, or the error's number, source and description.
std::vector<std::string> CallEveryMember(IDispatch* object, const std::wstring& folder);

/// What `CallEveryMember` returns for an object that works.
std::vector<std::string> EveryAnswer();

}  // namespace nerio::testing
