#include "tools/nerio/xml_edit.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "nerio/types/utf8.h"

namespace nerio::tool {
namespace {

std::string Deleted(const char* xml, TextView path, const std::optional<Text>& attribute, XmlDeletion wanted) {
  Text text = FromUtf8(xml);
  EXPECT_EQ(DeleteInXml(text, path, attribute), wanted) << xml;
  return ToUtf8(text);
}

TEST(DeleteInXml, TakesTheFirstElementOrTheAttribute) {
  constexpr const char* kXml = "<a x=\"1\" y=\"2\"><b><c/></b><!--k--><b/>t</a>\r\n";
  EXPECT_EQ(Deleted(kXml, u"/a/b", std::nullopt, XmlDeletion::kDone), "<a x=\"1\" y=\"2\"><!--k--><b/>t</a>\r\n");
  EXPECT_EQ(Deleted(kXml, u"a/b/c", std::nullopt, XmlDeletion::kDone), "<a x=\"1\" y=\"2\"><b/><!--k--><b/>t</a>\r\n");
  EXPECT_EQ(Deleted(kXml, u"/a", u"x", XmlDeletion::kDone), "<a y=\"2\"><b><c/></b><!--k--><b/>t</a>\r\n");
  EXPECT_EQ(Deleted(kXml, u"/a", u"y", XmlDeletion::kDone), "<a x=\"1\"><b><c/></b><!--k--><b/>t</a>\r\n");
}

TEST(DeleteInXml, WhatIsNotThereOrHasToStay_ChangesNothing) {
  constexpr const char* kXml = "<a x='1'/>";
  EXPECT_EQ(Deleted(kXml, u"/b", std::nullopt, XmlDeletion::kNoElement), kXml);
  EXPECT_EQ(Deleted(kXml, u"/a", u"X", XmlDeletion::kNoAttribute), kXml);
  EXPECT_EQ(Deleted(kXml, u"/a", std::nullopt, XmlDeletion::kDocumentElement), kXml);
}

TEST(IndentXml, PutsChildrenOnTheirOwnLinesWhereThereIsNoText) {
  const std::pair<const char*, const char*> rows[] = {
      {"<a/>", "<a/>\r\n"},
      {"<a>t</a>", "<a>t</a>\r\n"},
      {"<a><b/><b><c>t</c></b></a>", "<a>\r\n  <b/>\r\n  <b>\r\n    <c>t</c>\r\n  </b>\r\n</a>\r\n"},
      {"<a>\n\t<b/>\n\n</a>", "<a>\r\n  <b/>\r\n</a>\r\n"},
      {"<a>t<b><c/></b></a>", "<a>t<b>\r\n    <c/>\r\n  </b></a>\r\n"},
      {"<a><![CDATA[x]]><b/></a>", "<a><![CDATA[x]]><b/></a>\r\n"},
      {"<?xml version='1.0'?><!--k--><a><!--l--><?p q?></a>",
       "<?xml version=\"1.0\"?>\r\n<!--k-->\r\n<a>\r\n  <!--l-->\r\n  <?p q?>\r\n</a>\r\n"},
      {"<a xml:space='preserve'> <b><c/></b></a>", "<a xml:space=\"preserve\"> <b><c/></b></a>\r\n"},
      {"<a><b xml:space='preserve'><c><d/></c></b><e><f/></e></a>",
       "<a>\r\n  <b xml:space=\"preserve\"><c><d/></c></b>\r\n  <e>\r\n    <f/>\r\n  </e>\r\n</a>\r\n"},
      {"<a xml:space='preserve'><b xml:space='default'><c/></b></a>",
       "<a xml:space=\"preserve\"><b xml:space=\"default\">\r\n    <c/>\r\n  </b></a>\r\n"},
  };
  for (const auto& [xml, indented] : rows) {
    Text text = FromUtf8(xml);
    IndentXml(text);
    EXPECT_EQ(ToUtf8(text), indented);
    IndentXml(text);
    EXPECT_EQ(ToUtf8(text), indented) << "the second time";
  }
}

TEST(IndentXml, DeepDocument_NeedsNoStack) {
  Text text;
  for (int depth = 0; depth < 2000; ++depth) text += u"<a>";
  for (int depth = 0; depth < 2000; ++depth) text += u"</a>";
  IndentXml(text);
  EXPECT_EQ(std::count(text.begin(), text.end(), u'\n'), 3999);
}

}  // namespace
}  // namespace nerio::tool
