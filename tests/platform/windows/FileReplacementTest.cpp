#include "platform/windows/FileReplacement.hpp"

#include <deque>
#include <windows.h>

#include <gmock/gmock.h>

#include "tests/support/FakeClock.hpp"

namespace Quarlen::Platform::Tests {
namespace {

using testing::IsEmpty;

/// Answers as a test says: the last answer of each call again and again.
struct InjectedCalls {
    [[nodiscard]] ReplacementCalls calls() {
        return {[this](const auto& /*file*/, const auto& /*target*/) {
                    ++moves;
                    return next(move);
                },
                [this](const auto& /*file*/) { return next(attributes); }};
    }

    static std::uint32_t next(std::deque<std::uint32_t>& answers) {
        const std::uint32_t answer = answers.front();
        if (answers.size() > 1) {
            answers.pop_front();
        }
        return answer;
    }

    std::deque<std::uint32_t> move{ERROR_SUCCESS};
    std::deque<std::uint32_t> attributes{FILE_ATTRIBUTE_NORMAL};
    int moves = 0;
};

class FileReplacement : public testing::Test {
protected:
    WindowsError moveOver() { return moveFileOver("new", "old", clock, injected.calls()); }

    InjectedCalls injected;
    Quarlen::Tests::FakeClock clock;
};

TEST_F(FileReplacement, IsOneMove) {
    EXPECT_EQ(moveOver(), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(injected.moves, 1);
    EXPECT_THAT(clock.sleeps(), IsEmpty());
}

TEST_F(FileReplacement, NeedsNoTarget) {
    injected.attributes = {INVALID_FILE_ATTRIBUTES};

    EXPECT_EQ(moveOver(), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(injected.moves, 1);
}

TEST_F(FileReplacement, RefusesAReadOnlyFileAtOnce) {
    injected.attributes = {FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_ARCHIVE};

    EXPECT_EQ(moveOver(), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(injected.moves, 0);
    EXPECT_THAT(clock.sleeps(), IsEmpty());
}

TEST_F(FileReplacement, RefusesAFolder) {
    injected.attributes = {FILE_ATTRIBUTE_DIRECTORY};

    EXPECT_EQ(moveOver(), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_EQ(injected.moves, 0);
}

class ReplacementInUse : public FileReplacement, public testing::WithParamInterface<DWORD> {};

TEST_P(ReplacementInUse, IsTriedAgain) {
    injected.move = {GetParam(), GetParam(), ERROR_SUCCESS};

    EXPECT_EQ(moveOver(), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(injected.moves, 3);
    EXPECT_THAT(clock.sleeps(), testing::SizeIs(2));
}

TEST_P(ReplacementInUse, IsGivenUpAfterItsTime) {
    injected.move = {GetParam()};

    EXPECT_EQ(moveOver(), GetParam());
    EXPECT_GE(clock.sleptInTotal(), maxReplacementTime);
    EXPECT_LT(clock.sleptInTotal(), maxReplacementTime + std::chrono::milliseconds(100));
}

INSTANTIATE_TEST_SUITE_P(Codes, ReplacementInUse,
                         testing::Values(ERROR_SHARING_VIOLATION, ERROR_LOCK_VIOLATION,
                                         ERROR_ACCESS_DENIED, ERROR_USER_MAPPED_FILE,
                                         ERROR_DELETE_PENDING));

class ReplacementThatCannotBe : public FileReplacement,
                                public testing::WithParamInterface<DWORD> {};

TEST_P(ReplacementThatCannotBe, IsGivenUpAtOnce) {
    injected.move = {GetParam(), ERROR_SUCCESS};

    EXPECT_EQ(moveOver(), GetParam());
    EXPECT_EQ(injected.moves, 1);
    EXPECT_THAT(clock.sleeps(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Codes, ReplacementThatCannotBe,
                         testing::Values(ERROR_DISK_FULL, ERROR_FILE_NOT_FOUND,
                                         ERROR_PATH_NOT_FOUND, ERROR_NOT_SAME_DEVICE,
                                         ERROR_NOT_SUPPORTED, ERROR_INVALID_FUNCTION,
                                         ERROR_WRITE_PROTECT, ERROR_BAD_NETPATH));

} // namespace
} // namespace Quarlen::Platform::Tests
