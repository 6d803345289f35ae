#include "kel_server_lib/rest/handlers/RequestBody.hpp"

#include <stdexcept>

#include <gtest/gtest.h>

namespace Quarlen::Tests {

namespace {

using Rest::member;
using Rest::parseBody;
using Rest::textOf;

std::string repeated(const std::string& text, std::size_t count) {
    std::string all;
    all.reserve(text.size() * count);
    for (std::size_t index = 0; index < count; ++index) {
        all += text;
    }
    return all;
}

std::string nestedArrays(std::size_t depth) {
    return repeated("[", depth) + repeated("]", depth);
}

std::string nestedObjects(std::size_t depth) {
    return repeated("{\"a\":", depth) + "0" + repeated("}", depth);
}

struct Text {
    const char* json;
    const wchar_t* text;
};

class TextOfAMember : public testing::TestWithParam<Text> {};

TEST_P(TextOfAMember, IsTheJsonLayersTextConversion) {
    const auto body = parseBody(GetParam().json);

    ASSERT_TRUE(body.has_value());
    EXPECT_EQ(textOf(*body), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Values, TextOfAMember,
                         testing::Values(Text{"\"Flash.xml\"", L"Flash.xml"}, Text{"5", L"5"},
                                         Text{"0.1", L"0.10000000000000001"},
                                         Text{"-2.5e3", L"-2500"}, Text{"true", L"true"},
                                         Text{"false", L"false"}, Text{"null", L"null"},
                                         Text{"[1,2]", L"array"}, Text{"{\"a\":1}", L"object"},
                                         Text{"\"\"", L""},
                                         Text{"\"Pr\xC3\xBC"
                                              "f\"",
                                              L"Pr\u00FCf"},
                                         Text{"\"\\u00fc\"", L"\u00FC"}, Text{"\"\xFF\"", L""}));

struct Flag {
    const char* json;
    bool on;
};

class TruthinessOfAMember : public testing::TestWithParam<Flag> {};

TEST_P(TruthinessOfAMember, IsTheJsonLayers) {
    const auto body = parseBody(GetParam().json);

    ASSERT_TRUE(body.has_value());
    EXPECT_EQ(body->evaluate_as_boolean(), GetParam().on);
}

INSTANTIATE_TEST_SUITE_P(Values, TruthinessOfAMember,
                         testing::Values(Flag{"true", true}, Flag{"false", false},
                                         Flag{"null", false}, Flag{"0", false}, Flag{"0.0", false},
                                         Flag{"-0.5", true}, Flag{"1", true}, Flag{"\"\"", false},
                                         Flag{"\"no\"", true}, Flag{"[]", true}, Flag{"{}", true}));

class MalformedBody : public testing::TestWithParam<const char*> {};

TEST_P(MalformedBody, DoesNotParse) {
    EXPECT_FALSE(parseBody(GetParam()).has_value());
}

INSTANTIATE_TEST_SUITE_P(Bodies, MalformedBody,
                         testing::Values("", " ", "{", "{\"a\":}", "{\"a\" 1}", "[1,", "nul", "tru",
                                         "\"open", "\"\\x\"", "-", "{'a':1}", "}", "\"\\ud800\""));

TEST(RequestBody, DoesNotLookBehindItsValue) {
    EXPECT_TRUE(parseBody("{\"a\":1} trailing").has_value());
}

TEST(RequestBody, ParsesArraysAndObjectsUpToSixtyFourDeep) {
    EXPECT_TRUE(parseBody(nestedArrays(64)).has_value());
    EXPECT_TRUE(parseBody(nestedObjects(64)).has_value());
}

TEST(RequestBody, DoesNotParseWhatIsNestedDeeper) {
    EXPECT_FALSE(parseBody(nestedArrays(65)).has_value());
    EXPECT_FALSE(parseBody(nestedObjects(65)).has_value());
}

TEST(RequestBody, SurvivesAHundredThousandNestedObjects) {
    EXPECT_FALSE(parseBody(nestedObjects(100'000)).has_value());
    EXPECT_FALSE(parseBody(repeated("[{\"a\":", 50'000)).has_value());
}

TEST(RequestBody, CountsTheDepthAndNotTheNumberOfContainers) {
    EXPECT_TRUE(parseBody("[" + repeated("[],{},", 1000) + "0]").has_value());
}

TEST(RequestBody, ThrowsAtANumberThatNoDoubleHolds) {
    EXPECT_THROW(parseBody("1e400"), std::overflow_error);
}

TEST(RequestBody, TakesTheLastOfTwoMembersWithOneName) {
    const auto body = parseBody("{\"a\":1,\"a\":2}");

    ASSERT_TRUE(body.has_value());
    EXPECT_EQ(textOf(member(*body, "a")), L"2");
}

TEST(RequestBody, KeepsEveryMemberAndItem) {
    const auto body = parseBody(R"({"list":[null,true,-1.5,"x",{"k":[]}],"other":"y"})");

    ASSERT_TRUE(body.has_value());
    EXPECT_EQ(body->serialize(), R"({"list":[null,true,-1.5,"x",{"k":[]}],"other":"y"})");
}

TEST(RequestBody, ThrowsTypeMismatchWhenItIsNoObject) {
    try {
        member(*parseBody("[1]"), "a");
        FAIL() << "nothing thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("type mismatch"), std::string::npos);
    }
}

TEST(RequestBody, ThrowsWhenAMemberIsMissing) {
    EXPECT_THROW(member(*parseBody("{}"), "a"), std::out_of_range);
}

} // namespace

} // namespace Quarlen::Tests
