#include "kel_cpp/report/HtmlWriter.hpp"

#include <gtest/gtest.h>

namespace Quarlen::Kel_cpp::Tests {
namespace {

TEST(HtmlWriter, EscapesEveryCharacterThatMarkupIsMadeOf) {
    EXPECT_EQ(HtmlWriter::escape(L"<a href=\"x\" title='y'>&amp;"),
              "&lt;a href=&quot;x&quot; title=&#39;y&#39;&gt;&amp;amp;");
}

TEST(HtmlWriter, WritesTextsAsUtf8) {
    EXPECT_EQ(HtmlWriter::escape(L"Z\u00FCndung \u20AC"), "Z\xC3\xBCndung \xE2\x82\xAC");
}

TEST(HtmlWriter, ReplacesControlCharactersButKeepsLineEndsAndTabs) {
    EXPECT_EQ(HtmlWriter::escape(std::wstring(L"a\0b\x1B\x7F\t\r\n", 8)),
              "a\xEF\xBF\xBD"
              "b\xEF\xBF\xBD\xEF\xBF\xBD\t\r\n");
}

TEST(HtmlWriter, KeepsTheReadablePartOfATextThatIsNotValid) {
    const std::wstring loneSurrogate = {L'A', static_cast<wchar_t>(0xD800), L'<', L'B'};

    EXPECT_EQ(HtmlWriter::escape(loneSurrogate), "A\xEF\xBF\xBD&lt;B");
}

TEST(HtmlWriter, ClosesElementsInTheReverseOrder) {
    HtmlWriter html;
    {
        const auto outer = html.open("ul", "bits");
        const auto inner = html.openWith("li", "title=\"x\"");
        html.text("1 < 2");
    }

    EXPECT_EQ(html.take(), "<ul class=\"bits\"><li title=\"x\">1 &lt; 2</li></ul>");
}

TEST(HtmlWriter, LeavesTheClassOutWhenThereIsNone) {
    HtmlWriter html;
    html.element("p", "", L"text");

    EXPECT_EQ(html.take(), "<p>text</p>");
    EXPECT_EQ(html.take(), "");
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
