#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "std_util/ErrorHandler.hpp"

namespace StdUtil {

struct TimedTrace {
    std::chrono::system_clock::time_point time;
    TraceLine line;
};

/// Hands traces over to a thread of its own, in order, so that a thread that traces does not wait
/// for the disk. The total size of the waiting traces is limited: a thread that traces faster than
/// the writer writes waits for room.
class TraceQueue {
public:
    using Traces = std::vector<TimedTrace>;
    /// Writes the gathered traces; called on the queue's thread only. Its exceptions are swallowed:
    /// a trace that cannot be written must not disturb the code that traces.
    using Writer = std::function<void(const Traces&)>;

    static constexpr std::size_t defaultMaxCharacters = std::size_t{4} * 1024 * 1024;

    explicit TraceQueue(Writer writer, std::size_t maxCharacters = defaultMaxCharacters);
    TraceQueue(const TraceQueue&) = delete;
    TraceQueue& operator=(const TraceQueue&) = delete;
    /// Returns once everything has been written.
    ~TraceQueue();

    /// A trace that is larger than the whole room is taken when the queue is empty.
    void push(TimedTrace trace);

private:
    void run();
    /// Empty once the queue is to end and has nothing left.
    Traces takeAll();

    const Writer writer;
    const std::size_t maxCharacters;
    std::mutex mutex;
    std::condition_variable arrived;
    std::condition_variable taken;
    Traces waiting;
    std::size_t waitingCharacters = 0;
    bool ending = false;
    std::thread thread;
};

} // namespace StdUtil
