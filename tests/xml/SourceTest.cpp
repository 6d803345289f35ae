#include "xml/Source.hpp"

#include <string>

#include <gmock/gmock.h>

#include "tests/support/NumberedCause.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/xml/FileErrorMessage.hpp"

namespace Xml::Tests {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr Limits sourceLimits = limitsOfTree(std::size_t{16} * 1024 * 1024);

std::string messageFor(const std::string& text) {
    return messageOf([&] { (void)Source("file.xml", text, sourceLimits); });
}

struct MalformedFile {
    const char* subject;
    std::string text;
    const char* place;
};

class MalformedXml : public testing::TestWithParam<MalformedFile> {};

TEST_P(MalformedXml, IsRefusedWithItsPlace) {
    EXPECT_THAT(messageFor(GetParam().text), StartsWith(GetParam().place));
}

using namespace std::string_literals;

INSTANTIATE_TEST_SUITE_P(
    XmlSource, MalformedXml,
    testing::Values(
        MalformedFile{"UnclosedElement", "<A>\n<B>\n</A>", "file.xml:3:"},
        MalformedFile{"UnclosedRoot", "<A>", "file.xml:1:"},
        MalformedFile{"StrayEndTag", "</A>", "file.xml:1:"},
        MalformedFile{"UnclosedTag", "<A b=\"1\"", "file.xml:1:"},
        MalformedFile{"UnquotedValue", "<A\n  b=1/>", "file.xml:2:"},
        MalformedFile{"UnclosedComment", "<A><!-- </A>", "file.xml:1:"},
        MalformedFile{"UnclosedCharacterData", "<A><![CDATA[ </A>", "file.xml:1:"},
        MalformedFile{"UnclosedInstruction", "<?xml version='1.0' <A/>", "file.xml:1:"},
        MalformedFile{"AttributesWithoutBlank", "<A b='1'c='2'/>", "file.xml:1:"},
        MalformedFile{"SecondRoot", "<A/>\n<B/>",
                      "file.xml:2:1: malformed XML: junk after document element"},
        MalformedFile{"TextBeforeRoot", "x<A/>", "file.xml:1:2: malformed XML: "},
        MalformedFile{"TextBehindRoot", "<A/>\n\n  x",
                      "file.xml:3:3: malformed XML: junk after document element"},
        MalformedFile{"CharacterDataBehindRoot", "<A/><![CDATA[x]]>", "file.xml:1:"},
        MalformedFile{"RepeatedAttribute", "<A b='1'\n   b='2'/>",
                      "file.xml:2:4: malformed XML: duplicate attribute \"b\""},
        MalformedFile{"BareAmpersand", "<A>x & y</A>",
                      "file.xml:1:7: malformed XML: a \"&\" that begins no reference"},
        MalformedFile{"UnknownEntity", "<A b='\n&foo;'/>",
                      "file.xml:1:1: malformed XML: undefined entity \"&foo;\""},
        MalformedFile{"NullReference", "<A>&#0;</A>",
                      "file.xml:1:4: malformed XML: reference to invalid"},
        MalformedFile{"SurrogateReference", "<A>&#xD800;</A>",
                      "file.xml:1:4: malformed XML: reference to invalid"},
        MalformedFile{"HugeReference", "<A>&#99999999999;</A>",
                      "file.xml:1:4: malformed XML: reference to invalid"},
        MalformedFile{"EmptyReference", "<A>&#x;</A>",
                      "file.xml:1:7: malformed XML: not well-formed"},
        MalformedFile{"TagInAttribute", "<A b='1<2'/>",
                      "file.xml:1:8: malformed XML: a \"<\" in the wrong place"},
        MalformedFile{"NullByte", "<A>\n\0</A>"s,
                      "file.xml:2:1: malformed XML: a control character"},
        MalformedFile{"ControlCharacter", "<A>\x01</A>",
                      "file.xml:1:4: malformed XML: a control character"},
        MalformedFile{"OverlongCharacter", "<A>\n \xC0\x80</A>",
                      "file.xml:2:2: malformed XML: no UTF-8"},
        MalformedFile{"CutCharacter", "<A>ok\n</A>\xE2\x82",
                      "file.xml:2:5: malformed XML: no UTF-8"},
        MalformedFile{"Utf16", "\xFF\xFE<\0A\0/\0>\0"s, "file.xml:1:1: malformed XML: no UTF-8"},
        MalformedFile{"Utf16WithoutMark", "\0<\0A\0/\0>"s, "file.xml:1:1: malformed XML: no UTF-8"},
        MalformedFile{"CharacterInAName", "<A\xC3\x97/>",
                      "file.xml:1:3: malformed XML: a character that cannot stand here"}),
    [](const auto& test) { return test.param.subject; });

TEST(XmlSource, CountsColumnsInCharacters) {
    EXPECT_THAT(messageFor("<A>\xC3\xA4\xE2\x82\xAC &x;</A>"), StartsWith("file.xml:1:7:"));
}

TEST(XmlSource, DoesNotCountAByteOrderMark) {
    EXPECT_THAT(messageFor("\xEF\xBB\xBF<A>&x;</A>"), StartsWith("file.xml:1:4:"));
}

TEST(XmlSource, AcceptsAMillionElementsBesideEachOther) {
    std::string text = "<A>";
    for (int count = 0; count < 1'000'000; ++count)
        text += "<B/>";

    const Source source("file.xml", text + "</A>", sourceLimits);

    EXPECT_EQ(source.tree().document_element().name(), std::string("A"));
}

TEST(XmlSource, RefusesAMillionElementsInsideEachOther) {
    std::string text;
    for (int count = 0; count < 1'000'000; ++count)
        text += "<A>";
    for (int count = 0; count < 1'000'000; ++count)
        text += "</A>";

    EXPECT_THAT(messageFor(text),
                EndsWith(":1:769: malformed XML: more than 256 elements inside each other"));
}

TEST(XmlSource, AcceptsTheDeepestNestingAllowed) {
    std::string text;
    for (std::size_t count = 0; count < sourceLimits.depth; ++count)
        text = "<A>" + text + "</A>";

    EXPECT_NO_THROW((void)Source("file.xml", text, sourceLimits));
    EXPECT_THAT(messageFor("<A>" + text + "</A>"), HasSubstr("more than 256 elements"));
}

TEST(XmlSource, RefusesADeclaredEncodingThatIsNotUtf8) {
    const std::string behind = "'?><A>\xC3\xA4</A>";

    EXPECT_NO_THROW(Source("f", "<?xml version='1.0' encoding='utf-8" + behind, sourceLimits));
    EXPECT_THAT(messageFor("<?xml version='1.0' encoding='ISO-8859-1" + behind),
                HasSubstr("the declared encoding is \"ISO-8859-1\", expected UTF-8"));
}

TEST(XmlSource, FindsTheFirstBadByteOfALargeFile) {
    std::string text = "<A>\n";
    for (int line = 0; line < 200'000; ++line)
        text += "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x9A\x97 and some more of this kind of text here\n";

    EXPECT_THAT(messageFor(text + "x\xFF\n\xFE</A>"),
                StartsWith("file.xml:200002:2: malformed XML: no UTF-8 text"));
}

TEST(XmlSource, DoesNotExpandEntitiesOfADocumentType) {
    EXPECT_THAT(messageFor("<!DOCTYPE A [<!ENTITY b 'bb'><!ENTITY c '&b;&b;'>]>\n<A>&c;</A>"),
                HasSubstr(": malformed XML: entity declarations are not supported"));
}

TEST(XmlSource, RefusesATooLargeFile) {
    const Quarlen::Tests::TemporaryFolder folder;
    const auto file = folder.write("large.xml", "");
    std::filesystem::resize_file(file, sourceLimits.size + 1);

    EXPECT_THAT(messageOf([&] { (void)Source::load(file, sourceLimits); }),
                HasSubstr("large.xml: the file is larger than 16 MiB"));
}

TEST(XmlSource, NamesAFileThatCannotBeRead) {
    const Quarlen::Tests::TemporaryFolder folder;

    const auto missing =
        messageOf([&] { (void)Source::load(folder.path() / "none.xml", sourceLimits); });
    const auto directory = messageOf([&] { (void)Source::load(folder.path(), sourceLimits); });

    EXPECT_THAT(missing,
                AllOf(HasSubstr("none.xml: cannot be read: "), Quarlen::Tests::EndsWithANumber()));
    EXPECT_THAT(directory,
                AllOf(HasSubstr(": cannot be read: "), Quarlen::Tests::EndsWithANumber()));
}

TEST(XmlSource, FindsElementsAndAttributesInTheText) {
    const std::string text = "\xEF\xBB\xBF<!-- x -->\n<A first='&amp;&amp;' second='2'><B/></A>";
    const Source source("file.xml", text, sourceLimits);
    const auto root = source.tree().document_element();

    EXPECT_EQ(source.offsetOf(root), text.find("<A"));
    EXPECT_EQ(source.offsetOf(root, root.attribute("second")), text.find("second"));
    EXPECT_EQ(source.offsetOf(root.child("B")), text.find("<B"));
}

} // namespace
} // namespace Xml::Tests
