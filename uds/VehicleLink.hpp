#pragma once

#include <memory>
#include <utility>

#include "uds/Channel.hpp"

namespace Quarlen::Uds {

/// A logical link to one control unit: a handle on its channel, which all links to the control unit
/// share. The caller owns the link.
class VehicleLink {
public:
    explicit VehicleLink(std::shared_ptr<Channel> channel) : shared(std::move(channel)) {}
    VehicleLink(VehicleLink&& other) noexcept = default;
    VehicleLink& operator=(VehicleLink&& other) noexcept = default;
    VehicleLink(const VehicleLink&) = delete;
    VehicleLink& operator=(const VehicleLink&) = delete;
    ~VehicleLink() = default;

    [[nodiscard]] Channel& channel() const noexcept { return *shared; }
    [[nodiscard]] const std::shared_ptr<Channel>& sharedChannel() const noexcept { return shared; }

    /// From now on, as long as the link lives, the control unit is kept in its session.
    void holdSession() {
        if (!hold) {
            shared->holdSession();
            hold = Hold(shared.get());
        }
    }

private:
    struct Release {
        void operator()(Channel* channel) const noexcept { channel->releaseSession(); }
    };
    using Hold = std::unique_ptr<Channel, Release>;

    std::shared_ptr<Channel> shared;
    Hold hold;
};

} // namespace Quarlen::Uds
