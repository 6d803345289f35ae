#pragma once

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstdint>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>
#include <gmock/gmock.h>

#include "doip/MessageReader.hpp"
#include "doip/Payloads.hpp"
#include "tests/support/FakeClock.hpp"
#include "tools/kel_vehicle/entity/DoipEntity.hpp"
#include "tools/kel_vehicle/entity/EntityLimits.hpp"

namespace Quarlen::KelVehicle::Tests {

/// Of a routing activation that succeeds.
inline constexpr int activated = 0x10;

/// A tester that does nothing by itself, over a real connection.
class ScriptedTester {
public:
    explicit ScriptedTester(std::uint16_t port) {
        socket.connect({boost::asio::ip::address_v4::loopback(), port});
    }
    void send(Doip::PayloadType type, const Doip::Bytes& payload) {
        sendRaw(Doip::encode(type, payload));
    }
    void sendRaw(const Doip::Bytes& bytes) { (void)trySend(bytes); }
    /// False when the entity has ended the connection.
    bool trySend(const Doip::Bytes& bytes) {
        boost::system::error_code gone;
        boost::asio::write(socket, boost::asio::buffer(bytes), gone);
        return !gone.failed();
    }
    /// Without waiting until the entity takes more. How many bytes the system has taken.
    std::size_t sendSome(const Doip::Bytes& bytes) {
        boost::system::error_code full;
        socket.non_blocking(true);
        return socket.write_some(boost::asio::buffer(bytes), full);
    }
    void close() { socket.close(); }
    /// Closes it so that the entity hears of a failure instead of an end.
    void reset() {
        socket.set_option(boost::asio::socket_base::linger(true, 0));
        socket.close();
    }
    /// As the entity calls it: "127.0.0.1:51234".
    [[nodiscard]] std::string name() const {
        return "127.0.0.1:" + std::to_string(socket.local_endpoint().port());
    }
    /// Nothing when the entity has ended the connection.
    std::optional<Doip::Message> receive() {
        for (;;) {
            if (auto message = reader.next()) {
                return message;
            }
            std::array<std::uint8_t, 4096> bytes{};
            const auto count = socket.read_some(boost::asio::buffer(bytes), end);
            if (end) {
                return {};
            }
            reader.add(std::span(bytes).first(count));
            arrivedBytes += count;
        }
    }
    /// That have come so far.
    [[nodiscard]] std::size_t bytes() const { return arrivedBytes; }
    bool isClosed() { return !receive().has_value(); }
    bool isReset() { return isClosed() && end == boost::asio::error::connection_reset; }
    [[nodiscard]] bool isInMessage() const { return reader.isInMessage(); }
    /// The code of the response.
    int activate(std::uint16_t address = 0x0E80, std::uint8_t type = Doip::activationDefault) {
        send(Doip::PayloadType::RoutingActivationRequest,
             Doip::encode(Doip::RoutingActivationRequest{address, type}));
        const auto response = receive();
        return response && response->is(Doip::PayloadType::RoutingActivationResponse)
                   ? Doip::decodeRoutingActivationResponse(response->payload).code
                   : -1;
    }
    void request(const Uds::Bytes& data, std::uint16_t target = 0x10,
                 std::uint16_t source = 0x0E80) {
        send(Doip::PayloadType::DiagnosticMessage,
             Doip::encode(Doip::DiagnosticMessage{source, target, data}));
    }
    bool isAcknowledged() {
        const auto message = receive();
        return message && message->is(Doip::PayloadType::DiagnosticMessageAck);
    }
    Uds::Bytes answer() {
        const auto message = receive();
        return message && message->is(Doip::PayloadType::DiagnosticMessage)
                   ? Doip::decodeDiagnosticMessage(message->payload).data
                   : Uds::Bytes();
    }
    /// The code of a negative acknowledgement of a message.
    int nack() {
        const auto message = receive();
        return message && message->is(Doip::PayloadType::DiagnosticMessageNack)
                   ? Doip::decodeDiagnosticAck(message->payload).code
                   : -1;
    }
    int headerNack() {
        const auto message = receive();
        return message && message->is(Doip::PayloadType::HeaderNack)
                   ? Doip::decodeHeaderNack(message->payload)
                   : -1;
    }

private:
    boost::asio::io_context context;
    boost::asio::ip::tcp::socket socket{context};
    boost::system::error_code end;
    Doip::MessageReader reader{maxPayload};
    std::size_t arrivedBytes = 0;
};

/// A tester that is let in, and a second one because of whom the entity asks whether the first is
/// still there.
struct AskedTester {
    explicit AskedTester(std::uint16_t port, std::uint16_t secondAddress = 0x0E80)
        : first(port), second(port) {
        EXPECT_EQ(first.activate(), activated);
        code = std::async(std::launch::async,
                          [this, secondAddress] { return second.activate(secondAddress); });
        EXPECT_TRUE(first.receive().value().is(Doip::PayloadType::AliveCheckRequest));
    }
    void answer(std::uint16_t address = 0x0E80) {
        first.send(Doip::PayloadType::AliveCheckResponse, Doip::encodeAddress(address));
    }

    ScriptedTester first;
    ScriptedTester second;
    /// Of the response to the second one.
    std::future<int> code;
};

/// A vehicle of two control units, 0x10 and 0x11.
class EntityTest : public testing::Test {
protected:
    EntityTest() {
        options.port = 0;
        // No machine is so slow.
        options.times.initialInactivity = options.times.aliveCheck = std::chrono::minutes(10);
    }
    void start(Platform::Clock& time = Platform::systemClock()) {
        options.log = [this](const std::string& line) {
            const std::lock_guard lock(mutex);
            log.push_back(line);
            logged.notify_all();
        };
        Simulation::VehicleDescription vehicle;
        vehicle.vin = L"VIN00000000000001";
        vehicle.gid = {2, 0, 0, 0, 0, 9};
        for (const auto address : {std::uint16_t{0x10}, std::uint16_t{0x11}}) {
            Simulation::ControlUnitDescription unit;
            unit.address = address;
            unit.link = L"L" + std::to_wstring(address);
            unit.faults = faults;
            vehicle.controlUnits.push_back(unit);
        }
        entity = std::make_unique<DoipEntity>(vehicle, time, options);
        entity->start();
    }
    /// Moves the clock, once the entity is through with what it has begun.
    void pass(std::chrono::milliseconds passed) {
        (void)entity->testerCount();
        clock.advance(passed);
        entity->sendDue();
    }
    /// Waits until a line of the log has that text.
    void awaitLog(const std::string& text) {
        std::unique_lock lock(mutex);
        logged.wait(lock, [&] {
            return std::any_of(log.begin(), log.end(), [&](const std::string& line) {
                return line.find(text) != std::string::npos;
            });
        });
    }

    EntityOptions options;
    std::mutex mutex;
    std::condition_variable logged;
    std::vector<std::string> log;
    std::vector<Simulation::FaultDescription> faults;
    Quarlen::Tests::FakeClock clock;
    std::unique_ptr<DoipEntity> entity;
};

} // namespace Quarlen::KelVehicle::Tests
