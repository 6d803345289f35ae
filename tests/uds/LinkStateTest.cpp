#include "uds/LinkState.hpp"

#include <atomic>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "uds/LinkError.hpp"

namespace Quarlen::Uds::Tests {

TEST(ALinkState, IsOpenBetweenOpenAndClose) {
    LinkState link;
    EXPECT_EQ(link.get(), LinkState::State::Closed);
    EXPECT_THROW(link.check(), Cancelled);
    link.open();
    EXPECT_TRUE(link.isOpen());
    EXPECT_NO_THROW(link.check());
    link.close();
    EXPECT_EQ(link.get(), LinkState::State::Closed);
    EXPECT_THROW(link.check(), Cancelled);
}

TEST(ALinkState, CannotBeOpenedOnceItWasClosed) {
    LinkState link;
    link.close();
    EXPECT_THROW(link.open(), Cancelled);
    EXPECT_FALSE(link.isOpen());
}

TEST(ALinkState, TellsALossOnceAndBeforeAnybodyFindsIt) {
    LinkState link;
    std::vector<std::wstring> losses;
    link.onLost([&](const std::wstring& cause) {
        losses.push_back(cause);
        EXPECT_TRUE(link.isOpen());
        EXPECT_TRUE(link.isBeingLost());
        // A second failure meanwhile says nothing new.
        link.lose(L"second");
    });
    link.open();
    link.lose(L"first");
    link.lose(L"third");
    EXPECT_EQ(losses, std::vector<std::wstring>{L"first"});
    EXPECT_EQ(link.get(), LinkState::State::Lost);
    EXPECT_FALSE(link.isBeingLost());
    try {
        link.check();
        FAIL() << "it is not lost";
    } catch (const ConnectionLost& loss) {
        EXPECT_EQ(loss.message(), L"first");
    }
}

TEST(ALinkState, IsClosedOnlyAfterALossHasBeenTold) {
    LinkState link;
    std::promise<void> telling;
    std::promise<void> mayEnd;
    std::atomic<bool> isTold = false;
    link.onLost([&](const std::wstring&) {
        telling.set_value();
        mayEnd.get_future().get();
        isTold = true;
    });
    link.open();
    auto losing = std::async(std::launch::async, [&] { link.lose(L"cause"); });
    telling.get_future().get();
    auto closing = std::async(std::launch::async, [&] {
        link.close();
        return isTold.load();
    });
    while (link.isOpen()) {
        std::this_thread::yield();
    }
    mayEnd.set_value();
    EXPECT_TRUE(closing.get());
    losing.get();
    EXPECT_EQ(link.get(), LinkState::State::Closed);
}

TEST(ALinkState, CanBeClosedByWhoIsToldOfItsLoss) {
    LinkState link;
    link.onLost([&](const std::wstring&) { link.close(); });
    link.open();
    link.lose(L"cause");
    EXPECT_EQ(link.get(), LinkState::State::Closed);
}

TEST(ALinkState, IsLostAlsoWhereTellingItFails) {
    LinkState link;
    link.onLost([](const std::wstring&) { throw std::runtime_error("no memory"); });
    link.open();
    EXPECT_THROW(link.lose(L"cause"), std::runtime_error);
    EXPECT_EQ(link.get(), LinkState::State::Lost);
    EXPECT_FALSE(link.isBeingLost());
    link.close();
}

TEST(ALinkState, IsNotLostWhenItIsNotOpen) {
    LinkState link;
    link.onLost([](const std::wstring&) { ADD_FAILURE() << "nothing was open"; });
    link.lose(L"cause");
    EXPECT_EQ(link.get(), LinkState::State::Closed);
}

TEST(ALinkState, StaysClosedWhenItIsClosedWhileTheLossIsTold) {
    LinkState link;
    link.onLost([&](const std::wstring&) { link.close(); });
    link.open();
    link.lose(L"cause");
    EXPECT_EQ(link.get(), LinkState::State::Closed);
}

} // namespace Quarlen::Uds::Tests
