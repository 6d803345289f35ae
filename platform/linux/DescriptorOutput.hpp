#pragma once

#include <functional>
#include <poll.h>
#include <string_view>
#include <termios.h>
#include <unistd.h>

#include "platform/LineEnds.hpp"
#include "platform/OutputBuffer.hpp"

namespace Quarlen::Platform {

/// The system's calls to an open file.
struct OutputCalls {
    std::function<ssize_t(int, const void*, std::size_t)> write = ::write;
    std::function<int(pollfd*, nfds_t, int)> poll = ::poll;
    std::function<int(int, termios*)> getMode = ::tcgetattr;
};

/// An open file, pipe or terminal. Bytes go out as they are, except on a terminal whose mode does
/// not begin a new line at "\n", as a program that draws on the whole screen leaves it behind: it
/// gets "\r\n".
///
/// A pipe that blocks is waited for, as everywhere. One that another process has made non-blocking
/// may be full: its reader gets some time, and a reader that did not use it gets none again before
/// a text has been taken.
class DescriptorOutput final : public TextSink {
public:
    static constexpr int maxWaitForRoom = 1000; // milliseconds

    explicit DescriptorOutput(int descriptor, OutputCalls calls = {});

    bool write(std::string_view text) override;
    [[nodiscard]] bool isScreen() const override;

private:
    [[nodiscard]] bool beginsNoLines() const;
    bool writeBytes(std::string_view bytes);
    bool waitForRoom();

    int descriptor;
    OutputCalls calls;
    LineEnds lineEnds;
    bool isPatient = true;
};

} // namespace Quarlen::Platform
