#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "platform/Clock.hpp"
#include "uds/BusEvent.hpp"
#include "uds/Timing.hpp"
#include "uds/VehicleInterface.hpp"
#include "uds/VehicleLink.hpp"

namespace Quarlen::Uds {

/// What the users of a connection share: one channel for each control unit (logical address), made
/// when the first link to it is opened. Safe from any thread.
class Connection {
public:
    /// The interface is open. `clock` must outlive the connection; `onEvent` must not be empty.
    Connection(std::shared_ptr<VehicleInterface> openInterface, Platform::Clock& clock,
               const Timing& timing, OnBusEvent onEvent);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

    /// Throws `LinkError` when the vehicle has no such logical link.
    [[nodiscard]] VehicleLink openLink(const UnitAddress& unit);

    /// Asks all of them at the same time and says for each whether it answers within P2, positively
    /// or negatively. A unit without a link does not answer. Throws `ConnectionLost`, `Cancelled`.
    [[nodiscard]] std::vector<bool> whoAnswers(const std::vector<UnitAddress>& units,
                                               const Bytes& request, const std::stop_token& cancel);

    /// Sends one request to all control units that listen to the functional address, and collects
    /// what comes until P2 has passed. Throws `ConnectionLost`, `Cancelled`.
    [[nodiscard]] std::vector<Received> requestFromAll(std::uint16_t functionalAddress,
                                                       const Bytes& request,
                                                       const std::stop_token& cancel);

    /// Keeps the sessions that somebody holds. Says why the first of them could not be kept; empty
    /// when all could.
    std::wstring keepSessions();
    [[nodiscard]] bool holdsSessions();

    /// Frees everybody who waits, with `Cancelled`.
    void close() noexcept { vehicleInterface->close(); }
    [[nodiscard]] VehicleInterface::State state() const { return vehicleInterface->state(); }

private:
    [[nodiscard]] std::shared_ptr<Channel> channelOf(const UnitAddress& unit);
    [[nodiscard]] std::shared_ptr<Channel> channelIfThere(const UnitAddress& unit);
    [[nodiscard]] std::shared_ptr<Channel> channelAt(std::uint16_t address);
    [[nodiscard]] std::vector<std::shared_ptr<Channel>> heldChannels();

    const std::shared_ptr<VehicleInterface> vehicleInterface;
    Platform::Clock& clock;
    const Timing timing;
    const OnBusEvent onEvent;
    std::mutex mutex;
    /// By physical address.
    std::map<std::uint16_t, std::shared_ptr<Channel>> channels;
};

} // namespace Quarlen::Uds
