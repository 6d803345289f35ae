#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/message_generator.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

#include "kel_cpp/network/RequestGuard.hpp"
#include "kel_cpp/network/ServerContext.hpp"

namespace Quarlen::Kel_cpp {

/// The address that a client connected to.
struct ServedAddress {
    /// As `startServer` returned it.
    std::wstring name;
    /// The host that `startServer` was asked for.
    std::string host;
};

/// One connection that speaks HTTP/1.1: serves the page, the reports and JSON-RPC calls one after
/// the other, until the client asks for a WebSocket, closes, or says nothing for too long. Used on
/// the I/O thread, but for the answers of methods and tasks, which come from any thread.
class HttpConnection final : public Connection,
                             public std::enable_shared_from_this<HttpConnection> {
public:
    HttpConnection(boost::asio::ip::tcp::socket socket, ServerContext& context,
                   const ServedAddress& served);

    /// Enters the list of clients and serves them.
    void begin();

    [[nodiscard]] std::chrono::steady_clock::time_point lastUsed() const override;
    [[nodiscard]] bool isStranger() const override { return isStrange; }
    void notify(const Message& message, std::uint64_t number, bool mayBeDropped) override;
    void makeRoom() override { close(); }
    void close() override;
    void leave() override;

private:
    using ErrorCode = boost::system::error_code;
    using Body = boost::beast::http::string_body;
    using Request = boost::beast::http::request<Body>;
    using Response = boost::beast::http::response<Body>;
    using Status = boost::beast::http::status;
    class Caller;
    static constexpr const char* plainText = "text/plain; charset=utf-8";

    void read();
    void receivedHeader(const ErrorCode& error);
    void readBody();
    void receivedBody(const ErrorCode& error);
    void refuse(const ErrorCode& error);
    [[nodiscard]] RequestOrigin origin() const;
    [[nodiscard]] OwnNames ownNames() const;
    /// False when the request has been refused.
    bool authenticate();
    void identify(Role granted, const std::wstring& tokenName);
    [[nodiscard]] std::wstring callerName() const;
    void route();
    void serve(const std::string& path);
    void servePage();
    void serveReport(const std::string& name);
    void call();
    void upgrade();
    [[nodiscard]] Response response(Status status, std::string_view type, std::string body) const;
    void fail(Status status, const std::string& cause);
    void send(Response answer);
    /// From any thread.
    void sendLater(Response answer);
    void sent(bool keepAlive, std::size_t bytes, const ErrorCode& error);
    void drain();
    void end();

    /// Declared first, because the socket needs it to the end.
    IoThread::Context ioContext;
    boost::beast::tcp_stream stream;
    ServerContext& context;
    const ServedAddress served;
    boost::asio::ip::tcp::endpoint peer;
    boost::asio::ip::tcp::endpoint own;
    std::wstring peerName;
    ClientId id = 0;
    std::chrono::steady_clock::time_point used = std::chrono::steady_clock::now();
    boost::beast::flat_buffer buffer;
    std::optional<boost::beast::http::request_parser<Body>> parser;
    Request request;
    Role role = Role::None;
    std::wstring token;
    /// From elsewhere, and without a valid token until now.
    bool isStrange = true;
    /// Its request is being worked on.
    bool isServed = false;
    /// The bytes of the last reply.
    std::size_t lastReply = 0;
    ErrorCode ignoredError;
};

} // namespace Quarlen::Kel_cpp
