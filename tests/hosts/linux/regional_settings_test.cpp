#include "nerio/hosts/linux/regional_settings.h"

#include <gtest/gtest.h>

#include <locale.h>

#include <clocale>
#include <cstdlib>
#include <map>
#include <string>
#include <tuple>

#include "nerio/hosts/linux/region_choice.h"
#include "nerio/hosts/portable/regional/regional_settings.h"
#include "nerio/hosts/portable/text/code_page_1252.h"
#include "nerio/support/conversions.h"
#include "nerio/support/variant_text.h"
#include "nerio/types/utf8.h"
#include "tests/hosts/linux/store/child_process.h"
#include "tests/platform/conformance/regional_conformance.h"
#include "tests/testing/failing_files.h"
#include "tests/testing/fake_host.h"
#include "tests/testing/status_output.h"

// The C library never frees the folders that it takes out of LOCPATH, some bytes for each locale. The name is the
// exported one: the function's own, with two underscores before it, is known only where the C library's debugging
// symbols are installed.
extern "C" const char*
__lsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" const char* __lsan_default_suppressions() { return "leak:argz_add_sep\n"; }

namespace nerio::testing {
namespace {

using platform::EnvironmentRegion;
using platform::PortableRegionalSettings;

using Environment = std::map<std::string, std::string>;

constexpr const char* kVariables[] = {"LC_ALL", "LC_TIME", "LC_NUMERIC", "LANG", "LOCPATH"};

// Makes these the only variables that name a locale. LOCPATH leads to the locales that the tests build.
void Enter(const Environment& environment) {
  for (const char* variable : kVariables) ::unsetenv(variable);
  ::setenv("LOCPATH", NERIO_TEST_LOCALES, 1);
  for (const auto& [variable, value] : environment) ::setenv(variable.c_str(), value.c_str(), 1);
}

// Answers, from a process in that environment: the region, the date check of a text that is no date, of one that is
// under day first and under month first orders, and texts of a date and a number.
std::string AnswersUnder(const Environment& environment) {
  return AnswerOfChild([&environment] {
    Enter(environment);
    PortableRegionalSettings regional(EnvironmentRegion);
    FailingFiles files;  // without a trace file
    platform::CodePage1252 codePage;
    const FakeHost fakes{.codePage = &codePage, .files = &files, .module = &files, .regional = &regional};
    const platform::Host host = fakes.View();
    const Text zero = GetDate(u"abc", host);
    Date back{1};
    const bool isZero = regional.DateFromText(zero, back) == platform::AutomationStatus::kSuccess && back == Date{0};
    return ToUtf8(regional.RegionName() + u"|" + zero + (isZero ? u"|" : u" (not zero)|") +
                  GetDate(u"31.12.1999", host) + u"|" + VariantToText(Date{37685.75}, regional) + u"|" +
                  VariantToText(0.5, regional));
  });
}

TEST(LinuxRegionalSettings, LcAll_OfABuiltInRegion_NeedsNoInstalledLocale) {
  const std::map<std::string, const char*> expected = {
      {"it_IT.UTF-8", "it-IT|00:00:00|00:00:00|05/03/2003 18:00:00|0,5"},
      {"en_US.UTF-8", "en-US|12:00:00 AM|12:00:00 AM|3/5/2003 6:00:00 PM|0.5"},
      {"en_GB.UTF-8", "en-GB|00:00:00|00:00:00|05/03/2003 18:00:00|0.5"},
      {"de_DE.UTF-8", "de-DE|00:00:00|31.12.1999|05.03.2003 18:00:00|0,5"},
      {"fr_FR.UTF-8", "fr-FR|00:00:00|00:00:00|05/03/2003 18:00:00|0,5"},
      {"sv_SE.UTF-8", "sv-SE|00:00:00|00:00:00|2003-03-05 18:00:00|0,5"},
      {"ja_JP.UTF-8", "ja-JP|0:00:00|0:00:00|2003/03/05 18:00:00|0.5"},
      {"de_DE@euro", "de-DE|00:00:00|31.12.1999|05.03.2003 18:00:00|0,5"},
      {"sv_SE", "sv-SE|00:00:00|00:00:00|2003-03-05 18:00:00|0,5"},
  };
  for (const auto& [locale, answers] : expected) EXPECT_EQ(AnswersUnder({{"LC_ALL", locale}}), answers) << locale;
}

TEST(LinuxRegionalSettings, EnvironmentThatNamesNoRegion_GetsTheProductsOwn) {
  const char* expected = "it-IT|00:00:00|00:00:00|05/03/2003 18:00:00|0,5";
  EXPECT_EQ(AnswersUnder({}), expected);
  for (const char* locale : {"C", "POSIX", "C.UTF-8", "C.utf8", "", "xx_XX.UTF-8", "nonsense", "en_us", "/etc", "."}) {
    EXPECT_EQ(AnswersUnder({{"LC_ALL", locale}}), expected) << locale;
    EXPECT_EQ(AnswersUnder({{"LANG", locale}}), expected) << locale;
  }
  // What comes first counts, also when it names no region.
  EXPECT_EQ(AnswersUnder({{"LC_ALL", "C"}, {"LC_TIME", "en_US"}, {"LANG", "en_US"}}), expected);
}

TEST(LinuxRegionalSettings, LocaleThatIsNotInstalled_GetsTheBuiltInRegionOfTheSameCustoms) {
  const std::map<std::string, const char*> rows = {
      {"de_AT.UTF-8", "de-DE"}, {"de_LU.UTF-8", "de-DE"}, {"de", "de-DE"},          {"it_CH.UTF-8", "it-IT"},
      {"fr_BE@euro", "fr-FR"},  {"en_US", "en-US"},       {"en_PH", "en-US"},       {"en", "en-US"},
      {"en_IE.UTF-8", "en-GB"}, {"en_AU.UTF-8", "en-GB"}, {"en_IN", "en-GB"},       {"en_ZZ", "en-GB"},
      {"sv", "sv-SE"},          {"ja", "ja-JP"},          {"fr_CA.UTF-8", "it-IT"}, {"fr_CH.UTF-8", "it-IT"},
      {"de_CH.UTF-8", "it-IT"}, {"sv_FI.UTF-8", "it-IT"}, {"en_us", "it-IT"},       {"en_001", "it-IT"},
      {"pt_BR.UTF-8", "it-IT"}, {"xx_XX", "it-IT"},
  };
  for (const auto& [locale, region] : rows) {
    const std::string answers = AnswersUnder({{"LC_ALL", locale}});
    const std::string same = region;
    EXPECT_EQ(answers, AnswersUnder({{"LC_ALL", same.substr(0, 2) + '_' + same.substr(3)}})) << locale;
    EXPECT_TRUE(answers.starts_with(same)) << locale << ": " << answers;
  }
  // An installed one of that name counts before.
  EXPECT_TRUE(AnswersUnder({{"LC_ALL", "de_AT.ISO-8859-1"}}).starts_with("de-AT|"));
  // Each category by itself.
  EXPECT_EQ(AnswersUnder({{"LC_TIME", "en_AU"}, {"LC_NUMERIC", "de_AT"}}),
            "en-GB|00:00:00|00:00:00|05/03/2003 18:00:00|0,5");
}

TEST(RegionChoice, TellsWhatIsNamedAndWhereTheAnswerComesFrom) {
  using Source = platform::RegionChoice::Source;
  const std::tuple<const char*, const char16_t*, Source> rows[] = {
      {"", u"it-IT", Source::kProduct},
      {"C.UTF-8", u"it-IT", Source::kProduct},
      {"fr_FR.UTF-8", u"fr-FR", Source::kBuiltIn},
      {"es_ES.UTF-8", u"es-ES", Source::kInstalled},
      {"en_NZ.UTF-8", u"en-GB", Source::kStandIn},
      {"de_CH.UTF-8", u"it-IT", Source::kMissing},
  };
  for (const auto& [locale, region, source] : rows) {
    EXPECT_EQ(AnswerOfChild([&, &locale = locale, &region = region, &source = source] {
                Enter({{"LC_TIME", "en_US"}, {"LANG", locale}});
                const platform::RegionChoice choice = platform::ChooseRegion("LC_NUMERIC");
                return std::string(choice.locale == locale ? "" : "other locale ") +
                       (choice.region == region ? "" : "other region ") +
                       (choice.source == source ? "" : "other source");
              }),
              "")
        << locale;
  }
}

TEST(LinuxRegionalSettings, Variables_CountInTheUsualOrder) {
  const char* german = "de-DE|00:00:00|31.12.1999|05.03.2003 18:00:00|0,5";
  const char* american = "en-US|12:00:00 AM|12:00:00 AM|3/5/2003 6:00:00 PM|0.5";
  EXPECT_EQ(AnswersUnder({{"LANG", "de_DE"}}), german);
  EXPECT_EQ(AnswersUnder({{"LC_ALL", "de_DE"}, {"LC_TIME", "en_US"}, {"LC_NUMERIC", "en_US"}, {"LANG", "en_US"}}),
            german);
  EXPECT_EQ(AnswersUnder({{"LC_ALL", ""}, {"LC_TIME", "en_US"}, {"LC_NUMERIC", "en_US"}, {"LANG", "de_DE"}}), american);
}

TEST(LinuxRegionalSettings, TimeAndNumeric_AreTwoCategories) {
  EXPECT_EQ(AnswersUnder({{"LC_TIME", "en_US"}, {"LANG", "de_DE"}}),
            "en-US|12:00:00 AM|12:00:00 AM|3/5/2003 6:00:00 PM|0,5");
  EXPECT_EQ(AnswersUnder({{"LC_NUMERIC", "en_US"}, {"LANG", "de_DE"}}),
            "de-DE|00:00:00|31.12.1999|05.03.2003 18:00:00|0.5");
  EXPECT_EQ(AnswersUnder({{"LC_NUMERIC", "en_US"}}), "it-IT|00:00:00|00:00:00|05/03/2003 18:00:00|0.5");
  EXPECT_EQ(AnswersUnder({{"LC_TIME", "en_US"}}), "en-US|12:00:00 AM|12:00:00 AM|3/5/2003 6:00:00 PM|0,5");
}

TEST(LinuxRegionalSettings, InstalledLocale_GivesItsOrderSeparatorsAndDecimalMark) {
  EXPECT_EQ(AnswersUnder({{"LC_ALL", "es_ES.utf8"}}), "es-ES|00:00:00|00:00:00|05/03/2003 18:00:00|0,5");
  EXPECT_EQ(AnswersUnder({{"LC_ALL", "es_ES.UTF-8"}}), "es-ES|00:00:00|00:00:00|05/03/2003 18:00:00|0,5");
  EXPECT_EQ(AnswersUnder({{"LC_ALL", "fi_FI.UTF-8"}}), "fi-FI|00:00:00|31.12.1999|05.03.2003 18:00:00|0,5");
  EXPECT_EQ(AnswersUnder({{"LC_ALL", "de_AT.ISO-8859-1"}}), "de-AT|00:00:00|00:00:00|2003-03-05 18:00:00|0,5");
  EXPECT_EQ(AnswersUnder({{"LC_ALL", "ar_EG.UTF-8"}}), "ar-EG|12:00:00 ص|12:00:00 ص|05/03/2003 06:00:00 م|0.5");
  EXPECT_EQ(AnswersUnder({{"LC_NUMERIC", "ar_EG.UTF-8"}, {"LC_TIME", "es_ES.UTF-8"}}),
            "es-ES|00:00:00|00:00:00|05/03/2003 18:00:00|0.5");
}

TEST(LinuxRegionalSettings, InstalledLocale_GivesItsNamesInWhateverEncoding) {
  const auto read = [](const std::string& locale, TextView text) {
    return AnswerOfChild([&locale, text] {
      Enter({{"LC_ALL", locale}});
      Date date;
      return PortableRegionalSettings(EnvironmentRegion).DateFromText(text, date) ==
                     platform::AutomationStatus::kSuccess
                 ? std::to_string(date.days)
                 : "none";
    });
  };
  EXPECT_EQ(read("es_ES.UTF-8", u"miércoles 5 ENERO 2003"), "37626.000000");
  EXPECT_EQ(read("es_ES.UTF-8", u"5 ago 2003"), "37838.000000");
  EXPECT_EQ(read("de_AT.ISO-8859-1", u"2003 März 5"), "37685.000000");
  EXPECT_EQ(read("de_AT.ISO-8859-1", u"2003 jänner 5"), "37626.000000");
  EXPECT_EQ(read("ar_EG.UTF-8", u"5 أغسطس 2003 6 م"), "37838.750000");
  EXPECT_EQ(read("it_IT.UTF-8", u"5 أغسطس 2003"), "none");
}

TEST(LinuxRegionalSettings, Environment_IsReadOnTheFirstCallAndThenStays) {
  EXPECT_EQ(AnswerOfChild([] {
              Enter({{"LC_ALL", "de_DE"}});
              PortableRegionalSettings regional(EnvironmentRegion);
              Enter({{"LC_ALL", "en_US"}});
              const Text first = regional.RegionName();
              Enter({{"LC_ALL", "sv_SE"}});
              return ToUtf8(first + u' ' + regional.RegionName() + u' ' +
                            PortableRegionalSettings(EnvironmentRegion).RegionName());
            }),
            "en-US en-US sv-SE");
}

TEST(LinuxRegionalSettings, TheProcessesOwnLocale_IsNeitherAskedNorChanged) {
  EXPECT_EQ(AnswerOfChild([] {
              Enter({{"LC_ALL", "es_ES.UTF-8"}});
              PortableRegionalSettings(EnvironmentRegion).RegionName();
              const std::string before = std::setlocale(LC_ALL, nullptr);
              EXPECT_NE(std::setlocale(LC_ALL, "fi_FI.UTF-8"), nullptr);
              Text text;
              PortableRegionalSettings regional(EnvironmentRegion);
              regional.TextFromDouble(0.5, text);
              return before + ' ' + std::setlocale(LC_ALL, nullptr) + ' ' + ToUtf8(regional.RegionName() + u' ' + text);
            }),
            "C fi_FI.UTF-8 es-ES 0,5");
}

TEST(LinuxRegionalSettings, TheThreadsOwnLocale_IsLeftAsItIs) {
  EXPECT_EQ(AnswerOfChild([]() -> std::string {
              Enter({{"LC_ALL", "es_ES.UTF-8"}});
              const locale_t global = ::uselocale(nullptr);
              PortableRegionalSettings(EnvironmentRegion).RegionName();
              if (::uselocale(nullptr) != global) return "the thread has a locale of its own";
              const locale_t finnish = ::newlocale(LC_ALL_MASK, "fi_FI.UTF-8", nullptr);
              ::uselocale(finnish);
              const Text region = PortableRegionalSettings(EnvironmentRegion).RegionName();
              if (::uselocale(nullptr) != finnish) return "the thread has another locale";
              return ToUtf8(region);
            }),
            "es-ES");
}

TEST(LinuxRegionalSettings, ProgramOnItsOwnHost_ChecksDatesUnderItsEnvironment) {
  const std::map<std::string, std::string> expected = {
      {"it_IT.UTF-8", "it-IT\n00:00:00\n00:00:00\n31/12/1999\n"},
      {"en_US.UTF-8", "en-US\n12:00:00 AM\n12:00:00 AM\n31/12/1999\n"},
      {"de_DE.UTF-8", "de-DE\n00:00:00\n31.12.1999\n31/12/1999\n"},
      {"sv_SE.UTF-8", "sv-SE\n00:00:00\n00:00:00\n31/12/1999\n"},
      {"ja_JP.UTF-8", "ja-JP\n0:00:00\n0:00:00\n31/12/1999\n"},
      {"C.UTF-8", "it-IT\n00:00:00\n00:00:00\n31/12/1999\n"},
  };
  for (const auto& [locale, answers] : expected) {
    const std::string output =
        OutputOfProgram(NERIO_CONVERSIONS_PROBE, {"probe", "abc", "31.12.1999", "31/12/1999"}, {"LC_ALL=" + locale});
    ASSERT_GE(output.size(), answers.size()) << output;
    EXPECT_EQ(output.substr(0, answers.size()), answers);
    const std::string guid = output.substr(answers.size());
    ASSERT_EQ(guid.size(), 37u) << output;
    EXPECT_EQ(guid[16], '4') << guid;
    EXPECT_NE(std::string("89AB").find(guid[19]), std::string::npos) << guid;
  }
}

// Settings that have already read an environment of their own, which the test's process then leaves again.
std::unique_ptr<platform::RegionalSettings> SettingsUnder(const Environment& environment) {
  Environment before;
  for (const char* variable : kVariables) {
    if (const char* value = std::getenv(variable)) before[variable] = value;
  }
  Enter(environment);
  auto settings = std::make_unique<PortableRegionalSettings>(EnvironmentRegion);
  settings->RegionName();
  for (const char* variable : kVariables) ::unsetenv(variable);
  for (const auto& [variable, value] : before) ::setenv(variable.c_str(), value.c_str(), 1);
  return settings;
}

template <const char* locale>
std::unique_ptr<platform::RegionalSettings> Under() {
  return SettingsUnder({{"LC_ALL", locale}});
}

constexpr char kNone[] = "C";
constexpr char kAmerican[] = "en_US.UTF-8";
constexpr char kSpanish[] = "es_ES.UTF-8";
constexpr char kFinnish[] = "fi_FI.UTF-8";
constexpr char kAustrian[] = "de_AT.ISO-8859-1";
constexpr char kEgyptian[] = "ar_EG.UTF-8";

INSTANTIATE_TEST_SUITE_P(Linux, RegionalConformance,
                         ::testing::Values(Under<kNone>, Under<kAmerican>, Under<kSpanish>, Under<kFinnish>,
                                           Under<kAustrian>, Under<kEgyptian>));

}  // namespace
}  // namespace nerio::testing
