#include "kel_cpp/access/VehicleAccess.hpp"

#include <utility>

#include "uds/Client.hpp"

namespace Quarlen::Kel_cpp {

VehicleAccess::VehicleAccess(std::wstring interfaceName,
                             std::shared_ptr<Uds::VehicleInterface> openInterface)
    : name(std::move(interfaceName)), vehicleInterface(std::move(openInterface)) {}

VehicleAccess::~VehicleAccess() {
    close();
}

bool VehicleAccess::uses(const std::shared_ptr<Uds::VehicleInterface>& candidate) const {
    return vehicleInterface == candidate;
}

void VehicleAccess::close() {
    closeRequest.request_stop();
    std::map<std::uint64_t, std::unique_ptr<HeldUnlock>> ended;
    {
        const std::lock_guard lock(mutex);
        ended.swap(unlocks);
    }
}

std::unique_ptr<Uds::VehicleLink> VehicleAccess::openLink(const std::wstring& logicalLink) const {
    if (closeRequest.stop_requested()) {
        throw Uds::Cancelled();
    }
    return vehicleInterface->openLink(logicalLink);
}

VehicleAccess::Turn VehicleAccess::takeTurn(const std::stop_token& cancel) {
    std::unique_lock lock(mutex);
    turnEnded.wait(lock, cancel, [this] { return !turnTaken; });
    // Checked even when the turn is free: its last owner may have ended by the same cancel.
    if (cancel.stop_requested()) {
        throw Uds::Cancelled();
    }
    turnTaken = true;
    return Turn(this);
}

void VehicleAccess::endTurn() noexcept {
    {
        const std::lock_guard lock(mutex);
        turnTaken = false;
    }
    turnEnded.notify_all();
}

void VehicleAccess::holdUnlock(std::uint64_t handle, std::unique_ptr<HeldUnlock> unlock) {
    const std::lock_guard lock(mutex);
    if (closeRequest.stop_requested()) {
        throw Uds::Cancelled();
    }
    unlocks.emplace(handle, std::move(unlock));
}

void VehicleAccess::releaseUnlock(std::uint64_t handle) {
    std::unique_ptr<HeldUnlock> ended;
    const std::lock_guard lock(mutex);
    if (const auto found = unlocks.find(handle); found != unlocks.end()) {
        ended = std::move(found->second);
        unlocks.erase(found);
    }
    // The lock is released before `ended` is destroyed, which waits for the thread of the session.
}

} // namespace Quarlen::Kel_cpp
