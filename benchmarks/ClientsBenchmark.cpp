// Clients for scripts/benchmark-clients: many WebSockets in a process of their own, on one thread.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <iostream>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>

#include "platform/DescriptorLimit.hpp"

namespace {

using boost::asio::ip::tcp;
using ErrorCode = boost::system::error_code;
namespace websocket = boost::beast::websocket;

/// One client. Failures end the program.
class Client {
public:
    using OnMessage = std::function<void(Client& client, std::string_view message)>;

    Client(boost::asio::io_context& context, const std::string& port, const OnMessage& onMessage)
        : socket(context), onMessage(onMessage) {
        const tcp::endpoint server(boost::asio::ip::address_v4::loopback(),
                                   static_cast<unsigned short>(std::stoul(port)));
        socket.next_layer().connect(server);
        socket.next_layer().set_option(tcp::no_delay(true));
        socket.handshake("127.0.0.1:" + port, "/rpc");
        socket.text(true);
        socket.control_callback([this](websocket::frame_type kind, std::string_view) {
            pings += kind == websocket::frame_type::ping ? 1U : 0U;
        });
        read();
    }

    /// `message` stays where it is until its answer has come.
    void send(const std::string& message) {
        socket.async_write(boost::asio::buffer(message),
                           [](const ErrorCode& error, std::size_t) { check(error); });
    }

    std::size_t pings = 0;

private:
    static void check(const ErrorCode& error) {
        if (error) {
            throw boost::system::system_error(error);
        }
    }

    void read() {
        socket.async_read(buffer, [this](const ErrorCode& error, std::size_t) {
            check(error);
            const auto data = buffer.cdata();
            onMessage(*this, {static_cast<const char*>(data.data()), data.size()});
            buffer.consume(buffer.size());
            read();
        });
    }

    websocket::stream<tcp::socket> socket;
    const OnMessage& onMessage;
    boost::beast::flat_buffer buffer;
};

/// All clients of one kind.
struct Clients {
    boost::asio::io_context context{1};
    Client::OnMessage onMessage;
    std::vector<std::unique_ptr<Client>> list;

    void connect(const std::string& port, std::size_t count) {
        while (list.size() < count) {
            list.push_back(std::make_unique<Client>(context, port, onMessage));
        }
    }
    void send(const std::string& message) {
        for (const auto& client : list) {
            client->send(message);
        }
    }
};

/// The status text of a notification; nothing for another message.
std::string_view statusOf(std::string_view message) {
    constexpr std::string_view before = R"("text":")";
    const auto begin = message.find(before);
    if (message.find(R"("status.changed")") == message.npos || begin == message.npos) {
        return {};
    }
    message.remove_prefix(begin + before.size());
    return message.substr(0, message.find('"'));
}

/// Subscribes all clients and returns when each of them knows the present status text.
void subscribe(Clients& clients, const std::string& port, std::size_t count) {
    std::size_t told = 0;
    clients.onMessage = [&](Client&, std::string_view message) {
        told += message.find(R"("status.changed")") != message.npos ? 1U : 0U;
    };
    clients.connect(port, count);
    const std::string request = R"({"jsonrpc":"2.0","id":1,"method":"status.subscribe"})";
    clients.send(request);
    while (told < count) {
        clients.context.run_one();
    }
    std::cout << "subscribed" << std::endl;
}

/// Writes for each status how many milliseconds it took to reach the last of the clients.
void receiveStatuses(const std::string& port, std::size_t count, std::size_t statuses) {
    Clients clients;
    subscribe(clients, port, count);
    std::size_t received = 0;
    clients.onMessage = [&](Client&, std::string_view message) {
        if (++received % count != 0) {
            return;
        }
        const std::chrono::nanoseconds set(std::stoll(std::string(statusOf(message))));
        const std::chrono::duration<double, std::milli> taken =
            std::chrono::steady_clock::now().time_since_epoch() - set;
        std::cout << taken.count() << std::endl;
    };
    while (received < count * statuses) {
        clients.context.run_one();
    }
}

/// Stays subscribed until the input ends; then it writes how many clients have been asked by a
/// ping.
void stayIdle(const std::string& port, std::size_t count) {
    Clients clients;
    subscribe(clients, port, count);
    std::thread service([&] { clients.context.run(); });
    std::cin.ignore(std::numeric_limits<std::streamsize>::max(), std::char_traits<char>::eof());
    clients.context.stop();
    service.join();
    std::cout << std::count_if(clients.list.begin(), clients.list.end(), [](const auto& client) {
        return client->pings > 0;
    }) << std::endl;
}

/// Asks for the status again and again and writes how often that went per second. Requests are
/// filled up to the length of their answers, so that an echo sends and takes as much.
void makeRoundTrips(const std::string& port, std::size_t count, std::size_t length,
                    std::chrono::milliseconds duration) {
    std::string request = R"({"jsonrpc":"2.0","id":1,"method":"status.get"})";
    request.insert(request.size() - 1, length - request.size(), ' ');
    std::size_t answers = 0;
    Clients clients;
    clients.onMessage = [&](Client& client, std::string_view message) {
        if (message.size() != length) {
            throw std::runtime_error("unexpected answer: " + std::string(message));
        }
        ++answers;
        client.send(request);
    };
    clients.connect(port, count);
    const auto began = std::chrono::steady_clock::now();
    clients.send(request);
    clients.context.run_for(duration);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - began;
    std::cout << static_cast<double>(answers) / taken.count() << std::endl;
}

void run(const std::vector<std::string>& arguments) {
    const auto number = [&](std::size_t index) { return std::stoul(arguments.at(index)); };
    const std::string& port = arguments.at(1);
    if (arguments[0] == "statuses") {
        receiveStatuses(port, number(2), number(3));
    } else if (arguments[0] == "idle") {
        stayIdle(port, number(2));
    } else {
        makeRoundTrips(port, number(2), number(3), std::chrono::milliseconds(number(4)));
    }
}

} // namespace

int main(int argc, char* argv[]) {
    Quarlen::Platform::raiseDescriptorLimit();
    try {
        run({argv + 1, argv + argc});
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "kel_clients_benchmark: " << error.what()
                  << "\nusage: kel_clients_benchmark statuses PORT CLIENTS STATUSES"
                     " | idle PORT CLIENTS | round-trips PORT CLIENTS LENGTH MILLISECONDS\n";
        return 1;
    }
}
