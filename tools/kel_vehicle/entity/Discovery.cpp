#include "tools/kel_vehicle/entity/Discovery.hpp"

#include <algorithm>
#include <utility>

#include <boost/asio/buffer.hpp>

#include "doip/MessageReader.hpp"
#include "platform/ListeningSocket.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kel_vehicle/entity/EntityLimits.hpp"

namespace Quarlen::KelVehicle {

namespace {

using Doip::HeaderNackCode;
using Doip::PayloadType;

std::uint16_t typeIn(std::span<const std::uint8_t> datagram) {
    return static_cast<std::uint16_t>(datagram[2] << 8U | datagram[3]);
}

/// What other entities say. An answer to it would be answered in turn, for ever.
bool isNoQuestion(std::uint16_t type) {
    constexpr std::array types{PayloadType::HeaderNack, PayloadType::VehicleAnnouncement,
                               PayloadType::EntityStatusResponse, PayloadType::PowerModeResponse};
    return std::find(types.begin(), types.end(), static_cast<PayloadType>(type)) != types.end();
}

bool isIdentification(std::uint16_t type) {
    return type >= static_cast<std::uint16_t>(PayloadType::VehicleIdentificationRequest) &&
           type <= static_cast<std::uint16_t>(PayloadType::VehicleIdentificationRequestWithVin);
}

/// Who looks for vehicles need not know their version (ISO 13400-2:2019, table 16).
bool isServed(const Doip::Message& request) {
    return isServedVersion(request.version) ||
           (request.version == Doip::versionUnknown && isIdentification(request.type));
}

std::uint8_t answerVersion(std::uint8_t version) {
    return isServedVersion(version) ? version : Doip::version2019;
}

void requireEmpty(const Doip::Message& request) {
    if (!request.payload.empty()) {
        throw Doip::MalformedMessage(HeaderNackCode::InvalidPayloadLength,
                                     Doip::payloadTypeText(request.type) + L" with a payload");
    }
}

std::string nameOf(const Discovery::Endpoint& endpoint) {
    return endpoint.address().to_string() + ":" + std::to_string(endpoint.port());
}

} // namespace

boost::asio::ip::address_v4 broadcastOf(const boost::asio::ip::address_v4& own) {
    return own.is_loopback() ? boost::asio::ip::make_address_v4("127.255.255.255")
                             : boost::asio::ip::address_v4::broadcast();
}

Discovery::Discovery(EventLoop& loop, Facts facts, const ExchangeLog& log)
    : facts(std::move(facts)), log(log), direct(loop.context()), broadcasts(loop.context()) {}

void Discovery::open(const Endpoint& own) {
    close();
    direct.socket.open(own.protocol());
    direct.socket.set_option(boost::asio::socket_base::broadcast(true));
    const auto handle = static_cast<std::intptr_t>(direct.socket.native_handle());
    // Whoever wants any port that is free may get one that others share: it is shared afterwards.
    if (own.port() != 0) {
        Platform::bindBesideListeners(handle);
    }
    direct.socket.bind(own);
    Platform::bindBesideListeners(handle);
    direct.socket.non_blocking(true);
    openForBroadcasts(own);
}

/// Several vehicles of one machine all get them.
void Discovery::openForBroadcasts(const Endpoint& own) {
    if (own.address().is_unspecified() || Platform::socketsHearBroadcasts()) {
        return;
    }
    const Endpoint everybody{broadcastOf(own.address().to_v4()), port()};
    boost::system::error_code error;
    broadcasts.socket.open(own.protocol(), error);
    broadcasts.socket.set_option(boost::asio::socket_base::reuse_address(true), error);
    broadcasts.socket.bind(everybody, error);
    if (error) {
        log.event("-", L"hears no broadcasts, whoever looks for vehicles does not find it: " +
                           Platform::fromUtf8(nameOf(everybody)) + L": " +
                           Platform::errorText(error));
        broadcasts.socket.close(error);
    }
}

std::uint16_t Discovery::port() const {
    return direct.socket.local_endpoint().port();
}

void Discovery::close() {
    boost::system::error_code ignored;
    direct.socket.close(ignored);
    broadcasts.socket.close(ignored);
}

void Discovery::receive() {
    receive(direct);
    if (broadcasts.socket.is_open()) {
        receive(broadcasts);
    }
}

void Discovery::receive(Listener& listener) {
    listener.socket.async_receive_from(
        boost::asio::buffer(listener.datagram), listener.from,
        [this, &listener](const boost::system::error_code& error, std::size_t size) {
            if (!listener.socket.is_open()) {
                return;
            }
            // An error tells, on Windows, that somebody who was answered is gone.
            if (!error) {
                takeSafely(std::span(listener.datagram).first(size), listener.from);
            }
            receive(listener);
        });
}

/// A failure that nobody expects (no memory, for instance) costs one datagram.
void Discovery::takeSafely(std::span<const std::uint8_t> datagram, const Endpoint& from) {
    try {
        take(datagram, from);
    } catch (const std::exception& failure) {
        log.event("-", L"lost a datagram: " + Platform::exceptionText(failure));
    }
}

void Discovery::take(std::span<const std::uint8_t> datagram, const Endpoint& from) {
    if (datagram.size() < Doip::headerSize || isNoQuestion(typeIn(datagram))) {
        return;
    }
    try {
        handle(Doip::decodeDatagram(datagram), from);
    } catch (const Doip::MalformedMessage& fault) {
        log.event(nameOf(from), L"refused over UDP: " + fault.message());
        refuse(fault.code(), answerVersion(datagram[0]), from);
    }
}

void Discovery::handle(const Doip::Message& request, const Endpoint& from) {
    const std::uint8_t version = answerVersion(request.version);
    if (!isServed(request)) {
        refuse(request, HeaderNackCode::IncorrectPattern, from);
        return;
    }
    if (isIdentification(request.type)) {
        if (isMeant(request)) {
            log.event(nameOf(from), L"identified the vehicle");
            send(PayloadType::VehicleAnnouncement, Doip::encode(facts.announcement), version, from);
        }
    } else if (request.is(PayloadType::EntityStatusRequest)) {
        requireEmpty(request);
        log.event(nameOf(from), L"asked for the entity status");
        send(PayloadType::EntityStatusResponse, Doip::encode(facts.status()), version, from);
    } else if (request.is(PayloadType::PowerModeRequest)) {
        requireEmpty(request);
        log.event(nameOf(from), L"asked for the power mode");
        send(PayloadType::PowerModeResponse, Doip::encode(Doip::PowerMode::Ready), version, from);
    } else {
        refuse(request, HeaderNackCode::UnknownPayloadType, from);
    }
}

bool Discovery::isMeant(const Doip::Message& request) const {
    if (request.is(PayloadType::VehicleIdentificationRequestWithEid)) {
        return Doip::decodeEid(request.payload) == facts.announcement.eid;
    }
    if (request.is(PayloadType::VehicleIdentificationRequestWithVin)) {
        return Doip::decodeVin(request.payload) == facts.announcement.vin;
    }
    requireEmpty(request);
    return true;
}

void Discovery::announce(const Endpoint& to) {
    send(PayloadType::VehicleAnnouncement, Doip::encode(facts.announcement), Doip::version2019, to);
}

void Discovery::refuse(const Doip::Message& request, HeaderNackCode code, const Endpoint& to) {
    log.event(nameOf(to), L"refused over UDP: " + Doip::payloadTypeText(request.type) + L": " +
                              Doip::headerNackText(static_cast<std::uint8_t>(code)));
    refuse(code, answerVersion(request.version), to);
}

void Discovery::refuse(HeaderNackCode code, std::uint8_t version, const Endpoint& to) {
    send(PayloadType::HeaderNack, Doip::encode(code), version, to);
}

/// What the system does not take is lost, as datagrams are.
void Discovery::send(PayloadType type, const Doip::Bytes& payload, std::uint8_t version,
                     const Endpoint& to) {
    boost::system::error_code lost;
    direct.socket.send_to(boost::asio::buffer(Doip::encode(type, payload, version)), to, 0, lost);
}

} // namespace Quarlen::KelVehicle
