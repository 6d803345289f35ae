#include "platform/linux/DescriptorOutput.hpp"

#include <cerrno>
#include <utility>

namespace Quarlen::Platform {

DescriptorOutput::DescriptorOutput(int descriptor, OutputCalls calls)
    : descriptor(descriptor), calls(std::move(calls)) {}

bool DescriptorOutput::isScreen() const {
    termios mode{};
    return calls.getMode(descriptor, &mode) == 0;
}

bool DescriptorOutput::beginsNoLines() const {
    termios mode{};
    constexpr tcflag_t newLines = OPOST | ONLCR;
    return calls.getMode(descriptor, &mode) == 0 && (mode.c_oflag & newLines) != newLines;
}

bool DescriptorOutput::write(std::string_view text) {
    if (beginsNoLines()) {
        return writeBytes(lineEnds.withReturns(text));
    }
    lineEnds.note(text);
    return writeBytes(text);
}

bool DescriptorOutput::writeBytes(std::string_view bytes) {
    bool hasWaited = false;
    while (!bytes.empty()) {
        const ssize_t count = calls.write(descriptor, bytes.data(), bytes.size());
        if (count > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
            hasWaited = false;
            isPatient = true;
        } else if (count == 0 || errno != EINTR) {
            const bool isFull = count < 0 && errno == EAGAIN;
            if (!isFull || std::exchange(hasWaited, true) || !waitForRoom()) {
                return false;
            }
        }
    }
    return true;
}

bool DescriptorOutput::waitForRoom() {
    pollfd room{descriptor, POLLOUT, 0};
    isPatient = isPatient && calls.poll(&room, 1, maxWaitForRoom) != 0;
    return isPatient;
}

} // namespace Quarlen::Platform
