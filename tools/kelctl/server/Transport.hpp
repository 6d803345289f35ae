#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/beast/core/tcp_stream.hpp>

namespace Quarlen::Ctl {

/// How long a server may take to take a connection.
inline constexpr std::chrono::seconds connectTime{5};

/// Why an operation on the network has failed, in the system's words.
std::string causeOf(const boost::system::error_code& error);

/// A connection over TCP. All operations run the I/O context until they have ended.
class Transport {
public:
    /// Connects. Throws `Failure` (NotReachable) that names host, port and cause.
    Transport(const std::string& host, std::uint16_t port);

    [[nodiscard]] boost::beast::tcp_stream& stream() { return tcp; }
    [[nodiscard]] boost::asio::io_context& context() { return ioContext; }
    [[nodiscard]] const std::string& place() const { return hostAndPort; }

    /// Begins an operation and runs until it has ended; `begin` passes the handler on. What else is
    /// under way, a timer for example, is not waited for.
    template <class Begin>
    boost::system::error_code await(Begin begin) {
        std::optional<boost::system::error_code> outcome;
        begin([&](const boost::system::error_code& error, const auto&... /*size*/) {
            outcome = error;
        });
        ioContext.restart();
        while (!outcome && ioContext.run_one() > 0) {
        }
        return outcome.value_or(boost::asio::error::operation_aborted);
    }
    /// Throws `Failure` (NotReachable) unless there is no error.
    void require(const boost::system::error_code& error) const;

private:
    boost::asio::io_context ioContext;
    boost::beast::tcp_stream tcp{ioContext};
    std::string hostAndPort;
};

} // namespace Quarlen::Ctl
