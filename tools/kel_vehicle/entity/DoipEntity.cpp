#include "tools/kel_vehicle/entity/DoipEntity.hpp"

#include <algorithm>
#include <chrono>
#include <future>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kel_vehicle/entity/EntityLimits.hpp"

namespace Quarlen::KelVehicle {

namespace {

using boost::asio::ip::address_v4;
using Doip::PayloadType;

/// A_DoIP_Announce_Num and A_DoIP_Announce_Interval (ISO 13400-2:2019).
constexpr int announcements = 3;
constexpr std::chrono::milliseconds announcementInterval{500};

} // namespace

DoipEntity::DoipEntity(const Simulation::VehicleDescription& vehicle, Platform::Clock& clock,
                       EntityOptions options)
    : options(std::move(options)),
      loop(clock, [this](const std::wstring& cause) { log.event("-", L"failed: " + cause); }),
      units(vehicle, clock),
      log(this->options.log),
      budget(maxHalfMessages),
      context{loop, this->options.times, budget, *this},
      routing(loop, testers, log,
              {vehicle.gatewayAddress, this->options.maxSockets, this->options.times.aliveCheck}),
      diagnostics(units, vehicle.gatewayAddress, misbehaviours, log),
      discovery(loop, facts(vehicle), log),
      door(loop.context(), [this](Socket accepted) { takeIn(std::move(accepted)); }) {
    for (const Misbehaviour& each : this->options.misbehaviours) {
        misbehaviours.add(each);
    }
}

// NOLINTNEXTLINE(bugprone-exception-escape): without memory for its last task the program ends
DoipEntity::~DoipEntity() {
    stop();
}

Discovery::Facts DoipEntity::facts(const Simulation::VehicleDescription& vehicle) const {
    Doip::VehicleAnnouncement announcement;
    announcement.vin = Platform::toUtf8(vehicle.vin);
    announcement.logicalAddress = vehicle.gatewayAddress;
    announcement.eid = vehicle.eid;
    announcement.gid = vehicle.gid;
    announcement.syncStatus = std::uint8_t{0};
    return {announcement, [this] {
                return Doip::EntityStatus{
                    true, static_cast<std::uint8_t>(std::min(options.maxSockets, maxTesters)),
                    static_cast<std::uint8_t>(std::min(testers.active().size(), maxTesters)),
                    static_cast<std::uint32_t>(maxRequest)};
            }};
}

void DoipEntity::start() {
    openPorts();
    discovery.receive();
    door.accept();
    loop.start();
    isRunning = true;
    loop.call([this] { announce(announcements); });
}

void DoipEntity::openPorts() {
    const auto address = boost::asio::ip::make_address_v4(options.address);
    openPortsOf(address);
    ownPort = discovery.port();
    announcementsTo = {options.announceTo.empty()
                           ? broadcastOf(address)
                           : boost::asio::ip::make_address_v4(options.announceTo),
                       ownPort};
}

/// Throws `std::runtime_error` that names what cannot be had.
template <class Open>
void DoipEntity::openNamed(const wchar_t* transport, Open open) const {
    try {
        open();
    } catch (const boost::system::system_error& error) {
        throw std::runtime_error(Platform::toUtf8(
            Platform::fromUtf8(options.address) + L":" + std::to_wstring(options.port) + L" over " +
            transport + L": " + Platform::errorText(error.code())));
    }
}

/// A port that is free over UDP need not be free over TCP.
void DoipEntity::openPortsOf(const address_v4& address) {
    constexpr int attempts = 100;
    for (int attempt = 1;; ++attempt) {
        openNamed(L"UDP", [&] { discovery.open({address, options.port}); });
        try {
            openNamed(L"TCP", [&] { door.open({address, discovery.port()}); });
            return;
        } catch (const std::runtime_error&) {
            if (options.port != 0 || attempt == attempts) {
                throw;
            }
        }
    }
}

void DoipEntity::announce(int times) {
    discovery.announce(announcementsTo);
    if (times > 1) {
        loop.watchAt(loop.clock().now() + announcementInterval,
                     [this, times] { announce(times - 1); });
    }
}

void DoipEntity::stop() {
    if (std::exchange(isRunning, false)) {
        loop.call([this] { closeAll(); });
        loop.stop();
    }
}

void DoipEntity::closeAll() {
    door.close();
    discovery.close();
    const auto all = std::exchange(sockets, {});
    for (const auto& weak : all) {
        if (const auto connection = weak.lock()) {
            connection->cut(L"the vehicle leaves the network");
        }
    }
}

void DoipEntity::takeIn(Socket accepted) {
    std::erase_if(sockets, [](const auto& weak) { return weak.expired(); });
    if (context.sockets >= options.maxSockets + maxNewConnections) {
        log.event("-", L"one connection too many was closed");
        return;
    }
    const auto connection = std::make_shared<TesterConnection>(std::move(accepted), context);
    log.event(connection->peer(), L"connected");
    sockets.push_back(connection);
    testers.add(connection);
    connection->begin();
}

void DoipEntity::onMessage(TesterConnection& from, Doip::Message message) {
    try {
        handle(from, message);
    } catch (const Doip::MalformedMessage& fault) {
        onHeaderFault(from, {fault.code(), message.version, message.type, fault.message()});
    }
}

void DoipEntity::handle(TesterConnection& from, const Doip::Message& message) {
    if (message.is(PayloadType::DiagnosticMessage)) {
        diagnostics.handle(from, Doip::decodeDiagnosticMessage(message.payload));
    } else if (message.is(PayloadType::RoutingActivationRequest)) {
        routing.handle(from, Doip::decodeRoutingActivationRequest(message.payload));
    } else if (message.is(PayloadType::AliveCheckResponse)) {
        from.noteAlive(Doip::decodeAddress(message.payload));
    } else {
        log.event(from.peer(), L"the tester refused a message: " +
                                   Doip::headerNackText(Doip::decodeHeaderNack(message.payload)));
    }
}

void DoipEntity::onHeaderFault(TesterConnection& from, const HeaderFault& fault) {
    log.event(from.peer(), L"refused: " + fault.cause);
    from.send(PayloadType::HeaderNack, Doip::encode(fault.code));
    if (fault.endsConnection()) {
        from.finish(L"nothing more can be read after it");
    }
}

void DoipEntity::onEnd(TesterConnection& connection, const std::wstring& cause) {
    log.event(connection.peer(), L"ended: " + cause);
    testers.remove(connection);
}

bool DoipEntity::add(const Misbehaviour& misbehaviour) {
    return loop.call([&] { return misbehaviours.add(misbehaviour); });
}

void DoipEntity::clearMisbehaviours() {
    loop.call([this] { misbehaviours.clear(); });
}

std::optional<EventLoop::TimePoint> DoipEntity::nextDue() {
    return loop.call([this] { return loop.nextSend(); });
}

void DoipEntity::sendDue() {
    loop.call([this] { loop.runDue(); });
}

bool DoipEntity::checkAlive() {
    // Shared, because the loop is still in it when the caller goes on already.
    const auto outcome = std::make_shared<std::promise<bool>>();
    auto result = outcome->get_future();
    loop.call([&] {
        auto asked = testers.active();
        // Whose messages are not taken any more is not heard either.
        std::erase_if(asked, [](const auto& connection) { return connection->isPausedForGood(); });
        KelVehicle::checkAlive(loop, asked, {}, [this, outcome, before = diagnostics.count()] {
            outcome->set_value(diagnostics.count() != before);
        });
    });
    return result.get();
}

std::size_t DoipEntity::testerCount() {
    return loop.call([this] { return testers.active().size(); });
}

} // namespace Quarlen::KelVehicle
