// What may stand for an in/out parameter, and what must not compile: each case is compiled alone, by its name as CASE.
#include <nerio/registry/cregistry.h>

using nerio::Boolean;
using nerio::CRegistry;
using nerio::Text;
using nerio::TextView;
using nerio::platform::KeyHandle;
using nerio::platform::kHkeyCurrentUser;

Boolean Accepted(CRegistry& registry) {
  Text caption;
  KeyHandle root = kHkeyCurrentUser;
  const TextView view = u"caption";
  registry.CreaRamo(u"x", caption);
  registry.CreaRamo(u"x", u"caption");
  registry.CreaRamo(u"x", Text(view));
  registry.CreaRamo(u"x", TextView(u"caption"));
  registry.LeggiRegistroEx(u"n", kHkeyCurrentUser, u"branch", u"default");
  registry.LeggiRegistroEx(u"n", root, caption);
  registry.ScriviRegistroEx(u"n", u"v", KeyHandle{0x80000001}, Text());
  return registry.VerificaRamoEx(u"x", kHkeyCurrentUser);
}

#define CONST_TEXT 1
#define TEXT_VIEW 2
#define POINTER 3
#define ARRAY 4
#define CONST_ARRAY 5
#define CONST_ROOT 6
#define OTHER_ROOT 7
#define NAMED_CONSTANT 8
#define BOOL_EQUAL 9
#define BOOL_UNEQUAL 10
#define BOOL_FIRST 11

#ifdef CASE
bool Refused(CRegistry& registry) {
#if CASE == CONST_TEXT
  const Text caption = u"caption";
  registry.CreaRamo(u"x", caption);
#elif CASE == TEXT_VIEW
  TextView caption = u"caption";
  registry.CancellaRamo(u"x", caption);
#elif CASE == POINTER
  const char16_t* branch = u"branch";
  registry.LeggiRegistroEx(u"n", kHkeyCurrentUser, branch);
#elif CASE == ARRAY
  char16_t branch[] = u"branch";
  registry.ScriviRegistroEx(u"n", u"v", kHkeyCurrentUser, branch);
#elif CASE == CONST_ARRAY
  const char16_t branch[] = {u'b', registry.RamoPrincipale()[0], 0};
  registry.ScriviRegistroEx(u"n", u"v", kHkeyCurrentUser, branch);
#elif CASE == CONST_ROOT
  const KeyHandle root = kHkeyCurrentUser;
  registry.VerificaRamoEx(u"x", root);
#elif CASE == OTHER_ROOT
  unsigned long root = 0x80000001;
  registry.VerificaRamoEx(u"x", root);
#elif CASE == NAMED_CONSTANT
  auto root = kHkeyCurrentUser;
  registry.VerificaRamoEx(u"x", root);
#elif CASE == BOOL_EQUAL
  return registry.VerificaRamoEx(u"x") == true;
#elif CASE == BOOL_UNEQUAL
  return registry.VerificaRamoEx(u"x") != false;
#elif CASE == BOOL_FIRST
  return true == registry.VerificaRamoEx(u"x");
#endif
  return false;
}
#endif
