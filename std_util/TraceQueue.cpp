#include "std_util/TraceQueue.hpp"

#include <utility>

namespace StdUtil {

namespace {

std::size_t charactersOf(const TimedTrace& trace) {
    return trace.line.source.size() + trace.line.text.size();
}

} // namespace

TraceQueue::TraceQueue(Writer writer, std::size_t maxCharacters)
    : writer(std::move(writer)), maxCharacters(maxCharacters), thread([this] { run(); }) {}

TraceQueue::~TraceQueue() {
    {
        const std::lock_guard lock(mutex);
        ending = true;
    }
    arrived.notify_one();
    thread.join();
}

void TraceQueue::push(TimedTrace trace) {
    const std::size_t characters = charactersOf(trace);
    std::unique_lock lock(mutex);
    taken.wait(lock,
               [&] { return waiting.empty() || waitingCharacters + characters <= maxCharacters; });
    waiting.push_back(std::move(trace));
    waitingCharacters += characters;
    lock.unlock();
    arrived.notify_one();
}

TraceQueue::Traces TraceQueue::takeAll() {
    std::unique_lock lock(mutex);
    arrived.wait(lock, [this] { return ending || !waiting.empty(); });
    waitingCharacters = 0;
    Traces traces = std::exchange(waiting, {});
    lock.unlock();
    taken.notify_all();
    return traces;
}

void TraceQueue::run() {
    for (Traces traces = takeAll(); !traces.empty(); traces = takeAll()) {
        try {
            writer(traces);
        } catch (...) {
            continue;
        }
    }
}

} // namespace StdUtil
