#pragma once

#include <cstdint>
#include <functional>
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

    /// Says for each whether it answers, positively or negatively. Units with a functional address
    /// get one request together, and P2 to answer it. Those that have not, and all others, are then
    /// asked each for itself at the same time, which takes another P2 at the most; one that
    /// somebody uses is asked when its exchange is over. A unit without a link, or whose gateway
    /// refuses the message, does not answer. Throws `ConnectionLost`, `Cancelled`.
    [[nodiscard]] std::vector<bool> whoAnswers(const std::vector<UnitAddress>& units,
                                               const Bytes& request, const std::stop_token& cancel);

    /// Sends one request to all control units that listen to the functional address, and collects
    /// what comes until P2 has passed. Throws `ConnectionLost`, `MessageRefused`, `Cancelled`.
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
    /// By physical address, so that all who wait for several turns do it in the same order: nobody
    /// waits for another one's turn who waits for his.
    using Units = std::map<std::uint16_t, std::shared_ptr<Channel>>;
    using Until = std::function<bool(const Received&)>;
    std::vector<Received> collect(std::uint16_t functionalAddress, const Bytes& request,
                                  const std::stop_token& cancel, const Until& isLast);
    void askTogether(Units& silent, const Bytes& request, const std::stop_token& cancel);
    void askGroup(std::uint16_t functionalAddress, Units& silent, const Bytes& request,
                  const std::stop_token& cancel);
    void askEach(Units& silent, const Bytes& request, const std::stop_token& cancel);
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
