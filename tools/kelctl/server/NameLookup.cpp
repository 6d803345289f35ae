#include "tools/kelctl/server/NameLookup.hpp"

#include <utility>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/post.hpp>

#include "tools/kelctl/server/HostEndpoints.hpp"

namespace Quarlen::Ctl {

using boost::asio::ip::tcp;

void NameLookup::find(const std::string& host, std::uint16_t port, OnFound onFound) {
    boost::system::error_code isName;
    const auto address = boost::asio::ip::make_address_v4(host, isName);
    if (!isName) {
        onFound({}, {tcp::endpoint(address, port)});
        return;
    }
    auto keepsRunning = boost::asio::make_work_guard(context);
    boost::asio::post(workers, [this, host, port, onFound = std::move(onFound),
                                keepsRunning = std::move(keepsRunning)] {
        boost::system::error_code error;
        const Endpoints endpoints = endpointsOf(host, port, error);
        boost::asio::post(context, [onFound, error, endpoints] { onFound(error, endpoints); });
    });
}

} // namespace Quarlen::Ctl
