// The routines over a host whose every service fails: each keeps its own style of failure, and nothing reaches for a
// host but through the seam.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>

#include "nerio/platform/host.h"
#include "nerio/registry/cregistry.h"
#include "nerio/support/base64.h"
#include "nerio/support/conversions.h"
#include "nerio/support/trace_log.h"
#include "nerio/support/xml.h"

namespace nerio {
namespace {

TEST(SkeletonHost, CheckXMLParser_NoDom_False) { EXPECT_FALSE(CheckXMLParser()); }

TEST(SkeletonHost, GetGuid_NoSource_EmptyText) { EXPECT_EQ(GetGuid(), u""); }

TEST(SkeletonHost, GetDate_NoSettings_ZeroDate) { EXPECT_EQ(GetDate(u"1/1/2024"), u"00:00:00"); }

TEST(SkeletonHost, Base64_NoDom_NumberOfTheErrorAndEmptyText) {
  Text encoded = u"untouched";
  EXPECT_EQ(EncodeBase64(u"A", encoded), platform::kErrClassNotRegistered);
  EXPECT_EQ(encoded, u"untouched");
  EXPECT_EQ(DecodeBase64(u"QQA="), u"");
}

TEST(SkeletonHost, CRegistry_NoRegistry_QuietFailures) {
  CRegistry registry;
  registry.RamoPredefinito(u"App");
  EXPECT_EQ(registry.CreaRamo(u"Software"), False);
  EXPECT_EQ(registry.LeggiRegistro(u"Nome", u"-"), u"-");
  EXPECT_EQ(registry.VerificaRamo(u"Software"), True);
}

TEST(SkeletonHost, WriteLog_NoFolder_RaisesTheSystemsError) {
  bool raised = false;
  try {
    WriteLog(u"x");
  } catch (const Error& error) {
    raised = true;
    EXPECT_EQ(error.number(), 120);
    EXPECT_EQ(error.source(), u"WriteLog");
    EXPECT_EQ(error.description(), u"not there");
  }
  EXPECT_TRUE(raised);
}

TEST(SkeletonHost, OpenHost_AnyOptions_HostOfItsOwn) {
  const std::unique_ptr<platform::HostInstance> host = platform::OpenHost();
  EXPECT_NE(&host->Services().guids, &platform::ThisHost().guids);
  EXPECT_EQ(GetGuid(host->Services()), u"");
}

}  // namespace
}  // namespace nerio
