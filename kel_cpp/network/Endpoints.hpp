#pragma once

#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

namespace Quarlen::Kel_cpp {

/// "ipv4:port"
std::wstring endpointText(const boost::asio::ip::tcp::endpoint& endpoint);

/// Returns an acceptor that is bound exclusively and listens. Throws `boost::system::system_error`.
boost::asio::ip::tcp::acceptor openAcceptor(boost::asio::io_context& context,
                                            const boost::asio::ip::tcp::endpoint& endpoint);

} // namespace Quarlen::Kel_cpp
