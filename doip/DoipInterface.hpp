#pragma once

#include <memory>

#include "doip/DoipSettings.hpp"
#include "platform/Clock.hpp"
#include "uds/VehicleInterface.hpp"

namespace Quarlen::Doip {

class TesterConnection;

/// A vehicle over Ethernet (ISO 13400-2): one TCP connection for all control units behind a
/// gateway, which need not be control units of their own logical address. A control unit is found
/// by its logical address alone. The clock measures the waits of the ends, but for the first
/// milliseconds, in which an end reads by itself; opening takes place in real time.
class DoipInterface final : public Uds::VehicleInterface {
public:
    /// `clock` must outlive the interface.
    DoipInterface(const DoipSettings& settings, Platform::Clock& clock);
    DoipInterface(const DoipInterface&) = delete;
    DoipInterface& operator=(const DoipInterface&) = delete;
    ~DoipInterface() override;

    void open(const std::stop_token& cancel) override;
    void close() noexcept override;
    [[nodiscard]] State state() const override;
    void onLost(OnLost listener) override;

    /// Throws `LinkError` for a link without an address, or one that belongs to another tester.
    [[nodiscard]] Uds::UnitAddress resolve(const Uds::UnitAddress& unit) const override;
    [[nodiscard]] std::optional<std::uint16_t> tester() const override;
    std::unique_ptr<Uds::Endpoint> openEndpoint(const Uds::UnitAddress& unit) override;
    std::unique_ptr<Uds::Endpoint> openFunctional(std::uint16_t address) override;

private:
    const std::shared_ptr<TesterConnection> connection;
};

} // namespace Quarlen::Doip
