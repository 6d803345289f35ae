#pragma once

#include <boost/asio/ip/tcp.hpp>

#include "kel_cpp/network/IoThread.hpp"

namespace Quarlen::Kel_cpp {

/// Ends the connection of a client when its server stops: tells it that nothing more comes, waits
/// for half a second that it ends its side, and resets it otherwise, so that it does not keep the
/// port from the next server. Goes on by itself on the I/O thread, which calls it and waits for it.
void sayFarewell(boost::asio::ip::tcp::socket socket, const IoThread::Context& ioContext);

} // namespace Quarlen::Kel_cpp
