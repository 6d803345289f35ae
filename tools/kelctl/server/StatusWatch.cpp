#include "tools/kelctl/server/StatusWatch.hpp"

#include <chrono>
#include <utility>

#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/json/parse.hpp>

#include "tools/kelctl/base/Failure.hpp"
#include "tools/kelctl/server/Transport.hpp"
#include "tools/kelctl/server/WebSocketSettings.hpp"

namespace Quarlen::Ctl {

namespace json = boost::json;
namespace websocket = boost::beast::websocket;
using boost::asio::ip::tcp;

namespace {

constexpr std::chrono::seconds retryInterval{5};
/// A line of stations wants to know soon that one has been switched off.
constexpr std::chrono::seconds silenceLimit{30};
/// A status text has some hundred letters; there are many servers.
constexpr std::size_t maxStatus = std::size_t{1024} * 1024;
constexpr const char* subscription = R"({"jsonrpc":"2.0","id":1,"method":"status.subscribe"})";

} // namespace

StatusWatch::StatusWatch(boost::asio::io_context& context, NameLookup& names, ServerPlace place,
                         OnChange onChange)
    : place(std::move(place)), onChange(std::move(onChange)), context(context), names(names) {}

template <class Next>
auto StatusWatch::unlessFailed(Next next) {
    return [this, next = std::move(next)](const ErrorCode& error, const auto&... results) -> void {
        if (error) {
            lose(error);
        } else {
            next(results...);
        }
    };
}

void StatusWatch::start() {
    stream.emplace(context);
    names.find(place.host, place.port, unlessFailed([this](const auto& found) { connect(found); }));
}

void StatusWatch::connect(const NameLookup::Endpoints& found) {
    auto& connection = boost::beast::get_lowest_layer(*stream);
    connection.expires_after(connectTime);
    connection.async_connect(found, [this](const ErrorCode& error, const tcp::endpoint&) {
        if (error) {
            lose(error);
        } else {
            shakeHands();
        }
    });
}

void StatusWatch::shakeHands() {
    boost::beast::get_lowest_layer(*stream).expires_never();
    prepareWebSocket(*stream, place, silenceLimit, maxStatus);
    response = {};
    stream->async_handshake(response, place.host + ":" + std::to_string(place.port), "/rpc",
                            [this](const ErrorCode& error) {
                                if (error == websocket::error::upgrade_declined) {
                                    loseFor(refusalOf(response));
                                } else if (error) {
                                    lose(error);
                                } else {
                                    subscribe();
                                }
                            });
}

void StatusWatch::subscribe() {
    stream->async_write(
        boost::asio::buffer(subscription, std::char_traits<char>::length(subscription)),
        unlessFailed([this](std::size_t /*bytes*/) { readNext(); }));
}

void StatusWatch::readNext() {
    buffer.clear();
    stream->async_read(buffer, unlessFailed([this](std::size_t /*bytes*/) { take(); }));
}

void StatusWatch::take() {
    try {
        takeMessage(json::parse(boost::beast::buffers_to_string(buffer.data())).as_object());
    } catch (const Failure&) {
        throw; // Of who is told, not of the server.
    } catch (const std::exception&) {
        // One odd server must not end the watching of the others.
        loseFor("says something that is no JSON-RPC");
    }
}

void StatusWatch::takeMessage(const json::object& message) {
    if (const json::value* const error = message.if_contains("error")) {
        loseFor(std::string(error->at("message").as_string()));
        return;
    }
    const json::value* const method = message.if_contains("method");
    if (method != nullptr && *method == "status.changed") {
        const json::object& status = message.at("params").as_object();
        const ServerState state{true, std::string(status.at("text").as_string()),
                                std::string(status.at("time").as_string())};
        lastCause.clear();
        onChange(state);
    }
    readNext();
}

void StatusWatch::lose(const ErrorCode& error) {
    loseFor(error == websocket::error::closed ? "has closed the connection" : causeOf(error));
}

void StatusWatch::loseFor(const std::string& cause) {
    if (std::exchange(lastCause, cause) != cause) {
        onChange({false, cause});
    }
    retry.expires_after(retryInterval);
    retry.async_wait([this](const ErrorCode& cancelled) {
        if (!cancelled) {
            start();
        }
    });
}

} // namespace Quarlen::Ctl
