#include "xml/File.hpp"

#include <functional>

#include <gmock/gmock.h>

#include "tests/support/TemporaryFolder.hpp"
#include "tests/xml/FileErrorMessage.hpp"

namespace Xml::Tests {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr Limits limits = limitsOfTree(std::size_t{1024} * 1024);

File parsed(const std::string& text) {
    return {"file.xml", text, "Root", limits};
}

TEST(XmlFile, NamesAnotherRootThanExpected) {
    EXPECT_EQ(messageOf([] { parsed("\n <Other/>"); }),
              "file.xml:2:2: root element \"Other\", expected \"Root\"");
}

TEST(XmlFile, RefusesAnEmptyFile) {
    EXPECT_EQ(messageOf([] { parsed(""); }), "file.xml:1:1: malformed XML: no element found");
}

TEST(XmlFile, ReadsFromDisk) {
    const Quarlen::Tests::TemporaryFolder folder;
    const auto path = folder.write("some.xml", "<Root a='1'/>");

    const File file(path, "Root", limits);

    EXPECT_EQ(file.requiredText(file.root(), "a"), L"1");
}

using Access = std::function<void(const File&, pugi::xml_node)>;

struct WrongContent {
    const char* subject;
    const char* text;
    Access access;
    const char* message;
};

class WrongXmlContent : public testing::TestWithParam<WrongContent> {};

TEST_P(WrongXmlContent, IsRefusedWithPlaceAndExpectation) {
    const auto file = parsed(GetParam().text);

    EXPECT_EQ(messageOf([&] { GetParam().access(file, file.root()); }), GetParam().message);
}

void allowNothing(const File& file, pugi::xml_node node) {
    file.allowOnly(node, {}, {});
}
void allowItems(const File& file, pugi::xml_node node) {
    file.allowOnly(node, {"Item", "Other"}, {"a", "b"});
}
void allowNoContent(const File& file, pugi::xml_node node) {
    file.allowNoContent(node, {"a"});
}
void singleItem(const File& file, pugi::xml_node node) {
    (void)file.singleChild(node, "Item");
}
void required(const File& file, pugi::xml_node node) {
    (void)file.requiredText(node, "a");
}
void flag(const File& file, pugi::xml_node node) {
    (void)file.flag(node, "a", true);
}
void number(const File& file, pugi::xml_node node) {
    (void)file.number(node, "a", 1, 255);
}
void bytes(const File& file, pugi::xml_node node) {
    (void)file.bytes(node, "a");
}
void content(const File& file, pugi::xml_node node) {
    (void)file.content(node);
}
void contentNumber(const File& file, pugi::xml_node node) {
    (void)file.contentNumber(node, 1, 9);
}

INSTANTIATE_TEST_SUITE_P(
    XmlFile, WrongXmlContent,
    testing::Values(
        WrongContent{"UnknownElement", "<Root>\n  <Foo/>\n</Root>", allowItems,
                     "file.xml:2:3: unknown element \"Foo\" in \"Root\", expected: Item, Other"},
        WrongContent{"ElementWhereNoneBelongs", "<Root><Foo/></Root>", allowNothing,
                     "file.xml:1:7: unknown element \"Foo\" in \"Root\", expected: none"},
        WrongContent{"UnknownAttribute", "<Root a=''\n c=''/>", allowItems,
                     "file.xml:2:2: unknown attribute \"c\" of \"Root\", expected: a, b"},
        WrongContent{"TextBesideElements", "<Root>\n  <Item/>\n  junk\n</Root>", allowItems,
                     "file.xml:3:3: text \"junk\" in \"Root\", expected no text"},
        WrongContent{"TextInEmptyElement", "<Root>junk</Root>", allowNoContent,
                     "file.xml:1:7: text \"junk\" in \"Root\", expected no text"},
        WrongContent{
            "SchemaBelowRoot", "<Root><Item xsi:noNamespaceSchemaLocation=''/></Root>",
            [](const File& file, pugi::xml_node node) {
                file.allowOnly(node.child("Item"), {}, {});
            },
            "file.xml:1:13: unknown attribute \"xsi:noNamespaceSchemaLocation\" of \"Item\", "
            "expected: none"},
        WrongContent{"RepeatedElement", "<Root><Item/>\n<Item/></Root>", singleItem,
                     "file.xml:2:1: element \"Item\" stands twice"},
        WrongContent{"MissingText", "<Root/>", required,
                     "file.xml:1:1: \"Root\" needs the attribute \"a\""},
        WrongContent{"BlankText", "<Root a='  '/>", required,
                     "file.xml:1:7: attribute \"a\" is \"  \", expected a text"},
        WrongContent{"WrongFlag", "<Root a='yes'/>", flag,
                     "file.xml:1:7: attribute \"a\" is \"yes\", expected true or false"},
        WrongContent{"EmptyFlag", "<Root a=''/>", flag,
                     "file.xml:1:7: attribute \"a\" is \"\", expected true or false"},
        WrongContent{"MissingNumber", "<Root/>", number,
                     "file.xml:1:1: \"Root\" needs the attribute \"a\""},
        WrongContent{"TooSmall", "<Root a='0'/>", number,
                     "file.xml:1:7: attribute \"a\" is \"0\", expected a number from 1 to 255"},
        WrongContent{"TooLarge", "<Root a='0x100'/>", number,
                     "file.xml:1:7: attribute \"a\" is \"0x100\", expected a number from 1 to 255"},
        WrongContent{"Negative", "<Root a='-1'/>", number,
                     "file.xml:1:7: attribute \"a\" is \"-1\", expected a number from 1 to 255"},
        WrongContent{"Overflow", "<Root a='18446744073709551617'/>", number,
                     "file.xml:1:7: attribute \"a\" is \"18446744073709551617\", expected a number "
                     "from 1 to 255"},
        WrongContent{"TrailingText", "<Root a='12x'/>", number,
                     "file.xml:1:7: attribute \"a\" is \"12x\", expected a number from 1 to 255"},
        WrongContent{"OnlyPrefix", "<Root a='0x'/>", number,
                     "file.xml:1:7: attribute \"a\" is \"0x\", expected a number from 1 to 255"},
        WrongContent{
            "HalfByte", "<Root a='22 F'/>", bytes,
            "file.xml:1:7: attribute \"a\" is \"22 F\", expected bytes in hexadecimal such as "
            "\"22 F1 90\""},
        WrongContent{
            "BlankInsideByte", "<Root a='2 2F'/>", bytes,
            "file.xml:1:7: attribute \"a\" is \"2 2F\", expected bytes in hexadecimal such as "
            "\"22 F1 90\""},
        WrongContent{
            "NoHexadecimal", "<Root a='0x22'/>", bytes,
            "file.xml:1:7: attribute \"a\" is \"0x22\", expected bytes in hexadecimal such as "
            "\"22 F1 90\""},
        WrongContent{"NoBytes", "<Root a=''/>", bytes,
                     "file.xml:1:7: attribute \"a\" is \"\", expected a text"},
        WrongContent{"ElementInText", "<Root>a<b/></Root>", content,
                     "file.xml:1:8: unknown element \"b\" in \"Root\", expected a text"},
        WrongContent{"NoNumberInText", "<Root>\nten\n</Root>", contentNumber,
                     "file.xml:1:1: \"Root\" is \"ten\", expected a number from 1 to 9"}),
    [](const auto& test) { return test.param.subject; });

TEST(XmlFile, ReadsNumbersInBothNotations) {
    const auto file = parsed("<Root dec=' 255 ' hex='0xfF'> 7 </Root>");

    EXPECT_EQ(file.number(file.root(), "dec", 0, 255), 255U);
    EXPECT_EQ(file.number(file.root(), "hex", 0, 255), 255U);
    EXPECT_EQ(file.number(file.root(), "none", 0, 255, 42), 42U);
    EXPECT_EQ(file.contentNumber(file.root(), 0, 9), 7U);
}

TEST(XmlFile, ReadsFlagsInBothNotations) {
    const auto file = parsed("<Root a='true' b='0' c=' false ' d='1'/>");
    const auto root = file.root();

    EXPECT_TRUE(file.flag(root, "a", false));
    EXPECT_FALSE(file.flag(root, "b", true));
    EXPECT_FALSE(file.flag(root, "c", true));
    EXPECT_TRUE(file.flag(root, "d", false));
    EXPECT_TRUE(file.flag(root, "none", true));
}

TEST(XmlFile, ReadsBytesWithAndWithoutBlanks) {
    const auto file = parsed("<Root a='22 F1 90' b=' 22f190 '/>");

    EXPECT_THAT(file.bytes(file.root(), "a"), ElementsAre(0x22, 0xF1, 0x90));
    EXPECT_THAT(file.bytes(file.root(), "b"), ElementsAre(0x22, 0xF1, 0x90));
}

TEST(XmlFile, TrimsContentAndJoinsItsPieces) {
    const auto file = parsed("<Root>\n  a &lt;<!-- note --><![CDATA[ <b> ]]>\xC3\xA4 \t\n</Root>");

    EXPECT_EQ(file.content(file.root()), L"a < <b> \u00E4");
}

TEST(XmlFile, KeepsBlanksOfAttributes) {
    const auto file = parsed("<Root a=' x '/>");

    EXPECT_EQ(file.requiredText(file.root(), "a"), L" x ");
    EXPECT_EQ(file.optionalText(file.root(), "none"), L"");
}

TEST(XmlFile, AllowsTheRootToBindASchema) {
    const auto file = parsed("<Root xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' "
                             "xsi:noNamespaceSchemaLocation='some.xsd'/>");

    EXPECT_NO_THROW(file.allowOnly(file.root(), {}, {}));
}

TEST(XmlFile, AllowsPrefixesToBeDeclaredAnywhereButNoOtherNamespace) {
    const auto file =
        parsed("<Root xmlns:a='urn:a'><Item xmlns:b='urn:b'/><Item xmlns='urn:c'/></Root>");
    const auto item = file.root().first_child();

    EXPECT_NO_THROW(file.allowOnly(file.root(), {"Item"}, {}));
    EXPECT_NO_THROW(file.allowOnly(item, {}, {}));
    EXPECT_THROW(file.allowOnly(item.next_sibling(), {}, {}), FileError);
}

TEST(XmlFile, AllowsTextOfAnElementWithoutElements) {
    const auto file = parsed("<Root>text</Root>");

    EXPECT_NO_THROW(file.allowOnly(file.root(), {}, {}));
}

TEST(XmlFile, CutsLongValuesInMessages) {
    const auto file = parsed("<Root a='" + std::string(100'000, 'x') + "'/>");

    const auto message = messageOf([&] { (void)file.flag(file.root(), "a", true); });

    EXPECT_THAT(message, StartsWith("file.xml:1:7: attribute \"a\" is \"xxx"));
    EXPECT_THAT(message, EndsWith("xxx...\", expected true or false"));
    EXPECT_LT(message.size(), 150U);
}

} // namespace
} // namespace Xml::Tests
