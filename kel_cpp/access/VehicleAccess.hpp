#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "platform/Clock.hpp"
#include "uds/Connection.hpp"

namespace Quarlen::Kel_cpp {

struct AccessOptions {
    /// Well below the session timeout S3 (5 s, ISO 14229-2). In real time.
    std::chrono::milliseconds testerPresentInterval{2000};
    Uds::Timing timing{};
    /// Hears of everything that goes to and comes from the vehicle; may be empty.
    Uds::OnBusEvent onBusEvent{};
};

/// The open connection to the vehicle, the turn that serializes the work of jobs and services, and
/// the unlocks, which the access owns. A thread of its own keeps the sessions that somebody holds;
/// it sleeps while nobody does. The selection and the jobs that use the access share its ownership;
/// closing it cancels them. A job takes the turn, opens a logical link and talks UDS over the link
/// on the job's thread. Safe from any thread.
class VehicleAccess {
public:
    /// Opens the interface. Throws `Uds::LinkError`, `Uds::Cancelled`.
    VehicleAccess(std::wstring interfaceName, std::shared_ptr<Uds::VehicleInterface> vehicle,
                  Platform::Clock& clock, AccessOptions options = {},
                  const std::stop_token& cancel = {});
    VehicleAccess(const VehicleAccess&) = delete;
    VehicleAccess& operator=(const VehicleAccess&) = delete;
    ~VehicleAccess();

    [[nodiscard]] const std::wstring& interfaceName() const noexcept { return name; }
    /// False once it is closed or its connection is lost.
    [[nodiscard]] bool isOpen() const;
    /// Why the connection was lost; empty when it was not.
    [[nodiscard]] std::wstring lossCause() const;

    /// Ends the unlocks, raises `closing` and frees whoever waits for the vehicle. Closing twice is
    /// harmless.
    void close();
    /// Raised once the access is closed; the jobs and services that use it then end.
    [[nodiscard]] std::stop_token closing() const { return closeRequest.get_token(); }

    /// Raised once the connection is lost; who waits for something else then need not go on.
    [[nodiscard]] std::stop_token losing() const { return lossRequest.get_token(); }

    /// Throws `Uds::LinkError`; `Uds::Cancelled` once the access is closed.
    [[nodiscard]] Uds::VehicleLink openLink(const Uds::UnitAddress& unit);
    /// Keeps the control unit in its session as long as the link lives.
    void holdSession(Uds::VehicleLink& link);
    [[nodiscard]] Uds::Connection& connection() noexcept { return vehicle; }

    struct EndTurn {
        void operator()(VehicleAccess* access) const noexcept { access->endTurn(); }
    };
    /// The turn of one owner; its destructor gives the turn back. Must not outlive the access.
    using Turn = std::unique_ptr<VehicleAccess, EndTurn>;

    /// Waits until the turn is free: jobs and services that change a control unit's state run one
    /// after the other. Throws `Uds::Cancelled` when `cancel` is raised meanwhile.
    [[nodiscard]] Turn takeTurn(const std::stop_token& cancel);

    /// Keeps the unlock of the link until `releaseUnlock`, `close` or the loss of the connection.
    /// Throws `Uds::Cancelled` once closed.
    void holdUnlock(std::uint64_t handle, Uds::VehicleLink link);
    /// An unknown handle is ignored: its session may have ended with an earlier access.
    void releaseUnlock(std::uint64_t handle);

    /// Brings the control unit back to the default session, at the latest when what it is doing has
    /// ended. Does not wait for it.
    void leaveSession(const Uds::VehicleLink& link);

private:
    void endTurn() noexcept;
    void onLost(const std::wstring& text);
    void onEvent(const Uds::BusEvent& event) const;
    void keepSessions(const std::stop_token& stop);
    std::wstring failureToKeepSessions();
    void settle(const std::stop_token& stop);
    [[nodiscard]] bool holdsUnlockOn(const std::wstring& link) const;

    const std::wstring name;
    const AccessOptions options;
    Uds::Connection vehicle;
    std::stop_source closeRequest;
    std::stop_source lossRequest;
    mutable std::mutex mutex;
    std::condition_variable_any changed;
    bool turnTaken = false;
    std::wstring cause;
    std::map<std::uint64_t, Uds::VehicleLink> unlocks;
    /// Channels that have to be brought back to the default session.
    std::vector<std::shared_ptr<Uds::Channel>> unsettled;
    /// Declared last, so that the threads end before the other members are destroyed.
    std::jthread keeper;
    std::jthread settler;
};

} // namespace Quarlen::Kel_cpp
