#pragma once

#include <chrono>
#include <string>
#include <thread>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>

#include "kel_server_lib/runtime/KelApiException.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp::Tests {

/// Asks until the answer is yes; false when it has not been after this time.
template <class Predicate>
bool eventually(Predicate predicate, std::chrono::seconds time = std::chrono::seconds(100)) {
    const auto deadline = std::chrono::steady_clock::now() + time;
    while (!predicate()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

template <class Function>
std::wstring messageOf(Function function) {
    try {
        function();
    } catch (const KelApiException& error) {
        return error.message();
    }
    return {};
}

/// A client of an address like "127.0.0.1:58000".
class TestClient {
public:
    explicit TestClient(const std::wstring& address) {
        const std::size_t colon = address.rfind(L':');
        socket.connect(
            {boost::asio::ip::make_address_v4(Platform::toUtf8(address.substr(0, colon))),
             static_cast<unsigned short>(std::stoul(address.substr(colon + 1)))});
    }

    [[nodiscard]] std::wstring name() const {
        const auto local = socket.local_endpoint();
        return Platform::fromUtf8(local.address().to_string()) + L":" +
               std::to_wstring(local.port());
    }
    void send(const std::string& bytes) { boost::asio::write(socket, boost::asio::buffer(bytes)); }
    void leave() { socket.close(); }
    /// Everything until the server closes the connection.
    std::string readAll() {
        boost::system::error_code closed;
        std::string bytes;
        boost::asio::read(socket, boost::asio::dynamic_buffer(bytes), closed);
        return bytes;
    }
    /// Everything until the end has been read.
    std::string readUntil(const std::string& end) {
        std::string bytes;
        boost::asio::read_until(socket, boost::asio::dynamic_buffer(bytes), end);
        return bytes;
    }
    /// Blocks until the server has closed the connection; false when it said something first.
    bool waitForClose() {
        boost::system::error_code error;
        char byte = 0;
        boost::asio::read(socket, boost::asio::buffer(&byte, 1), error);
        return static_cast<bool>(error);
    }

private:
    boost::asio::io_context context;
    boost::asio::ip::tcp::socket socket{context};
};

} // namespace Quarlen::Kel_cpp::Tests
