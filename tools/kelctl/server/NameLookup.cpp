#include "tools/kelctl/server/NameLookup.hpp"

#include <utility>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/post.hpp>

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
        boost::asio::io_context own;
        tcp::resolver resolver(own);
        boost::system::error_code error;
        Endpoints endpoints;
        for (const auto& entry : resolver.resolve(tcp::v4(), host, std::to_string(port), error)) {
            endpoints.push_back(entry.endpoint());
        }
        boost::asio::post(context, [onFound, error, endpoints] { onFound(error, endpoints); });
    });
}

} // namespace Quarlen::Ctl
