#include "platform/windows/ConsoleModes.hpp"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <utility>

namespace Quarlen::Platform {

namespace {

std::atomic<bool> programTakesEvents{false};
std::atomic<LPTOP_LEVEL_EXCEPTION_FILTER> formerFilter{nullptr};

BOOL WINAPI onConsoleEvent(DWORD) {
    if (!programTakesEvents) {
        consoleModes().giveBack();
    }
    return FALSE;
}

/// `atexit` does not run when the program aborts. The end goes on after it.
void onAbort(int) {
    consoleModes().giveBackUnlessBusy();
}

LONG WINAPI onCrash(EXCEPTION_POINTERS* crash) {
    consoleModes().giveBackUnlessBusy();
    const LPTOP_LEVEL_EXCEPTION_FILTER former = formerFilter;
    return former != nullptr ? former(crash) : EXCEPTION_CONTINUE_SEARCH;
}

/// Never destroyed: the ends of the process come as long as it lives.
ConsoleModes& openModes() {
    auto& modes = *new ConsoleModes;
    static_cast<void>(std::atexit([] { consoleModes().giveBack(); }));
    static_cast<void>(std::signal(SIGABRT, onAbort));
    formerFilter = ::SetUnhandledExceptionFilter(onCrash);
    ::SetConsoleCtrlHandler(onConsoleEvent, TRUE);
    return modes;
}

} // namespace

ConsoleModes::ConsoleModes(ConsoleCalls calls) : calls(std::move(calls)) {}

bool ConsoleModes::change(HANDLE console, Change change) {
    const std::lock_guard lock(mutex);
    Found found{console};
    if (isEnding || calls.getMode(console, &found.mode) == 0) {
        return false;
    }
    const DWORD wanted = (found.mode | change.on) & ~change.off;
    found.isKeys = (change.on & ENABLE_EXTENDED_FLAGS) != 0;
    if (wanted == found.mode) {
        return true;
    }
    keep(found); // before the change, so that an end in between restores as well
    return calls.setMode(console, wanted) != 0;
}

void ConsoleModes::keep(const Found& found) {
    if (std::none_of(foundModes.begin(), foundModes.end(),
                     [&found](const Found& kept) { return kept.console == found.console; })) {
        foundModes.push_back(found);
    }
}

void ConsoleModes::giveBack() noexcept {
    const std::lock_guard lock(mutex);
    restoreAll();
}

void ConsoleModes::giveBackUnlessBusy() noexcept {
    if (const std::unique_lock lock(mutex, std::try_to_lock); lock.owns_lock()) {
        restoreAll();
    }
}

/// Standard output and standard error may be the same screen: the mode that was found first is
/// given back last.
void ConsoleModes::restoreAll() noexcept {
    isEnding = true;
    for (; !foundModes.empty(); foundModes.pop_back()) {
        restore(foundModes.back());
    }
}

/// A console tells the state of quick edit only where somebody has set it. Where it was not told it
/// gets the system's default, on, before the choice goes back to the console.
void ConsoleModes::restore(const Found& found) const {
    constexpr DWORD notTold = ENABLE_EXTENDED_FLAGS | ENABLE_QUICK_EDIT_MODE | ENABLE_INSERT_MODE;
    if (found.isKeys && (found.mode & ENABLE_EXTENDED_FLAGS) == 0) {
        calls.setMode(found.console, found.mode | notTold);
    }
    calls.setMode(found.console, found.mode);
}

bool takeQuickEdit(ConsoleModes& modes, HANDLE keys) {
    return modes.change(keys, {.on = ENABLE_EXTENDED_FLAGS, .off = ENABLE_QUICK_EDIT_MODE});
}

bool takeKeys(ConsoleModes& modes, HANDLE keys) {
    return modes.change(keys,
                        {.on = ENABLE_EXTENDED_FLAGS,
                         .off = ENABLE_QUICK_EDIT_MODE | ENABLE_LINE_INPUT | ENABLE_ECHO_INPUT});
}

bool takeScreen(ConsoleModes& modes, HANDLE screen) {
    return modes.change(screen, {.on = ENABLE_PROCESSED_OUTPUT | ENABLE_WRAP_AT_EOL_OUTPUT});
}

ConsoleModes& consoleModes() {
    static ConsoleModes& modes = openModes();
    return modes;
}

void leaveConsoleEventsToProgram() {
    programTakesEvents = true;
}

} // namespace Quarlen::Platform
