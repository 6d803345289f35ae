#include <atomic>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "kel_cpp/access/VehicleAccess.hpp"
#include "simulation/SimulatedVehicle.hpp"
#include "uds/Client.hpp"

/// A connection that nobody uses, until a line comes. With an argument somebody holds a session;
/// the program then writes how often it sent TesterPresent.
namespace {

using namespace Quarlen;

std::shared_ptr<Uds::VehicleInterface> vehicle() {
    Simulation::ControlUnitDescription unit;
    unit.name = L"UNIT";
    unit.link = L"LINK";
    return Simulation::SimulatedVehicle({L"", {unit}}, Platform::systemClock()).connect();
}

} // namespace

int main(int argc, char** /*argv*/) {
    std::atomic<int> sent{0};
    Kel_cpp::AccessOptions options;
    options.onBusEvent = [&sent](const Uds::BusEvent& event) {
        sent += event.kind == Uds::BusEvent::Kind::KeepAlive ? 1 : 0;
    };
    Kel_cpp::VehicleAccess access(L"Benchmark", vehicle(), Platform::systemClock(), options);
    auto link = access.openLink({L"LINK"});
    Uds::Client client(link, access.closing());
    client.request({0x10, 0x03});
    std::optional<Uds::VehicleLink> holder;
    if (argc > 1) {
        holder = access.openLink({L"LINK"});
        access.holdSession(*holder);
    }
    std::cout << "ready" << std::endl;
    for (std::string line; std::getline(std::cin, line) && line != "end";) {
        std::cout << sent << std::endl;
    }
    return 0;
}
