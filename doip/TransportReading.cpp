#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <system_error>
#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>

#include "doip/TcpTransport.hpp"
#include "platform/ConnectionSocket.hpp"
#include "platform/SystemError.hpp"

// How the bytes of a connection are read. An answer that comes soon is read by the thread that
// waits for it, because a thread of the I/O context between them would cost more than the whole
// network does. The context's thread reads what takes longer and what comes while nobody waits.
// While answers come soon it does not read, and only looks from time to time whether they still do.

namespace Quarlen::Doip {

namespace {

/// Between two looks. Where nobody has read since the last one the I/O context reads again.
constexpr std::chrono::milliseconds longestRest{10};

std::wstring closedText(const std::wstring& peer) {
    return L"the vehicle at " + peer + L" has closed the connection";
}

std::wstring lostText(const std::wstring& peer, const std::error_code& error) {
    return L"the connection to the vehicle at " + peer + L" is lost: " + Platform::errorText(error);
}

template <std::size_t size>
std::span<char> charactersOf(std::array<std::uint8_t, size>& bytes) {
    const auto all = std::as_writable_bytes(std::span(bytes));
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): bytes as the system wants them
    return {reinterpret_cast<char*>(all.data()), all.size()};
}

} // namespace

void TcpTransport::read(Reader newReader) {
    reader = std::move(newReader);
    readSome();
}

void TcpTransport::readSome() {
    socket.watched().async_read_some(
        boost::asio::buffer(arrived),
        [self = shared_from_this()](const auto& error, std::size_t count) {
            self->onRead(error, count);
        });
}

void TcpTransport::onRead(const boost::system::error_code& error, std::size_t count) {
    if (error) {
        end(error == boost::asio::error::eof ? closedText(peerText) : lostText(peerText, error));
        return;
    }
    bool wasAwaited = false;
    {
        const std::lock_guard lock(link.mutex);
        wasAwaited = reader.isAwaited();
    }
    reader.onBytes(std::span(arrived).first(count));
    if (mayRest(wasAwaited)) {
        rest();
    } else {
        readSome();
    }
}

/// Whoever has just got an answer soon waits for the next one.
bool TcpTransport::mayRest(bool wasAwaited) {
    const std::lock_guard lock(link.mutex);
    if (!wasAwaited || reader.isAwaited()) {
        return false;
    }
    reading = Reading::Nowhere;
    return true;
}

void TcpTransport::rest() {
    leaveSocketAlone();
    restTimer.expires_after(longestRest);
    restTimer.async_wait([self = shared_from_this()](const auto& error) {
        if (!error) {
            self->lookAtRest();
        }
    });
}

/// What waits for room still needs the context's eye; the next look then leaves it alone.
void TcpTransport::leaveSocketAlone() {
    if (waitsForRoom == 0) {
        socket.leaveAlone();
    }
}

void TcpTransport::lookAtRest() {
    bool goesOn = false;
    {
        const std::lock_guard lock(link.mutex);
        goesOn = std::exchange(wasReadHere, false);
        if (reading != Reading::Nowhere && reading != Reading::Here) {
            return;
        }
        if (!goesOn && reading == Reading::Nowhere) {
            reading = Reading::InContext;
        }
        goesOn = reading != Reading::InContext;
    }
    if (goesOn) {
        rest();
    } else {
        readSome();
    }
}

void TcpTransport::beAwaited() {
    if (reading == Reading::Nowhere) {
        reading = Reading::InContext;
        boost::asio::post(socket.executor(), [self = shared_from_this()] { self->readSome(); });
    }
}

bool TcpTransport::readHere(std::chrono::milliseconds time, const OnBytes& onBytes) {
    {
        const std::lock_guard lock(link.mutex);
        if (reading != Reading::Nowhere) {
            return false;
        }
        reading = Reading::Here;
        wasReadHere = true;
    }
    const std::unique_ptr<TcpTransport, EndReadingHere> turn(this);
    return Platform::isReadable(handle(), time) && takeHere(onBytes);
}

bool TcpTransport::takeHere(const OnBytes& onBytes) {
    const auto count = Platform::receiveBytes(handle(), charactersOf(arrived));
    if (count < 0 && Platform::wouldHaveWaited()) {
        return false;
    }
    if (count < 0) {
        end(lostText(peerText, Platform::lastSocketError()));
    } else if (count == 0) {
        end(closedText(peerText));
    } else {
        onBytes(std::span(arrived).first(static_cast<std::size_t>(count)));
    }
    return true;
}

void TcpTransport::endReadingHere() {
    const std::lock_guard lock(link.mutex);
    if (reading == Reading::Here) {
        reading = Reading::Nowhere;
        if (reader.isAwaited()) {
            beAwaited();
        }
    }
}

void TcpTransport::end(const std::wstring& cause) {
    {
        const std::lock_guard lock(link.mutex);
        reading = Reading::Ended;
    }
    reader.onEnd(cause);
}

} // namespace Quarlen::Doip
