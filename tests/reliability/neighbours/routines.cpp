// Calls one routine of the registry class on the branch open\app, as a program does. Whatever it answers is no failure.

#include <nerio/registry/cregistry.h>

#include <functional>
#include <iostream>
#include <map>
#include <string>

int main(int count, char** words) {
  nerio::CRegistry registry;
  registry.RamoPrincipale(u"open");
  registry.RamoPredefinito(u"app");
  const std::map<std::string, std::function<void()>> routines = {
      {"LeggiRegistro", [&] { registry.LeggiRegistro(u"a"); }},
      {"LeggiRegistroEx", [&] { registry.LeggiRegistroEx(u"a"); }},
      {"VerificaRamo", [&] { registry.VerificaRamo(u"open\\app\\sub"); }},
      {"VerificaRamoEx", [&] { registry.VerificaRamoEx(u"open\\app\\sub"); }},
      {"ScriviRegistroEx", [&] { registry.ScriviRegistroEx(u"a", u"written"); }},
      {"CreaRamo", [&] { registry.CreaRamo(u"open\\app\\later"); }},
      {"CancellaRegistro", [&] { registry.CancellaRegistro(u"a"); }},
      {"CancellaRamo", [&] { registry.CancellaRamo(u"open\\app\\sub"); }},
  };
  if (count == 1) {
    for (const auto& [name, call] : routines) std::cout << name << '\n';
    return 0;
  }
  const auto routine = routines.find(words[1]);
  if (routine == routines.end()) return 2;
  routine->second();
  return 0;
}
