#include "tests/vehicle_contract/VehiclesUnderTest.hpp"

#include <algorithm>
#include <cstddef>
#include <mutex>
#include <thread>

#include "doip/DoipInterface.hpp"
#include "simulation/SimulatedVehicle.hpp"
#include "tools/kel_vehicle/entity/DoipEntity.hpp"

namespace Quarlen::Tests {

namespace {

using namespace std::chrono_literals;

/// A vehicle on the network of this machine.
class NetworkVehicle {
public:
    NetworkVehicle(const Simulation::VehicleDescription& description, NetworkClock& clock)
        : clock(clock), entity(description, clock, options()) {
        entity.start();
        clock.attach({[this] { settle(); },
                      [this] { return entity.nextDue().value_or(NetworkClock::TimePoint::max()); },
                      [this] { entity.sendDue(); }});
    }
    NetworkVehicle(const NetworkVehicle&) = delete;
    NetworkVehicle& operator=(const NetworkVehicle&) = delete;
    ~NetworkVehicle() {
        clock.attach({});
        entity.stop();
    }

    std::shared_ptr<Uds::VehicleInterface> connect() {
        Doip::DoipSettings settings;
        settings.host = "127.0.0.1";
        settings.port = entity.port();
        // Whoever connects anew has the address of the tester that is still known.
        settings.tester = nextTester++;
        settings.times.control = 60s;
        settings.times.keepAlive = 1h;
        auto connection = std::make_shared<Doip::DoipInterface>(settings, clock);
        const std::lock_guard lock(mutex);
        connections.push_back(connection);
        return connection;
    }

private:
    static KelVehicle::EntityOptions options() {
        KelVehicle::EntityOptions options;
        options.port = 0;
        options.times.initialInactivity = 1h;
        return options;
    }
    /// Also a connection that the vehicle has cut has arrived at its end.
    void settle() {
        while (entity.checkAlive() || openConnections() > entity.testerCount()) {
            std::this_thread::yield();
        }
    }
    std::size_t openConnections() {
        const std::lock_guard lock(mutex);
        return static_cast<std::size_t>(
            std::count_if(connections.begin(), connections.end(), [](const auto& each) {
                const auto connection = each.lock();
                return connection && connection->state() == Uds::VehicleInterface::State::Open;
            }));
    }

    NetworkClock& clock;
    KelVehicle::DoipEntity entity;
    std::mutex mutex;
    std::vector<std::weak_ptr<Uds::VehicleInterface>> connections;
    std::uint16_t nextTester = 0x0E80;
};

} // namespace

std::vector<VehicleUnderTest> vehiclesUnderTest() {
    return {
        {"Simulation", 1h,
         [](const Simulation::VehicleDescription& description, NetworkClock& clock) {
             return [vehicle = Simulation::SimulatedVehicle(description, clock)] {
                 return vehicle.connect();
             };
         }},
        {"DoIP", 2s, [](const Simulation::VehicleDescription& description, NetworkClock& clock) {
             return [vehicle = std::make_shared<NetworkVehicle>(description, clock)] {
                 return vehicle->connect();
             };
         }}};
}

} // namespace Quarlen::Tests
