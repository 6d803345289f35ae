#include "kel_cpp/access/HeldUnlock.hpp"

#include <condition_variable>
#include <mutex>
#include <utility>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "std_util/TraceHelper.hpp"
#include "uds/Uds.hpp"

namespace Quarlen::Kel_cpp {

HeldUnlock::HeldUnlock(std::unique_ptr<Uds::VehicleLink> unlockedLink,
                       std::chrono::milliseconds interval)
    : link(std::move(unlockedLink)),
      thread([this, interval](const std::stop_token& stop) { keepAlive(stop, interval); }) {}

void HeldUnlock::keepAlive(const std::stop_token& stop, std::chrono::milliseconds interval) {
    std::mutex mutex;
    std::condition_variable_any stopped;
    std::unique_lock lock(mutex);
    for (;;) {
        stopped.wait_for(lock, stop, interval, [] { return false; });
        if (stop.stop_requested()) {
            return;
        }
        sendTesterPresent();
    }
}

void HeldUnlock::sendTesterPresent() {
    using namespace Uds;
    try {
        link->send(
            {static_cast<std::uint8_t>(Service::TesterPresent), suppressPositiveResponseBit});
        while (link->receive(std::chrono::milliseconds{0})) {
            // Received messages are dropped, so that they do not pile up in the link.
        }
        failing = false;
    } catch (...) {
        if (!std::exchange(failing, true)) {
            StdUtil::TraceHelper::ErrorTrace(L"kel_cpp/access/HeldUnlock", __LINE__,
                                             L"tester present failed: %s",
                                             currentExceptionText().c_str());
        }
    }
}

} // namespace Quarlen::Kel_cpp
