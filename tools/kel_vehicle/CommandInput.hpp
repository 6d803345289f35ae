#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <istream>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace Quarlen::KelVehicle {

/// One line of an input, counted from 1.
struct InputLine {
    std::size_t number = 0;
    std::string text{};
};

/// The lines that people and scripts write to the program while it runs. A thread of its own waits
/// for them, which ends with the input or with the process: nothing ends a read of standard input.
class CommandInput {
public:
    /// The stream must live as long as the process.
    explicit CommandInput(std::istream& stream);

    /// The next line; nothing when none comes within the time.
    [[nodiscard]] std::optional<InputLine> waitFor(std::chrono::milliseconds longest);

private:
    struct Lines {
        std::mutex mutex;
        std::condition_variable changed;
        std::deque<InputLine> waiting;
    };
    static void read(std::istream& stream, Lines& lines);

    std::shared_ptr<Lines> lines = std::make_shared<Lines>();
};

} // namespace Quarlen::KelVehicle
