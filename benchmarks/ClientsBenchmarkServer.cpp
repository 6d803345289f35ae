// Two servers for scripts/benchmark-clients: the runtime's server with a status log that the script
// sets, and Beast's echo over a WebSocket with the options of the runtime's server.

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <memory>
#include <string>
#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/websocket/stream.hpp>

#include "kel_cpp/network/IoThread.hpp"
#include "kel_cpp/network/RuntimeServer.hpp"
#include "platform/DescriptorLimit.hpp"
#include "platform/HeapSettings.hpp"
#include "tests/kel_cpp/network/ServedRuntime.hpp"

namespace {

using boost::asio::ip::tcp;
using Quarlen::Kel_cpp::IoThread;
using ErrorCode = boost::system::error_code;
namespace websocket = boost::beast::websocket;

void reportReady() {
    std::cout << "ready" << std::endl;
}

/// Each line of the input sets a status text: when it was set, in nanoseconds of the clock that all
/// processes of the machine have.
void serveStatuses(const std::string& port) {
    Quarlen::Kel_cpp::Tests::ServedRuntime served;
    Quarlen::Kel_cpp::RuntimeServer server(served.sources());
    server.start(L"127.0.0.1:" + std::wstring(port.begin(), port.end()));
    reportReady();
    for (std::string line; std::getline(std::cin, line);) {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        served.statuses.set(
            std::to_wstring(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count()));
    }
}

class Echo : public std::enable_shared_from_this<Echo> {
public:
    explicit Echo(tcp::socket connected) : socket(std::move(connected)) {}

    void begin() {
        socket.set_option(
            websocket::stream_base::timeout::suggested(boost::beast::role_type::server));
        socket.async_accept([self = shared_from_this()](const ErrorCode& error) {
            if (!error) {
                self->read();
            }
        });
    }

private:
    void read() {
        socket.async_read(buffer, [self = shared_from_this()](const ErrorCode& error, std::size_t) {
            if (!error) {
                self->write();
            }
        });
    }
    void write() {
        socket.text(socket.got_text());
        socket.async_write(buffer.data(),
                           [self = shared_from_this()](const ErrorCode& error, std::size_t) {
                               self->buffer.consume(self->buffer.size());
                               if (!error) {
                                   self->read();
                               }
                           });
    }

    websocket::stream<boost::beast::tcp_stream> socket;
    boost::beast::flat_buffer buffer;
};

void accept(tcp::acceptor& acceptor) {
    acceptor.async_accept([&acceptor](const ErrorCode& error, tcp::socket socket) {
        if (!error) {
            socket.set_option(tcp::no_delay(true));
            std::make_shared<Echo>(std::move(socket))->begin();
            accept(acceptor);
        }
    });
}

/// Until the input ends.
void serveEcho(const std::string& port) {
    IoThread io;
    tcp::acceptor acceptor(*io.ioContext(), {boost::asio::ip::address_v4::loopback(),
                                             static_cast<unsigned short>(std::stoul(port))});
    accept(acceptor);
    reportReady();
    std::cin.ignore(std::numeric_limits<std::streamsize>::max(), std::char_traits<char>::eof());
    io.call([&] { acceptor.close(); });
    io.ioContext()->stop();
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 3) {
        std::cerr << "usage: kel_clients_benchmark_server status|echo PORT\n";
        return 2;
    }
    Quarlen::Platform::shareOneHeap(); // as the program does
    Quarlen::Platform::raiseDescriptorLimit();
    if (std::string(argv[1]) == "status") {
        serveStatuses(argv[2]);
    } else {
        serveEcho(argv[2]);
    }
    return 0;
}
