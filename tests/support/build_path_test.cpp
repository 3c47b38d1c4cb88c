#include "nerio/support/build_path.h"

#include <gtest/gtest.h>

#include "nerio/types/utf8.h"

namespace nerio {
namespace {

struct Join {
  TextView folder;
  TextView fileName;
  TextView path;
};

const Join kJoins[] = {
    {u"C:\\", u"a.log", u"C:\\a.log"},
    {u"C:\\Dir", u"a.log", u"C:\\Dir\\a.log"},
    {u"C:\\Dir\\", u"a.log", u"C:\\Dir\\a.log"},
    {u"C:\\Dir", u"\\a.log", u"C:\\Dir\\a.log"},
    {u"C:\\Dir\\", u"\\a.log", u"C:\\Dir\\\\a.log"},        // three separators fold to two
    {u"C:\\Dir\\\\", u"\\a.log", u"C:\\Dir\\\\a.log"},      // four too
    {u"C:\\Dir\\\\", u"\\\\a.log", u"C:\\Dir\\\\\\a.log"},  // five to three
    {u"\\\\server\\share", u"a.log", u"\\server\\share\\a.log"},
    {u"C:\\\\x\\\\y", u"z\\\\a.log", u"C:\\x\\y\\z\\a.log"},  // pairs inside either argument fold too
    {u"", u"a.log", u"\\a.log"},
    {u"", u"\\a.log", u"\\a.log"},
    {u"C:\\Dir", u"", u"C:\\Dir\\"},
    {u"C:\\Dir\\", u"", u"C:\\Dir\\"},
    {u"", u"", u"\\"},
    {u"/usr//lib", u"a//b", u"/usr//lib\\a//b"},  // only the backslash is a separator
    {u"C:\\\xD800", u"\uFF3C\uFF3Cè.log", u"C:\\\xD800\\\uFF3C\uFF3Cè.log"},
};

TEST(BuildPath, FoldsPairsOfSeparatorsInOnePass) {
  for (const Join& row : kJoins) {
    EXPECT_EQ(ToUtf8(BuildPath(row.folder, row.fileName)), ToUtf8(row.path))
        << ToUtf8(row.folder) << " + " << ToUtf8(row.fileName);
  }
}

TEST(BuildPath, RunOfSeparators_HalvesRoundedUp) {
  for (std::size_t run = 1; run < 20; ++run) {
    EXPECT_EQ(BuildPath(u"a", Text(run - 1, u'\\') + u"b").size(), 2 + (run + 1) / 2) << run;
  }
}

}  // namespace
}  // namespace nerio
