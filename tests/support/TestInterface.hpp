#pragma once

#include <map>
#include <mutex>
#include <stop_token>
#include <string>
#include <utility>

#include "uds/VehicleInterface.hpp"

namespace Quarlen::Tests {

/// A connection that is open until it is closed, with an address of its own for each link that
/// somebody asks for. What its ends do is up to the test.
class TestInterface : public Uds::VehicleInterface {
public:
    void open(const std::stop_token& /*cancel*/) override { setState(State::Open); }
    void close() noexcept override { setState(State::Closed); }
    [[nodiscard]] State state() const override {
        const std::lock_guard lock(stateMutex);
        return current;
    }
    void onLost(OnLost listener) override { lostListener = std::move(listener); }
    [[nodiscard]] Uds::UnitAddress resolve(const Uds::UnitAddress& unit) const override {
        const std::lock_guard lock(stateMutex);
        Uds::UnitAddress resolved = unit;
        const auto next = static_cast<std::uint16_t>(addresses.size() + 1);
        resolved.physical = addresses.try_emplace(unit.link, next).first->second;
        return resolved;
    }
    std::unique_ptr<Uds::Endpoint> openFunctional(std::uint16_t /*address*/) override {
        return openEndpoint({L"", std::uint16_t{0}});
    }

    void lose(const std::wstring& cause) {
        {
            const std::lock_guard lock(stateMutex);
            lossCause = cause;
        }
        setState(State::Lost);
        lostListener(cause);
    }

protected:
    /// What an end does before it sends or receives.
    void check(const Uds::Patience& patience) const {
        const std::lock_guard lock(stateMutex);
        if (current == State::Lost) {
            throw Uds::ConnectionLost(lossCause);
        }
        if (current == State::Closed || patience.cancel.stop_requested()) {
            throw Uds::Cancelled();
        }
    }

private:
    void setState(State state) {
        const std::lock_guard lock(stateMutex);
        current = state;
    }

    mutable std::mutex stateMutex;
    State current = State::Closed;
    std::wstring lossCause;
    OnLost lostListener;
    mutable std::map<std::wstring, std::uint16_t> addresses;
};

} // namespace Quarlen::Tests
