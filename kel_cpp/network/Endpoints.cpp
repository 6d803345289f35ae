#include "kel_cpp/network/Endpoints.hpp"

#include <cstdint>

#include "platform/ListeningSocket.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp {

using boost::asio::ip::tcp;

std::wstring endpointText(const tcp::endpoint& endpoint) {
    return Platform::fromUtf8(endpoint.address().to_string()) + L":" +
           std::to_wstring(endpoint.port());
}

tcp::acceptor openAcceptor(boost::asio::io_context& context, const tcp::endpoint& endpoint) {
    tcp::acceptor acceptor(context);
    acceptor.open(endpoint.protocol());
    Platform::bindExclusively(static_cast<std::intptr_t>(acceptor.native_handle()));
    acceptor.bind(endpoint);
    acceptor.listen();
    return acceptor;
}

} // namespace Quarlen::Kel_cpp
