#pragma once

#include <string>

#include "platform/Clock.hpp"
#include "uds/Timing.hpp"
#include "uds/Uds.hpp"

namespace Quarlen::Uds {

/// True for DiagnosticSessionControl with a session.
[[nodiscard]] bool entersSession(const Bytes& request) noexcept;

/// What a tester knows of a control unit's session from what it has asked and got: which one it is,
/// how long the control unit may take in it, and whether it is unlocked. Not thread-safe.
class UnitSession {
public:
    using TimePoint = Platform::Clock::TimePoint;

    UnitSession(const Timing& configured, TimePoint now)
        : configured(configured), valid(configured), lastActivity(now) {}

    /// As the configuration says, then as the control unit itself says it for its session.
    [[nodiscard]] const Timing& timing() const noexcept { return valid; }
    [[nodiscard]] bool isDefault() const noexcept { return session == Session::Default; }
    [[nodiscard]] bool isUnlocked() const noexcept { return unlocked; }

    /// A message went or came.
    void touch(TimePoint now) noexcept { lastActivity = now; }
    /// A session that nobody has kept has run out by itself. This and `note` return why the control
    /// unit has locked again what was unlocked, in words; empty when it has not.
    [[nodiscard]] std::wstring forgetOld(TimePoint now);
    /// The final response to a request; an empty one is a success that was not to be told.
    [[nodiscard]] std::wstring note(const Bytes& request, const Bytes& response);

private:
    [[nodiscard]] std::wstring enter(const Bytes& request, const Bytes& response);
    [[nodiscard]] std::wstring lock(const wchar_t* how);
    void leave();
    void noteUnlock(const Bytes& request, const Bytes& response);

    Timing configured;
    Timing valid;
    Session session = Session::Default;
    bool unlocked = false;
    TimePoint lastActivity;
};

} // namespace Quarlen::Uds
