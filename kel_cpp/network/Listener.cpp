#include "kel_cpp/network/Listener.hpp"

#include <chrono>
#include <utility>

#include "platform/SystemError.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen::Kel_cpp {

using boost::asio::ip::tcp;

Listener::Listener(tcp::acceptor listening, ServerContext& context, ServedAddress served)
    : acceptor(std::move(listening)),
      retryTimer(acceptor.get_executor()),
      context(context),
      served(std::move(served)) {}

void Listener::begin() {
    accept();
}

void Listener::close() {
    boost::system::error_code ignored;
    acceptor.close(ignored);
    retryTimer.cancel();
    context.clients.closeAll(served.name);
}

void Listener::accept() {
    acceptor.async_accept(
        [self = shared_from_this()](const boost::system::error_code& error, tcp::socket socket) {
            self->accepted(error, std::move(socket));
        });
}

void Listener::accepted(const boost::system::error_code& error, tcp::socket socket) {
    if (!acceptor.is_open()) {
        return;
    }
    if (error) {
        acceptingFailed(error);
        return;
    }
    acceptFailed = false;
    isClientWaiting = false;
    accept();
    boost::system::error_code ignored;
    // An answer is small and awaited, and not to be held back for a larger segment.
    socket.set_option(tcp::no_delay(true), ignored);
    if (context.sendBuffer) {
        socket.set_option(boost::asio::socket_base::send_buffer_size(*context.sendBuffer), ignored);
    }
    std::make_shared<HttpConnection>(std::move(socket), context, served)->begin();
}

/// Without a free file descriptor the system refuses to accept even where nobody has connected.
void Listener::acceptingFailed(const boost::system::error_code& error) {
    if (!std::exchange(acceptFailed, true)) {
        StdUtil::TraceHelper::ErrorTrace(L"kel_cpp/network/Listener", __LINE__,
                                         L"cannot accept clients: %s",
                                         Platform::errorText(error).c_str());
    }
    if (std::exchange(isClientWaiting, false)) {
        makeRoom();
    } else {
        waitForClient();
    }
}

void Listener::waitForClient() {
    acceptor.async_wait(tcp::acceptor::wait_read,
                        [self = shared_from_this()](const boost::system::error_code& cancelled) {
                            if (!cancelled && self->acceptor.is_open()) {
                                self->isClientWaiting = true;
                                self->accept();
                            }
                        });
}

/// As when the list is full, the longest idle client goes. The waiting one stays pending, so an
/// immediate retry would spin where no client can go.
void Listener::makeRoom() {
    constexpr std::chrono::milliseconds pause{100};
    context.clients.makeRoom();
    retryTimer.expires_after(pause);
    retryTimer.async_wait([self = shared_from_this()](const boost::system::error_code& cancelled) {
        if (!cancelled && self->acceptor.is_open()) {
            self->accept();
        }
    });
}

} // namespace Quarlen::Kel_cpp
