#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/system/error_code.hpp>

#include "doip/Message.hpp"
#include "doip/WatchedSocket.hpp"
#include "platform/Clock.hpp"
#include "uds/LinkState.hpp"
#include "uds/VehicleInterface.hpp"

namespace Quarlen::Doip {

/// The bytes of a TCP connection to a vehicle. Any thread writes whole messages, one after the
/// other, and does so itself. One thread at a time reads: that of the I/O context, or whoever waits
/// for an answer, which then need not come by way of another thread. The socket is closed when
/// nobody uses the transport any more, so that no other one gets its number meanwhile.
class TcpTransport : public std::enable_shared_from_this<TcpTransport> {
public:
    using OnBytes = std::function<void(std::span<const std::uint8_t>)>;
    /// What its owner does with it. Only the thread that reads calls the first two.
    struct Reader {
        OnBytes onBytes;
        /// The connection has ended: why, in words.
        std::function<void(const std::wstring& cause)> onEnd;
        /// Whether somebody waits for what another thread reads. Called with the mutex of the link
        /// held.
        std::function<bool()> isAwaited;
    };

    /// The socket is connected. All must outlive the transport; `link` tells whether it is open.
    TcpTransport(boost::asio::ip::tcp::socket connected, Uds::LinkState& link,
                 Platform::Clock& clock);

    /// Begins to read. Only on the thread of the I/O context.
    void read(Reader newReader);
    /// Reads once on the caller's thread, in real time; false when nothing has come in the time or
    /// another thread reads.
    bool readHere(std::chrono::milliseconds time, const OnBytes& onBytes);
    /// From now on somebody waits: the thread of the I/O context reads, where nobody else does.
    /// Called with the mutex of the link held.
    void beAwaited();

    /// Called by whoever writes: before the first byte goes out, and once the last one is out,
    /// before anything else goes out or is not being sent any more.
    struct Writing {
        std::function<void()> onTurn;
        std::function<void()> onOut;
    };
    /// Returns once the whole message is handed to the system; false when nothing found room for as
    /// long as the deadline gave it at first: as long as messages go on, its own or another one,
    /// the time begins anew. Throws `Cancelled`; after `onTurn` the rest of the message then still
    /// goes out.
    [[nodiscard]] bool write(const Bytes& head, const Bytes& body, const Uds::Patience& patience,
                             const Writing& writing);
    /// Sends a small message without a wait, behind the one that is being written. The number of
    /// the turn in which it goes out; none for a vehicle that does not read, which gets no more.
    std::optional<std::uint64_t> writeLater(const Bytes& message);

    /// Whether a message is going out. Called with the mutex of the link held.
    [[nodiscard]] bool isSending() const noexcept { return isWriting; }
    /// The turn of the small messages that wait behind it. The mutex as before.
    [[nodiscard]] std::optional<std::uint64_t> waitingTurn() const noexcept {
        return urgent.empty() ? std::nullopt : std::optional(turn);
    }
    /// Whether one is going out that nobody waits for any more. The mutex as before.
    [[nodiscard]] bool isSendingAlone() const noexcept { return isWriting && isAlone; }
    /// Bytes of all messages that the system has taken so far.
    [[nodiscard]] std::uint64_t takenBytes() const noexcept { return taken; }

    /// Ends the connection in both directions, and wakes whoever writes. Any thread.
    void shutDown() noexcept;

    /// "127.0.0.1:13400"
    [[nodiscard]] const std::wstring& peer() const noexcept { return peerText; }

private:
    enum class Pump { Done, MustWait };

    [[nodiscard]] std::intptr_t handle() const noexcept { return socket.handle(); }
    void readSome();
    void onRead(const boost::system::error_code& error, std::size_t count);
    bool mayRest(bool wasAwaited);
    void rest();
    void lookAtRest();
    bool takeHere(const OnBytes& onBytes);
    void end(const std::wstring& cause);
    void endReadingHere();
    struct EndReadingHere {
        void operator()(TcpTransport* transport) const { transport->endReadingHere(); }
    };
    Pump pump();
    bool pumpUntil(const Uds::Patience& patience);
    void awaitTurn(std::unique_lock<std::mutex>& lock, const Uds::Patience& patience);
    bool takeTurn(const Uds::Patience& patience);
    bool awaitRoom(const Uds::Patience& patience);
    template <class Handler>
    void awaitRoomInContext(Handler handler);
    void awaitRoomLater();
    void pumpLater();
    void leaveSocketAlone();
    bool beginNext();

    WatchedSocket socket;
    Uds::LinkState& link;
    Platform::Clock& clock;
    const std::wstring peerText;
    boost::asio::steady_timer restTimer;
    Reader reader;
    /// How many waits for room are under way. Of the thread of the I/O context.
    int waitsForRoom = 0;
    /// Used by whoever reads.
    std::array<std::uint8_t, 65536> arrived{};

    // Guarded by the mutex of `link`.
    enum class Reading { InContext, Here, Nowhere, Ended } reading = Reading::InContext;
    bool wasReadHere = false;
    std::condition_variable_any changed;
    bool isWriting = false;
    bool hasRoom = false;
    Bytes urgent;
    /// In which they go out.
    std::uint64_t turn = 0;

    std::atomic<bool> isAlone = false;
    /// Bytes of all messages that the system has taken.
    std::atomic<std::uint64_t> taken = 0;

    // Used by whoever writes.
    Bytes outgoing;
    std::size_t sent = 0;
};

} // namespace Quarlen::Doip
