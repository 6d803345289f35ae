#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>

#include "kel_cpp/access/HeldUnlock.hpp"
#include "uds/VehicleLink.hpp"

namespace Quarlen::Kel_cpp {

/// The open connection to the vehicle: an interface, the turn that serializes the work of jobs and
/// services, and the unlock sessions, which the access owns and which send TesterPresent on threads
/// of their own. The selection and the jobs that use the access share its ownership; closing it
/// cancels them. A job takes the turn, opens a logical link and talks UDS over the link on the
/// job's thread. Safe from any thread.
class VehicleAccess {
public:
    VehicleAccess(std::wstring interfaceName, std::shared_ptr<Uds::VehicleInterface> openInterface);
    VehicleAccess(const VehicleAccess&) = delete;
    VehicleAccess& operator=(const VehicleAccess&) = delete;
    ~VehicleAccess();

    [[nodiscard]] const std::wstring& interfaceName() const noexcept { return name; }
    [[nodiscard]] bool uses(const std::shared_ptr<Uds::VehicleInterface>& candidate) const;

    /// Ends the unlock sessions and raises `closing`. Closing twice is harmless.
    void close();
    /// Raised once the access is closed; the jobs and services that use it then end.
    [[nodiscard]] std::stop_token closing() const { return closeRequest.get_token(); }

    /// Throws `Uds::LinkError`; `Uds::Cancelled` once the access is closed.
    [[nodiscard]] std::unique_ptr<Uds::VehicleLink> openLink(const std::wstring& logicalLink) const;

    struct EndTurn {
        void operator()(VehicleAccess* access) const noexcept { access->endTurn(); }
    };
    /// The turn of one owner; its destructor gives the turn back. Must not outlive the access.
    using Turn = std::unique_ptr<VehicleAccess, EndTurn>;

    /// Waits until the turn is free: jobs and services that change a control unit's state run one
    /// after the other. Throws `Uds::Cancelled` when `cancel` is raised meanwhile.
    [[nodiscard]] Turn takeTurn(const std::stop_token& cancel);

    /// Keeps the unlock until `releaseUnlock` or `close`. Throws `Uds::Cancelled` once closed.
    void holdUnlock(std::uint64_t handle, std::unique_ptr<HeldUnlock> unlock);
    /// An unknown handle is ignored: its session may have ended with an earlier access.
    void releaseUnlock(std::uint64_t handle);

private:
    void endTurn() noexcept;

    const std::wstring name;
    const std::shared_ptr<Uds::VehicleInterface> vehicleInterface;
    std::stop_source closeRequest;
    std::mutex mutex;
    std::condition_variable_any turnEnded;
    bool turnTaken = false;
    std::map<std::uint64_t, std::unique_ptr<HeldUnlock>> unlocks;
};

} // namespace Quarlen::Kel_cpp
