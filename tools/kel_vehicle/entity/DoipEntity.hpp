#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "simulation/SimulatedUnits.hpp"
#include "simulation/VehicleDescription.hpp"
#include "tools/kel_vehicle/entity/Diagnostics.hpp"
#include "tools/kel_vehicle/entity/Discovery.hpp"
#include "tools/kel_vehicle/entity/EntityOptions.hpp"
#include "tools/kel_vehicle/entity/EventLoop.hpp"
#include "tools/kel_vehicle/entity/ExchangeLog.hpp"
#include "tools/kel_vehicle/entity/RoutingActivation.hpp"
#include "tools/kel_vehicle/entity/TesterConnection.hpp"
#include "tools/kel_vehicle/entity/TesterDoor.hpp"
#include "tools/kel_vehicle/entity/Testers.hpp"
#include "tools/kel_vehicle/misbehaviour/Misbehaviour.hpp"

namespace Quarlen::KelVehicle {

/// A vehicle on the network: the gateway of ISO 13400-2 with the control units of a description
/// behind it. It serves its testers on a thread of its own. Its operations may be called from any
/// other thread; all but `start` and `stop` between those two.
class DoipEntity final : private ConnectionListener {
public:
    /// `clock` must outlive it: all times but that of `checkAlive` are the clock's.
    DoipEntity(const Simulation::VehicleDescription& vehicle, Platform::Clock& clock,
               EntityOptions options);
    DoipEntity(const DoipEntity&) = delete;
    DoipEntity& operator=(const DoipEntity&) = delete;
    // NOLINTNEXTLINE(bugprone-exception-escape): without memory for its last task the program ends
    ~DoipEntity() override;

    /// Returns once testers can come, and announces the vehicle. Once in an entity's life. Throws
    /// `std::runtime_error` that names address, port and transport when they cannot be had.
    void start();
    /// Ends all connections.
    void stop();
    [[nodiscard]] std::uint16_t port() const noexcept { return ownPort; }

    /// False, and not taken, when there are too many.
    bool add(const Misbehaviour& misbehaviour);
    void clearMisbehaviours();

    // For those who move the clock.

    /// When the next message goes to a tester.
    [[nodiscard]] std::optional<EventLoop::TimePoint> nextDue();
    /// Does everything that is due.
    void sendDue();
    /// Asks every tester whether it is there, and waits in real time until each has answered or
    /// gone, so that whatever they had sent has been served. True when a diagnostic message came
    /// meanwhile.
    [[nodiscard]] bool checkAlive();
    /// Testers whose routing is active.
    [[nodiscard]] std::size_t testerCount();

private:
    using Socket = TesterConnection::Socket;

    void onMessage(TesterConnection& from, Doip::Message message) override;
    void onHeaderFault(TesterConnection& from, const HeaderFault& fault) override;
    void onEnd(TesterConnection& connection, const std::wstring& cause) override;

    void handle(TesterConnection& from, const Doip::Message& message);
    void openPorts();
    template <class Open>
    void openNamed(const wchar_t* transport, Open open) const;
    void openPortsOf(const boost::asio::ip::address_v4& address);
    void takeIn(Socket accepted);
    void announce(int times);
    void closeAll();
    [[nodiscard]] Discovery::Facts facts(const Simulation::VehicleDescription& vehicle) const;

    const EntityOptions options;
    EventLoop loop;
    Simulation::SimulatedUnits units;
    Misbehaviours misbehaviours;
    const ExchangeLog log;
    InboxBudget budget;
    ConnectionContext context;
    Testers testers;
    RoutingActivation routing;
    Diagnostics diagnostics;
    Discovery discovery;
    TesterDoor door;
    /// All connections that hold a socket.
    std::vector<std::weak_ptr<TesterConnection>> sockets;
    Discovery::Endpoint announcementsTo;
    std::uint16_t ownPort = 0;
    bool isRunning = false;
};

} // namespace Quarlen::KelVehicle
