#include "xml/Quoting.hpp"

#include <gtest/gtest.h>

namespace Xml::Tests {
namespace {

std::string repeated(std::string_view text, int count) {
    std::string result;
    for (; count > 0; --count) {
        result += text;
    }
    return result;
}

TEST(XmlQuoting, KeepsATextOfSixtyCharacters) {
    for (const char* const character : {"x", "\xC3\xBC", "\xF0\x9F\x9A\x97"}) {
        EXPECT_EQ(shortened(repeated(character, 60)), repeated(character, 60));
        EXPECT_EQ(shortened(repeated(character, 61)), repeated(character, 60) + "...");
    }
}

TEST(XmlQuoting, PutsDoubleQuotesAround) {
    EXPECT_EQ(inQuotes(""), L"\"\"");
    EXPECT_EQ(inQuotes("\xC3\xBC"), L"\"\u00FC\"");
    EXPECT_EQ(inQuotes(repeated("x", 70)), L"\"" + std::wstring(60, L'x') + L"...\"");
}

} // namespace
} // namespace Xml::Tests
