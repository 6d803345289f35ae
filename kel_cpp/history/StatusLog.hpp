#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace Quarlen::Kel_cpp {

/// One status text of the server.
struct StatusEntry {
    std::wstring text;
    std::chrono::system_clock::time_point time;
    /// Counts the texts since the start of the runtime; 0 stands for "none has been set".
    std::uint64_t number = 0;
};

/// The server's status text and those before it. The facade has one text that each caller
/// overwrites; who watches the server wants to see all of them, in order. Each text therefore gets
/// a number without gaps, and the listeners hear each text exactly once, in that order. Any thread
/// may call an operation.
class StatusLog {
public:
    /// Older texts are forgotten.
    static constexpr std::size_t maxKept = 200;

    using Now = std::function<std::chrono::system_clock::time_point()>;
    /// Called by the thread that sets a text, while the log is locked: must neither block nor call
    /// the log, so that the order of the texts is the order of the calls.
    using Listener = std::function<void(const StatusEntry&)>;

    explicit StatusLog(Now now = std::chrono::system_clock::now);

    void set(std::wstring text);
    /// Number 0 and an empty text before the first text is set.
    [[nodiscard]] StatusEntry current() const;
    /// The latest texts, oldest first.
    [[nodiscard]] std::vector<StatusEntry> latest() const;

    /// Only while no other thread uses the log.
    void listen(Listener listener);

private:
    const Now now;
    mutable std::mutex mutex;
    std::vector<Listener> listeners;
    StatusEntry last;
    std::deque<StatusEntry> kept;
};

} // namespace Quarlen::Kel_cpp
