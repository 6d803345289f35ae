#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "tools/kel_vehicle/entity/TesterConnection.hpp"

namespace Quarlen::KelVehicle {

using Connections = std::vector<std::shared_ptr<TesterConnection>>;

/// The connections that serve their testers. All operations run on the loop's thread.
class Testers {
public:
    void add(std::shared_ptr<TesterConnection> connection) {
        open.push_back(std::move(connection));
    }
    void remove(const TesterConnection& connection);
    [[nodiscard]] const Connections& all() const noexcept { return open; }
    /// Those whose routing is active.
    [[nodiscard]] Connections active() const;
    /// The connection on which the tester's routing is active; null when there is none.
    [[nodiscard]] std::shared_ptr<TesterConnection> holderOf(std::uint16_t tester) const;

private:
    Connections open;
};

/// Asks all of them whether they are there, and calls `done` once each has answered or ended, at
/// once when there are none. Who has not answered within `limit` is let go; without one they have
/// all the time they need.
void checkAlive(EventLoop& loop, const Connections& asked,
                const std::optional<std::chrono::milliseconds>& limit, std::function<void()> done);

} // namespace Quarlen::KelVehicle
