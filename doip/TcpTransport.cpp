#include "doip/TcpTransport.hpp"

#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>

#include "doip/PlaceText.hpp"
#include "platform/ConnectionSocket.hpp"
#include "platform/SystemError.hpp"
#include "uds/LinkError.hpp"

namespace Quarlen::Doip {

namespace {

using boost::asio::ip::tcp;

/// Of small messages that wait behind one that is being written.
constexpr std::size_t maxUrgent = 1024;
/// A buffer that has grown larger is given back.
constexpr std::size_t keptBuffer = std::size_t{1} << 20U;

std::wstring textOf(const Platform::SocketAddress& address) {
    return placeText(address.host, address.port);
}

std::span<const char> charactersFrom(const Bytes& bytes, std::size_t offset) {
    const auto rest = std::as_bytes(std::span(bytes).subspan(offset));
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): bytes as the system wants them
    return {reinterpret_cast<const char*>(rest.data()), rest.size()};
}

} // namespace

TcpTransport::TcpTransport(tcp::socket connected, Uds::LinkState& link, Platform::Clock& clock)
    : socket(std::move(connected)),
      link(link),
      clock(clock),
      peerText(textOf(Platform::peerAddress(handle()))),
      restTimer(socket.executor()) {
    Platform::sendAtOnce(handle());
    Platform::setNonBlocking(handle());
}

bool TcpTransport::write(const Bytes& head, const Bytes& body, const Uds::Patience& patience,
                         const Writing& writing) {
    if (!takeTurn(patience)) {
        return false;
    }
    writing.onTurn();
    outgoing.assign(head.begin(), head.end());
    outgoing.insert(outgoing.end(), body.begin(), body.end());
    sent = 0;
    bool isOwn = true;
    do {
        if (!pumpUntil(patience)) {
            awaitRoomLater();
            return false;
        }
        if (std::exchange(isOwn, false)) {
            writing.onOut();
        }
    } while (beginNext());
    return true;
}

/// As long as the message goes on, the time begins anew: a long one takes its time.
bool TcpTransport::pumpUntil(const Uds::Patience& patience) {
    const auto time = patience.deadline - clock.now();
    Uds::Patience current = patience;
    for (std::size_t before = sent; pump() == Pump::MustWait; before = sent) {
        if (sent > before) {
            current.deadline = clock.now() + time;
        }
        if (!awaitRoom(current)) {
            return false;
        }
    }
    return true;
}

/// A message that goes on before this one takes none of its time.
void TcpTransport::awaitTurn(std::unique_lock<std::mutex>& lock, const Uds::Patience& patience) {
    const auto isFree = [this] { return !isWriting || !link.isOpen(); };
    const auto time = patience.deadline - clock.now();
    std::uint64_t before = 0;
    do {
        before = taken;
        clock.waitUntil({lock, changed, patience.cancel, clock.now() + time}, isFree);
    } while (!isFree() && !patience.cancel.stop_requested() && taken > before);
}

/// False when nothing went on for so long.
bool TcpTransport::takeTurn(const Uds::Patience& patience) {
    {
        std::unique_lock lock(link.mutex);
        if (isWriting) {
            awaitTurn(lock, patience);
        }
        if (!isWriting && link.isOpen() && !patience.cancel.stop_requested()) {
            isWriting = true;
            isAlone = false;
            return true;
        }
    }
    link.check();
    if (patience.cancel.stop_requested()) {
        throw Uds::Cancelled();
    }
    return false;
}

TcpTransport::Pump TcpTransport::pump() {
    while (sent < outgoing.size()) {
        const auto count = Platform::sendBytes(handle(), charactersFrom(outgoing, sent));
        if (count <= 0) {
            if (Platform::wouldHaveWaited()) {
                return Pump::MustWait;
            }
            // Half a message makes all that follows unreadable. Whoever reads hears of the end.
            shutDown();
            return Pump::Done;
        }
        sent += static_cast<std::size_t>(count);
        taken += static_cast<std::uint64_t>(count);
    }
    return Pump::Done;
}

/// On the thread of the I/O context, which otherwise leaves the socket alone while others read it.
template <class Handler>
void TcpTransport::awaitRoomInContext(Handler handler) {
    tcp::socket& watched = socket.watched();
    ++waitsForRoom;
    watched.async_wait(tcp::socket::wait_write,
                       [self = shared_from_this(), handler](const auto& error) {
                           --self->waitsForRoom;
                           handler(error);
                       });
}

/// False at the deadline.
bool TcpTransport::awaitRoom(const Uds::Patience& patience) {
    {
        const std::lock_guard lock(link.mutex);
        hasRoom = false;
    }
    boost::asio::post(socket.executor(), [self = shared_from_this()] {
        self->awaitRoomInContext([self](const auto& /*error*/) {
            {
                const std::lock_guard lock(self->link.mutex);
                self->hasRoom = true;
            }
            self->changed.notify_all();
        });
    });
    {
        std::unique_lock lock(link.mutex);
        if (clock.waitUntil({lock, changed, patience.cancel, patience.deadline},
                            [this] { return hasRoom || !link.isOpen(); })) {
            return true;
        }
    }
    if (patience.cancel.stop_requested()) {
        awaitRoomLater();
        throw Uds::Cancelled();
    }
    return false;
}

/// The rest of the message goes out on the thread of the I/O context: half a message would make all
/// that follows unreadable.
void TcpTransport::awaitRoomLater() {
    isAlone = true;
    boost::asio::post(socket.executor(), [self = shared_from_this()] {
        self->awaitRoomInContext([self](const auto& error) {
            if (!error) {
                self->pumpLater();
            }
        });
    });
}

void TcpTransport::pumpLater() {
    do {
        if (pump() == Pump::MustWait) {
            awaitRoomLater();
            return;
        }
    } while (beginNext());
}

/// The message is out. True when another one waits, which is written in the same turn.
bool TcpTransport::beginNext() {
    {
        const std::lock_guard lock(link.mutex);
        outgoing.clear();
        if (outgoing.capacity() > keptBuffer) {
            outgoing.shrink_to_fit();
        }
        sent = 0;
        isWriting = !urgent.empty();
        if (isWriting) {
            outgoing.swap(urgent);
            ++turn;
            return true;
        }
    }
    // One that does not wait any more would take the turn from the others.
    changed.notify_all();
    return false;
}

/// What goes out at once takes nobody's turn.
std::optional<std::uint64_t> TcpTransport::writeLater(const Bytes& message) {
    std::uint64_t own = 0;
    {
        const std::lock_guard lock(link.mutex);
        if (urgent.size() + message.size() > maxUrgent) {
            return {};
        }
        own = turn;
        urgent.insert(urgent.end(), message.begin(), message.end());
        if (isWriting) {
            return own;
        }
        outgoing.swap(urgent);
        ++turn;
        sent = 0;
        if (pump() == Pump::Done) {
            outgoing.clear();
            return own;
        }
        isWriting = true;
    }
    awaitRoomLater();
    return own;
}

void TcpTransport::shutDown() noexcept {
    Platform::shutDown(handle());
    changed.notify_all();
}

} // namespace Quarlen::Doip
