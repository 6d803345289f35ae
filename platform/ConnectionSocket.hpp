#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <system_error>

/// The operations of one TCP connection. They keep no state: the caller owns the socket, and one
/// thread may stop reading while another waits. A `socket` is the
/// system's handle: a file descriptor or a SOCKET.
namespace Quarlen::Platform {

/// How many connections the process can have at a time, with everything else that it opens.
[[nodiscard]] std::size_t socketLimit() noexcept;

/// From now on reads and writes of a connection fail instead of waiting.
void setNonBlocking(std::intptr_t socket) noexcept;

/// Small pieces are sent without waiting for more to fill a packet.
void sendAtOnce(std::intptr_t socket) noexcept;

/// The flags of a send whose bytes end a segment. Where `moreFollows` says that another send comes
/// right behind it, both may go out together, each in its segment. Zero on Windows, where no flag
/// keeps two sends apart.
[[nodiscard]] int segmentFlags(bool moreFollows) noexcept;

/// True when bytes, the end of the connection or its error can be read before the time is over.
[[nodiscard]] bool isReadable(std::intptr_t socket, std::chrono::milliseconds timeout) noexcept;
/// True when there is room for bytes, or an error to be told, before the time is over.
[[nodiscard]] bool isWritable(std::intptr_t socket, std::chrono::milliseconds timeout) noexcept;

/// Count of the bytes that were taken or sent, 0 at the end of the connection, negative at an
/// error.
std::ptrdiff_t receiveBytes(std::intptr_t socket, std::span<char> target) noexcept;
std::ptrdiff_t sendBytes(std::intptr_t socket, std::span<const char> bytes) noexcept;

/// Whether the read or write of this thread that has just failed would have waited.
[[nodiscard]] bool wouldHaveWaited() noexcept;
/// The error of the read or write of this thread that has just failed.
[[nodiscard]] std::error_code lastSocketError() noexcept;

/// Whether a thread that watches many sockets at once wakes for all that arrives on one, also where
/// another thread reads it. On Windows it wakes only for the reads that it has begun itself.
[[nodiscard]] bool watchersWakeForEveryArrival() noexcept;

/// Ends reads of a connection as if the other side had closed it, and the waits of other threads
/// for them; writes go on. Nothing happens on Windows, where no wait would end and nobody could see
/// any more that the other side has closed: waits have to be short.
void stopReading(std::intptr_t socket) noexcept;

/// Tells the other side that nothing more comes; reads go on.
void stopWriting(std::intptr_t socket) noexcept;

/// Ends a connection in both directions; the handle stays. What other threads wait for on it ends,
/// too, on Windows perhaps later.
void shutDown(std::intptr_t socket) noexcept;

/// Ends a connection or a listening socket, together with the waits of other threads, and frees the
/// handle.
void closeSocket(std::intptr_t socket) noexcept;

/// A live reader takes so many bytes within a second.
constexpr std::size_t bytesOfASecond = 64'000;

/// How long the other side may take to read a last reply of so many bytes and to end the
/// connection.
constexpr std::chrono::milliseconds readingTime(std::size_t bytes) noexcept {
    constexpr std::chrono::seconds firstReadingTime{2};
    return firstReadingTime + std::chrono::milliseconds(bytes * 1000 / bytesOfASecond);
}

/// Of the last reply of a connection.
using ReadingTime = std::function<std::chrono::milliseconds(std::size_t bytes)>;

/// Gives a connection up whose other side does not end it, and frees the handle. Nothing of it
/// stays behind, while what is closed only waits for the other side, and on Windows keeps the port
/// from the next server meanwhile. What has not been read yet is lost.
void resetSocket(std::intptr_t socket) noexcept;

/// Whether a server that stops resets a connection whose other side has not ended it, after a last
/// reply of so many bytes: where it would keep the address from the next server, unless a live
/// reader may still be at a long reply. It is closed otherwise, and the system goes on with what
/// has not been read yet.
[[nodiscard]] bool isResetAtStop(std::size_t bytes) noexcept;

/// False once the other side has ended the connection and all that it sent has been read.
[[nodiscard]] bool isPeerConnected(std::intptr_t socket) noexcept;

/// One end of a connection; `host` is empty when the system does not know it.
struct SocketAddress {
    /// In numbers, "127.0.0.1".
    std::string host;
    int port = 0;
};
[[nodiscard]] SocketAddress peerAddress(std::intptr_t socket);
[[nodiscard]] SocketAddress ownAddress(std::intptr_t socket);

} // namespace Quarlen::Platform
