#pragma once

#include <memory>
#include <stop_token>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/FakeClock.hpp"
#include "tests/support/HexBytes.hpp"
#include "tests/support/KeptBusEvent.hpp"
#include "tests/support/ScriptedEndpoint.hpp"
#include "uds/VehicleLink.hpp"

namespace Quarlen::Uds::Tests {

/// A channel whose control unit answers as scripted.
class ChannelFixture : public testing::Test {
protected:
    [[nodiscard]] std::chrono::milliseconds elapsed() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(clock.now() - begin);
    }
    std::string exchange(const char* request) {
        return Quarlen::Tests::hex(
            link.channel().exchange(Quarlen::Tests::hex(request), cancel.get_token()));
    }
    void answerNext(const char* response) {
        script.answerNext({{std::chrono::milliseconds(0), Quarlen::Tests::hex(response)}});
    }
    [[nodiscard]] std::string lastRequest() const {
        return script.requests.empty() ? "" : Quarlen::Tests::hex(script.requests.back());
    }

    Quarlen::Tests::FakeClock clock;
    Platform::Clock::TimePoint begin = clock.now();
    Quarlen::Tests::EndpointScript script;
    std::stop_source cancel;
    std::vector<Quarlen::Tests::KeptBusEvent> events;
    VehicleLink link{std::make_shared<Channel>(
        UnitAddress{L"LINK", std::uint16_t{0x10}},
        std::make_unique<Quarlen::Tests::ScriptedEndpoint>(script, clock), clock, Timing{},
        [this](const BusEvent& event) { events.push_back(event); })};
};

} // namespace Quarlen::Uds::Tests
