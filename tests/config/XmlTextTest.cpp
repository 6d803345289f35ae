#include "config/XmlText.hpp"

#include <string>

#include <gtest/gtest.h>

#include "config/FileError.hpp"
#include "tests/config/ParseScript.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Config::Tests {
namespace {

using namespace std::string_literals;

std::string utf16(std::u16string_view text, bool bigEndian) {
    std::string bytes;
    for (const char16_t unit : text) {
        const char high = static_cast<char>(unit >> 8U);
        const char low = static_cast<char>(unit & 0xFFU);
        bytes += bigEndian ? std::string{high, low} : std::string{low, high};
    }
    return bytes;
}

std::size_t offsetOfFault(const std::string& text) {
    try {
        checkCharacters(text);
    } catch (const FileError& error) {
        return error.offset();
    }
    return std::string::npos;
}

TEST(XmlText, RemovesTheByteOrderMarkOfUtf8) {
    EXPECT_EQ(decodeXml("\xEF\xBB\xBF<a/>"), "<a/>");
}

TEST(XmlText, DecodesUtf16OfBothByteOrders) {
    const std::u16string text = u"<a b='\u00FC\u6E2C\U0001F697'/>";
    const std::string expected = "<a b='\xC3\xBC\xE6\xB8\xAC\xF0\x9F\x9A\x97'/>";

    EXPECT_EQ(decodeXml("\xFE\xFF" + utf16(text, true)), expected);
    EXPECT_EQ(decodeXml("\xFF\xFE" + utf16(text, false)), expected);
}

TEST(XmlText, DecodesLatin1WhereItIsDeclared) {
    EXPECT_EQ(decodeXml("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xFC</a>"),
              "<?xml version='1.0' encoding='ISO-8859-1'?><a>\xC3\xBC</a>");
}

TEST(XmlText, TakesTextWithoutDeclaredEncodingForUtf8) {
    EXPECT_EQ(decodeXml("<?xml version='1.0'?><a encoding='x'/>"),
              "<?xml version='1.0'?><a encoding='x'/>");
    EXPECT_EQ(decodeXml("<?xml version='1.0' encoding=\"utf-8\"?><a/>"),
              "<?xml version='1.0' encoding=\"utf-8\"?><a/>");
}

TEST(XmlText, RefusesAnEncodingThatItDoesNotKnow) {
    EXPECT_EQ(causeOfFault([] { decodeXml("<?xml version='1.0' encoding='EBCDIC'?><a/>"); }),
              L"the encoding \"ebcdic\" is not supported");
}

TEST(XmlText, SurvivesABrokenDeclaration) {
    EXPECT_EQ(decodeXml("<?xml encoding='utf-8"), "<?xml encoding='utf-8");
    EXPECT_EQ(decodeXml("<?xml encoding="), "<?xml encoding=");
    EXPECT_EQ(decodeXml(""), "");
}

TEST(XmlText, FindsInvalidUtf8InItsPlace) {
    EXPECT_EQ(offsetOfFault("<a>\xC0\xAF</a>"), 3U);
    EXPECT_EQ(offsetOfFault("<a>\xED\xA0\x80</a>"), 3U);
    EXPECT_EQ(offsetOfFault("<a/>\xC3"), 4U);
    EXPECT_EQ(offsetOfFault("<a>\xC3\xBC</a>"), std::string::npos);
}

TEST(XmlText, FindsALoneSurrogateAndAHalfCharacterOfUtf16InTheirPlace) {
    const std::u16string half = {u'a', char16_t{0xD83D}};
    const std::u16string lone = {u'<', u'a', u'>', char16_t{0xDC00}, u'x'};

    EXPECT_EQ(offsetOfFault(decodeXml("\xFE\xFF" + utf16(lone, true))), 3U);
    EXPECT_EQ(offsetOfFault(decodeXml("\xFF\xFE" + utf16(u"<a/>", false) + "x")), 4U);
    EXPECT_EQ(offsetOfFault(decodeXml("\xFE\xFF" + utf16(half, true))), 1U);
}

TEST(XmlText, FindsControlCharacters) {
    EXPECT_EQ(offsetOfFault("<a>\0</a>"s), 3U);
    EXPECT_EQ(offsetOfFault("<a>\x1B</a>"), 3U);
    EXPECT_EQ(offsetOfFault("<a>\t\r\n</a>"), std::string::npos);
}

TEST(XmlText, CountsLinesAndCharactersFromOne) {
    const std::string text = "ab\r\n\xC3\xBC\xE6\xB8\xAC<c";

    EXPECT_EQ(positionOf(text, 0).line, 1U);
    EXPECT_EQ(positionOf(text, 0).column, 1U);
    EXPECT_EQ(positionOf(text, text.find('<')).line, 2U);
    EXPECT_EQ(positionOf(text, text.find('<')).column, 3U);
    EXPECT_EQ(positionOf(text, 1000).column, 5U);
}

TEST(XmlText, RefusesAFolderAndAMissingFile) {
    const Quarlen::Tests::TemporaryFolder folder;

    EXPECT_EQ(causeOfFault([&] { readXmlBytes(folder.path()); }),
              L"there is no regular file of this name");
    EXPECT_EQ(causeOfFault([&] { readXmlBytes(folder.path() / "none.xml"); }),
              L"there is no regular file of this name");
}

TEST(XmlText, ReadsAFileByteForByte) {
    const Quarlen::Tests::TemporaryFolder folder;
    const std::string content = "\r\n\x1A\0\xFF"s + std::string(200'000, 'x');

    EXPECT_EQ(readXmlBytes(folder.write("a.xml", content)), content);
}

TEST(XmlText, ReadsAFileOfTheLargestSizeAndRefusesALargerOne) {
    const Quarlen::Tests::TemporaryFolder folder;
    const auto file = folder.write("large.xml", "");

    std::filesystem::resize_file(file, maximumFileSize);
    EXPECT_EQ(readXmlBytes(file).size(), maximumFileSize);
    std::filesystem::resize_file(file, maximumFileSize + 1);
    EXPECT_EQ(causeOfFault([&] { readXmlBytes(file); }), L"the file is larger than 64 MiB");
}

} // namespace
} // namespace Config::Tests
