#include "kel_cpp/network/Farewell.hpp"

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <utility>

#include <boost/asio/steady_timer.hpp>

namespace Quarlen::Kel_cpp {

namespace {

using boost::asio::ip::tcp;

constexpr std::chrono::milliseconds farewellTime{500};

class Farewell : public std::enable_shared_from_this<Farewell> {
public:
    Farewell(tcp::socket leaving, IoThread::Context context)
        : ioContext(std::move(context)), socket(std::move(leaving)), timer(*ioContext) {}

    void begin() {
        socket.shutdown(tcp::socket::shutdown_send, ignored);
        timer.expires_after(farewellTime);
        timer.async_wait([self = shared_from_this()](const boost::system::error_code& cancelled) {
            if (!cancelled) {
                self->socket.set_option(boost::asio::socket_base::linger(true, 0), self->ignored);
                self->socket.close(self->ignored);
            }
        });
        read();
    }

private:
    void read() {
        socket.async_read_some(
            boost::asio::buffer(dropped),
            [self = shared_from_this()](const boost::system::error_code& error, std::size_t) {
                if (error) {
                    self->timer.cancel();
                    self->socket.close(self->ignored);
                } else {
                    self->read();
                }
            });
    }

    /// Declared first, because socket and timer need it to the end.
    IoThread::Context ioContext;
    tcp::socket socket;
    boost::asio::steady_timer timer;
    std::array<char, 1024> dropped{};
    boost::system::error_code ignored;
};

} // namespace

void sayFarewell(tcp::socket socket, const IoThread::Context& ioContext) {
    std::make_shared<Farewell>(std::move(socket), ioContext)->begin();
}

} // namespace Quarlen::Kel_cpp
