#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <stop_token>
#include <vector>

#include "kel_cpp/projects/Project.hpp"
#include "platform/Clock.hpp"
#include "uds/Client.hpp"
#include "uds/VehicleLink.hpp"

namespace Quarlen::Kel_cpp {

/// The times that a reprogramming needs.
struct FlashTimes {
    /// Must outlive the job.
    Platform::Clock& clock;
    /// The date that the control unit keeps.
    std::function<std::chrono::system_clock::time_point()> now = std::chrono::system_clock::now;
};

/// Carries out the steps of one reprogramming, each once the one before has succeeded. Used by one
/// thread.
class FlashSequence {
public:
    /// Called before each step with its number, from 1.
    using OnStep = std::function<void(std::size_t number)>;
    /// Erases, downloads and checks what the job has to flash.
    using FlashAll = std::function<void()>;

    /// All arguments must outlive the sequence.
    FlashSequence(Uds::VehicleLink& link, const FlashItem& item, const FlashTimes& times,
                  const std::stop_token& cancel)
        : client(link, cancel), item(item), times(times), cancel(cancel) {}

    /// Throws `FlashError`, `Uds::LinkError`, `Uds::NegativeResponse`, `Uds::Cancelled`, what
    /// `flashAll` throws.
    void run(const std::vector<FlashStep>& steps, const FlashAll& flashAll, const OnStep& onStep);

private:
    void execute(const FlashRequest& step) { client.request(step.request); }
    void execute(const FlashUnlock& /*step*/) { client.unlock(item.securityLevel, item.keyMask); }
    void execute(const FlashFingerprint& step);
    void execute(const FlashDependencies& step);
    void execute(const FlashReset& step);
    void awaitAnswer(std::chrono::milliseconds bootTime);
    [[nodiscard]] bool answers();

    Uds::Client client;
    const FlashItem& item;
    const FlashTimes& times;
    const std::stop_token& cancel;
};

} // namespace Quarlen::Kel_cpp
