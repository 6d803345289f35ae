#pragma once

#include <memory>
#include <optional>
#include <string>

#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/websocket/stream.hpp>

#include "kel_cpp/network/ServerContext.hpp"
#include "kel_cpp/network/UnsentMessages.hpp"

namespace Quarlen::Kel_cpp {

/// One client over a WebSocket (RFC 6455): each text message is a JSON-RPC message. Responses and
/// notifications go out in the order in which they come; a client that takes none of them any more
/// is closed with 1008 before they grow without bound. Used on the I/O thread, but for the answers
/// of methods, which come from any thread.
class WebSocketConnection final : public Connection,
                                  public RpcClient,
                                  public std::enable_shared_from_this<WebSocketConnection> {
public:
    using Request = boost::beast::http::request<boost::beast::http::string_body>;

    WebSocketConnection(boost::beast::tcp_stream&& stream, ServerContext& context, ClientId id,
                        std::wstring address, Role role, std::wstring tokenName);

    /// Answers the request for the upgrade and serves the client until one of them ends it.
    void begin(Request request);

    [[nodiscard]] std::chrono::steady_clock::time_point lastUsed() const override;
    [[nodiscard]] bool isStranger() const override { return granted == Role::None; }
    void notify(const Message& message, std::uint64_t number, bool mayBeDropped) override;
    void makeRoom() override;
    void checkToken(const AccessTokens& tokens) override;
    void close() override;
    void leave() override;

    [[nodiscard]] std::wstring name() const override;
    [[nodiscard]] Role role() const override { return granted; }
    void logIn(Role role, const std::wstring& tokenName) override;
    [[nodiscard]] bool canSubscribe() const override { return true; }
    void subscribe(const StatusEntry& present) override;
    void unsubscribe() override { subscribed = false; }

private:
    using ErrorCode = boost::system::error_code;

    void configure();
    void limitMessages();
    void accepted(const ErrorCode& error);
    void read();
    void received(const ErrorCode& error);
    void answer(std::string text);
    void enqueue(Message message, bool isAnswer);
    void write();
    void written(const ErrorCode& error);
    void closeWith(const boost::beast::websocket::close_reason& reason);
    void sendClose();
    void end();

    /// Declared first, because the sockets and timers need it to the end.
    IoThread::Context ioContext;
    boost::beast::websocket::stream<boost::beast::tcp_stream> socket;
    /// Bounds how long a close may take.
    boost::asio::steady_timer patience;
    ServerContext& context;
    const ClientId id;
    const std::wstring address;
    Role granted;
    std::wstring token;
    std::chrono::steady_clock::time_point used = std::chrono::steady_clock::now();
    boost::beast::flat_buffer buffer;
    UnsentMessages unsent;
    /// Requests whose answers have not been sent: a client cannot have any number of them.
    std::size_t unanswered = 0;
    /// The answer to the request for the upgrade is out.
    bool upgraded = false;
    bool reading = false;
    bool writing = false;
    bool closing = false;
    /// The one that the client is told, at the earliest behind that answer.
    std::optional<boost::beast::websocket::close_reason> closeReason;
    bool subscribed = false;
    std::uint64_t lastStatus = 0;
};

} // namespace Quarlen::Kel_cpp
