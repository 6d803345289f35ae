#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "simulation/SimulatedControlUnit.hpp"
#include "tests/support/FakeClock.hpp"
#include "tests/support/HexBytes.hpp"
#include "uds/SeedKey.hpp"

namespace Quarlen::Simulation::Tests {

using Quarlen::Tests::hex;

/// A small control unit with one of everything.
inline ControlUnitDescription smallControlUnit() {
    ControlUnitDescription unit;
    unit.name = L"UNIT";
    unit.address = 0x10;
    unit.link = L"LINK";
    unit.dataIdentifiers = {
        {0xF190, {'V', 'I', 'N'}, false, {}},
        {0xF195, {'1'}, false, {}},
        {0xF15A, {0, 0}, true, {Uds::Session::Extended, 1}},
        {0x0100, {7}, true, {}},
        {0x0120, {1, 2}, true, {Uds::Session::Extended, 0}, true},
        {0x0121, {9}, false, {Uds::Session::Programming, 1}, true},
        {0x0122, {9}, false, {Uds::Session::Extended, 1}, true},
    };
    unit.dtcs = {{0x030100, 0x2F}, {0x017100, 0x24}, {0x042000, 0x50}};
    unit.securityLevels = {{1, 0x5A3C96E1}, {3, 0x01020304}};
    unit.routines = {{0x0203, {0xAA}, std::chrono::milliseconds{0}, {Uds::Session::Extended, 0}},
                     {0x0204, {}, std::chrono::milliseconds{4500}, {}},
                     {0x0205, {}, std::chrono::milliseconds{0}, {Uds::Session::Extended, 1}}};
    unit.flashMemories = {{0x1000, 0x100, 34, std::chrono::milliseconds{0}, 1},
                          {0x8000, 0x100, 70000, std::chrono::milliseconds{1000}, 1}};
    return unit;
}

/// What is asked and what must come, as hexadecimal texts.
struct Exchange {
    const char* request;
    const char* response;
};

class ControlUnitFixture : public testing::Test {
protected:
    /// The bytes of all responses in hexadecimal, "|" between them.
    std::string ask(const std::string& request) { return ask(hex(request)); }

    std::string ask(const Uds::Bytes& request) {
        std::string text;
        for (const auto& response : unit->handle(request)) {
            text.append(text.empty() ? "" : "|").append(hex(response.bytes));
        }
        return text;
    }

    void unlock(std::uint8_t level, std::uint32_t mask) {
        const auto seed = unit->handle({0x27, level}).front().bytes;
        Uds::Bytes request{0x27, static_cast<std::uint8_t>(level + 1)};
        const auto key = Uds::keyForSeed({seed.begin() + 2, seed.end()}, mask);
        request.insert(request.end(), key.begin(), key.end());
        const Uds::Bytes unlocked{0x67, static_cast<std::uint8_t>(level + 1)};
        ASSERT_EQ(unit->handle(request).front().bytes, unlocked);
    }

    void enterProgramming() {
        ask("10 02");
        unlock(1, 0x5A3C96E1);
    }

    Quarlen::Tests::FakeClock clock;
    std::unique_ptr<SimulatedControlUnit> unit =
        std::make_unique<SimulatedControlUnit>(smallControlUnit(), clock);
};

} // namespace Quarlen::Simulation::Tests
