#pragma once

#include <atomic>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace json = boost::json;
namespace http = boost::beast::http;
namespace websocket = boost::beast::websocket;

/// A client that does not read soon keeps the server from sending.
constexpr int smallReceiveBuffer = 4096;

using Headers = std::vector<std::pair<std::string, std::string>>;

/// Where "127.0.0.1:58000" is.
inline boost::asio::ip::tcp::endpoint endpointOf(const std::wstring& address) {
    const std::size_t colon = address.rfind(L':');
    return {boost::asio::ip::make_address_v4(Platform::toUtf8(address.substr(0, colon))),
            static_cast<unsigned short>(std::stoul(address.substr(colon + 1)))};
}

/// A client over a WebSocket. Every operation ends after ten seconds at the latest and then throws.
class RpcTestClient {
public:
    /// `receiveBuffer` is the system's for this connection, 0 for what it likes.
    explicit RpcTestClient(const std::wstring& address, const Headers& headers = {},
                           int receiveBuffer = 0) {
        const auto endpoint = endpointOf(address);
        socket.next_layer().open(endpoint.protocol());
        if (receiveBuffer != 0) {
            socket.next_layer().set_option(
                boost::asio::socket_base::receive_buffer_size(receiveBuffer));
        }
        socket.next_layer().connect(endpoint);
        name = Platform::fromUtf8(socket.next_layer().local_endpoint().address().to_string()) +
               L":" + std::to_wstring(socket.next_layer().local_endpoint().port());
        socket.set_option(websocket::stream_base::decorator([&](websocket::request_type& request) {
            for (const auto& [field, value] : headers) {
                request.set(field, value);
            }
        }));
        socket.control_callback([this](websocket::frame_type kind, auto) {
            pings += kind == websocket::frame_type::ping ? 1 : 0;
        });
        const std::string host =
            endpoint.address().to_string() + ":" + std::to_string(endpoint.port());
        http::response<http::string_body> response;
        const auto error = await(
            [&](auto done) { socket.async_handshake(response, host, "/rpc", std::move(done)); });
        status = response.result_int();
        if (error && status == 0) {
            throw boost::system::system_error(error);
        }
    }

    void send(const std::string& text) {
        const auto error = awaitTransfer([&](auto done) {
            socket.text(!binary);
            socket.async_write(boost::asio::buffer(text), std::move(done));
        });
        if (error) {
            throw boost::system::system_error(error);
        }
    }

    /// The next message, or nothing when the server has closed the connection.
    std::optional<json::object> receive() {
        const auto text = receiveText();
        return text ? std::optional(json::parse(*text).as_object()) : std::nullopt;
    }
    std::optional<std::string> receiveText() {
        boost::beast::flat_buffer buffer;
        const auto error =
            awaitTransfer([&](auto done) { socket.async_read(buffer, std::move(done)); });
        if (error) {
            return {};
        }
        return boost::beast::buffers_to_string(buffer.data());
    }

    /// Calls a method; what comes before the response is kept in `notifications`.
    json::object call(const std::string& method, json::object params = {}) {
        const int id = ++lastId;
        send(json::serialize(json::object{
            {"jsonrpc", "2.0"}, {"id", id}, {"method", method}, {"params", std::move(params)}}));
        return responseTo(id);
    }
    json::object responseTo(int id) {
        for (;;) {
            auto message = receive();
            if (!message) {
                throw std::runtime_error("the server closed the connection");
            }
            const json::value* const found = message->if_contains("id");
            if (found != nullptr && *found == id) {
                return *message;
            }
            notifications.push_back(std::move(*message));
        }
    }
    json::value result(const std::string& method, json::object params = {}) {
        return call(method, std::move(params)).at("result");
    }
    std::int64_t errorCode(const std::string& method, json::object params = {}) {
        return call(method, std::move(params)).at("error").at("code").as_int64();
    }
    /// The next notification of a method.
    json::object notification(const std::string& method) {
        for (;;) {
            auto message = nextNotification();
            if (message.at("method") == json::value(method)) {
                return message.at("params").as_object();
            }
        }
    }

    void vanish() { socket.next_layer().close(); }
    void closeNormally() {
        await(
            [&](auto done) { socket.async_close(websocket::close_code::normal, std::move(done)); });
    }
    [[nodiscard]] websocket::close_reason reason() const { return socket.reason(); }

    std::wstring name;
    /// Of the response to the upgrade; 101 when it was accepted.
    unsigned status = 0;
    std::atomic<int> pings{0};
    bool binary = false;
    std::vector<json::object> notifications;

private:
    json::object nextNotification() {
        if (!notifications.empty()) {
            json::object first = std::move(notifications.front());
            notifications.erase(notifications.begin());
            return first;
        }
        auto message = receive();
        if (!message) {
            throw std::runtime_error("the server closed the connection");
        }
        return std::move(*message);
    }

    template <class Begin>
    boost::system::error_code await(Begin begin) {
        std::optional<boost::system::error_code> outcome;
        begin([&](const boost::system::error_code& error) { outcome = error; });
        return run(outcome);
    }
    template <class Begin>
    boost::system::error_code awaitTransfer(Begin begin) {
        std::optional<boost::system::error_code> outcome;
        begin([&](const boost::system::error_code& error, std::size_t) { outcome = error; });
        return run(outcome);
    }
    boost::system::error_code run(const std::optional<boost::system::error_code>& outcome) {
        context.restart();
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!outcome && context.run_one_until(end) > 0) {
        }
        if (!outcome) {
            throw std::runtime_error("the server did not answer in time");
        }
        return *outcome;
    }

    boost::asio::io_context context;
    websocket::stream<boost::asio::ip::tcp::socket> socket{context};
    int lastId = 0;
};

using HttpResponse = http::response<http::string_body>;

/// Sends one request over a connection of its own and returns the response; "Host" is the server's
/// own unless the headers say another.
inline HttpResponse request(const std::wstring& address, http::verb method,
                            const std::string& target, const std::string& body = {},
                            const Headers& headers = {}) {
    boost::asio::io_context context;
    boost::asio::ip::tcp::socket socket(context);
    const auto endpoint = endpointOf(address);
    socket.connect(endpoint);
    http::request<http::string_body> message(method, target, 11);
    message.set(http::field::host,
                endpoint.address().to_string() + ":" + std::to_string(endpoint.port()));
    for (const auto& [field, value] : headers) {
        message.set(field, value);
    }
    message.body() = body;
    message.prepare_payload();
    http::write(socket, message);
    boost::beast::flat_buffer buffer;
    http::response_parser<http::string_body> parser;
    parser.skip(method == http::verb::head);
    http::read(socket, buffer, parser);
    return parser.release();
}

/// One call by POST.
inline json::object post(const std::wstring& address, const std::string& body,
                         const Headers& headers = {}) {
    return json::parse(request(address, http::verb::post, "/rpc", body, headers).body())
        .as_object();
}

} // namespace Quarlen::Kel_cpp::Tests
