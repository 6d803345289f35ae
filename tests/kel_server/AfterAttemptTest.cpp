#include <gtest/gtest.h>

#include "kel_server/ServerStart.hpp"

namespace Quarlen::Tests {

namespace {

enum class Broker { Absent, Present };

struct AttemptCase {
    Attempt attempt;
    AfterAttempt expected;
};

class AfterAttemptRule : public testing::TestWithParam<AttemptCase> {};

TEST_P(AfterAttemptRule, SaysWhetherTheAttemptsGoOn) {
    EXPECT_EQ(afterAttempt(GetParam().attempt), GetParam().expected);
}

Attempt attemptWith(Broker broker, std::size_t tried, std::size_t configured, int number) {
    return {.brokerUrlPresent = broker == Broker::Present,
            .triedEntries = tried,
            .configuredEntries = configured,
            .number = number};
}

INSTANTIATE_TEST_SUITE_P(
    OneEntryWithABroker, AfterAttemptRule,
    testing::Values(AttemptCase{attemptWith(Broker::Present, 1, 1, 1), AfterAttempt::End},
                    AttemptCase{attemptWith(Broker::Present, 1, 1, 10), AfterAttempt::End},
                    AttemptCase{attemptWith(Broker::Present, 1, 3, 1), AfterAttempt::End}));

INSTANTIATE_TEST_SUITE_P(TenAttempts, AfterAttemptRule,
                         testing::Values(AttemptCase{attemptWith(Broker::Present, 2, 3, 10),
                                                     AfterAttempt::EndWithoutBroker},
                                         AttemptCase{attemptWith(Broker::Absent, 1, 3, 10),
                                                     AfterAttempt::EndWithoutBroker},
                                         AttemptCase{attemptWith(Broker::Present, 2, 3, 9),
                                                     AfterAttempt::TryAgain}));

INSTANTIATE_TEST_SUITE_P(
    EveryEntryTried, AfterAttemptRule,
    testing::Values(
        AttemptCase{attemptWith(Broker::Absent, 1, 1, 1), AfterAttempt::EndWithoutBroker},
        AttemptCase{attemptWith(Broker::Present, 2, 2, 1), AfterAttempt::EndWithoutBroker},
        AttemptCase{attemptWith(Broker::Present, 3, 2, 1), AfterAttempt::EndWithoutBroker},
        AttemptCase{attemptWith(Broker::Present, 0, 0, 1), AfterAttempt::EndWithoutBroker}));

INSTANTIATE_TEST_SUITE_P(
    EntriesLeft, AfterAttemptRule,
    testing::Values(AttemptCase{attemptWith(Broker::Absent, 1, 2, 1), AfterAttempt::TryAgain},
                    AttemptCase{attemptWith(Broker::Absent, 0, 1, 9), AfterAttempt::TryAgain},
                    AttemptCase{attemptWith(Broker::Present, 2, 3, 1), AfterAttempt::TryAgain}));

} // namespace

} // namespace Quarlen::Tests
