#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "tests/tools/tool_run.h"

namespace nerio::tool {
namespace {

struct Field {
  std::string type;
  bool always = false;
};

// The table of the user's guide, by the fields' names.
std::map<std::string, Field> Documented() {
  std::ifstream guide(NERIO_TOOL_GUIDE);
  std::map<std::string, Field> fields;
  bool inTable = false;
  for (std::string line; std::getline(guide, line);) {
    if (line.starts_with("| field | type | there |")) inTable = true;
    if (line.empty()) inTable = false;
    if (!inTable || !line.starts_with("| `")) continue;
    std::vector<std::string> cells;
    std::istringstream row(line);
    for (std::string cell; std::getline(row, cell, '|');) cells.push_back(cell);
    fields[cells.at(1).substr(2, cells.at(1).size() - 4)] = {cells.at(2).substr(1, cells.at(2).size() - 2),
                                                             cells.at(3) == " always "};
  }
  return fields;
}

void Flatten(const nlohmann::json& value, const std::string& name, std::map<std::string, std::string>& types) {
  if (value.is_object()) {
    for (const auto& [key, member] : value.items()) Flatten(member, name.empty() ? key : name + "." + key, types);
  } else if (value.is_array()) {
    for (const auto& element : value) Flatten(element, name + "[]", types);
  } else {
    types[name] = value.is_boolean() ? "boolean" : value.is_number() ? "number" : "text";
  }
}

TEST(Doctor, Json_HasTheFieldsThatTheGuideNames) {
  const std::map<std::string, Field> documented = Documented();
  ASSERT_GT(documented.size(), 30u);
  ToolHost tool;
  std::map<std::string, std::string> types;
  const RunResult result = tool.Run({"doctor", "--json"});
  const auto json = nlohmann::json::parse(result.out);
  Flatten(json, "", types);
  EXPECT_EQ(json["exit"], result.exit);
  for (const auto& [name, type] : types) {
    const auto field = documented.find(name);
    ASSERT_NE(field, documented.end()) << name << " is not in docs/tool.md";
    EXPECT_EQ(type, field->second.type) << name;
  }
  for (const auto& [name, field] : documented) {
    EXPECT_TRUE(!field.always || types.contains(name)) << name << " is not there";
  }
  std::map<std::string, std::string> ofRegistry;
  Flatten(nlohmann::json::parse(tool.Run({"reg", "doctor", "--json"}).out), "registry", ofRegistry);
  for (const auto& [name, type] : ofRegistry) EXPECT_EQ(types[name], type) << name;
}

}  // namespace
}  // namespace nerio::tool
