#pragma once

#include <array>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <mutex>
#include <termios.h>

namespace Quarlen::Platform {

/// The terminal on standard input belongs to another job: changing or reading it would stop this
/// process.
bool terminalIsAnothersJob();

/// The mode of the terminal on standard input: single keys without echo while there are readers
/// and this job has the terminal, else the mode that it found.
///
/// There is one terminal and one object, which several readers share. A signal that ends the
/// process gives the terminal back first. The stop of the job (Ctrl-Z) is carried out by a thread
/// that reads, which gives the terminal back before and takes it again after; its signal and the
/// continuation's only wake that thread.
class TerminalMode {
public:
    /// A reader begins.
    void acquire();
    void release();

    // For a thread that reads.

    /// Takes the terminal if this job has it and its mode is not this object's.
    void claim();
    /// Carries out the stop that a signal has asked for.
    void obeySignals();
    /// Waits without limit. False when a signal came instead.
    bool waitForInput();
    /// Returns at a signal, too.
    void waitInBackground(int milliseconds);

    // Safe in a signal handler.

    /// The process is about to end.
    void giveBack() noexcept;
    /// As `giveBack`; then the process ends by the signal as it would have without a reader.
    void endBy(int signal) noexcept;
    void noteJobSignal(int signal) noexcept;

private:
    static constexpr std::size_t signalCount = 10;

    void take();
    void setKeyModeUnlessEnding();
    void restore() noexcept;
    void stopJob();
    void installHandlers();
    void removeHandlers();

    std::mutex mutex;
    int users = 0;
    bool handling = false;
    /// The terminal has this object's mode.
    std::atomic<bool> changed{false};
    /// A process that is about to end must not change the terminal again; one that survives the
    /// signal reads on in line mode.
    std::atomic<bool> ending{false};
    /// Another program may have changed the mode meanwhile.
    std::atomic<bool> outdated{false};
    std::atomic<bool> stopAsked{false};
    /// Becomes readable when a signal has work for a reading thread.
    std::atomic<int> wakeUp{-1};
    termios original{};
    std::array<struct sigaction, signalCount> former{};
};

/// Constant initialised and never destroyed, so that signals find it at any time.
TerminalMode& terminalMode();

} // namespace Quarlen::Platform
