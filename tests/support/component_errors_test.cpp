#include "nerio/support/component_errors.h"

#include <gtest/gtest.h>

#include "nerio/support/messages.h"
#include "tests/testing/fake_host.h"
#include "tests/testing/raised_error.h"

namespace nerio {
namespace {

struct Raised {
  std::int32_t code;
  TextView detail;
  TextView description;
};

const Raised kRaised[] = {
    {ErrNullOrEmptyParameter, u"sTesto", u"Il parametro [sTesto] non può essere nullo o vuoto"},
    {ErrUnsupportedInitMessageVersion, u"2.0", u"La versione [2.0] del messaggio di inizializzazione non è supportata"},
    {ErrFeatureNotAvailable, u"stampa", u"La funzionalità richiesta non è disponibile"},
    {ErrNullOrEmptyParameter, u"", u"Il parametro [] non può essere nullo o vuoto"},
    {ErrNullOrEmptyParameter, u"{0}{1}", u"Il parametro [{0}{1}] non può essere nullo o vuoto"},
    {5, u"x", u"Errore non definito"},
    {0, u"x", u"Errore non definito"},
};

TEST(RaiseError, EveryCode_CarriesNumberSourceAndFilledTemplate) {
  for (const Raised& row : kRaised) {
    SCOPED_TRACE(row.code);
    testing::ExpectRaised([&] { RaiseError(row.code, u"ApriDocumento", row.detail, testing::FakeHost().View()); },
                          row.code, u"ApriDocumento", row.description);
  }
}

TEST(ValidateParam, EmptyValue_RaisesNullOrEmptyParameterWithTheParametersName) {
  testing::ExpectRaised([] { ValidateParam(u"", u"sTesto", testing::FakeHost().View()); }, -2147221503,
                        u"ValidateParam", u"Il parametro [sTesto] non può essere nullo o vuoto");
}

TEST(ValidateParam, AnyOtherValue_Passes) {
  for (const TextView value : {TextView(u" "), TextView(u"\t\r\n"), TextView(u"x"), TextView(u"\0", 1)}) {
    EXPECT_NO_THROW(ValidateParam(value, u"sTesto", testing::FakeHost().View()));
  }
}

}  // namespace
}  // namespace nerio
