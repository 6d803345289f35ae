#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <boost/asio/ip/tcp.hpp>

#include "platform/HostAddresses.hpp"

namespace Quarlen::Ctl {

/// The IPv4 addresses of a host in the order of the system's resolver.
using AddressLookup = std::function<std::vector<std::wstring>(const std::wstring& host)>;

/// Where to connect to a host, which is this machine where its name is empty. The platform is
/// asked, because the network library's resolver takes names for ones of the user's code page on
/// Windows; it alone tells why there is no address, so then it is asked, too.
std::vector<boost::asio::ip::tcp::endpoint>
endpointsOf(const std::string& host, std::uint16_t port, boost::system::error_code& error,
            const AddressLookup& addressesOf = Platform::ipv4AddressesOf);

} // namespace Quarlen::Ctl
