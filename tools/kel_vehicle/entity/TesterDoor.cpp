#include "tools/kel_vehicle/entity/TesterDoor.hpp"

#include <chrono>
#include <cstdint>
#include <utility>

#include "platform/ListeningSocket.hpp"

namespace Quarlen::KelVehicle {

TesterDoor::TesterDoor(EventLoop::Context& context, OnTester onTester)
    : acceptor(context), pause(context), onTester(std::move(onTester)) {}

void TesterDoor::open(const boost::asio::ip::tcp::endpoint& own) {
    close();
    acceptor.open(own.protocol());
    Platform::bindExclusively(static_cast<std::intptr_t>(acceptor.native_handle()));
    acceptor.bind(own);
    acceptor.listen();
}

void TesterDoor::accept() {
    acceptor.async_accept([this](const boost::system::error_code& error, Socket accepted) {
        onAccepted(error, std::move(accepted));
    });
}

void TesterDoor::onAccepted(const boost::system::error_code& error, Socket accepted) {
    if (!acceptor.is_open()) {
        return;
    }
    if (error) {
        acceptLater();
        return;
    }
    // First, because the door stays open whatever becomes of this tester.
    accept();
    onTester(std::move(accepted));
}

/// A system that is short of memory or descriptors refuses again at once.
void TesterDoor::acceptLater() {
    constexpr std::chrono::milliseconds rest{50};
    pause.expires_after(rest);
    pause.async_wait([this](const boost::system::error_code& cancelled) {
        if (!cancelled && acceptor.is_open()) {
            accept();
        }
    });
}

void TesterDoor::close() {
    boost::system::error_code ignored;
    acceptor.close(ignored);
    pause.cancel();
}

} // namespace Quarlen::KelVehicle
