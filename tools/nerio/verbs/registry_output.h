#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "nerio/types/text.h"
#include "tools/nerio/command_line.h"
#include "tools/nerio/registry/reg_plan.h"
#include "tools/nerio/registry/registry_access.h"

namespace nerio::tool {

/// Writes a key in UTF-8, with the long name of its root.
std::string Shown(Session& session, const RegistryKey& key);

/// Writes the name of a value in quotes and UTF-8; "the unnamed value" for the empty name.
std::string ShownName(Session& session, const AnsiText& name);

/// Writes the name of a key or a value in UTF-8, as it is.
std::string Utf8Name(Session& session, const AnsiText& name);

/// Writes a count and what is counted, in the plural where it is one: "1 key", "2 keys".
std::string Count(std::size_t count, const char* what);

/// Returns a value as --json shows it: name, type, data, and the bytes in hexadecimal.
Json ValueJson(Session& session, const StoredValue& value);

/// Writes a value's type and, on one line, its data.
std::string TypeAndData(Session& session, const StoredValue& value, const char* between);

/// Writes name, type and data of a value on one line, separated by tabs; "@" for the unnamed value.
std::string ValueLine(Session& session, const StoredValue& value);

/// Opens a key. @throws Failure naming the key and the reason.
KeyGuard Open(Session& session, const RegistryKey& key, std::uint32_t access);

/// Reads a key with its values and everything below it, upper keys first. @throws Failure naming the key that failed.
std::vector<StoredKey> ReadAll(Session& session, const RegistryKey& key);

/// Plans an import as `PlanImport` does, which see, and shows how far it has come.
ImportPlan Plan(Session& session, const std::vector<RegSection>& sections);

}  // namespace nerio::tool
