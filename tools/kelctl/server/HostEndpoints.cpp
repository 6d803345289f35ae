#include "tools/kelctl/server/HostEndpoints.hpp"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/address.hpp>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Ctl {

using boost::asio::ip::tcp;

namespace {

std::vector<tcp::endpoint> endpointsOfLibrary(const std::string& host, std::uint16_t port,
                                              boost::system::error_code& error) {
    boost::asio::io_context context;
    tcp::resolver resolver(context);
    std::vector<tcp::endpoint> endpoints;
    for (const auto& entry : resolver.resolve(tcp::v4(), host, std::to_string(port), error)) {
        endpoints.push_back(entry.endpoint());
    }
    return endpoints;
}

} // namespace

std::vector<tcp::endpoint> endpointsOf(const std::string& host, std::uint16_t port,
                                       boost::system::error_code& error,
                                       const AddressLookup& addressesOf) {
    error.clear();
    std::vector<tcp::endpoint> endpoints;
    // Without a name the system would tell the addresses of the machine's adapters on Windows.
    if (const std::wstring name = Platform::fromUtf8(host); !name.empty()) {
        for (const std::wstring& address : addressesOf(name)) {
            endpoints.emplace_back(boost::asio::ip::make_address_v4(Platform::toUtf8(address)),
                                   port);
        }
    }
    return endpoints.empty() ? endpointsOfLibrary(host, port, error) : endpoints;
}

} // namespace Quarlen::Ctl
