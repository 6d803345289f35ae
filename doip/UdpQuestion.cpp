#include "doip/UdpQuestion.hpp"

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>

#include "platform/NetworkAdapters.hpp"
#include "platform/TextEncoding.hpp"
#include "uds/LinkError.hpp"

namespace Quarlen::Doip {

namespace {

using boost::asio::ip::udp;
using std::chrono::steady_clock;

constexpr int attempts = 3;
/// No datagram is longer: one that is cut fails while it is received, which Windows' emulation does
/// not survive.
constexpr std::size_t maxDatagram = 65536;

} // namespace

/// One socket that asks, or listens only.
class UdpSocket : public std::enable_shared_from_this<UdpSocket> {
public:
    using OnDatagram =
        std::function<void(std::span<const std::uint8_t> datagram, const udp::endpoint& from)>;

    UdpSocket(boost::asio::io_context& context, OnDatagram onDatagram)
        : socket(context), onDatagram(std::move(onDatagram)) {}

    /// False where the system has no such address to offer.
    bool bind(const udp::endpoint& own) {
        boost::system::error_code error;
        socket.open(own.protocol(), error);
        if (!error) {
            boost::system::error_code ignored;
            socket.set_option(udp::socket::reuse_address(own.port() != 0), ignored);
            socket.set_option(boost::asio::socket_base::broadcast(true), ignored);
            socket.bind(own, error);
        }
        if (!error) {
            receive();
        }
        return !error;
    }
    void send(const Bytes& datagram, const udp::endpoint& to) {
        boost::system::error_code unreachable;
        socket.send_to(boost::asio::buffer(datagram), to, 0, unreachable);
    }

private:
    void receive() {
        socket.async_receive_from(boost::asio::buffer(arrived), from,
                                  [self = shared_from_this()](const auto& error, std::size_t size) {
                                      if (error == boost::asio::error::operation_aborted) {
                                          return;
                                      }
                                      // Another error tells that a former datagram found nobody.
                                      if (!error) {
                                          self->onDatagram(std::span(self->arrived).first(size),
                                                           self->from);
                                      }
                                      self->receive();
                                  });
    }

    udp::socket socket;
    const OnDatagram onDatagram;
    std::array<std::uint8_t, maxDatagram> arrived{};
    udp::endpoint from;
};

std::vector<UdpQuestion::Way> UdpQuestion::waysToEverybody(int port) {
    const auto destination = static_cast<std::uint16_t>(port);
    const auto loopback = boost::asio::ip::address_v4::loopback();
    std::vector<Way> ways{
        {{loopback, 0}, {loopback, destination}},
        {{loopback, 0}, {boost::asio::ip::make_address_v4("127.255.255.255"), destination}}};
    for (const auto& adapter : Platform::networkAdapters()) {
        boost::system::error_code none;
        const auto own =
            boost::asio::ip::make_address_v4(Platform::toUtf8(adapter.firstIpv4Address), none);
        if (adapter.up && !none && !own.is_loopback()) {
            ways.push_back({{own, 0}, {boost::asio::ip::address_v4::broadcast(), destination}});
        }
    }
    return ways;
}

std::vector<UdpQuestion::Way> UdpQuestion::waysTo(const std::string& host, int port) {
    boost::system::error_code error;
    const auto address = boost::asio::ip::make_address(host, error);
    if (error) {
        throw Uds::ConnectionLost(Platform::fromUtf8(host) + L" is no address in numbers");
    }
    const udp::endpoint own(address.is_v4() ? udp::v4() : udp::v6(), 0);
    return {{own, {address, static_cast<std::uint16_t>(port)}}};
}

UdpQuestion::UdpQuestion(std::vector<Way> ways, Bytes datagram, OnDatagram onDatagram)
    : ways(std::move(ways)), datagram(std::move(datagram)), wanted(std::move(onDatagram)) {}

UdpQuestion::~UdpQuestion() = default;

bool UdpQuestion::listenAt(int port) {
    return open({udp::v4(), static_cast<std::uint16_t>(port)}) != nullptr;
}

void UdpQuestion::ask(std::chrono::milliseconds time, const std::stop_token& cancel,
                      const std::stop_token& closing) {
    const auto wake = [this] { boost::asio::post(context, [] {}); };
    const std::stop_callback onCancel(cancel, wake);
    const std::stop_callback onClose(closing, wake);
    const auto begin = steady_clock::now();
    for (int attempt = 0; attempt < attempts && !isDone; ++attempt) {
        sendAll();
        const auto end = begin + time * (attempt + 1) / attempts;
        while (!isDone && steady_clock::now() < end) {
            if (cancel.stop_requested() || closing.stop_requested()) {
                throw Uds::Cancelled();
            }
            context.run_one_until(end);
        }
    }
}

void UdpQuestion::send(const Bytes& other, const Endpoint& to) {
    if (const auto socket = open({to.protocol(), 0})) {
        socket->send(other, to);
    }
}

void UdpQuestion::hear(std::chrono::milliseconds time) {
    const auto end = steady_clock::now() + time;
    isDone = false;
    while (!isDone && steady_clock::now() < end) {
        context.run_one_until(end);
    }
}

std::shared_ptr<UdpSocket> UdpQuestion::open(const Endpoint& own) {
    auto socket = std::make_shared<UdpSocket>(
        context, [this](std::span<const std::uint8_t> arrived, const Endpoint& from) {
            isDone = wanted(arrived, from) || isDone;
        });
    return socket->bind(own) ? socket : nullptr;
}

void UdpQuestion::sendAll() {
    if (sockets.empty()) {
        for (const Way& way : ways) {
            sockets.push_back(open(way.own));
        }
    }
    for (std::size_t index = 0; index < ways.size(); ++index) {
        if (sockets[index]) {
            sockets[index]->send(datagram, ways[index].to);
        }
    }
}

} // namespace Quarlen::Doip
