#include "kel_cpp/network/WebSocketConnection.hpp"

#include <utility>

#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core/bind_handler.hpp>
#include <boost/beast/core/buffers_to_string.hpp>

#include "kel_cpp/network/Farewell.hpp"
#include "kel_cpp/rpc/JsonRecords.hpp"
#include "platform/ConnectionSocket.hpp"

namespace Quarlen::Kel_cpp {

namespace {

namespace websocket = boost::beast::websocket;

/// Of one client. Further messages are read when one has been answered.
constexpr std::size_t maxUnanswered = 32;
/// A larger message does not stay in memory for as long as its client stays.
constexpr std::size_t keptBuffer = 4096;

} // namespace

WebSocketConnection::WebSocketConnection(boost::beast::tcp_stream&& stream, ServerContext& context,
                                         ClientId id, std::wstring address, Role role,
                                         std::wstring tokenName)
    : ioContext(context.ioContext),
      socket(std::move(stream)),
      patience(*context.ioContext),
      context(context),
      id(id),
      address(std::move(address)),
      granted(role),
      token(std::move(tokenName)) {}

void WebSocketConnection::configure() {
    // The stream has timers of its own; they would fire together with those of the connection.
    boost::beast::get_lowest_layer(socket).expires_never();
    websocket::stream_base::timeout times{};
    times.handshake_timeout = context.handshakeTime;
    times.idle_timeout = context.limits.maxIdle;
    times.keep_alive_pings = true;
    socket.set_option(times);
    limitMessages();
}

void WebSocketConnection::limitMessages() {
    socket.read_message_max(granted == Role::None ? maxMessageOfStrangers
                                                  : context.limits.maxMessage);
}

void WebSocketConnection::begin(Request request) {
    configure();
    const auto kept = std::make_shared<Request>(std::move(request));
    socket.async_accept(*kept, [self = shared_from_this(), kept](const ErrorCode& error) {
        self->accepted(error);
    });
}

void WebSocketConnection::accepted(const ErrorCode& error) {
    if (error) {
        end();
        return;
    }
    upgraded = true;
    if (closeReason) {
        sendClose();
    }
    read();
}

void WebSocketConnection::read() {
    if (reading || closing || unanswered >= maxUnanswered ||
        unsent.bytes() > context.limits.maxMessage) {
        return;
    }
    reading = true;
    socket.async_read(buffer, [self = shared_from_this()](const ErrorCode& error, std::size_t) {
        self->received(error);
    });
}

void WebSocketConnection::received(const ErrorCode& error) {
    if (error) {
        end();
        return;
    }
    used = std::chrono::steady_clock::now();
    if (!socket.got_text()) {
        closeWith({websocket::close_code::unknown_data, "messages are texts"});
        return;
    }
    const std::string message = boost::beast::buffers_to_string(buffer.data());
    buffer.consume(buffer.size());
    if (buffer.capacity() > keptBuffer) {
        buffer.shrink_to_fit();
    }
    ++unanswered;
    context.rpc.handle(message, shared_from_this(), [weak = weak_from_this()](std::string text) {
        if (const auto self = weak.lock()) {
            self->answer(std::move(text));
        }
    });
    // What was answered at once is sent first: a read before that would find nothing yet.
    boost::asio::post(*ioContext, [self = shared_from_this()] {
        self->reading = false;
        self->read();
    });
}

/// An answer of the I/O thread is queued at once, so that what follows the call comes behind it. A
/// task keeps no connection alive: one that is closed meanwhile takes no answer.
void WebSocketConnection::answer(std::string text) {
    boost::asio::dispatch(*ioContext, [weak = weak_from_this(), text = std::move(text)]() mutable {
        if (const auto self = weak.lock()) {
            if (text.empty()) {
                --self->unanswered;
                self->read();
            } else {
                self->enqueue(std::make_shared<const std::string>(std::move(text)), true);
            }
        }
    });
}

void WebSocketConnection::notify(const Message& message, std::uint64_t number, bool mayBeDropped) {
    constexpr std::size_t laggingBehind = 16;
    if (!subscribed || closing || (number != 0 && number <= lastStatus) ||
        (mayBeDropped && unsent.size() > laggingBehind)) {
        return;
    }
    if (number != 0) {
        lastStatus = number;
    }
    if (unsent.hasNotifications(context.limits.maxUnsent)) {
        unsent.dropOthers();
        closeWith({websocket::close_code::policy_error, "the notifications are not read"});
        return;
    }
    enqueue(message, false);
}

/// The answer to the call is in the queue already, and no status comes between it and this one. The
/// later texts are on their way. For a client that has subscribed before the present one is on its
/// way, too, behind others that it has not got yet.
void WebSocketConnection::subscribe(const StatusEntry& present) {
    if (std::exchange(subscribed, true) && present.number > lastStatus) {
        return;
    }
    lastStatus = present.number;
    enqueue(std::make_shared<const std::string>(
                JsonRpc::notification("status.changed", JsonRecords::status(present))),
            false);
}

void WebSocketConnection::enqueue(Message message, bool isAnswer) {
    if (closing) {
        return;
    }
    unsent.add(std::move(message), isAnswer);
    write();
}

void WebSocketConnection::write() {
    if (writing || unsent.empty()) {
        return;
    }
    writing = true;
    socket.text(true);
    socket.async_write(boost::asio::buffer(*unsent.first()),
                       [self = shared_from_this(), message = unsent.first()](
                           const ErrorCode& error, std::size_t) { self->written(error); });
}

void WebSocketConnection::written(const ErrorCode& error) {
    writing = false;
    if (error) {
        end();
        return;
    }
    used = std::chrono::steady_clock::now();
    unanswered -= unsent.removeFirst() ? 1 : 0;
    write();
    read();
}

std::chrono::steady_clock::time_point WebSocketConnection::lastUsed() const {
    return unanswered > 0 ? std::chrono::steady_clock::now() : used;
}

void WebSocketConnection::closeWith(const websocket::close_reason& reason) {
    if (std::exchange(closing, true)) {
        return;
    }
    closeReason = reason;
    // While the request for the upgrade is being answered nothing else may be sent.
    if (upgraded) {
        sendClose();
    }
    // The close waits for what is being sent, which a client that reads nothing never takes.
    patience.expires_after(context.handshakeTime);
    patience.async_wait([self = shared_from_this()](const ErrorCode&) { self->close(); });
}

void WebSocketConnection::sendClose() {
    socket.async_close(*closeReason,
                       [self = shared_from_this()](const ErrorCode&) { self->end(); });
}

void WebSocketConnection::makeRoom() {
    closeWith({websocket::close_code::try_again_later, "other clients need the place"});
}

void WebSocketConnection::checkToken(const AccessTokens& tokens) {
    if (!token.empty() && !tokens.has({granted, token})) {
        closeWith({websocket::close_code::policy_error, "the token is no longer valid"});
    }
}

void WebSocketConnection::close() {
    closing = true;
    patience.cancel();
    ErrorCode ignored;
    boost::beast::get_lowest_layer(socket).socket().close(ignored);
}

void WebSocketConnection::leave() {
    auto& stream = boost::beast::get_lowest_layer(socket);
    if (Platform::isResetAtStop(0) && stream.socket().is_open()) {
        closing = true;
        patience.cancel();
        sayFarewell(stream.release_socket(), ioContext);
    } else {
        close();
    }
}

void WebSocketConnection::end() {
    context.clients.remove(id);
    close();
}

std::wstring WebSocketConnection::name() const {
    return token.empty() ? address : token + L" " + address;
}

void WebSocketConnection::logIn(Role role, const std::wstring& tokenName) {
    granted = role;
    token = tokenName;
    limitMessages();
    context.clients.rename(id, name());
}

} // namespace Quarlen::Kel_cpp
