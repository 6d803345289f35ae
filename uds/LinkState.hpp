#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "uds/VehicleInterface.hpp"

namespace Quarlen::Uds {

/// Whether a connection to the vehicle is open, and why it is not: what every `VehicleInterface`
/// has to keep. Whoever waits for a message holds `mutex`, under which the state changes; the owner
/// wakes him after `close` and `lose`. Safe from any thread.
class LinkState {
public:
    using State = VehicleInterface::State;

    /// Only before `open`.
    void onLost(VehicleInterface::OnLost newListener) { listener = std::move(newListener); }

    /// Throws `Cancelled` after `close`: nobody opens what another thread has closed.
    void open();
    /// Waits until the listener of a loss has returned, unless the listener itself closes.
    void close() noexcept;
    /// Only an open connection is lost, and only once. Returns after the listener has been told;
    /// until then nobody else finds the connection lost.
    void lose(const std::wstring& text);

    [[nodiscard]] State get() const noexcept { return state; }
    [[nodiscard]] bool isOpen() const noexcept { return state == State::Open; }
    /// True while the listener is told.
    [[nodiscard]] bool isBeingLost() const noexcept { return losing; }
    /// Throws `ConnectionLost` with the cause, or `Cancelled`, where the connection is not open.
    void check() const;

    mutable std::mutex mutex;

private:
    void endLoss();
    struct EndLoss {
        void operator()(LinkState* link) const { link->endLoss(); }
    };

    /// Changed with the mutex held.
    std::atomic<State> state = State::Closed;
    std::atomic<bool> losing = false;
    bool hasBeenClosed = false;
    /// Who tells the listener, and when that has been done.
    std::thread::id teller;
    std::condition_variable told;
    std::wstring cause;
    VehicleInterface::OnLost listener;
};

} // namespace Quarlen::Uds
