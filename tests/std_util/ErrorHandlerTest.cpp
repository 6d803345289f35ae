#include "std_util/ErrorHandler.hpp"

#include <atomic>
#include <functional>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace StdUtil::Tests {

namespace {

using testing::ElementsAre;

TraceLine line(std::wstring text) {
    return {TraceLevel::Info, L"source", 1, std::move(text)};
}

/// Keeps the texts, then does what the test wants. Its members need no lock of their own.
class Listener : public TraceListener {
public:
    void onTrace(const TraceLine& line) override {
        texts.push_back(line.text);
        if (then) {
            then();
        }
    }

    std::vector<std::wstring> texts;
    std::function<void()> then;
};

class ErrorHandlerTest : public testing::Test {
protected:
    ~ErrorHandlerTest() override {
        for (const auto& listener : {first, second}) {
            ErrorHandler::removeListener(listener);
        }
        ErrorHandler::setDebugTraceLevel(3);
    }

    std::shared_ptr<Listener> first = std::make_shared<Listener>();
    std::shared_ptr<Listener> second = std::make_shared<Listener>();
};

TEST_F(ErrorHandlerTest, StartsAtTheLevelOfInformation) {
    EXPECT_EQ(ErrorHandler::debugTraceLevel(), 3);
}

TEST_F(ErrorHandlerTest, KeepsTheLevelThatIsSet) {
    ErrorHandler::setDebugTraceLevel(1);
    EXPECT_EQ(ErrorHandler::debugTraceLevel(), 1);
}

TEST_F(ErrorHandlerTest, HandsALineToEveryListenerInOrder) {
    ErrorHandler::addListener(first);
    ErrorHandler::addListener(second);
    ErrorHandler::dispatch(line(L"one"));
    ErrorHandler::dispatch(line(L"two"));
    EXPECT_THAT(first->texts, ElementsAre(L"one", L"two"));
    EXPECT_THAT(second->texts, ElementsAre(L"one", L"two"));
}

TEST_F(ErrorHandlerTest, CountsAListenerOnceHoweverOftenItIsAdded) {
    ErrorHandler::addListener(first);
    ErrorHandler::addListener(first);
    ErrorHandler::addListener(nullptr);
    EXPECT_EQ(ErrorHandler::listenerCount(), 1U);
    ErrorHandler::removeListener(first);
    EXPECT_EQ(ErrorHandler::listenerCount(), 0U);
}

TEST_F(ErrorHandlerTest, DoesNotCallARemovedListener) {
    ErrorHandler::addListener(first);
    ErrorHandler::removeListener(first);
    ErrorHandler::dispatch(line(L"late"));
    EXPECT_THAT(first->texts, ElementsAre());
}

TEST_F(ErrorHandlerTest, TakesTheRemovalOfAStrangerQuietly) {
    ErrorHandler::addListener(first);
    ErrorHandler::removeListener(second);
    EXPECT_EQ(ErrorHandler::listenerCount(), 1U);
}

TEST_F(ErrorHandlerTest, ReleasesAListenerThatIsRemoved) {
    const std::weak_ptr<Listener> watched = first;
    ErrorHandler::addListener(first);
    ErrorHandler::removeListener(std::exchange(first, nullptr));
    EXPECT_TRUE(watched.expired());
}

TEST_F(ErrorHandlerTest, LetsAListenerRemoveItselfAndOthersMeanwhile) {
    first->then = [this] {
        ErrorHandler::removeListener(first);
        ErrorHandler::removeListener(second);
    };
    ErrorHandler::addListener(first);
    ErrorHandler::addListener(second);
    ErrorHandler::dispatch(line(L"one"));
    ErrorHandler::dispatch(line(L"two"));
    EXPECT_THAT(first->texts, ElementsAre(L"one"));
    EXPECT_THAT(second->texts, ElementsAre());
}

TEST_F(ErrorHandlerTest, DoesNotReturnATraceToTheListenerThatCausesIt) {
    first->then = [] { ErrorHandler::dispatch(line(L"inner")); };
    ErrorHandler::addListener(first);
    ErrorHandler::addListener(second);
    ErrorHandler::dispatch(line(L"outer"));
    EXPECT_THAT(first->texts, ElementsAre(L"outer"));
    EXPECT_THAT(second->texts, ElementsAre(L"inner", L"outer"));
}

TEST_F(ErrorHandlerTest, GoesOnWhenAListenerFails) {
    first->then = [] { throw std::runtime_error("disk full"); };
    ErrorHandler::addListener(first);
    ErrorHandler::addListener(second);
    ErrorHandler::dispatch(line(L"one"));
    ErrorHandler::dispatch(line(L"two"));
    EXPECT_THAT(first->texts, ElementsAre(L"one", L"two"));
    EXPECT_THAT(second->texts, ElementsAre(L"one", L"two"));
}

TEST_F(ErrorHandlerTest, CallsAListenerFromOneThreadAtATime) {
    ErrorHandler::addListener(first); // whose vector has no lock
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([] {
            for (int count = 0; count < 500; ++count) {
                ErrorHandler::dispatch(line(L"text"));
            }
        });
    }
    threads.clear();
    EXPECT_EQ(first->texts.size(), 2000U);
}

TEST_F(ErrorHandlerTest, ShowsEveryListenerTheSameOrder) {
    ErrorHandler::addListener(first);
    ErrorHandler::addListener(second);
    std::vector<std::jthread> threads;
    for (const wchar_t* text : {L"a", L"b", L"c"}) {
        threads.emplace_back([text] {
            for (int count = 0; count < 300; ++count) {
                ErrorHandler::dispatch(line(text));
            }
        });
    }
    threads.clear();
    EXPECT_EQ(first->texts.size(), 900U);
    EXPECT_EQ(first->texts, second->texts);
}

/// Counts calls that come after its removal has returned.
class Watched : public TraceListener {
public:
    void onTrace(const TraceLine&) override { late += removed ? 1 : 0; }

    std::atomic<bool> removed{false};
    std::atomic<int> late{0};
};

TEST_F(ErrorHandlerTest, NeverCallsAListenerOnceItsRemovalHasReturned) {
    std::atomic<bool> stop{false};
    std::jthread tracer([&stop] {
        while (!stop) {
            ErrorHandler::dispatch(line(L"text"));
        }
    });
    std::vector<std::shared_ptr<Watched>> all;
    for (int round = 0; round < 200; ++round) {
        const auto listener = all.emplace_back(std::make_shared<Watched>());
        ErrorHandler::addListener(listener);
        ErrorHandler::removeListener(listener);
        listener->removed = true;
    }
    stop = true;
    tracer.join();
    for (const auto& listener : all) {
        EXPECT_EQ(listener->late, 0);
    }
}

TEST_F(ErrorHandlerTest, TakesListenersLevelsAndLinesFromManyThreadsAtOnce) {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([] {
            for (int count = 0; count < 300; ++count) {
                const auto listener = std::make_shared<Listener>();
                ErrorHandler::addListener(listener);
                ErrorHandler::setDebugTraceLevel(count % 4);
                ErrorHandler::dispatch(line(L"text"));
                ErrorHandler::removeListener(listener);
                EXPECT_FALSE(listener->texts.empty());
            }
        });
    }
    threads.clear();
    EXPECT_EQ(ErrorHandler::listenerCount(), 0U);
}

} // namespace

} // namespace StdUtil::Tests
