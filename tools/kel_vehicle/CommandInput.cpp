#include "tools/kel_vehicle/CommandInput.hpp"

#include <thread>
#include <utility>

namespace Quarlen::KelVehicle {

namespace {

/// Lines that wait; who writes faster than the program reads waits, too.
constexpr std::size_t maxWaiting = 1000;
/// Bytes of one line; the rest of a longer one is dropped.
constexpr std::size_t maxLine = 4096;

/// False at the end of the input.
bool readLine(std::istream& stream, std::string& line) {
    line.clear();
    char letter = 0;
    while (stream.get(letter)) {
        if (letter == '\n') {
            return true;
        }
        if (line.size() < maxLine) {
            line.push_back(letter);
        }
    }
    return !line.empty();
}

} // namespace

CommandInput::CommandInput(std::istream& stream) {
    std::thread([&stream, lines = lines] { read(stream, *lines); }).detach();
}

void CommandInput::read(std::istream& stream, Lines& lines) {
    std::string line;
    for (std::size_t number = 1; readLine(stream, line); ++number) {
        std::unique_lock lock(lines.mutex);
        lines.changed.wait(lock, [&] { return lines.waiting.size() < maxWaiting; });
        lines.waiting.push_back({number, line});
        lines.changed.notify_all();
    }
}

std::optional<InputLine> CommandInput::waitFor(std::chrono::milliseconds longest) {
    std::unique_lock lock(lines->mutex);
    if (!lines->changed.wait_for(lock, longest, [this] { return !lines->waiting.empty(); })) {
        return {};
    }
    InputLine line = std::move(lines->waiting.front());
    lines->waiting.pop_front();
    lines->changed.notify_all();
    return line;
}

} // namespace Quarlen::KelVehicle
