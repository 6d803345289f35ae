#include "doip/WatchedSocket.hpp"

#include <utility>

#include "platform/ConnectionSocket.hpp"

namespace Quarlen::Doip {

namespace {

using Socket = WatchedSocket::Socket;

/// Of one that has ended meanwhile and has no address any more it is IPv4's, which does no harm: a
/// socket that is connected needs no protocol.
Socket::protocol_type protocolOf(const Socket& socket) {
    boost::system::error_code gone;
    return socket.local_endpoint(gone).protocol();
}

} // namespace

WatchedSocket::WatchedSocket(Socket connected)
    : socket(std::move(connected)),
      native(static_cast<std::intptr_t>(socket.native_handle())),
      protocol(protocolOf(socket)),
      context(socket.get_executor()) {}

WatchedSocket::~WatchedSocket() {
    // Where a context that has ended has closed it, its number may be somebody else's by now.
    if (isAlone) {
        Platform::closeSocket(native);
    }
}

Socket& WatchedSocket::watched() {
    if (isAlone) {
        socket.assign(protocol, static_cast<Socket::native_handle_type>(native));
        isAlone = false;
    }
    return socket;
}

void WatchedSocket::leaveAlone() {
    if (Platform::watchersWakeForEveryArrival() && !isAlone) {
        boost::system::error_code error;
        socket.release(error);
        isAlone = !error.failed();
    }
}

} // namespace Quarlen::Doip
