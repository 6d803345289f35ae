#include "kel_cpp/history/StatusLog.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Quarlen::Kel_cpp::Tests {
namespace {

using namespace std::chrono_literals;

std::chrono::system_clock::time_point at(std::chrono::milliseconds time) {
    return std::chrono::system_clock::time_point(time);
}

TEST(StatusLog, HasNoTextBeforeTheFirstOneIsSet) {
    const StatusLog log([] { return at(5ms); });

    EXPECT_EQ(log.current().text, L"");
    EXPECT_EQ(log.current().number, 0U);
    EXPECT_EQ(log.current().time, at(5ms));
    EXPECT_TRUE(log.latest().empty());
}

TEST(StatusLog, NumbersTheTextsAndKeepsTheirTimes) {
    auto time = 0ms;
    StatusLog log([&] { return at(time); });

    time = 10ms;
    log.set(L"one");
    time = 20ms;
    log.set(L"two");

    EXPECT_EQ(log.current().text, L"two");
    EXPECT_EQ(log.current().number, 2U);
    EXPECT_EQ(log.current().time, at(20ms));
    ASSERT_EQ(log.latest().size(), 2U);
    EXPECT_EQ(log.latest()[0].text, L"one");
    EXPECT_EQ(log.latest()[0].number, 1U);
    EXPECT_EQ(log.latest()[0].time, at(10ms));
}

TEST(StatusLog, KeepsTheLatest200Texts) {
    StatusLog log;
    for (int number = 1; number <= 201; ++number) {
        log.set(std::to_wstring(number));
    }

    const auto kept = log.latest();

    ASSERT_EQ(kept.size(), 200U);
    EXPECT_EQ(kept.front().text, L"2");
    EXPECT_EQ(kept.back().text, L"201");
}

TEST(StatusLog, TellsEachListenerEachTextOnceInOrder) {
    StatusLog log;
    std::vector<std::wstring> heard;
    log.listen([&](const StatusEntry& entry) { heard.push_back(L"a " + entry.text); });
    log.listen(
        [&](const StatusEntry& entry) { heard.push_back(L"b " + std::to_wstring(entry.number)); });

    log.set(L"x");
    log.set(L"x");

    EXPECT_THAT(heard, testing::ElementsAre(L"a x", L"b 1", L"a x", L"b 2"));
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
