#include "tests/kel_cpp/network/RpcTestClient.hpp"

#include <chrono>
#include <stdexcept>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/stream.hpp>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

/// Where "127.0.0.1:58000" is.
boost::asio::ip::tcp::endpoint endpointOf(const std::wstring& address) {
    const std::size_t colon = address.rfind(L':');
    return {boost::asio::ip::make_address_v4(Platform::toUtf8(address.substr(0, colon))),
            static_cast<unsigned short>(std::stoul(address.substr(colon + 1)))};
}

std::string hostOf(const boost::asio::ip::tcp::endpoint& endpoint) {
    return endpoint.address().to_string() + ":" + std::to_string(endpoint.port());
}

} // namespace

struct RpcTestClient::Connection {
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
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(100);
        while (!outcome && context.run_one_until(end) > 0) {
        }
        if (!outcome) {
            throw std::runtime_error("the server did not answer in time");
        }
        return *outcome;
    }

    boost::asio::io_context context;
    websocket::stream<boost::asio::ip::tcp::socket> socket{context};
};

RpcTestClient::RpcTestClient(const std::wstring& address, const Headers& headers, int receiveBuffer)
    : connection(std::make_unique<Connection>()) {
    auto& socket = connection->socket;
    auto& transport = socket.next_layer();
    const auto endpoint = endpointOf(address);
    transport.open(endpoint.protocol());
    if (receiveBuffer != 0) {
        transport.set_option(boost::asio::socket_base::receive_buffer_size(receiveBuffer));
    }
    transport.connect(endpoint);
    name = Platform::fromUtf8(hostOf(transport.local_endpoint()));
    socket.set_option(websocket::stream_base::decorator([&](websocket::request_type& request) {
        for (const auto& [field, value] : headers) {
            request.set(field, value);
        }
    }));
    socket.control_callback([this](websocket::frame_type kind, auto) {
        pings += kind == websocket::frame_type::ping ? 1 : 0;
    });
    http::response<http::string_body> response;
    const auto error = connection->await([&](auto done) {
        socket.async_handshake(response, hostOf(endpoint), "/rpc", std::move(done));
    });
    status = response.result_int();
    if (error && status == 0) {
        throw boost::system::system_error(error);
    }
}

RpcTestClient::~RpcTestClient() = default;

void RpcTestClient::send(const std::string& text) {
    const auto error = connection->awaitTransfer([&](auto done) {
        connection->socket.text(!binary);
        connection->socket.async_write(boost::asio::buffer(text), std::move(done));
    });
    if (error) {
        throw boost::system::system_error(error);
    }
}

std::optional<json::object> RpcTestClient::receive() {
    const auto text = receiveText();
    return text ? std::optional(json::parse(*text).as_object()) : std::nullopt;
}

std::optional<std::string> RpcTestClient::receiveText() {
    boost::beast::flat_buffer buffer;
    const auto error = connection->awaitTransfer(
        [&](auto done) { connection->socket.async_read(buffer, std::move(done)); });
    if (error) {
        return {};
    }
    return boost::beast::buffers_to_string(buffer.data());
}

json::object RpcTestClient::call(const std::string& method, json::object params) {
    const int id = ++lastId;
    send(json::serialize(json::object{
        {"jsonrpc", "2.0"}, {"id", id}, {"method", method}, {"params", std::move(params)}}));
    return responseTo(id);
}

json::object RpcTestClient::responseTo(int id) {
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

json::value RpcTestClient::result(const std::string& method, json::object params) {
    return call(method, std::move(params)).at("result");
}

std::int64_t RpcTestClient::errorCode(const std::string& method, json::object params) {
    return call(method, std::move(params)).at("error").at("code").as_int64();
}

json::object RpcTestClient::notification(const std::string& method) {
    for (;;) {
        auto message = nextNotification();
        if (message.at("method") == json::value(method)) {
            return message.at("params").as_object();
        }
    }
}

json::object RpcTestClient::nextNotification() {
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

void RpcTestClient::vanish() {
    connection->socket.next_layer().close();
}

void RpcTestClient::closeNormally() {
    connection->await([&](auto done) {
        connection->socket.async_close(websocket::close_code::normal, std::move(done));
    });
}

websocket::close_reason RpcTestClient::reason() const {
    return connection->socket.reason();
}

HttpResponse request(const std::wstring& address, http::verb method, const std::string& target,
                     const std::string& body, const Headers& headers) {
    boost::asio::io_context context;
    boost::asio::ip::tcp::socket socket(context);
    const auto endpoint = endpointOf(address);
    socket.connect(endpoint);
    http::request<http::string_body> message(method, target, 11);
    message.set(http::field::host, hostOf(endpoint));
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

json::object post(const std::wstring& address, const std::string& body, const Headers& headers) {
    return json::parse(request(address, http::verb::post, "/rpc", body, headers).body())
        .as_object();
}

} // namespace Quarlen::Kel_cpp::Tests
