#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>

#include "kel_cpp/access/HeldUnlock.hpp"
#include "kel_cpp/vehicle/VehicleLink.hpp"

namespace Quarlen::Kel_cpp {

/// The open way to the vehicle: an interface, the turn of the one who uses it, and the unlock
/// sessions held over it. Shared by the selection and the jobs that run over it; safe from any
/// thread.
class VehicleAccess {
public:
    VehicleAccess(std::wstring interfaceName, std::shared_ptr<VehicleInterface> openInterface);
    VehicleAccess(const VehicleAccess&) = delete;
    VehicleAccess& operator=(const VehicleAccess&) = delete;
    ~VehicleAccess();

    [[nodiscard]] const std::wstring& interfaceName() const noexcept { return name; }
    [[nodiscard]] bool uses(const std::shared_ptr<VehicleInterface>& candidate) const;

    /// Ends the unlock sessions and raises `closing`. Closing twice is harmless.
    void close();
    /// Raised once the access is closed; whatever runs over it ends then.
    [[nodiscard]] std::stop_token closing() const { return closeRequest.get_token(); }

    /// Throws `LinkError`; `Uds::Cancelled` once the access is closed.
    [[nodiscard]] std::unique_ptr<VehicleLink> openLink(const std::wstring& logicalLink) const;

    struct EndTurn {
        void operator()(VehicleAccess* access) const noexcept { access->endTurn(); }
    };
    /// Gives the turn back when it goes. Must not outlive the access.
    using Turn = std::unique_ptr<VehicleAccess, EndTurn>;

    /// Waits until nobody else has the turn: jobs and services that change a control unit's state
    /// run one after the other. Throws `Uds::Cancelled` when `cancel` is raised meanwhile.
    [[nodiscard]] Turn takeTurn(const std::stop_token& cancel);

    /// Keeps the unlock until `releaseUnlock` or `close`. Throws `Uds::Cancelled` once closed.
    void holdUnlock(std::uint64_t handle, std::unique_ptr<HeldUnlock> unlock);
    /// An unknown handle is ignored: its session may have ended with an earlier access.
    void releaseUnlock(std::uint64_t handle);

private:
    void endTurn() noexcept;

    const std::wstring name;
    const std::shared_ptr<VehicleInterface> vehicleInterface;
    std::stop_source closeRequest;
    std::mutex mutex;
    std::condition_variable_any turnEnded;
    bool turnTaken = false;
    std::map<std::uint64_t, std::unique_ptr<HeldUnlock>> unlocks;
};

} // namespace Quarlen::Kel_cpp
