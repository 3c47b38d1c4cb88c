#include "nerio/types/error.h"

#include <gtest/gtest.h>

namespace nerio {
namespace {

TEST(Error, CarriesNumberSourceAndDescription) {
  const Error error(-2147221503, u"ValidateParam", u"non può");
  EXPECT_EQ(error.number(), -2147221503);
  EXPECT_EQ(error.source(), u"ValidateParam");
  EXPECT_EQ(error.description(), u"non può");
  EXPECT_STREQ(error.what(), "non pu\xC3\xB2");
}

TEST(Error, NumberZero_IsStillRaised) {
  const auto raise = [] { throw Error(0, u"RamoLavoro", u"Ramo predefinito non valido"); };
  EXPECT_THROW(raise(), Error);
}

}  // namespace
}  // namespace nerio
