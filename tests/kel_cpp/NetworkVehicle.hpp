#pragma once

#include <cstddef>
#include <cstdint>

#include "tests/support/ConfigFolder.hpp"
#include "tools/kel_vehicle/entity/DoipEntity.hpp"

namespace Quarlen::Kel_cpp::Tests {

/// The vehicle of a configuration folder on the network of this machine, in real time.
class NetworkVehicle {
public:
    /// Port 0 is any that is free.
    explicit NetworkVehicle(const Quarlen::Tests::ConfigFolder& folder, std::uint16_t port = 0);
    NetworkVehicle(const NetworkVehicle&) = delete;
    NetworkVehicle& operator=(const NetworkVehicle&) = delete;
    ~NetworkVehicle();

    /// The folder's interface "DoIP" leads to it. The runtime reads that when it starts.
    void name(const Quarlen::Tests::ConfigFolder& folder) const;
    /// The folder's interface "DoIP" leads to it, and is the one that is used.
    void use(const Quarlen::Tests::ConfigFolder& folder) const;
    [[nodiscard]] std::uint16_t port() const noexcept { return entity.port(); }
    /// Testers that are connected to it.
    [[nodiscard]] std::size_t testers() { return entity.testerCount(); }

private:
    KelVehicle::DoipEntity entity;
};

} // namespace Quarlen::Kel_cpp::Tests
