#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <boost/json/object.hpp>

#include "tools/kelctl/server/NameLookup.hpp"
#include "tools/kelctl/server/ServerPlace.hpp"

namespace Quarlen::Ctl {

/// What is known of one server.
struct ServerState {
    bool isReachable = false;
    /// The status text, or why the server is not reachable.
    std::string text;
    /// When the status was set; empty where nothing is known.
    std::string time{};
};

/// Hears every status text of one server, of many on one thread: all operations end on the thread
/// that runs the I/O context. A server that is not there, or goes, is tried again every few
/// seconds.
class StatusWatch {
public:
    using OnChange = std::function<void(const ServerState& state)>;

    /// None may be destroyed before the context has ended.
    StatusWatch(boost::asio::io_context& context, NameLookup& names, ServerPlace place,
                OnChange onChange);
    StatusWatch(const StatusWatch&) = delete;
    StatusWatch& operator=(const StatusWatch&) = delete;

    void start();

private:
    using ErrorCode = boost::system::error_code;
    using Stream = boost::beast::websocket::stream<boost::beast::tcp_stream>;

    void connect(const NameLookup::Endpoints& found);
    void shakeHands();
    void subscribe();
    void readNext();
    void take();
    void takeMessage(const boost::json::object& message);
    void lose(const ErrorCode& error);
    void loseFor(const std::string& cause);
    /// A handler that goes on with the results unless the operation has failed.
    template <class Next>
    auto unlessFailed(Next next);

    const ServerPlace place;
    const OnChange onChange;
    boost::asio::io_context& context;
    NameLookup& names;
    boost::asio::steady_timer retry{context};
    /// A new one for each attempt.
    std::optional<Stream> stream;
    boost::beast::websocket::response_type response;
    boost::beast::flat_buffer buffer;
    /// What was told last, so that a server that stays away is told of once.
    std::string lastCause;
};

} // namespace Quarlen::Ctl
