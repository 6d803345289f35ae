#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <span>
#include <string>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/udp.hpp>
#include <boost/asio/write.hpp>

#include "doip/MessageReader.hpp"
#include "fuzzers/Input.hpp"
#include "tests/support/FakeClock.hpp"
#include "tools/kel_vehicle/entity/DoipEntity.hpp"
#include "tools/kel_vehicle/entity/EntityLimits.hpp"
#include "tools/kel_vehicle/misbehaviour/Commands.hpp"

namespace {

using namespace Quarlen;
using boost::asio::ip::tcp;
using boost::asio::ip::udp;
using Fuzzers::Input;
using Uds::Bytes;

/// Times that the clock goes on to what comes next.
constexpr int maxSteps = 20;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// A tester's end, which says what the input wants.
class Tester {
public:
    Tester(boost::asio::io_context& context, std::uint16_t port) : socket(context) {
        socket.connect({boost::asio::ip::address_v4::loopback(), port});
        socket.set_option(tcp::no_delay(true));
    }
    void send(const Bytes& bytes) {
        boost::system::error_code gone;
        boost::asio::write(socket, boost::asio::buffer(bytes), gone);
    }
    void send(Doip::PayloadType type, const Bytes& payload) { send(Doip::encode(type, payload)); }
    void leave() {
        boost::system::error_code gone;
        socket.shutdown(tcp::socket::shutdown_send, gone);
    }
    /// Whole messages of types that an entity sends, up to the end of the connection; the last one
    /// may be cut.
    void hearAll() {
        while (const auto message = next()) {
            require(isOfEntity(*message));
        }
    }
    std::optional<Doip::Message> next() {
        for (;;) {
            if (auto message = reader.next()) {
                return message;
            }
            std::array<std::uint8_t, 4096> bytes{};
            boost::system::error_code end;
            const auto count = socket.read_some(boost::asio::buffer(bytes), end);
            if (end == boost::asio::error::interrupted) {
                continue;
            }
            if (end) {
                return {};
            }
            reader.add(std::span(bytes).first(count));
        }
    }

private:
    static bool isOfEntity(const Doip::Message& message) {
        using enum Doip::PayloadType;
        return message.is(HeaderNack) || message.is(RoutingActivationResponse) ||
               message.is(AliveCheckRequest) || message.is(DiagnosticMessage) ||
               message.is(DiagnosticMessageAck) || message.is(DiagnosticMessageNack);
    }

    tcp::socket socket;
    Doip::MessageReader reader{KelVehicle::maxPayload};
};

/// Two control units, one of which loses the connection or takes no messages when it is asked so.
Simulation::VehicleDescription description() {
    Simulation::VehicleDescription vehicle;
    vehicle.vin = L"VIN00000000000001";
    for (const auto address : {std::uint16_t{0x10}, std::uint16_t{0x11}}) {
        Simulation::ControlUnitDescription unit;
        unit.address = address;
        unit.link = L"L" + std::to_wstring(address);
        vehicle.controlUnits.push_back(unit);
    }
    vehicle.controlUnits.back().faults = {{{0x31, 0xFE}, {}, true, 0, {}, false},
                                          {{0x31, 0xFF}, {}, false, 0, {}, true}};
    return vehicle;
}

KelVehicle::EntityOptions options() {
    KelVehicle::EntityOptions options;
    options.port = 0;
    options.maxSockets = 2;
    options.log = [](const std::string& line) { require(!line.empty()); };
    return options;
}

/// An entity with two testers that the input plays.
class Run {
public:
    explicit Run(Input& input) : input(input) { entity.start(); }

    void play() {
        Tester first(context, entity.port());
        Tester second(context, entity.port());
        while (!input.atEnd()) {
            const auto what = input.number();
            step(what >> 1U, (what & 1U) == 0 ? first : second);
        }
        // Both, because one may wait for whether the other is there.
        first.leave();
        second.leave();
        first.hearAll();
        second.hearAll();
        checkServes();
    }

private:
    void step(unsigned what, Tester& tester) {
        switch (what % 6) {
        case 0:
            return tester.send(input.message());
        case 1:
            return activate(tester);
        case 2:
            return request(tester);
        case 3:
            return sendDatagram();
        case 4:
            return misbehave();
        default:
            return moveClock();
        }
    }
    void activate(Tester& tester) {
        const auto address = static_cast<std::uint16_t>(0x0E00U + input.number());
        tester.send(Doip::PayloadType::RoutingActivationRequest,
                    Doip::encode(Doip::RoutingActivationRequest{address, 0}));
    }
    void request(Tester& tester) {
        const auto source = static_cast<std::uint16_t>(0x0E00U + input.number());
        const std::array<std::uint16_t, 4> targets{0x10, 0x11, 0xE400, 0x1000};
        const auto target = targets.at(input.number() % targets.size());
        tester.send(Doip::PayloadType::DiagnosticMessage,
                    Doip::encode(Doip::DiagnosticMessage{source, target, input.message()}));
    }
    void sendDatagram() {
        const auto datagram = input.message();
        socket.send_to(boost::asio::buffer(datagram),
                       {boost::asio::ip::address_v4::loopback(), entity.port()});
    }
    void misbehave() {
        const auto bytes = input.message();
        const std::string line(bytes.begin(), bytes.end());
        try {
            const auto command = KelVehicle::parseCommand(line);
            if (!command) {
                return;
            }
            if (const auto* const what = std::get_if<KelVehicle::Misbehaviour>(&*command)) {
                require(!what->request.empty() && what->duration <= std::chrono::hours(1));
                require(entity.add(*what));
            } else {
                entity.clearMisbehaviours();
            }
        } catch (const KelVehicle::CommandError& error) {
            require(error.column() >= 1 && error.column() <= line.size() + 1);
            require(!std::string(error.what()).empty());
        }
    }
    void moveClock() {
        (void)entity.testerCount();
        for (int steps = 0; steps < maxSteps; ++steps) {
            const auto due = entity.nextDue();
            if (!due) {
                break;
            }
            clock.advance(std::chrono::ceil<std::chrono::milliseconds>(
                std::max(*due - clock.now(), Platform::Clock::TimePoint::duration{})));
            entity.sendDue();
        }
        clock.advance(std::chrono::milliseconds{input.number() * 100});
        entity.sendDue();
    }
    /// Whoever comes next is heard, and nobody's messages are left.
    void checkServes() {
        Tester other(context, entity.port());
        other.send({0x03, 0xFC, 0x12, 0x34, 0, 0, 0, 0});
        const auto refusal = other.next();
        require(refusal && refusal->is(Doip::PayloadType::HeaderNack));
        require(entity.testerCount() == 0);
        require(!entity.nextDue());
    }

    Input& input;
    Tests::FakeClock clock;
    KelVehicle::DoipEntity entity{description(), clock, options()};
    boost::asio::io_context context;
    udp::socket socket{context, {boost::asio::ip::address_v4::loopback(), 0}};
};

} // namespace

/// Whatever two testers, strangers in the network and the one who has it misbehave say: the entity
/// sends only whole messages, goes on serving others, and keeps nothing for those who have left.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input({data, size});
    Run(input).play();
    return 0;
}
