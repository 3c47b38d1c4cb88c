#include "tools/nerio/xml_bytes.h"

#include <gtest/gtest.h>

#include <string>

#include "nerio/types/utf8.h"

namespace nerio::tool {
namespace {

using platform::XmlLoadError;

std::string Utf16(TextView text, bool highFirst) {
  std::string bytes;
  for (const char16_t unit : text) {
    const char high = static_cast<char>(unit >> 8);
    const char low = static_cast<char>(unit & 0xFF);
    bytes += highFirst ? high : low;
    bytes += highFirst ? low : high;
  }
  return bytes;
}

void ExpectText(const std::string& bytes, TextView expected) {
  Text text = u"junk";
  XmlLoadError error{u"junk", 7, 7};
  EXPECT_TRUE(DecodeXmlBytes(bytes, text, error));
  EXPECT_EQ(text, expected);
  EXPECT_EQ(error, (XmlLoadError{u"junk", 7, 7}));
}

void ExpectRefusal(const std::string& bytes, const std::string& refusal) {
  Text text = u"junk";
  XmlLoadError error;
  EXPECT_FALSE(DecodeXmlBytes(bytes, text, error));
  EXPECT_EQ(text, u"junk");
  EXPECT_EQ(std::to_string(error.line) + ":" + std::to_string(error.column) + " " + ToUtf8(error.reason), refusal);
}

TEST(XmlBytes, Utf8_WithAndWithoutMark_IsDecodedWithoutIt) {
  ExpectText("<a>è 😀</a>", u"<a>è 😀</a>");
  ExpectText("\xEF\xBB\xBF<a>è</a>", u"<a>è</a>");
  ExpectText("", u"");
}

TEST(XmlBytes, Utf16_OfEitherByteOrder_IsDecodedWithoutItsMark) {
  for (const bool highFirst : {false, true}) {
    ExpectText(Utf16(u"\uFEFF<a>è 😀</a>", highFirst), u"<a>è 😀</a>");
    ExpectText(Utf16(u"\uFEFF<?xml version='1.0' encoding='utf-16'?><a/>", highFirst),
               u"<?xml version='1.0' encoding='utf-16'?><a/>");
  }
}

TEST(XmlBytes, NamedEncoding_HasToBeThatOfTheBytes) {
  ExpectText("<?xml version='1.0' encoding='uTf-8'?><a/>", u"<?xml version='1.0' encoding='uTf-8'?><a/>");
  const std::string rest = "; only UTF-8 and UTF-16 with a byte-order mark can be read";
  ExpectRefusal("<?xml version='1.0' encoding='UTF-16'?><a/>",
                "1:31 the XML declaration names the encoding \"UTF-16\", but the bytes are UTF-8" + rest);
  ExpectRefusal("<?xml version='1.0'\nencoding='windows-1252'?><a/>",
                "2:11 the XML declaration names the encoding \"windows-1252\", but the bytes are UTF-8" + rest);
  ExpectRefusal(Utf16(u"\uFEFF<?xml version='1.0' encoding='UTF-8'?><a/>", false),
                "1:31 the XML declaration names the encoding \"UTF-8\", but the bytes are UTF-16" + rest);
}

TEST(XmlBytes, MalformedBytes_AreRefusedWithTheirPlace) {
  ExpectRefusal("<a>\n\xC3\xA8\xE8</a>", "2:2 a byte sequence that is not UTF-8");
  for (const char* const wrong : {"\x80", "\xC3", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xFF", "\xE2\x82"}) {
    ExpectRefusal(std::string("<a>") + wrong, "1:4 a byte sequence that is not UTF-8");
  }
  for (const bool highFirst : {false, true}) {
    for (const TextView wrong : {TextView(u"\xD800"), TextView(u"\xDC00"), TextView(u"\xD800x"),
                                 TextView(u"\xD800\xD800"), TextView(u"\xDC00\xD800")}) {
      ExpectRefusal(Utf16(u"\uFEFF<a>" + Text(wrong), highFirst), "1:4 a byte sequence that is not UTF-16");
    }
    ExpectRefusal(Utf16(u"\uFEFF<a>", highFirst) + "x", "1:4 a byte sequence that is not UTF-16");
  }
}

TEST(XmlBytes, WhatCannotBeRead_IsNamed) {
  const std::string rest = "; only UTF-8 and UTF-16 with a byte-order mark can be read";
  for (const bool highFirst : {false, true}) {
    ExpectRefusal(Utf16(u"<a/>", highFirst), "1:1 UTF-16 without a byte-order mark" + rest);
    ExpectRefusal(Utf16(u"<a>\u00E8</a>", highFirst), "1:1 UTF-16 without a byte-order mark" + rest);
  }
  ExpectRefusal("<?xml version='1.0' encoding='ISO-8859-1'?><a>perch\xE9</a>",
                "1:31 the XML declaration names the encoding \"ISO-8859-1\"" + rest);
  ExpectRefusal("<?xml version='1.0' encoding='utf-8'?><a>perch\xE9</a>", "1:47 a byte sequence that is not UTF-8");
}

TEST(XmlBytes, SecondByteOrderMark_IsRefused) {
  ExpectRefusal("\xEF\xBB\xBF\xEF\xBB\xBF<a/>", "1:1 a second byte-order mark");
  for (const bool highFirst : {false, true})
    ExpectRefusal(Utf16(u"\uFEFF\uFEFF<a/>", highFirst), "1:1 a second byte-order mark");
}

// The DOM would end there, and what follows would be lost with the next change of the file.
TEST(XmlBytes, Nul_IsRefused) {
  ExpectRefusal(std::string("<a/>\n\0x", 7), "2:1 a character that XML does not have");
  ExpectRefusal(Utf16(TextView(u"\uFEFF<a/>\0", 6), true), "1:5 a character that XML does not have");
}

// Its mark begins like that of UTF-16, so that every other unit is a NUL.
TEST(XmlBytes, Utf32_IsRefused) {
  ExpectRefusal(std::string("\xFF\xFE\0\0<\0\0\0a\0\0\0/\0\0\0>\0\0\0", 20), "1:1 a character that XML does not have");
}

}  // namespace
}  // namespace nerio::tool
