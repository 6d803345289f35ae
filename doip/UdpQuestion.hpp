#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <stop_token>
#include <string>
#include <vector>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/udp.hpp>

#include "doip/Message.hpp"

namespace Quarlen::Doip {

class UdpSocket;

/// A question over UDP to one entity or to everybody, and whatever comes back. All of it runs on
/// the caller's thread and in real time.
class UdpQuestion {
public:
    using Endpoint = boost::asio::ip::udp::endpoint;
    /// True when what was asked for is there.
    using OnDatagram =
        std::function<bool(std::span<const std::uint8_t> datagram, const Endpoint& from)>;

    /// Where the question goes, and from which of the machine's own addresses.
    struct Way {
        Endpoint own;
        Endpoint to;
    };
    /// A machine does not hear its own broadcasts to other networks, and on some systems nobody
    /// hears those to its own: the vehicle at this machine is asked by its address as well.
    static std::vector<Way> waysToEverybody(int port);
    /// Throws `Uds::ConnectionLost` for a host that is no address in numbers.
    static std::vector<Way> waysTo(const std::string& host, int port);

    UdpQuestion(std::vector<Way> ways, Bytes datagram, OnDatagram onDatagram);
    UdpQuestion(const UdpQuestion&) = delete;
    UdpQuestion& operator=(const UdpQuestion&) = delete;
    ~UdpQuestion();

    /// Hears what vehicles say unasked, too; false where another program has the port for itself.
    [[nodiscard]] bool listenAt(int port);
    /// Asks over all ways, three times within the time, until what was asked for is there. Throws
    /// `Cancelled`, and what `onDatagram` throws.
    void ask(std::chrono::milliseconds time, const std::stop_token& cancel,
             const std::stop_token& closing);
    /// Sends something else as well.
    void send(const Bytes& other, const Endpoint& to);
    /// Hears what else comes, until `onDatagram` is content again.
    void hear(std::chrono::milliseconds time);

private:
    std::shared_ptr<UdpSocket> open(const Endpoint& own);
    void sendAll();

    const std::vector<Way> ways;
    const Bytes datagram;
    const OnDatagram wanted;
    bool isDone = false;
    boost::asio::io_context context{1};
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work{
        context.get_executor()};
    std::vector<std::shared_ptr<UdpSocket>> sockets;
};

} // namespace Quarlen::Doip
