#include "kel_cpp/access/VehicleAccess.hpp"

#include <algorithm>
#include <utility>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "std_util/TraceHelper.hpp"
#include "uds/Client.hpp"

namespace Quarlen::Kel_cpp {

namespace {

constexpr const wchar_t* source = L"kel_cpp/access/VehicleAccess";

} // namespace

VehicleAccess::VehicleAccess(std::wstring interfaceName,
                             std::shared_ptr<Uds::VehicleInterface> vehicleInterface,
                             Platform::Clock& clock, AccessOptions accessOptions,
                             const std::stop_token& cancel)
    : name(std::move(interfaceName)),
      options(std::move(accessOptions)),
      vehicle(vehicleInterface, clock, options.timing,
              [this](const Uds::BusEvent& event) { onEvent(event); }) {
    vehicleInterface->onLost([this](const std::wstring& text) { onLost(text); });
    vehicleInterface->open(cancel);
}

VehicleAccess::~VehicleAccess() {
    close();
}

bool VehicleAccess::isOpen() const {
    return vehicle.state() == Uds::VehicleInterface::State::Open;
}

std::wstring VehicleAccess::lossCause() const {
    const std::lock_guard lock(mutex);
    return cause;
}

void VehicleAccess::close() {
    closeRequest.request_stop();
    vehicle.close();
    std::map<std::uint64_t, Uds::VehicleLink> ended;
    {
        const std::lock_guard lock(mutex);
        ended.swap(unlocks);
    }
    keeper.request_stop();
    settler.request_stop();
}

/// The sessions are gone with the connection, and so is what they had unlocked.
void VehicleAccess::onLost(const std::wstring& text) {
    std::map<std::uint64_t, Uds::VehicleLink> ended;
    {
        const std::lock_guard lock(mutex);
        cause = text;
        ended.swap(unlocks);
    }
    StdUtil::TraceHelper::ErrorTrace(source, __LINE__, L"the connection over %s is lost: %s%s",
                                     inQuotes(name).c_str(), text.c_str(),
                                     ended.empty() ? L"" : L"; the unlocks have ended with it");
    lossRequest.request_stop();
}

void VehicleAccess::onEvent(const Uds::BusEvent& event) const {
    if (event.kind == Uds::BusEvent::Kind::Locked && holdsUnlockOn(event.unit.link)) {
        StdUtil::TraceHelper::ErrorTrace(source, __LINE__,
                                         L"the unlock of logical link %s is lost: %s",
                                         inQuotes(event.unit.link).c_str(), event.text.c_str());
    }
    if (options.onBusEvent) {
        options.onBusEvent(event);
    }
}

bool VehicleAccess::holdsUnlockOn(const std::wstring& link) const {
    const std::lock_guard lock(mutex);
    return std::any_of(unlocks.begin(), unlocks.end(), [&](const auto& unlock) {
        return unlock.second.channel().unit().link == link;
    });
}

Uds::VehicleLink VehicleAccess::openLink(const Uds::UnitAddress& unit) {
    if (closeRequest.stop_requested()) {
        throw Uds::Cancelled();
    }
    return vehicle.openLink(unit);
}

void VehicleAccess::holdSession(Uds::VehicleLink& link) {
    link.holdSession();
    const std::lock_guard lock(mutex);
    if (!keeper.joinable() && !closeRequest.stop_requested()) {
        keeper = std::jthread([this](const std::stop_token& stop) { keepSessions(stop); });
    }
    changed.notify_all();
}

void VehicleAccess::keepSessions(const std::stop_token& stop) {
    std::wstring failure;
    std::unique_lock lock(mutex);
    while (!stop.stop_requested()) {
        changed.wait(lock, stop, [this] { return vehicle.holdsSessions(); });
        changed.wait_for(lock, stop, options.testerPresentInterval, [] { return false; });
        if (stop.stop_requested()) {
            return;
        }
        lock.unlock();
        const std::wstring former = std::exchange(failure, failureToKeepSessions());
        // Once, not at every interval.
        if (!failure.empty() && former.empty()) {
            StdUtil::TraceHelper::ErrorTrace(source, __LINE__, L"tester present failed: %s",
                                             failure.c_str());
        }
        lock.lock();
    }
}

/// Empty when all could be kept. A failure of a listener must not end the thread.
std::wstring VehicleAccess::failureToKeepSessions() {
    try {
        return vehicle.keepSessions();
    } catch (...) {
        return currentExceptionText();
    }
}

void VehicleAccess::leaveSession(const Uds::VehicleLink& link) {
    link.channel().leaveSession();
    const std::lock_guard lock(mutex);
    if (closeRequest.stop_requested()) {
        return;
    }
    unsettled.push_back(link.sharedChannel());
    if (!settler.joinable()) {
        settler = std::jthread([this](const std::stop_token& stop) { settle(stop); });
    }
    changed.notify_all();
}

void VehicleAccess::settle(const std::stop_token& stop) {
    std::unique_lock lock(mutex);
    while (changed.wait(lock, stop, [this] { return !unsettled.empty(); })) {
        const auto channel = std::move(unsettled.back());
        unsettled.pop_back();
        lock.unlock();
        try {
            channel->settle(stop);
        } catch (const Uds::Cancelled&) {
            // The session then ends with the session timeout S3.
        } catch (...) {
            StdUtil::TraceHelper::ErrorTrace(source, __LINE__, L"%s keeps its session until S3: %s",
                                             inQuotes(channel->unit().link).c_str(),
                                             currentExceptionText().c_str());
        }
        lock.lock();
    }
}

VehicleAccess::Turn VehicleAccess::takeTurn(const std::stop_token& cancel) {
    std::unique_lock lock(mutex);
    changed.wait(lock, cancel, [this] { return !turnTaken; });
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
    changed.notify_all();
}

void VehicleAccess::holdUnlock(std::uint64_t handle, Uds::VehicleLink link) {
    holdSession(link);
    const std::lock_guard lock(mutex);
    if (closeRequest.stop_requested()) {
        throw Uds::Cancelled();
    }
    if (!cause.empty()) {
        throw Uds::ConnectionLost(cause);
    }
    unlocks.emplace(handle, std::move(link));
}

void VehicleAccess::releaseUnlock(std::uint64_t handle) {
    const std::lock_guard lock(mutex);
    unlocks.erase(handle);
}

} // namespace Quarlen::Kel_cpp
