#include "simulation/SimulatedVehicle.hpp"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "simulation/SimulatedUnits.hpp"
#include "simulation/VehicleFile.hpp"
#include "uds/LinkState.hpp"

namespace Quarlen::Simulation {

namespace {

/// What the ends of one connection share.
struct Wire {
    explicit Wire(std::shared_ptr<SimulatedUnits> units) : units(std::move(units)) {}

    void close() noexcept {
        link.close();
        changed.notify_all();
    }
    void lose(const std::wstring& text) {
        link.lose(text);
        changed.notify_all();
    }

    const std::shared_ptr<SimulatedUnits> units;
    Uds::LinkState link;
    std::condition_variable_any changed;
};

/// The end of one control unit, or of all.
class SimulatedEndpoint final : public Uds::Endpoint {
public:
    SimulatedEndpoint(std::shared_ptr<Wire> wire, std::optional<std::uint16_t> address)
        : wire(std::move(wire)), address(address) {}

    void send(const Uds::Bytes& message, const Uds::Patience& patience) override;
    std::optional<Uds::Received> receive(const Uds::Patience& patience) override;

private:
    void check(const Uds::Patience& patience) const;
    void ask(const Uds::Bytes& message);
    void add(Arrival arrival);
    [[noreturn]] void waitInVain(const Uds::Patience& patience);

    const std::shared_ptr<Wire> wire;
    /// Nothing: all control units.
    const std::optional<std::uint16_t> address;
    /// In the order of their due times. Its user is one thread at a time.
    std::vector<Arrival> arriving;
};

void SimulatedEndpoint::check(const Uds::Patience& patience) const {
    wire->link.check();
    if (patience.cancel.stop_requested()) {
        throw Uds::Cancelled();
    }
}

void SimulatedEndpoint::ask(const Uds::Bytes& message) {
    if (!address) {
        for (auto& arrival : wire->units->askAll(message)) {
            add(std::move(arrival));
        }
        return;
    }
    for (auto& response : wire->units->ask(*address, message)) {
        add({response.due, {*address, std::move(response.bytes)}});
    }
}

void SimulatedEndpoint::add(Arrival arrival) {
    const auto place =
        std::upper_bound(arriving.begin(), arriving.end(), arrival.due,
                         [](const auto due, const Arrival& other) { return due < other.due; });
    arriving.insert(place, std::move(arrival));
}

/// Nobody takes the message, as on a network whose other side has stopped reading.
void SimulatedEndpoint::waitInVain(const Uds::Patience& patience) {
    {
        std::unique_lock lock(wire->link.mutex);
        wire->units->clock().waitUntil({lock, wire->changed, patience.cancel, patience.deadline},
                                       [this] { return !wire->link.isOpen(); });
    }
    check(patience);
    const std::wstring cause = L"the vehicle takes no messages any more";
    wire->lose(cause);
    throw Uds::ConnectionLost(cause);
}

void SimulatedEndpoint::send(const Uds::Bytes& message, const Uds::Patience& patience) {
    check(patience);
    try {
        ask(message);
    } catch (const Uds::ConnectionLost& loss) {
        wire->lose(loss.message());
        throw;
    } catch (const InputFull&) {
        waitInVain(patience);
    }
}

/// Only `send` adds responses and one thread uses the end, so a wait ends when the first response
/// is due.
std::optional<Uds::Received> SimulatedEndpoint::receive(const Uds::Patience& patience) {
    Platform::Clock& clock = wire->units->clock();
    const bool comes = !arriving.empty() && arriving.front().due <= patience.deadline;
    const auto end = comes ? arriving.front().due : patience.deadline;
    if (clock.now() < end) {
        std::unique_lock lock(wire->link.mutex);
        clock.waitUntil({lock, wire->changed, patience.cancel, end},
                        [this] { return !wire->link.isOpen(); });
    }
    check(patience);
    if (!comes) {
        return {};
    }
    auto message = std::move(arriving.front().message);
    arriving.erase(arriving.begin());
    return message;
}

class SimulatedInterface final : public Uds::VehicleInterface {
public:
    explicit SimulatedInterface(std::shared_ptr<SimulatedUnits> units)
        : wire(std::make_shared<Wire>(std::move(units))) {}

    void open(const std::stop_token& /*cancel*/) override { wire->link.open(); }
    void close() noexcept override { wire->close(); }
    [[nodiscard]] State state() const override { return wire->link.get(); }
    void onLost(OnLost listener) override { wire->link.onLost(std::move(listener)); }
    [[nodiscard]] Uds::UnitAddress resolve(const Uds::UnitAddress& unit) const override {
        return wire->units->resolve(unit);
    }
    std::unique_ptr<Uds::Endpoint> openEndpoint(const Uds::UnitAddress& unit) override {
        return std::make_unique<SimulatedEndpoint>(wire, unit.physical.value());
    }
    std::unique_ptr<Uds::Endpoint> openFunctional(std::uint16_t /*address*/) override {
        return std::make_unique<SimulatedEndpoint>(wire, std::nullopt);
    }

private:
    const std::shared_ptr<Wire> wire;
};

} // namespace

SimulatedVehicle::SimulatedVehicle(const VehicleDescription& description, Platform::Clock& clock)
    : units(std::make_shared<SimulatedUnits>(description, clock)) {}

std::shared_ptr<Uds::VehicleInterface> SimulatedVehicle::connect() const {
    return std::make_shared<SimulatedInterface>(units);
}

SimulatedVehicle openSimulatedVehicle(const std::filesystem::path& vehicleFile,
                                      Platform::Clock& clock) {
    return SimulatedVehicle(readVehicleFile(vehicleFile), clock);
}

} // namespace Quarlen::Simulation
