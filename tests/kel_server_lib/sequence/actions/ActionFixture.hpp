#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/kel_server_lib/sequence/SequenceFixture.hpp"

namespace Quarlen::Tests {

/// A job that was launched and that reports when the test says so. Reporting for a job that was
/// never launched throws.
template <class Result>
class LaunchedJob {
public:
    using Callback = Kel_cpp::KelApi::JobCallback<Result>;

    void keep(Callback& launched) { callback = &launched; }

    void report(Kel_cpp::RecordList<Result> results, bool done) {
        if (callback == nullptr) {
            throw std::logic_error("no job was launched");
        }
        callback->report(std::move(results), 0, nullptr, done);
    }
    void end() { report({}, true); }

private:
    Callback* callback = nullptr;
};

/// Actions run on the test's own thread. One that would wait for ever fails its test: a wait on the
/// clock by an exception, any other because all jobs are ended after a while.
class ActionFixture : public SequenceFixture {
protected:
    ActionFixture();

    /// Empty when nothing was called.
    [[nodiscard]] std::string lastCall() const;
    /// Calls `hook` at each flush of the console.
    void onConsoleFlush(std::function<void()> hook);

private:
    class FlushedBuffer : public std::stringbuf {
    public:
        std::function<void()> hook;

    protected:
        int sync() override;
    };

    void endJobsAfterAWhile(const std::stop_token& testEnded);

    FlushedBuffer flushedBuffer;
    std::mutex mutex;
    std::condition_variable_any wakeUp;
    std::jthread watchdog;
};

/// Every failure of a call inside an action, for tests that take the calls as a parameter.
class FailingActionCall : public ActionFixture, public testing::WithParamInterface<const char*> {
protected:
    /// The runtime's own exception in the call: told on console and status, and nothing follows.
    void expectToldAndFalse(const std::function<bool()>& run);
    /// Any other exception in the call: it passes, and nothing is told or changed.
    void expectPassed(const std::function<bool()>& run);
};

} // namespace Quarlen::Tests
