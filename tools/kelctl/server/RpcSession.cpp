#include "tools/kelctl/server/RpcSession.hpp"

#include <utility>

#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include "tools/kelctl/base/Failure.hpp"
#include "tools/kelctl/server/Transport.hpp"
#include "tools/kelctl/server/WebSocketSettings.hpp"

namespace Quarlen::Ctl {

namespace json = boost::json;
namespace websocket = boost::beast::websocket;

namespace {

using ErrorCode = boost::system::error_code;

/// A server that is there answers a ping before; a start that takes an hour is answered after an
/// hour.
constexpr std::chrono::seconds maxSilence{60};

/// What the server refuses to a client elsewhere that shows no token.
std::string hintFor(const json::value& code, bool hasToken) {
    constexpr int accessDenied = -32001;
    return code == accessDenied && !hasToken ? "; a client elsewhere needs a token (--token-file)"
                                             : "";
}

/// The largest answer is the list of all status texts of a run.
constexpr std::size_t maxAnswer = std::size_t{64} * 1024 * 1024;
/// Notifications between a call and its answer; a run of hours tells them as they come.
constexpr std::size_t maxKept = 10000;

} // namespace

class RpcSession::Socket {
public:
    explicit Socket(const ServerPlace& place)
        : isKnown(!place.token.empty()),
          transport(place.host, place.port),
          stream(std::move(transport.stream())) {
        prepareWebSocket(stream, place, maxSilence, maxAnswer);
        shakeHands();
    }

    void write(const std::string& text) {
        requireOpen(transport.await(
            [&](auto done) { stream.async_write(boost::asio::buffer(text), std::move(done)); }));
    }

    [[nodiscard]] bool hasToken() const { return isKnown; }

    [[nodiscard]] std::string ownAddress() const {
        ErrorCode error;
        const auto own = boost::beast::get_lowest_layer(stream).socket().local_endpoint(error);
        return error ? std::string() : own.address().to_string() + ":" + std::to_string(own.port());
    }

    std::string read() {
        boost::beast::flat_buffer buffer;
        requireOpen(
            transport.await([&](auto done) { stream.async_read(buffer, std::move(done)); }));
        return boost::beast::buffers_to_string(buffer.data());
    }

private:
    void shakeHands() {
        websocket::response_type response;
        const ErrorCode error = transport.await([&](auto done) {
            stream.async_handshake(response, transport.place(), "/rpc", std::move(done));
        });
        if (error == websocket::error::upgrade_declined) {
            throw Failure(ExitCode::Refused, refusalOf(response));
        }
        requireOpen(error);
    }

    void requireOpen(const ErrorCode& error) const {
        if (error == websocket::error::closed) {
            const auto& reason = stream.reason();
            throw Failure(ExitCode::NotReachable, transport.place() +
                                                      " has closed the connection (" +
                                                      std::to_string(reason.code) + " " +
                                                      std::string(reason.reason.c_str()) + ")");
        }
        if (error == boost::asio::error::eof) {
            throw Failure(ExitCode::NotReachable, transport.place() + " has gone");
        }
        transport.require(error);
    }

    const bool isKnown;
    Transport transport;
    websocket::stream<boost::beast::tcp_stream> stream;
};

RpcSession::RpcSession(const ServerPlace& place) : socket(std::make_unique<Socket>(place)) {}

RpcSession::~RpcSession() = default;

std::string RpcSession::ownAddress() const {
    return socket->ownAddress();
}

json::value RpcSession::call(const std::string& method, json::object params) {
    return call(method, std::move(params), {});
}

json::value RpcSession::call(const std::string& method, json::object params,
                             const OnNotification& onNotification) {
    const std::uint64_t id = begin(method, std::move(params));
    for (;;) {
        for (; onNotification && !notifications.empty(); notifications.pop_front()) {
            onNotification(notifications.front());
        }
        if (auto answer = answerSoFar(id)) {
            return std::move(*answer);
        }
        receive();
    }
}

std::uint64_t RpcSession::begin(const std::string& method, json::object params) {
    socket->write(json::serialize(json::object{
        {"jsonrpc", "2.0"}, {"id", ++lastId}, {"method", method}, {"params", std::move(params)}}));
    return lastId;
}

std::optional<json::value> RpcSession::answerSoFar(std::uint64_t id) {
    const auto found = answers.find(id);
    if (found == answers.end()) {
        return {};
    }
    const json::object answer = std::move(found->second);
    answers.erase(found);
    if (const json::value* const error = answer.if_contains("error")) {
        throw Failure(ExitCode::Refused, std::string(error->at("message").as_string()) +
                                             hintFor(error->at("code"), socket->hasToken()));
    }
    return answer.at("result");
}

RpcSession::Notification RpcSession::nextNotification() {
    while (notifications.empty()) {
        receive();
    }
    Notification first = std::move(notifications.front());
    notifications.pop_front();
    return first;
}

void RpcSession::receive() {
    ErrorCode error;
    const json::value message = json::parse(socket->read(), error);
    const json::object* const object = error ? nullptr : message.if_object();
    if (object == nullptr) {
        throw Failure(ExitCode::Refused, "the server sent something that is no JSON-RPC");
    }
    if (const json::value* const method = object->if_contains("method")) {
        keepNotification(*method, object->if_contains("params"));
    } else {
        keepAnswer(*object);
    }
}

/// A server of a later version may tell more than we know of.
void RpcSession::keepNotification(const json::value& method, const json::value* params) {
    if (!method.is_string() || params == nullptr || !params->is_object()) {
        return;
    }
    if (notifications.size() == maxKept) {
        throw Failure(ExitCode::Refused, "the server tells more than was asked for");
    }
    notifications.push_back({std::string(method.get_string()), params->get_object()});
}

void RpcSession::keepAnswer(const json::object& answer) {
    const json::value* const id = answer.if_contains("id");
    boost::system::error_code isNone;
    const auto number = id == nullptr ? 0 : id->to_number<std::uint64_t>(isNone);
    if (id == nullptr || isNone || number == 0 || number > lastId) {
        throw Failure(ExitCode::Refused, "the server answers what nobody has asked");
    }
    answers[number] = answer;
}

} // namespace Quarlen::Ctl
