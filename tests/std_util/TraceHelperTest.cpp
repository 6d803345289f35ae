#include "std_util/TraceHelper.hpp"

#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/TraceCapture.hpp"

namespace StdUtil::Tests {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t maxTextLength = 1024 * 1024 / sizeof(wchar_t);

class TraceHelperTest : public testing::Test {
protected:
    ~TraceHelperTest() override { ErrorHandler::setDebugTraceLevel(3); }
};

struct Formatted {
    std::function<void()> trace;
    std::wstring expected;
};

class TraceFormat : public testing::TestWithParam<Formatted> {};

TEST_P(TraceFormat, IsFilledInAsPrintfDoes) {
    const Quarlen::Tests::TraceCapture capture;
    GetParam().trace();
    EXPECT_THAT(capture.texts(), ElementsAre(GetParam().expected));
}

template <typename... Arguments>
Formatted formatted(std::wstring expected, const wchar_t* format, Arguments... arguments) {
    return {[=] { TraceHelper::InfoTrace(L"source", 1, format, arguments...); },
            std::move(expected)};
}

INSTANTIATE_TEST_SUITE_P(
    WideTexts, TraceFormat,
    testing::Values(formatted(L"-> startSequence", L"-> startSequence"),
                    formatted(L"File not found: \u00FC\U0001F697", L"File not found: %s",
                              L"\u00FC\U0001F697"),
                    formatted(L"put : /kel", L"%s : %s", L"put", L"/kel"),
                    formatted(L"put : /kel", L"%ls : %ls", L"put", L"/kel"),
                    formatted(L"[  ab][ab  ][ab]", L"[%4s][%-4s][%.2s]", L"ab", L"ab", L"abc"),
                    formatted(L"[   ab]", L"[%*.*s]", 5, 2, L"abc"),
                    formatted(L"(null)", L"%s", static_cast<const wchar_t*>(nullptr)),
                    formatted(L"", L"%s", L""), formatted(L"", L"")));

INSTANTIATE_TEST_SUITE_P(
    Numbers, TraceFormat,
    testing::Values(formatted(L"-1 4294967295", L"%d %u", -1, 4294967295U),
                    formatted(L"18446744073709551615", L"%llu", 18446744073709551615ULL),
                    formatted(L"-9223372036854775807", L"%lld", -9223372036854775807LL),
                    formatted(L"0x00ff 007 +5", L"0x%04x %03d %+d", 255, 7, 5),
                    formatted(L"1.50", L"%.2f", 1.5), formatted(L"c", L"%c", L'c')));

INSTANTIATE_TEST_SUITE_P(PercentSigns, TraceFormat,
                         testing::Values(formatted(L"100%", L"100%%"), formatted(L"%s", L"%%s"),
                                         formatted(L"%text", L"%%%s", L"text"),
                                         formatted(L"%%s", L"%%%%s"),
                                         formatted(L"50% of x", L"%d%% of %s", 50, L"x")));

TEST_F(TraceHelperTest, CarriesLevelSourceAndLine) {
    const Quarlen::Tests::TraceCapture capture;
    TraceHelper::InfoTrace(L"kel_server_lib/RESTServer", 197, L"info");
    TraceHelper::ErrorTrace(L"kel_server_lib/RESTServer", 198, L"error");
    const auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].level, TraceLevel::Info);
    EXPECT_EQ(lines[0].source, L"kel_server_lib/RESTServer");
    EXPECT_EQ(lines[0].line, 197);
    EXPECT_EQ(lines[1].level, TraceLevel::Error);
    EXPECT_EQ(lines[1].line, 198);
}

TEST_F(TraceHelperTest, WritesInformationFromLevelThreeOn) {
    const Quarlen::Tests::TraceCapture capture;
    for (const int level : {0, 2, 3, 4}) {
        ErrorHandler::setDebugTraceLevel(level);
        TraceHelper::InfoTrace(L"source", 1, L"%d", level);
    }
    EXPECT_THAT(capture.texts(), ElementsAre(L"3", L"4"));
}

TEST_F(TraceHelperTest, WritesErrorsFromLevelOneOn) {
    const Quarlen::Tests::TraceCapture capture;
    for (const int level : {-1, 0, 1, 3}) {
        ErrorHandler::setDebugTraceLevel(level);
        TraceHelper::ErrorTrace(L"source", 1, L"%d", level);
    }
    EXPECT_THAT(capture.texts(), ElementsAre(L"1", L"3"));
}

TEST_F(TraceHelperTest, IsActiveOnlyWhileSomebodyListens) {
    EXPECT_FALSE(TraceHelper::isActive(TraceLevel::Error));
    {
        const Quarlen::Tests::TraceCapture capture;
        EXPECT_TRUE(TraceHelper::isActive(TraceLevel::Info));
        ErrorHandler::setDebugTraceLevel(2);
        EXPECT_FALSE(TraceHelper::isActive(TraceLevel::Info));
        EXPECT_TRUE(TraceHelper::isActive(TraceLevel::Error));
    }
    EXPECT_FALSE(TraceHelper::isActive(TraceLevel::Error));
}

class LongText : public testing::TestWithParam<std::size_t> {};

TEST_P(LongText, IsNotCut) {
    const Quarlen::Tests::TraceCapture capture;
    const std::wstring text(GetParam(), L'x');
    TraceHelper::InfoTrace(L"source", 1, L"<%s>", text.c_str());
    EXPECT_THAT(capture.texts(), ElementsAre(L"<" + text + L">"));
}

INSTANTIATE_TEST_SUITE_P(AroundTheBuffers, LongText,
                         testing::Values(508U, 509U, 510U, 511U, 4094U, 100'000U, 200'000U));

TEST_F(TraceHelperTest, CutsATextThatIsBeyondAllMeasure) {
    const Quarlen::Tests::TraceCapture capture;
    const std::wstring text(4 * maxTextLength, L'x');
    TraceHelper::InfoTrace(L"source", 1, L"%d: %s and %s end", 7, text.c_str(), text.c_str());
    ASSERT_EQ(capture.texts().size(), 1U);
    const std::wstring written = capture.texts().front();
    EXPECT_TRUE(written.starts_with(L"7: xxxx"));
    EXPECT_TRUE(written.ends_with(L"xxxx end"));
    EXPECT_GT(written.size(), 50'000U);
    EXPECT_LE(written.size(), maxTextLength);
}

TEST_F(TraceHelperTest, ShowsAFormatThatCannotBeFilledIn) {
    const Quarlen::Tests::TraceCapture capture;
    TraceHelper::InfoTrace(L"source", 1, L"%1000000d", 1);
    EXPECT_THAT(capture.texts(), ElementsAre(L"%1000000d"));
}

} // namespace

} // namespace StdUtil::Tests
