#include "tools/qxssf/page/html.h"

#include <string>

#include <gtest/gtest.h>

namespace qx::ssf::html_test {
namespace {

TEST(EscapedText, HasNoMarkup) {
  EXPECT_EQ(escaped("<script>alert('1' & \"2\")</script>"),
            "&lt;script&gt;alert(&#39;1&#39; &amp; &quot;2&quot;)&lt;/script&gt;");
  EXPECT_EQ(escaped("&lt;"), "&amp;lt;");
  EXPECT_EQ(escaped("]]>"), "]]&gt;");
  EXPECT_EQ(escaped("<!--"), "&lt;!--");
}

TEST(EscapedText, KeepsWhatIsHarmless) {
  EXPECT_EQ(escaped("CN=Иван Петров, C=RU"), "CN=Иван Петров, C=RU");
  EXPECT_EQ(escaped(""), "");
}

TEST(EscapedText, ShowsWhatIsNoText) {
  EXPECT_EQ(escaped("a\xff"), "a\\xff");
  EXPECT_EQ(escaped(std::string("a\0b", 3)), "a\\x00b");
  EXPECT_EQ(escaped("a\nb\x1b[2J"), "a\\x0ab\\x1b[2J");
  EXPECT_EQ(escaped("\u202Etxt.exe").find("\u202E"), std::string::npos);
}

// They are UTF-8, but no XML may hold them.
TEST(EscapedText, ReplacesWhatIsNoCharacterOfXml) {
  EXPECT_EQ(escaped("a\xEF\xBF\xBE b\xEF\xBF\xBF"), "a\uFFFD b\uFFFD");
}

TEST(Html, EndsWhatItBegins) {
  Html html;
  html.begin("ol", "chain");
  html.begin("li");
  html.element("p", "a < b", "name");
  html.end();
  html.end();
  EXPECT_EQ(html.text(), "<ol class=\"chain\"><li><p class=\"name\">a &lt; b</p>\n</li>\n</ol>\n");
}

TEST(Html, EscapesBothSidesOfAField) {
  Html html;
  html.field("<", ">");
  EXPECT_EQ(html.text(), "<dt>&lt;</dt>\n<dd>&gt;</dd>\n");
}

}  // namespace
}  // namespace qx::ssf::html_test
