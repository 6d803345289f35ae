#pragma once

#include <mutex>
#include <vector>
#include <windows.h>

#include "platform/windows/ConsoleCalls.hpp"

namespace Quarlen::Platform {

/// A lock that says so when the thread that tries to take it has it already.
class SlimLock {
public:
    SlimLock() = default;
    SlimLock(const SlimLock&) = delete;
    SlimLock& operator=(const SlimLock&) = delete;
    ~SlimLock() = default;

    void lock() noexcept { ::AcquireSRWLockExclusive(&system); }
    [[nodiscard]] bool try_lock() noexcept { return ::TryAcquireSRWLockExclusive(&system) != 0; }
    void unlock() noexcept { ::ReleaseSRWLockExclusive(&system); }

private:
    SRWLOCK system = SRWLOCK_INIT;
};

/// The modes of the process's console that the program changes. They belong to the console and not
/// to the process, so the shell would find them changed: each is given back as it was found. Any
/// thread may call.
class ConsoleModes {
public:
    struct Change {
        DWORD on = 0;
        DWORD off = 0;
    };

    explicit ConsoleModes(ConsoleCalls calls = {});

    /// False when the handle is no console or the console refuses. A mode that is right already is
    /// left alone.
    bool change(HANDLE console, Change change);

    /// The process ends: gives all modes back. Later changes are refused.
    void giveBack() noexcept;
    /// The same where the process breaks off. Does nothing while a thread is at the modes: it may
    /// be the one that breaks off, and waiting for itself would keep the process for ever.
    void giveBackUnlessBusy() noexcept;

private:
    struct Found {
        HANDLE console = nullptr;
        DWORD mode = 0;
        /// The mode is that of keys, not of a screen: the same bits mean something else there.
        bool isKeys = false;
    };

    void keep(const Found& found);
    void restoreAll() noexcept;
    void restore(const Found& found) const;

    ConsoleCalls calls;
    SlimLock mutex;
    std::vector<Found> foundModes;
    bool isEnding = false;
};

/// Takes a click into the window the power to hold up every thread that prints, and changes nothing
/// else: the keys stay the shell's.
bool takeQuickEdit(ConsoleModes& modes, HANDLE keys);
/// Makes the keys of a console come one by one and at once, and takes the mouse and the Pause key
/// the power to hold up every thread that prints: with quick edit a click into the window does that
/// until another key is pressed.
bool takeKeys(ConsoleModes& modes, HANDLE keys);
/// Makes "\r\n" begin a new line and a long line go on in the next one.
bool takeScreen(ConsoleModes& modes, HANDLE screen);

/// The process's own. Its modes are given back at the normal end, when the program aborts or
/// crashes, and at the console's events that end it.
ConsoleModes& consoleModes();

/// The program takes the console's events itself and gives the modes back where they end it.
void leaveConsoleEventsToProgram();

} // namespace Quarlen::Platform
