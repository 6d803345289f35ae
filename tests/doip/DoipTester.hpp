#pragma once

#include <chrono>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "doip/DoipInterface.hpp"
#include "tests/doip/ScriptedVehicle.hpp"
#include "tests/support/FakeClock.hpp"
#include "uds/LinkError.hpp"

namespace Quarlen::Doip::Tests {

/// A tester and a vehicle that the test plays.
class DoipTester : public testing::Test {
protected:
    void make(DoipSettings settings, Platform::Clock& clock = Platform::systemClock()) {
        settings.onNote = [this](const std::wstring& text) {
            const std::lock_guard lock(mutex);
            notes.push_back(text);
            noter = std::this_thread::get_id();
            noted.notify_all();
        };
        tester = std::make_unique<DoipInterface>(settings, clock);
        tester->onLost([this](const std::wstring& cause) { lost.set_value(cause); });
    }
    std::future<void> openLater(std::stop_token cancel = {}) {
        return std::async(std::launch::async, [this, cancel] { tester->open(cancel); });
    }
    /// A connection as it is used.
    void open() {
        auto settings = vehicle.settings();
        settings.times.acknowledgement = longTime;
        open(settings, Platform::systemClock());
    }
    void open(Platform::Clock& clock) { open(vehicle.settings(), clock); }
    void open(const DoipSettings& settings, Platform::Clock& clock) {
        make(settings, clock);
        auto opening = openLater();
        vehicle.activate();
        opening.get();
    }
    /// As if the test began here.
    void reset() {
        tester.reset();
        vehicle.close();
        notes.clear();
        lost = {};
    }
    /// What the tester has sent back is behind everything that it has taken before.
    void expectAlive() {
        vehicle.send(PayloadType::AliveCheckRequest, {});
        vehicle.expect(PayloadType::AliveCheckResponse);
    }
    /// The same without a word of the tester.
    void awaitNote() {
        vehicle.send(static_cast<PayloadType>(0xF0F0), {});
        std::unique_lock lock(mutex);
        noted.wait(lock, [this] { return !notes.empty(); });
    }
    std::unique_ptr<Uds::Endpoint> endOf(std::uint16_t address) {
        return tester->openEndpoint(tester->resolve({L"LINK", address}));
    }
    static void send(Uds::Endpoint& end, const char* request) {
        end.send(Quarlen::Tests::hex(request), {{}, Platform::systemClock().now() + longTime});
    }
    static Uds::Received receive(Uds::Endpoint& end) {
        return end.receive({{}, Platform::systemClock().now() + longTime}).value();
    }
    std::wstring lossOf() { return lost.get_future().get(); }
    template <class Error>
    static std::wstring messageOf(std::future<void> opening) {
        try {
            opening.get();
        } catch (const Error& error) {
            return error.message();
        }
        return L"nothing thrown";
    }

    static constexpr std::uint16_t unit = 0x0011;
    /// Longer than any machine needs.
    static constexpr std::chrono::seconds longTime{60};

    ScriptedVehicle vehicle;
    Quarlen::Tests::FakeClock fake;
    std::mutex mutex;
    std::vector<std::wstring> notes;
    /// The connection's own thread, where nobody else reads.
    std::thread::id noter;
    std::condition_variable noted;
    std::promise<std::wstring> lost;
    std::unique_ptr<DoipInterface> tester;
};

} // namespace Quarlen::Doip::Tests
