#include "tests/kel_cpp/NetworkVehicle.hpp"

#include <string>

#include "simulation/VehicleFile.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

KelVehicle::EntityOptions optionsWith(std::uint16_t port) {
    KelVehicle::EntityOptions options;
    options.port = port;
    return options;
}

} // namespace

NetworkVehicle::NetworkVehicle(const Quarlen::Tests::ConfigFolder& folder, std::uint16_t port)
    : entity(Simulation::readVehicleFile(folder.config() / "vehicle.xml"), Platform::systemClock(),
             optionsWith(port)) {
    entity.start();
}

NetworkVehicle::~NetworkVehicle() {
    entity.stop();
}

void NetworkVehicle::name(const Quarlen::Tests::ConfigFolder& folder) const {
    folder.replaceIn("KelServer.xml", R"(port="13400" testerAddress)",
                     "port=\"" + std::to_string(entity.port()) +
                         "\" p2=\"60000\" deltaP2=\"60000\" testerAddress");
}

void NetworkVehicle::use(const Quarlen::Tests::ConfigFolder& folder) const {
    name(folder);
    folder.replaceIn("KelServer.xml", R"(name="Simulation" enabled="true")",
                     R"(name="Simulation" enabled="false")");
    folder.replaceIn("KelServer.xml", R"(name="DoIP" enabled="false")",
                     R"(name="DoIP" enabled="true")");
}

} // namespace Quarlen::Kel_cpp::Tests
