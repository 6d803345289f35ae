#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Quarlen::Tests {

/// A TCP socket of the system, IPv4. Failures throw `std::system_error` unless said otherwise.
class TestSocket {
public:
    TestSocket();
    TestSocket(const TestSocket&) = delete;
    TestSocket& operator=(const TestSocket&) = delete;
    TestSocket(TestSocket&& other) noexcept;
    ~TestSocket();

    void connect(const std::string& address, std::uint16_t port);
    /// Takes a port of the loopback interface that the system chooses.
    void bindToLoopback();
    /// Before it has a port: another socket may listen there, while nobody gets that port who asks
    /// for any. False where the system cannot do that.
    bool shareItsPort();
    void listen();
    [[nodiscard]] std::uint16_t port() const;
    /// The system's handle, which stays this object's.
    [[nodiscard]] std::intptr_t native() const { return handle; }

    /// False when the other side does not take it any more.
    bool send(std::string_view bytes);
    /// How many bytes have come; 0 at the end of the connection, which an error is, too.
    std::size_t receive(char* target, std::size_t size);
    /// Ends its side of the connection.
    void stopSending();
    /// True when the other side has reset the connection. May tell it once only.
    [[nodiscard]] bool wasReset() const;
    /// True when something can be received, the end of the connection included.
    [[nodiscard]] bool waitForData(std::chrono::milliseconds deadline) const;

private:
    /// The system's handle: a file descriptor or a SOCKET; -1 for none.
    std::intptr_t handle;
};

/// Lets the process have so many connections, both ends of each, where the system counts them.
void allowConnections(std::size_t count);

/// The system keeps no more than some ten thousand bytes that a connection's other side has no room
/// for.
void limitSendBuffer(std::intptr_t connection);

} // namespace Quarlen::Tests
