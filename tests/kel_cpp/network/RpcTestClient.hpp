#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

namespace Quarlen::Kel_cpp::Tests {

namespace json = boost::json;
namespace http = boost::beast::http;
namespace websocket = boost::beast::websocket;

/// A client that does not read soon keeps the server from sending.
constexpr int smallReceiveBuffer = 4096;

using Headers = std::vector<std::pair<std::string, std::string>>;

/// A client over a WebSocket. Every operation ends after half a minute at the latest and then
/// throws.
class RpcTestClient {
public:
    /// `receiveBuffer` is the system's for this connection, 0 for what it likes.
    explicit RpcTestClient(const std::wstring& address, const Headers& headers = {},
                           int receiveBuffer = 0);
    RpcTestClient(const RpcTestClient&) = delete;
    RpcTestClient& operator=(const RpcTestClient&) = delete;
    ~RpcTestClient();

    void send(const std::string& text);
    /// The next message, or nothing when the server has closed the connection.
    std::optional<json::object> receive();
    std::optional<std::string> receiveText();

    /// Calls a method; what comes before the response is kept in `notifications`.
    json::object call(const std::string& method, json::object params = {});
    json::object responseTo(int id);
    json::value result(const std::string& method, json::object params = {});
    std::int64_t errorCode(const std::string& method, json::object params = {});
    /// The next notification of a method.
    json::object notification(const std::string& method);

    void vanish();
    void closeNormally();
    [[nodiscard]] websocket::close_reason reason() const;

    std::wstring name;
    /// Of the response to the upgrade; 101 when it was accepted.
    unsigned status = 0;
    std::atomic<int> pings{0};
    bool binary = false;
    std::vector<json::object> notifications;

private:
    struct Connection;

    json::object nextNotification();

    /// Out of sight, because the library's templates take a minute of a compiler.
    std::unique_ptr<Connection> connection;
    int lastId = 0;
};

using HttpResponse = http::response<http::string_body>;

/// Sends one request over a connection of its own and returns the response; "Host" is the server's
/// own unless the headers say another.
HttpResponse request(const std::wstring& address, http::verb method, const std::string& target,
                     const std::string& body = {}, const Headers& headers = {});

/// One call by POST.
json::object post(const std::wstring& address, const std::string& body,
                  const Headers& headers = {});

} // namespace Quarlen::Kel_cpp::Tests
