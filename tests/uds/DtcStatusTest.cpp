#include "uds/DtcStatus.hpp"

#include <functional>
#include <set>
#include <vector>

#include <gtest/gtest.h>

namespace Quarlen::Uds::Tests {
namespace {

using namespace DtcStatus;

using Step = std::function<unsigned(unsigned)>;

unsigned pass(unsigned status) {
    return status &
           ~(0U | testFailed | testNotCompletedSinceLastClear | testNotCompletedThisOperationCycle);
}

unsigned fail(unsigned status) {
    return (pass(status) | testFailed | testFailedThisOperationCycle | pending |
            testFailedSinceLastClear);
}

unsigned clear(unsigned /*status*/) {
    return testNotCompletedSinceLastClear | testNotCompletedThisOperationCycle;
}

unsigned beginCycle(unsigned status) {
    constexpr unsigned of = testFailedThisOperationCycle | testNotCompletedThisOperationCycle;
    const bool passedAllThrough = (status & of) == 0;
    const unsigned kept = passedAllThrough ? status & ~(0U | pending) : status;
    return (kept & ~(0U | testFailedThisOperationCycle)) | testNotCompletedThisOperationCycle;
}

unsigned confirm(unsigned status) {
    return (status & pending) != 0 ? status | confirmed : status;
}

unsigned age(unsigned status) {
    return (status & pending) != 0 ? status : status & ~(0U | confirmed);
}

unsigned ageAndForget(unsigned status) {
    return (status & pending) != 0 ? status : age(status) & ~(0U | testFailedSinceLastClear);
}

/// What the steps of annex D.2 lead to from the status of a cleared DTC.
std::set<unsigned> reachableStatuses() {
    const std::vector<Step> steps{pass, fail, clear, beginCycle, confirm, age, ageAndForget};
    std::vector<unsigned> open{clear(0)};
    std::set<unsigned> reached{clear(0)};
    while (!open.empty()) {
        const unsigned status = open.back();
        open.pop_back();
        for (const auto& step : steps) {
            if (reached.insert(step(status)).second) {
                open.push_back(step(status));
            }
        }
    }
    return reached;
}

TEST(DtcStatusByte, IsPossibleExactlyWhenTestsAndCyclesLeadToIt) {
    const auto reachable = reachableStatuses();
    for (unsigned status = 0; status < 0x100; ++status) {
        const auto bits = static_cast<std::uint8_t>(status);
        const bool expected = reachable.contains(status & ~(0U | warningIndicatorRequested));
        EXPECT_EQ(impossibleDtcStatus(bits).empty(), expected) << status;
    }
}

TEST(DtcStatusByte, IsContradictedInTheWordsOfTheStandard) {
    EXPECT_EQ(impossibleDtcStatus(0x08), L"confirmedDTC without testFailedSinceLastClear");
    EXPECT_EQ(impossibleDtcStatus(0x10), L"testNotCompletedSinceLastClear without "
                                         L"testNotCompletedThisOperationCycle");
    EXPECT_EQ(impossibleDtcStatus(0x25), L"testFailed after a test in this operation cycle, "
                                         L"without testFailedThisOperationCycle");
    EXPECT_EQ(impossibleDtcStatus(0x70),
              L"testFailedSinceLastClear with testNotCompletedSinceLastClear");
    EXPECT_EQ(impossibleDtcStatus(0x2F), L"");
}

} // namespace
} // namespace Quarlen::Uds::Tests
