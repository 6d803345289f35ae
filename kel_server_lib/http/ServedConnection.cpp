#include "kel_server_lib/http/ServedConnection.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "platform/FreeMemory.hpp"

namespace Quarlen::Rest {

namespace {

/// Memory that a body of this size has taken is given back to the system at once.
constexpr std::size_t largeBody = std::size_t{64} * 1024;

thread_local ServedConnection* served = nullptr;

} // namespace

ServedConnection::ServedConnection(ConnectionStream& stream, Connections::Entry& entry)
    : stream(stream), entry(entry) {
    served = this;
}

ServedConnection::~ServedConnection() {
    served = nullptr;
}

httplib::Server::HandlerResponse ServedConnection::beginServing(const httplib::Request& /*request*/,
                                                                httplib::Response& response) {
    if (served->entry.serveRequest()) {
        return httplib::Server::HandlerResponse::Unhandled;
    }
    response.status = httplib::StatusCode::ServiceUnavailable_503;
    return httplib::Server::HandlerResponse::Handled;
}

void ServedConnection::beforeReply(const httplib::Request& request, httplib::Response& response) {
    // A request that no handler has seen is answered in whole, too.
    served->entry.serveRequest();
    served->tookMuchMemory = std::max(request.body.size(), response.body.size()) >= largeBody;
    served->sayWhetherItEnds(request, response);
}

void ServedConnection::sayWhetherItEnds(const httplib::Request& request,
                                        httplib::Response& response) {
    if (entry.serverStops() || response.get_header_value("Connection") == "close") {
        stream.ignoreFurtherInput();
        response.headers.erase("Keep-Alive");
        response.headers.erase("Connection");
        response.set_header("Connection", "close");
    } else if (request.version == "HTTP/1.0") {
        response.set_header("Connection", "keep-alive");
    }
}

void ServedConnection::releaseMemory() {
    if (std::exchange(tookMuchMemory, false)) {
        Platform::releaseFreeMemory();
    }
}

} // namespace Quarlen::Rest
