#include "tools/bvdiag/html_writer.h"

#include <gmock/gmock.h>

#include <initializer_list>
#include <string>

namespace bvdiag {
namespace {

using ::testing::HasSubstr;

std::string foreign(const std::string& text) {
  HtmlWriter page;
  page.foreign(text);
  const std::string html = page.take();
  const std::size_t begin = html.find("<bdi>") + 5;
  return html.substr(begin, html.rfind("</bdi>") - begin);
}

std::string code(const std::string& name) { return "<span class=\"code\">" + name + "</span>"; }

TEST(HtmlWriter, LetsNoTextBecomeMarkup) {
  EXPECT_EQ(foreign("<script>&\"'é漢"), "&lt;script&gt;&amp;&quot;'é漢");
  HtmlWriter page;
  {
    const auto outer = page.in("p", {{"title", "\"><b>"}});
    page.element("i", "<b>");
    page.text("</p>");
    page.label("title", {{"id", "a"}}, "</title>\n<b>\xFF");
  }
  EXPECT_EQ(page.take(),
            "<!DOCTYPE html>\n<p title=\"&quot;&gt;&lt;b&gt;\"><i>&lt;b&gt;</i>&lt;/p&gt;"
            "<title id=\"a\">&lt;/title&gt;‹LF›&lt;b&gt;‹0xff›</title></p>");
}

TEST(HtmlWriter, ShowsWhatWouldNotBeSeenAsItsCode) {
  EXPECT_EQ(foreign(std::string("\0\x1b[\x7f\xc2\x85", 6)),
            code("NUL") + code("ESC") + "[" + code("DEL") + code("U+0085"));
  EXPECT_EQ(foreign("a\xffz\xe2\x80"), "a" + code("0xff") + "z" + code("0xe2") + code("0x80"));
  // Both ends of each kind, and the characters around them.
  for (const char32_t unseen : std::initializer_list<char32_t>{
           0xA0,   0xAD,   0x61C,  0x180B,  0x2000,  0x200F,  0x2028,   0x202E,
           0x202F, 0x2060, 0x2066, 0x206F,  0x3000,  0x3164,  0xFE00,   0xFE0F,
           0xFEFF, 0xFFF9, 0xFFFF, 0xE0000, 0xE0041, 0xE0FFF, 0x10FFFE, 0x10FFFF})
    EXPECT_THAT(codeOf(unseen), HasSubstr("U+")) << static_cast<unsigned>(unseen);
  for (const char32_t seen :
       std::initializer_list<char32_t>{0x20, 0x7E, 0xA1, 0xAC, 0xAE, 0x2010, 0x2027, 0x2030, 0x2070,
                                       0x3001, 0xFE10, 0xFFFC, 0xFFFD, 0x1F600, 0x10FFFD})
    EXPECT_EQ(codeOf(seen), "") << static_cast<unsigned>(seen);
  EXPECT_EQ(codeOf(0x202E), "U+202E");
  EXPECT_EQ(codeOf(0xE0041), "U+E0041");
  HtmlWriter page;
  page.foreignLines("a\r\nb");
  EXPECT_THAT(page.take(), HasSubstr("a" + code("CR") + code("LF") + "\nb</bdi>"));
}

TEST(HtmlWriter, CutsALongTextBetweenTwoCharactersAndSaysHowMuchFollows) {
  const std::string most(HtmlWriter::kMostOfLine, 'W');
  EXPECT_EQ(foreign(most), most);
  EXPECT_EQ(foreign(most + "W"), most + "<span class=\"more\"> … and 1 byte more</span>");
  // The last character that would fit lies across the end.
  const std::string cut = foreign(most.substr(2) + "😀");
  EXPECT_EQ(cut, most.substr(2) + "<span class=\"more\"> … and 4 bytes more</span>");
  // Bytes that are no characters are not searched for a beginning.
  EXPECT_THAT(foreign(std::string(1000, '\x80')), HasSubstr("bytes more"));
}

}  // namespace
}  // namespace bvdiag
