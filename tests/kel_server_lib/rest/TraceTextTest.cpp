#include "kel_server_lib/rest/TraceText.hpp"

#include <string>

#include <gtest/gtest.h>

namespace Quarlen::Tests {

namespace {

using Rest::traceText;
using namespace std::string_literals;

TEST(TraceText, IsTheTextItself) {
    EXPECT_EQ(traceText("{\"script\":\"F\xC3\xBCr \\ alle \xE2\x82\xAC\"}"),
              L"{\"script\":\"F\u00FCr \\ alle \u20AC\"}");
    EXPECT_EQ(traceText(""), L"");
    EXPECT_EQ(traceText(" ~\xC2\xA0"), L" ~\u00A0");
}

TEST(TraceText, ShowsControlCharactersInsteadOfObeyingThem) {
    EXPECT_EQ(traceText("a\nb\rc\td"), L"a\\nb\\rc\\td");
    EXPECT_EQ(traceText("\x1B[2J\x01\x1F\x7F"), L"\\x1b[2J\\x01\\x1f\\x7f");
    EXPECT_EQ(traceText("\xC2\x80\xC2\x9F"), L"\\x80\\x9f");
}

TEST(TraceText, DoesNotEndAtANullCharacter) {
    EXPECT_EQ(traceText("before\0after"s), L"before\\x00after");
}

TEST(TraceText, ShowsTheBytesOfWhatIsNoUtf8) {
    EXPECT_EQ(traceText("a\xFF\n\x80z\x7F"), L"a\\xff\\n\\x80z\\x7f");
}

} // namespace

} // namespace Quarlen::Tests
