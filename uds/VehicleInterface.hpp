#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "platform/Clock.hpp"
#include "uds/LinkError.hpp"
#include "uds/Uds.hpp"

/// What a way to the vehicle offers: a connection with one end for each control unit, over which
/// whole UDS messages go as bytes. A simulated vehicle and a real one are used alike. Everything
/// that a diagnostic tester does with the messages is done above it.
namespace Quarlen::Uds {

/// How a control unit is reached. The logical link is the project's name for it; the addresses are
/// logical addresses of ISO 13400-2 (clause 7.9), where the project says them.
struct UnitAddress {
    std::wstring link;
    std::optional<std::uint16_t> physical{};
    std::optional<std::uint16_t> functional{};
    std::optional<std::uint16_t> tester{};
};

/// How long somebody waits, and what ends the wait.
struct Patience {
    std::stop_token cancel;
    Platform::Clock::TimePoint deadline;
};

struct Received {
    /// Of the control unit that sent it.
    std::uint16_t source = 0;
    Bytes bytes;
};

/// The end of one control unit, or of all that a functional address reaches. Its user waits on one
/// thread at a time.
class Endpoint {
public:
    Endpoint() = default;
    Endpoint(const Endpoint&) = delete;
    Endpoint& operator=(const Endpoint&) = delete;
    virtual ~Endpoint() = default;

    /// Returns once the message is on its way. Throws `ConnectionLost`, also when nobody has taken
    /// the message at the deadline; `MessageRefused`; `Cancelled`.
    virtual void send(const Bytes& message, const Patience& patience) = 0;
    /// The next message in the order of arrival; nothing when none came up to the deadline. One
    /// that came in time counts, however late the caller looks. Throws `ConnectionLost`,
    /// `MessageRefused`, `Cancelled`.
    virtual std::optional<Received> receive(const Patience& patience) = 0;
};

/// A connection to the vehicle. Safe from any thread. An end must not outlive its connection.
class VehicleInterface {
public:
    enum class State { Closed, Open, Lost };
    using OnLost = std::function<void(const std::wstring& cause)>;

    VehicleInterface() = default;
    VehicleInterface(const VehicleInterface&) = delete;
    VehicleInterface& operator=(const VehicleInterface&) = delete;
    virtual ~VehicleInterface() = default;

    /// Throws `ConnectionLost` when nobody is there, `RoutingRefused`, `Cancelled`.
    virtual void open(const std::stop_token& cancel) = 0;
    /// Frees everybody who waits in an end of it, with `Cancelled`. Does not wait for the vehicle.
    virtual void close() noexcept = 0;
    [[nodiscard]] virtual State state() const = 0;
    /// Called once when an open connection is lost, by the thread that notices it, before anybody
    /// hears of it by an exception. Only before `open`.
    virtual void onLost(OnLost listener) = 0;

    /// The address with all that this connection knows itself. Throws `LinkError` when the vehicle
    /// has no such logical link.
    [[nodiscard]] virtual UnitAddress resolve(const UnitAddress& unit) const = 0;
    /// The logical address of the tester, where the whole connection has one.
    [[nodiscard]] virtual std::optional<std::uint16_t> tester() const { return std::nullopt; }
    /// The end of a control unit whose address was resolved.
    virtual std::unique_ptr<Endpoint> openEndpoint(const UnitAddress& unit) = 0;
    /// The end of all control units that listen to the functional address.
    virtual std::unique_ptr<Endpoint> openFunctional(std::uint16_t address) = 0;
};

} // namespace Quarlen::Uds
