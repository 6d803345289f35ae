#include "platform/KeyReader.hpp"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

#include "platform/linux/TerminalMode.hpp"

namespace Quarlen::Platform {
namespace {

constexpr int keyboard = STDIN_FILENO;
/// How often a background job checks whether it has got the terminal.
constexpr int foregroundPollMilliseconds = 500;

/// A background job that reads its terminal gets an error instead of being stopped.
class NoTerminalStop {
public:
    NoTerminalStop() {
        sigset_t stop;
        ::sigemptyset(&stop);
        ::sigaddset(&stop, SIGTTIN);
        ::pthread_sigmask(SIG_BLOCK, &stop, &former);
    }
    NoTerminalStop(const NoTerminalStop&) = delete;
    NoTerminalStop& operator=(const NoTerminalStop&) = delete;
    ~NoTerminalStop() { ::pthread_sigmask(SIG_SETMASK, &former, nullptr); }

private:
    sigset_t former{};
};

/// Returns once there is something to read in this job's own terminal.
void waitForInput(TerminalMode& terminal) {
    while (true) {
        terminal.obeySignals();
        if (terminalIsAnothersJob()) {
            terminal.waitInBackground(foregroundPollMilliseconds);
            continue;
        }
        terminal.claim();
        // Another process that shares standard input may have made it non-blocking.
        if (terminal.waitForInput()) {
            return;
        }
    }
}

/// The job may have gone to the background while it waited.
bool isTemporary(int error) {
    return error == EINTR || error == EAGAIN || (error == EIO && terminalIsAnothersJob());
}

class TerminalKeys final : public KeyReader {
public:
    TerminalKeys() { terminalMode().acquire(); }
    TerminalKeys(const TerminalKeys&) = delete;
    TerminalKeys& operator=(const TerminalKeys&) = delete;
    ~TerminalKeys() override { terminalMode().release(); }

    std::optional<int> readKey() override {
        const NoTerminalStop guard;
        unsigned char key = 0;
        while (true) {
            waitForInput(terminalMode());
            const ssize_t count = ::read(keyboard, &key, 1);
            if (count == 1) {
                return key;
            }
            if (count == 0 || !isTemporary(errno)) {
                return std::nullopt;
            }
        }
    }
};

/// The process was started without a standard input. Its number may go to another file later, from
/// which no byte must be taken.
class NoKeys final : public KeyReader {
public:
    std::optional<int> readKey() override { return std::nullopt; }
};

} // namespace

std::unique_ptr<KeyReader> openConsoleKeys() {
    if (::fcntl(keyboard, F_GETFD) < 0) {
        return std::make_unique<NoKeys>();
    }
    return std::make_unique<TerminalKeys>();
}

void keepClicksHarmless() {}

} // namespace Quarlen::Platform
