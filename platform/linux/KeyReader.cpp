#include "platform/KeyReader.hpp"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace Quarlen::Platform {
namespace {

constexpr int keyboard = STDIN_FILENO;
/// From outside, and what a program does to itself: `atexit` does not run when it aborts.
constexpr std::array endingSignals{SIGINT,  SIGTERM, SIGHUP, SIGQUIT,
                                   SIGABRT, SIGSEGV, SIGBUS, SIGFPE};
/// How often a background job looks whether it has got the terminal.
constexpr int foregroundPollMilliseconds = 500;

/// The terminal belongs to another job: changing or reading it would stop this process.
bool isInBackground() {
    const pid_t foreground = ::tcgetpgrp(keyboard);
    return foreground >= 0 && foreground != ::getpgrp();
}

/// The mode of the process's terminal. There is one terminal, several readers share it.
class TerminalMode {
public:
    void acquire() {
        const std::lock_guard lock(mutex);
        ++users;
        changeOnce();
    }

    /// For a job that comes to the foreground later.
    void claim() {
        const std::lock_guard lock(mutex);
        changeOnce();
    }

    void release() {
        const std::lock_guard lock(mutex);
        if (--users == 0) {
            restore();
            removeHandlers();
            taken = false;
        }
    }

    /// Safe in a signal handler.
    void restore() noexcept {
        if (changed.exchange(false) && !isInBackground()) {
            ::tcsetattr(keyboard, TCSANOW, &original);
        }
    }

    /// In a signal handler: the process ends by the signal as it would have without a reader.
    void endBy(int signal) noexcept {
        restore();
        for (std::size_t index = 0; index < endingSignals.size(); ++index) {
            if (endingSignals[index] == signal) {
                ::sigaction(signal, &former[index], nullptr);
            }
        }
        ::raise(signal); // blocked until the handler returns
    }

private:
    void changeOnce() {
        if (taken || isInBackground() || ::tcgetattr(keyboard, &original) != 0) {
            return;
        }
        registerAtExit();
        installHandlers();
        taken = true;
        changed = true; // before the change, so that a signal in between restores as well
        termios keys = original;
        keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        keys.c_cc[VMIN] = 1;
        keys.c_cc[VTIME] = 0;
        ::tcsetattr(keyboard, TCSANOW, &keys);
    }

    static void registerAtExit();
    void installHandlers();
    void removeHandlers();

    std::mutex mutex;
    int users = 0;
    bool handling = false;
    /// Stays set when a signal has restored the mode: a process that is about to end must not
    /// change it again, and one that survives reads on in line mode.
    bool taken = false;
    std::atomic<bool> changed{false};
    termios original{};
    std::array<struct sigaction, endingSignals.size()> former{};
};

static_assert(std::atomic<bool>::is_always_lock_free, "used in a signal handler");

/// Constant initialised and never destroyed, so that signals find it at any time.
constinit TerminalMode terminalMode;

void onEndingSignal(int signal) {
    const int error = errno;
    terminalMode.endBy(signal);
    errno = error;
}

void TerminalMode::registerAtExit() {
    static const int registered = std::atexit([] { terminalMode.restore(); });
    static_cast<void>(registered);
}

void TerminalMode::installHandlers() {
    if (std::exchange(handling, true)) {
        return;
    }
    struct sigaction action {};
    action.sa_handler = onEndingSignal;
    action.sa_flags = SA_RESTART;
    ::sigemptyset(&action.sa_mask);
    for (std::size_t index = 0; index < endingSignals.size(); ++index) {
        ::sigaction(endingSignals[index], nullptr, &former[index]);
        if (former[index].sa_handler != SIG_IGN) {
            ::sigaction(endingSignals[index], &action, nullptr);
        }
    }
}

void TerminalMode::removeHandlers() {
    if (!std::exchange(handling, false)) {
        return;
    }
    for (std::size_t index = 0; index < endingSignals.size(); ++index) {
        struct sigaction current {};
        ::sigaction(endingSignals[index], nullptr, &current);
        if (current.sa_handler == onEndingSignal) {
            ::sigaction(endingSignals[index], &former[index], nullptr);
        }
    }
}

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

/// Nothing while the terminal is another job's; then this one's mode.
void comeToForeground() {
    while (isInBackground()) {
        ::poll(nullptr, 0, foregroundPollMilliseconds);
    }
    terminalMode.claim();
}

/// As `poll` gives it. Standard input may be shared with somebody who made it non-blocking.
int waitForInput() {
    pollfd input{keyboard, POLLIN, 0};
    return ::poll(&input, 1, -1);
}

/// The job may have gone to the background while it waited.
bool isTemporary(int error) {
    return error == EINTR || error == EAGAIN || (error == EIO && isInBackground());
}

class TerminalKeys final : public KeyReader {
public:
    TerminalKeys() { terminalMode.acquire(); }
    TerminalKeys(const TerminalKeys&) = delete;
    TerminalKeys& operator=(const TerminalKeys&) = delete;
    ~TerminalKeys() override { terminalMode.release(); }

    std::optional<int> readKey() override {
        const NoTerminalStop guard;
        unsigned char key = 0;
        while (true) {
            comeToForeground();
            const ssize_t count = waitForInput() < 0 ? -1 : ::read(keyboard, &key, 1);
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

} // namespace Quarlen::Platform
