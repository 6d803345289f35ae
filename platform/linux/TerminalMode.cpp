#include "platform/linux/TerminalMode.hpp"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace Quarlen::Platform {
namespace {

constexpr int terminal = STDIN_FILENO;

static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free,
              "used in a signal handler");

constinit TerminalMode theTerminal;

void onEndingSignal(int signal) {
    const int error = errno;
    theTerminal.endBy(signal);
    errno = error;
}

void onJobSignal(int signal) {
    const int error = errno;
    theTerminal.noteJobSignal(signal);
    errno = error;
}

struct HandledSignal {
    int number;
    void (*handler)(int);
};

/// The signals from outside that end the process, and those that a failing program raises itself:
/// `atexit` does not run when the program aborts.
constexpr std::array<HandledSignal, 10> handledSignals{{
    {SIGINT, onEndingSignal},
    {SIGTERM, onEndingSignal},
    {SIGHUP, onEndingSignal},
    {SIGQUIT, onEndingSignal},
    {SIGABRT, onEndingSignal},
    {SIGSEGV, onEndingSignal},
    {SIGBUS, onEndingSignal},
    {SIGFPE, onEndingSignal},
    {SIGTSTP, onJobSignal},
    {SIGCONT, onJobSignal},
}};

struct sigaction actionOf(const HandledSignal& signal) {
    struct sigaction action {};
    action.sa_handler = signal.handler;
    action.sa_flags = SA_RESTART;
    ::sigemptyset(&action.sa_mask);
    return action;
}

void registerAtExit() {
    static const int registered = std::atexit([] { theTerminal.giveBack(); });
    static_cast<void>(registered);
}

void setKeyMode(termios mode) {
    mode.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    mode.c_cc[VMIN] = 1;
    mode.c_cc[VTIME] = 0;
    ::tcsetattr(terminal, TCSANOW, &mode);
}

/// Stops the calling thread, and the process with it, until the process is continued. Returns at
/// once where no shell could continue it.
void stopHere() {
    sigset_t stop;
    sigset_t blocked;
    ::sigemptyset(&stop);
    ::sigaddset(&stop, SIGTSTP);
    ::pthread_sigmask(SIG_UNBLOCK, &stop, &blocked);
    ::raise(SIGTSTP);
    ::pthread_sigmask(SIG_SETMASK, &blocked, nullptr);
}

} // namespace

bool terminalIsAnothersJob() {
    const pid_t foreground = ::tcgetpgrp(terminal);
    return foreground >= 0 && foreground != ::getpgrp();
}

TerminalMode& terminalMode() {
    return theTerminal;
}

void TerminalMode::acquire() {
    const std::lock_guard lock(mutex);
    ++users;
    take();
}

void TerminalMode::release() {
    const std::lock_guard lock(mutex);
    if (--users == 0) {
        restore();
        removeHandlers();
        ending = false;
    }
}

void TerminalMode::claim() {
    const std::lock_guard lock(mutex);
    take();
}

void TerminalMode::take() {
    if (ending || terminalIsAnothersJob()) {
        return;
    }
    const bool renew = outdated.exchange(false);
    if (changed) {
        // The mode that is set now may be this object's own, kept and put back by another program.
        if (renew) {
            setKeyModeUnlessEnding();
        }
        return;
    }
    if (::tcgetattr(terminal, &original) != 0) {
        return;
    }
    registerAtExit();
    installHandlers();
    changed = true; // before the change, so that a signal in between restores as well
    setKeyModeUnlessEnding();
}

/// A signal that asks the process to end may come on any thread just before the mode is set: its
/// handler has then restored the mode too early, so it is restored again here.
void TerminalMode::setKeyModeUnlessEnding() {
    setKeyMode(original);
    if (ending) {
        ::tcsetattr(terminal, TCSANOW, &original);
    }
}

void TerminalMode::restore() noexcept {
    if (changed.exchange(false) && !terminalIsAnothersJob()) {
        ::tcsetattr(terminal, TCSANOW, &original);
    }
}

void TerminalMode::giveBack() noexcept {
    ending = true;
    restore();
}

void TerminalMode::endBy(int signal) noexcept {
    giveBack();
    for (std::size_t index = 0; index < handledSignals.size(); ++index) {
        if (handledSignals[index].number == signal) {
            ::sigaction(signal, &former[index], nullptr);
        }
    }
    ::raise(signal); // blocked until the handler returns
}

/// A continuation takes back a stop that has not been carried out, as the system does.
void TerminalMode::noteJobSignal(int signal) noexcept {
    stopAsked = signal == SIGTSTP;
    outdated = true;
    const std::uint64_t once = 1;
    if (::write(wakeUp, &once, sizeof once) < 0) {
        return; // it is readable already
    }
}

void TerminalMode::obeySignals() {
    std::uint64_t count = 0;
    if (::read(wakeUp, &count, sizeof count) > 0 && stopAsked.exchange(false)) {
        stopJob();
    }
}

void TerminalMode::stopJob() {
    const std::lock_guard lock(mutex);
    restore();
    for (std::size_t index = 0; index < handledSignals.size(); ++index) {
        if (handledSignals[index].number == SIGTSTP) {
            ::sigaction(SIGTSTP, &former[index], nullptr);
            stopHere();
            const struct sigaction action = actionOf(handledSignals[index]);
            ::sigaction(SIGTSTP, &action, nullptr);
        }
    }
}

bool TerminalMode::waitForInput() {
    constexpr int withoutLimit = -1;
    std::array<pollfd, 2> events{{{terminal, POLLIN, 0}, {wakeUp, POLLIN, 0}}};
    return ::poll(events.data(), events.size(), withoutLimit) > 0 && events[1].revents == 0;
}

void TerminalMode::waitInBackground(int milliseconds) {
    outdated = true;
    pollfd signal{wakeUp, POLLIN, 0};
    ::poll(&signal, 1, milliseconds);
}

void TerminalMode::installHandlers() {
    if (std::exchange(handling, true)) {
        return;
    }
    if (wakeUp < 0) {
        wakeUp = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK); // as long as the process lives
    }
    for (std::size_t index = 0; index < handledSignals.size(); ++index) {
        const HandledSignal& signal = handledSignals[index];
        const bool canBeHandled = signal.handler == onEndingSignal || wakeUp >= 0;
        ::sigaction(signal.number, nullptr, &former[index]);
        if (former[index].sa_handler != SIG_IGN && canBeHandled) {
            const struct sigaction action = actionOf(signal);
            ::sigaction(signal.number, &action, nullptr);
        }
    }
}

void TerminalMode::removeHandlers() {
    if (!std::exchange(handling, false)) {
        return;
    }
    for (std::size_t index = 0; index < handledSignals.size(); ++index) {
        struct sigaction current {};
        ::sigaction(handledSignals[index].number, nullptr, &current);
        if (current.sa_handler == handledSignals[index].handler) {
            ::sigaction(handledSignals[index].number, &former[index], nullptr);
        }
    }
}

} // namespace Quarlen::Platform
