#include "kel_cpp/network/HttpConnection.hpp"

#include <utility>

#include <boost/asio/post.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>

#include "kel_cpp/network/Endpoints.hpp"
#include "kel_cpp/network/Farewell.hpp"
#include "kel_cpp/network/HttpDate.hpp"
#include "platform/ConnectionSocket.hpp"

namespace Quarlen::Kel_cpp {

namespace http = boost::beast::http;

HttpConnection::HttpConnection(boost::asio::ip::tcp::socket socket, ServerContext& context,
                               const ServedAddress& served)
    : ioContext(context.ioContext), stream(std::move(socket)), context(context), served(served) {}

void HttpConnection::begin() {
    ErrorCode error;
    peer = stream.socket().remote_endpoint(error);
    if (!error) {
        own = stream.socket().local_endpoint(error);
    }
    if (error) {
        return;
    }
    peerName = endpointText(peer);
    isStrange = !peer.address().is_loopback();
    id = context.clients.add(shared_from_this(), served.name, peerName);
    read();
}

void HttpConnection::read() {
    parser.emplace();
    parser->header_limit(maxRequestHeader);
    parser->body_limit(context.limits.maxMessage);
    stream.expires_after(context.limits.maxIdle);
    http::async_read_header(stream, buffer, *parser,
                            [self = shared_from_this()](const ErrorCode& error, std::size_t) {
                                self->receivedHeader(error);
                            });
}

/// Who may not use the server is refused before the body is read.
void HttpConnection::receivedHeader(const ErrorCode& error) {
    if (error) {
        refuse(error);
        return;
    }
    used = std::chrono::steady_clock::now();
    request = Request(parser->get().base());
    const std::string refusal = refusalOf(origin(), ownNames());
    if (!refusal.empty()) {
        fail(Status::forbidden, refusal);
    } else if (authenticate()) {
        readBody();
    }
}

void HttpConnection::readBody() {
    const std::size_t limit =
        role == Role::None ? maxMessageOfStrangers : context.limits.maxMessage;
    parser->body_limit(limit);
    if (parser->content_length().value_or(0) > limit) {
        refuse(http::error::body_limit);
        return;
    }
    http::async_read(stream, buffer, *parser,
                     [self = shared_from_this()](const ErrorCode& error, std::size_t) {
                         self->receivedBody(error);
                     });
}

void HttpConnection::receivedBody(const ErrorCode& error) {
    if (error) {
        refuse(error);
        return;
    }
    used = std::chrono::steady_clock::now();
    stream.expires_never();
    request = parser->release();
    isServed = true;
    route();
}

std::chrono::steady_clock::time_point HttpConnection::lastUsed() const {
    return isServed ? std::chrono::steady_clock::now() : used;
}

/// Tells a client what is wrong with its request; after that nothing it sends can be understood.
void HttpConnection::refuse(const ErrorCode& error) {
    if (error == http::error::header_limit) {
        fail(Status::request_header_fields_too_large,
             "a header has at most " + std::to_string(maxRequestHeader) + " bytes");
    } else if (error == http::error::body_limit) {
        fail(Status::payload_too_large,
             "a body has at most " +
                 std::to_string(role == Role::None ? maxMessageOfStrangers
                                                   : context.limits.maxMessage) +
                 " bytes");
    } else if (error.category() == make_error_code(http::error::bad_method).category() &&
               error != http::error::end_of_stream && error != http::error::partial_message) {
        fail(Status::bad_request, error.message());
    } else {
        end();
    }
}

HttpConnection::Response HttpConnection::response(Status status, std::string_view type,
                                                  std::string body) const {
    Response answer(status, request.version() == 0 ? 11 : request.version());
    if (!type.empty()) {
        answer.set(http::field::content_type, type);
    }
    answer.set(http::field::date, httpDate(std::chrono::system_clock::now()));
    answer.set("X-Content-Type-Options", "nosniff");
    answer.set("Referrer-Policy", "no-referrer");
    answer.set(http::field::cache_control, "no-store");
    answer.keep_alive(request.keep_alive());
    answer.body() = std::move(body);
    answer.prepare_payload();
    return answer;
}

void HttpConnection::fail(Status status, const std::string& cause) {
    Response answer = response(status, plainText, cause + "\n");
    if (status == Status::unauthorized) {
        answer.set(http::field::www_authenticate, "Bearer");
    }
    // Who was refused once does not keep the connection.
    answer.keep_alive(false);
    send(std::move(answer));
}

void HttpConnection::send(Response answer) {
    const bool keepAlive = answer.keep_alive();
    if (request.method() == http::verb::head) {
        // The length stays that of the body.
        answer.body().clear();
    }
    stream.expires_after(context.limits.maxIdle);
    const auto kept = std::make_shared<Response>(std::move(answer));
    http::async_write(
        stream, *kept,
        [self = shared_from_this(), kept, keepAlive](const ErrorCode& error, std::size_t bytes) {
            self->sent(keepAlive, bytes, error);
        });
}

void HttpConnection::sendLater(Response answer) {
    boost::asio::post(*ioContext, [weak = weak_from_this(), answer = std::move(answer)]() mutable {
        if (const auto self = weak.lock()) {
            self->send(std::move(answer));
        }
    });
}

void HttpConnection::sent(bool keepAlive, std::size_t bytes, const ErrorCode& error) {
    isServed = false;
    lastReply = bytes;
    if (error) {
        end();
    } else if (keepAlive) {
        read();
    } else {
        stream.socket().shutdown(boost::asio::ip::tcp::socket::shutdown_send, ignoredError);
        // The stream closes the socket when the time is over: that is to be a reset.
        stream.socket().set_option(boost::asio::socket_base::linger(true, 0), ignoredError);
        stream.expires_after(context.readingTime(bytes));
        drain();
    }
}

/// Discards what the client still sends: a connection that is closed with unread data is reset, and
/// the client may lose the response.
void HttpConnection::drain() {
    buffer.clear();
    stream.async_read_some(buffer.prepare(maxRequestHeader),
                           [self = shared_from_this()](const ErrorCode& error, std::size_t) {
                               if (error) {
                                   self->end();
                               } else {
                                   self->drain();
                               }
                           });
}

void HttpConnection::notify(const Message& /*message*/, std::uint64_t /*number*/,
                            bool /*mayBeDropped*/) {}

void HttpConnection::close() {
    stream.socket().set_option(boost::asio::socket_base::linger(false, 0), ignoredError);
    stream.socket().close(ignoredError);
}

void HttpConnection::leave() {
    if (Platform::isResetAtStop(lastReply) && stream.socket().is_open()) {
        stream.expires_never();
        stream.socket().set_option(boost::asio::socket_base::linger(false, 0), ignoredError);
        sayFarewell(stream.release_socket(), ioContext);
    } else {
        close();
    }
}

void HttpConnection::end() {
    context.clients.remove(id);
    close();
}

} // namespace Quarlen::Kel_cpp
