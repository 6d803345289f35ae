#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <stop_token>

#include "tests/support/TestInterface.hpp"

namespace Quarlen::Kel_cpp::Tests {

/// A vehicle that never gets as far as to be connected: `open` waits until somebody cancels it.
class SlowVehicle : public Quarlen::Tests::TestInterface {
public:
    void open(const std::stop_token& cancel) override {
        std::unique_lock lock(mutex);
        isOpening = true;
        changed.notify_all();
        changed.wait(lock, cancel, [] { return false; });
        throw Uds::Cancelled();
    }
    std::unique_ptr<Uds::Endpoint> openEndpoint(const Uds::UnitAddress& /*unit*/) override {
        throw Uds::LinkError(L"not connected");
    }

    void waitUntilOpening() {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return isOpening; });
    }

private:
    std::mutex mutex;
    std::condition_variable_any changed;
    bool isOpening = false;
};

} // namespace Quarlen::Kel_cpp::Tests
