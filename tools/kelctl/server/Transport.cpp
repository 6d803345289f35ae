#include "tools/kelctl/server/Transport.hpp"

#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/error.hpp>

#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kelctl/base/Failure.hpp"
#include "tools/kelctl/server/HostEndpoints.hpp"

namespace Quarlen::Ctl {

using boost::asio::ip::tcp;
using ErrorCode = boost::system::error_code;

Transport::Transport(const std::string& host, std::uint16_t port)
    : hostAndPort(host + ":" + std::to_string(port)) {
    ErrorCode error;
    const auto found = endpointsOf(host, port, error);
    require(error);
    tcp.expires_after(connectTime);
    require(await([&](auto done) { tcp.async_connect(found, std::move(done)); }));
    tcp.expires_never();
    tcp.socket().set_option(tcp::no_delay(true), error);
}

std::string causeOf(const ErrorCode& error) {
    return error == boost::beast::error::timeout ? "does not answer"
                                                 : Platform::toUtf8(Platform::errorText(error));
}

void Transport::require(const ErrorCode& error) const {
    if (error) {
        throw Failure(ExitCode::NotReachable, hostAndPort + ": " + causeOf(error));
    }
}

} // namespace Quarlen::Ctl
