#include "tools/nerio/registry_view.h"

#include <nlohmann/json.hpp>

namespace nerio::tool {

std::string ViewText(const RegistryView& view) {
  if (view.bits == 0) return "one view: 32-bit and 64-bit programs see the same registry";
  const std::string name = "the " + std::to_string(view.bits) + "-bit view";
  if (view.only) return name + ", the only one of this system";
  return name +
         ": what is HKEY_LOCAL_MACHINE\\Software here is HKEY_LOCAL_MACHINE\\Software\\WOW6432Node to 64-bit programs";
}

void ShowView(Output& output, const RegistryView& view) {
  const std::string text = ViewText(view);
  output.Result({{"bits", view.bits}, {"only", view.only}, {"view", text}}, text);
}

}  // namespace nerio::tool
