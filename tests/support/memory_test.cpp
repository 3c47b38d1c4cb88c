// Lack of memory: each allocation of a call fails in turn, alone or with all behind it. What may raise raises
// std::bad_alloc, what never raises answers its failure value, and nothing is left half done in a way that shows.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <string>

#include "nerio/hosts/portable/regional/regional_settings.h"
#include "nerio/hosts/portable/text/code_page_1252.h"
#include "nerio/hosts/portable/xml/xml_dom.h"
#include "nerio/support/base64.h"
#include "nerio/support/component_errors.h"
#include "nerio/support/conversions.h"
#include "nerio/support/messages.h"
#include "nerio/support/templates.h"
#include "nerio/support/xml.h"
#include "nerio/types/error.h"
#include "nerio/types/utf8.h"
#include "tests/testing/failing_files.h"
#include "tests/testing/fake_host.h"

namespace {

struct {
  bool counting = false;
  bool lasting = false;         // from the failing allocation on none is granted
  std::size_t allocations = 0;  // while counting
  std::size_t failing = 0;      // from 1
} memory;

void* Allocate(std::size_t size) {
  if (memory.counting) {
    ++memory.allocations;
    if (memory.lasting ? memory.allocations >= memory.failing : memory.allocations == memory.failing) {
      throw std::bad_alloc();
    }
  }
  void* const place = std::malloc(size > 0 ? size : 1);
  if (place == nullptr) throw std::bad_alloc();
  return place;
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void operator delete(void* place) noexcept { std::free(place); }
void operator delete(void* place, std::size_t) noexcept { std::free(place); }

namespace nerio {
namespace {

using platform::PortableXmlDom;
using platform::XmlDocument;
using platform::XmlNode;

// Makes a call in which memory runs short. Returns whether it raised std::bad_alloc.
template <typename Call>
bool RunsShort(Call call) {
  memory.allocations = 0;
  memory.counting = true;
  try {
    call();
  } catch (const std::bad_alloc&) {
    memory.counting = false;
    return true;
  } catch (...) {
    memory.counting = false;
    throw;
  }
  memory.counting = false;
  return false;
}

// Does a test for each allocation of what it does under `RunsShort`, until there is none left to fail.
template <typename Test>
void ForEachAllocation(Test test) {
  for (const bool lasting : {false, true}) {
    memory.lasting = lasting;
    memory.failing = 0;
    std::size_t most = 0;
    do {
      ++memory.failing;
      most = 0;
      SCOPED_TRACE(memory.failing);
      test([&most](auto call) {
        const bool raised = RunsShort(call);
        most = std::max(most, memory.allocations);
        return raised;
      });
    } while (most >= memory.failing);
    EXPECT_GT(memory.failing, 1u) << "no allocation at all";
  }
}

class Memory : public ::testing::Test {
 protected:
  const platform::Host& Services() const { return services_; }

  PortableXmlDom dom_;
  testing::FailingFiles files_;
  platform::CodePage1252 codePage_;
  platform::PortableRegionalSettings regional_{platform::BuiltInRegion(u"it-IT").value()};
  platform::Host services_ =
      testing::FakeHost{
          .codePage = &codePage_, .files = &files_, .module = &files_, .xml = &dom_, .regional = &regional_}
          .View();
};

const Text kLong(5000, u'k');

TEST_F(Memory, Variant_CopiedOrAssigned_RaisesAndKeepsWhatItHeld) {
  for (const Variant& value : {Variant(kLong), Variant(Bytes(100, 7))}) {
    ForEachAllocation([&](auto runsShort) {
      bool copied = false;
      EXPECT_NE(runsShort([&] {
                  const Variant copy(value);
                  copied = copy == value;
                }),
                copied);
      Variant assigned = std::int32_t{5};
      const bool raised = runsShort([&] { assigned = value; });
      EXPECT_EQ(assigned, raised ? Variant(std::int32_t{5}) : value);
    });
  }
}

TEST_F(Memory, Base64_AnswersItsFailureValue) {
  Text right;
  ASSERT_EQ(EncodeBase64(kLong, right, Services()), 0);
  ForEachAllocation([&](auto runsShort) {
    Text encoded = u"junk";
    std::int32_t number = 0;
    EXPECT_FALSE(runsShort([&] { number = EncodeBase64(kLong, encoded, Services()); }));
    EXPECT_TRUE(number == 0 || number == kErrOutOfMemory) << number;
    EXPECT_EQ(encoded, number == 0 ? right : u"junk");
    Text decoded;
    EXPECT_FALSE(runsShort([&] { decoded = DecodeBase64(right, Services()); }));
    EXPECT_TRUE(decoded.empty() || decoded == kLong);
  });
}

TEST_F(Memory, CheckXMLParser_IsFalse) {
  ForEachAllocation([&](auto runsShort) {
    bool there = false;
    EXPECT_FALSE(runsShort([&] { there = CheckXMLParser(Services()); }));
    EXPECT_EQ(there, memory.allocations < memory.failing);
  });
}

TEST_F(Memory, GetDate_AnswersTheZeroDateOrNothing) {
  ForEachAllocation([&](auto runsShort) {
    constexpr TextView kDate = u"31/12/1999 10:20:30";
    Text answer;
    EXPECT_FALSE(runsShort([&] { answer = GetDate(kDate, Services()); }));
    EXPECT_TRUE(answer == kDate || answer == u"00:00:00" || answer.empty()) << ToUtf8(answer);
  });
}

TEST_F(Memory, FormatTemplate_RaisesAndLeavesNoText) {
  const ArgumentList arguments{{Text(u"un valore lungo {1}"), 1.5, Date{3.5}, Currency{12345}}, 0};
  ForEachAllocation([&](auto runsShort) {
    Text text = u"junk";
    const bool raised = runsShort([&] {
      try {
        text = FormatTemplate(u"{0} {1} {2} {3} e basta", arguments, Services());
      } catch (const Error& error) {
        // A conversion of the regional settings answers its lack of memory as a number.
        if (error.number() != NumberOf(platform::kOutOfMemory)) throw;
        throw std::bad_alloc();
      }
    });
    EXPECT_EQ(text, raised ? u"junk" : u"un valore lungo 1,5 1,5 02/01/1900 12:00:00 1,2345 e basta");
  });
}

TEST_F(Memory, ValidateParam_RaisesItsErrorOrTheLackOfMemory) {
  ForEachAllocation([&](auto runsShort) {
    std::int32_t number = 0;
    const bool raised = runsShort([&] {
      try {
        ValidateParam(u"", u"sNomeDelParametro", Services());
      } catch (const Error& error) {
        number = error.number();
      }
    });
    EXPECT_EQ(number, raised ? 0 : ErrNullOrEmptyParameter);
  });
}

TEST_F(Memory, LoadXml_RaisesAndLeavesTheDocumentEmpty) {
  Text xml = u"<?xml version='1.0'?><r xmlns:p='u' p:a='1' a='2&amp;3'><b>t&#65;</b>";
  for (int i = 0; i < 40; ++i)
    xml += u"<n" + FromUtf8(std::to_string(i)) + u" x='1'>te]xt</n" + FromUtf8(std::to_string(i)) + u">";
  xml += u"</r>";
  ForEachAllocation([&](auto runsShort) {
    const XmlDocument document(dom_, dom_.CreateDocument());
    for (int again = 0; again < 2; ++again) {
      bool loaded = false;
      const bool raised = runsShort([&] { loaded = dom_.LoadXml(document.get(), xml); });
      EXPECT_NE(loaded, raised);
      EXPECT_NE(dom_.GetXml(document.get()).empty(), loaded);
    }
    bool loaded = false;
    const bool raised = runsShort([&] { loaded = dom_.LoadXml(document.get(), xml + u"<x/>"); });
    EXPECT_FALSE(loaded);
    EXPECT_EQ(dom_.GetXml(document.get()), u"");
    EXPECT_TRUE(raised || !dom_.LoadError(document.get()).reason.empty());
  });
}

TEST_F(Memory, BuiltTree_IsWholeAsFarAsItCame) {
  Text base64;
  ASSERT_EQ(EncodeBase64(kLong, base64, Services()), 0);
  ForEachAllocation([&](auto runsShort) {
    const XmlDocument document(dom_, dom_.CreateDocument());
    const XmlDocument other(dom_, dom_.CreateDocument());
    const XmlNode element(dom_, dom_.CreateElement(other.get(), u"e"));
    dom_.PutDataType(element.get(), u"bin.base64");
    for (const Text& text : {base64, kLong}) {
      const Text before = dom_.GetText(element.get());
      const bool raised = runsShort([&] { dom_.PutText(element.get(), text); });
      EXPECT_EQ(dom_.GetText(element.get()), raised ? before : text);
    }
    dom_.PutText(element.get(), u"");
    const bool moved = !runsShort([&] { XmlNode(dom_, dom_.AppendChild(document.get(), element.get())); });
    runsShort([&] {
      for (int i = 0; i < 30; ++i)
        SetXMLAttribute(moved ? document : other, element, u"a" + FromUtf8(std::to_string(i)), u"v");
    });
    runsShort([&] {
      for (int i = 0; i < 30; ++i) AddXMLElement(moved ? document : other, element, u"figlio", u"testo");
    });
    runsShort([&] { dom_.GetXml(element.get()); });
    const Text written = dom_.GetXml(element.get());
    const XmlDocument again(dom_, dom_.CreateDocument());
    ASSERT_TRUE(dom_.LoadXml(again.get(), written)) << ToUtf8(written);
    EXPECT_EQ(dom_.GetXml(again.get()), written + u"\r\n");
  });
}

}  // namespace
}  // namespace nerio
