#include "xml/Editor.hpp"

#include <gmock/gmock.h>

#include "tests/xml/FileErrorMessage.hpp"

namespace Xml::Tests {
namespace {

using testing::HasSubstr;

Editor editorOf(const std::string& text) {
    return {"file.xml", text, "Root", limitsOfTree(std::size_t{1024} * 1024)};
}

std::string textOf(Editor& editor) {
    return editor.file().source().text();
}

struct Edit {
    const char* subject;
    const char* before;
    const char* after;
};

class SettingText : public testing::TestWithParam<Edit> {};

TEST_P(SettingText, TouchesNothingElse) {
    auto editor = editorOf(GetParam().before);

    editor.setText({{"A"}, {"B"}}, L"new");

    EXPECT_EQ(textOf(editor), GetParam().after);
}

INSTANTIATE_TEST_SUITE_P(
    XmlEditor, SettingText,
    testing::Values(Edit{"Replaced", "<Root>\n<A  x='1' ><B>old</B > </A>\n<!-- c --></Root>\n",
                         "<Root>\n<A  x='1' ><B>new</B > </A>\n<!-- c --></Root>\n"},
                    Edit{"ReplacedWithMarkup",
                         "<Root><A><B><!-- </B> --><![CDATA[</B>]]><?x </B>?></B></A></Root>",
                         "<Root><A><B>new</B></A></Root>"},
                    Edit{"EmptyElement", "<Root><A><B x='>'/></A></Root>",
                         "<Root><A><B x='>'>new</B></A></Root>"},
                    Edit{"ByteOrderMark", "\xEF\xBB\xBF<Root><A><B></B></A></Root>",
                         "\xEF\xBB\xBF<Root><A><B>new</B></A></Root>"},
                    Edit{"AddedInOneLine", "<Root><A><C>x</C></A></Root>",
                         "<Root><A><C>x</C><B>new</B></A></Root>"},
                    Edit{"AddedWithIndentation", "<Root>\n\t<A>\n\t\t<C/>\n\n\t</A>\n</Root>\n",
                         "<Root>\n\t<A>\n\t\t<C/>\n\t\t<B>new</B>\n\n\t</A>\n</Root>\n"},
                    Edit{"AddedBehindComment", "<Root>\n <A>\n  <C/>\n  <!-- c -->\n </A>\n</Root>",
                         "<Root>\n <A>\n  <C/>\n  <!-- c -->\n  <B>new</B>\n </A>\n</Root>"},
                    Edit{"AddedWithWindowsLineEnds", "<Root>\r\n  <C/>\r\n</Root>\r\n",
                         "<Root>\r\n  <C/>\r\n  <A>\r\n    <B>new</B>\r\n  </A>\r\n</Root>\r\n"},
                    Edit{"AddedToEmptyElement", "<Root>\n    <A/>\n</Root>",
                         "<Root>\n    <A>\n        <B>new</B>\n    </A>\n</Root>"},
                    Edit{"AddedToEmptyRoot", "<Root/>",
                         "<Root>\n  <A>\n    <B>new</B>\n  </A>\n</Root>"},
                    Edit{"AddedToBlankRoot", "<Root>\n</Root>\n",
                         "<Root>\n  <A>\n    <B>new</B>\n  </A>\n</Root>\n"}),
    [](const auto& test) { return test.param.subject; });

class SettingAttribute : public testing::TestWithParam<Edit> {};

TEST_P(SettingAttribute, TouchesNothingElse) {
    auto editor = editorOf(GetParam().before);

    editor.setAttribute({{"A", 1}}, "x", L"new");

    EXPECT_EQ(textOf(editor), GetParam().after);
}

INSTANTIATE_TEST_SUITE_P(
    XmlEditor, SettingAttribute,
    testing::Values(
        Edit{"Replaced", "<Root><A x='1'/><A y=\"&amp;&gt;\"  x = 'old' z='>'/></Root>",
             "<Root><A x='1'/><A y=\"&amp;&gt;\"  x = 'new' z='>'/></Root>"},
        Edit{"Added", "<Root><A/><A y='2' /></Root>", "<Root><A/><A y='2' x=\"new\" /></Root>"},
        Edit{"AddedToElementWithContent", "<Root><A/><A>x</A></Root>",
             "<Root><A/><A x=\"new\">x</A></Root>"},
        Edit{"AddedWithElement", "<Root><A/></Root>", "<Root><A/><A x=\"new\"/></Root>"}),
    [](const auto& test) { return test.param.subject; });

TEST(XmlEditor, ReadsBackWhatIsHardToWrite) {
    const std::wstring value = L"a&b<c>\"d'\u00E4\u20AC &amp; ]]>\te";
    auto editor = editorOf("<Root><A x='1'/></Root>");

    editor.setAttribute({{"A"}}, "x", value);
    editor.setText({{"B"}}, value);

    const auto root = editor.file().root();
    EXPECT_EQ(editor.file().requiredText(root.child("A"), "x"), value);
    EXPECT_EQ(editor.file().content(root.child("B")), value);
}

TEST(XmlEditor, RefusesWhatXmlCannotHoldAndKeepsTheText) {
    auto editor = editorOf("<Root><A/></Root>");

    const auto control = messageOf([&] { editor.setText({{"A"}}, L"a\u0001b"); });
    const auto inAttribute =
        messageOf([&] { editor.setAttribute({{"A"}}, "x", std::wstring(1, wchar_t{0xFFFE})); });
    const auto surrogate =
        messageOf([&] { editor.setText({{"A"}}, std::wstring(1, wchar_t{0xD800})); });

    EXPECT_THAT(control, HasSubstr("control character"));
    EXPECT_THAT(inAttribute, HasSubstr("control character"));
    EXPECT_THAT(surrogate, HasSubstr("no valid text"));
    EXPECT_EQ(textOf(editor), "<Root><A/></Root>");
}

TEST(XmlEditor, ReplacesContentByNewElementsAndKeepsAttributes) {
    auto editor = editorOf("<Root>\r\n <A x='1'>\r\n <B><A/></B>\r\n </A><C/></Root>");

    editor.setChildren({{"A"}},
                       {{"D", {{"y", L"<"}, {"z", L"2"}}, {{"E", {}, {}}}}, {"F", {}, {}}});

    EXPECT_EQ(textOf(editor), "<Root>\r\n <A x='1'>\r\n  <D y=\"&lt;\" z=\"2\">\r\n   <E/>\r\n"
                              "  </D>\r\n  <F/>\r\n </A><C/></Root>");
}

TEST(XmlEditor, ReplacesContentByNothing) {
    auto editor = editorOf("<Root><A x='1'>\n <B/>\n</A><C/></Root>");

    editor.setChildren({{"A"}}, {});
    editor.setChildren({{"C"}}, {});

    EXPECT_EQ(textOf(editor), "<Root><A x='1'></A><C/></Root>");
}

TEST(XmlEditor, FillsAnElementThatIsEmptyOrMissing) {
    const std::string before = "<Root>\n  <C>" + std::string(1000, 'x') + "</C>\n  <B/>\n";
    auto editor = editorOf(before + "</Root>\n");

    editor.setChildren({{"A"}}, {{"D", {}, {}}});
    editor.setChildren({{"B"}}, {{"E", {}, {}}});

    EXPECT_EQ(textOf(editor), "<Root>\n  <C>" + std::string(1000, 'x') +
                                  "</C>\n  <B>\n    <E/>\n  </B>\n  <A>\n    <D/>\n  </A>\n"
                                  "</Root>\n");
}

TEST(XmlEditor, GathersChangesOfAttributes) {
    auto editor = editorOf("<Root><A x='1'/><B/><A x='' y='2'>t</A></Root>");
    const auto root = editor.file().root();

    editor.setAttribute(root.last_child(), "x", L"3");
    editor.setAttribute(root.child("B"), "x", L"4");
    editor.setAttribute(root.child("B"), "y", L"5");
    editor.setAttribute(root.child("A"), "x", L"");

    EXPECT_STREQ(root.child("A").attribute("x").value(), "1");
    EXPECT_EQ(textOf(editor), "<Root><A x=''/><B x=\"4\" y=\"5\"/><A x='3' y='2'>t</A></Root>");
}

TEST(XmlEditor, AppliesGatheredChangesBeforeAnother) {
    auto editor = editorOf("<Root><A x='1'/><B/></Root>");
    editor.setAttribute(editor.file().root().child("A"), "x", L"a longer value");

    editor.setText({{"B"}}, L"new");

    EXPECT_EQ(textOf(editor), "<Root><A x='a longer value'/><B>new</B></Root>");
}

} // namespace
} // namespace Xml::Tests
