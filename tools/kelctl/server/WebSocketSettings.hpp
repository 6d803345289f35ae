#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <boost/beast/websocket/stream.hpp>

#include "tools/kelctl/server/ServerPlace.hpp"

namespace Quarlen::Ctl {

/// Before the handshake: a server that says nothing is asked whether it is there, and lost after
/// `maxSilence`; so is one that sends a message of more than `maxMessage` bytes.
void prepareWebSocket(boost::beast::websocket::stream<boost::beast::tcp_stream>& stream,
                      const ServerPlace& place, std::chrono::seconds maxSilence,
                      std::size_t maxMessage);

/// What the server says instead of opening a WebSocket.
std::string refusalOf(const boost::beast::websocket::response_type& response);

} // namespace Quarlen::Ctl
