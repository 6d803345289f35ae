#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/udp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <gtest/gtest.h>

#include "doip/DoipSettings.hpp"
#include "doip/MessageReader.hpp"
#include "tests/support/HexBytes.hpp"

namespace Quarlen::Doip::Tests {

/// The vehicle's end of a connection, played by a test: it says what a real one would, or must not.
class ScriptedVehicle {
public:
    static constexpr std::uint16_t entity = 0x1000;

    ScriptedVehicle() : acceptor(context), socket(context), udp(context) {
        constexpr int attempts = 100;
        for (int attempt = 1; !bindBoth(); ++attempt) {
            if (attempt == attempts) {
                throw std::runtime_error("no port is free over TCP and UDP");
            }
        }
    }

    [[nodiscard]] DoipSettings settings() const {
        DoipSettings settings;
        settings.host = "127.0.0.1";
        settings.port = acceptor.local_endpoint().port();
        // Whatever a machine under load needs; what waits in vain has times of its own.
        settings.times.control = std::chrono::seconds(60);
        settings.times.connecting = std::chrono::seconds(60);
        settings.times.keepAlive = std::chrono::hours(1);
        return settings;
    }

    void accept() {
        acceptor.accept(socket);
        socket.set_option(boost::asio::ip::tcp::no_delay(true));
    }
    /// As a vehicle that lets the tester in; the answer's code can be another one.
    void activate(RoutingCode code = RoutingCode::Activated) {
        accept();
        const auto request =
            decodeRoutingActivationRequest(expect(PayloadType::RoutingActivationRequest).payload);
        send(PayloadType::RoutingActivationResponse,
             encode(RoutingActivationResponse{request.tester, entity,
                                              static_cast<std::uint8_t>(code)}));
    }

    /// The next message, which must be of the type.
    Message expect(PayloadType type) {
        Message message = next();
        EXPECT_EQ(payloadTypeText(message.type), payloadTypeText(static_cast<std::uint16_t>(type)));
        return message;
    }
    /// The UDS bytes of the next message, which must be a diagnostic one.
    std::string expectRequest() {
        return Quarlen::Tests::hex(
            decodeDiagnosticMessage(expect(PayloadType::DiagnosticMessage).payload).data);
    }
    Message next() { return restOf(nextHeader()); }
    /// So that the message has begun to go out.
    Header nextHeader() {
        HeaderBytes bytes{};
        boost::asio::read(socket, boost::asio::buffer(bytes));
        return decodeHeader(bytes);
    }
    Message restOf(const Header& header) {
        Message message{header.version, header.type, Bytes(header.length)};
        boost::asio::read(socket, boost::asio::buffer(message.payload));
        return message;
    }

    void send(PayloadType type, const Bytes& payload, std::uint8_t version = version2019) {
        sendBytes(encode(type, payload, version));
    }
    void sendBytes(const Bytes& bytes) { boost::asio::write(socket, boost::asio::buffer(bytes)); }
    /// False once the tester has ended the connection.
    bool trySend(const Bytes& bytes) {
        boost::system::error_code gone;
        boost::asio::write(socket, boost::asio::buffer(bytes), gone);
        return !gone.failed();
    }
    void acknowledge(std::uint16_t unit) {
        send(PayloadType::DiagnosticMessageAck, encode(DiagnosticAck{unit, tester}));
    }
    void refuse(std::uint16_t unit, DiagnosticNackCode code) {
        send(PayloadType::DiagnosticMessageNack,
             encode(DiagnosticAck{unit, tester, static_cast<std::uint8_t>(code)}));
    }
    /// Returns once the tester has dealt with all that was sent to it. What it has sent itself
    /// before is dropped.
    void awaitTester() {
        send(PayloadType::AliveCheckRequest, {});
        while (!next().is(PayloadType::AliveCheckResponse)) {
        }
    }
    void answer(std::uint16_t unit, const char* response) {
        send(PayloadType::DiagnosticMessage,
             encode(DiagnosticMessage{unit, tester, Quarlen::Tests::hex(response)}));
    }
    void close() { socket.close(); }
    /// Of the same port, so that nobody else has it. Nobody reads it before.
    boost::asio::ip::udp::socket takeUdp() { return std::move(udp); }
    /// True once the tester has ended the connection.
    bool isLeft() {
        boost::system::error_code error;
        std::array<std::uint8_t, 1> byte{};
        boost::asio::read(socket, boost::asio::buffer(byte), error);
        return error.failed();
    }

    std::uint16_t tester = 0x0E80;

private:
    bool bindBoth() {
        using boost::asio::ip::tcp;
        const auto loopback = boost::asio::ip::address_v4::loopback();
        acceptor = tcp::acceptor(context, {loopback, 0});
        udp = boost::asio::ip::udp::socket(context, boost::asio::ip::udp::v4());
        boost::system::error_code taken;
        udp.bind({loopback, acceptor.local_endpoint().port()}, taken);
        return !taken;
    }

    boost::asio::io_context context;
    boost::asio::ip::tcp::acceptor acceptor;
    boost::asio::ip::tcp::socket socket;
    boost::asio::ip::udp::socket udp;
};

} // namespace Quarlen::Doip::Tests
