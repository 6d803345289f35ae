#pragma once

#include <httplib.h>

#include "kel_server_lib/http/ConnectionStream.hpp"
#include "kel_server_lib/http/Connections.hpp"

namespace Quarlen::Rest {

/// The connection that this thread serves while the object lives. The library tells its handlers
/// nothing of the connection.
class ServedConnection {
public:
    ServedConnection(ConnectionStream& stream, Connections::Entry& entry);
    ServedConnection(const ServedConnection&) = delete;
    ServedConnection& operator=(const ServedConnection&) = delete;
    ~ServedConnection();

    /// The last moment at which a connection may have to make room, although its request has
    /// arrived: it is answered 503 then.
    static httplib::Server::HandlerResponse beginServing(const httplib::Request& request,
                                                         httplib::Response& response);
    /// Says in each reply whether the connection goes on.
    static void beforeReply(const httplib::Request& request, httplib::Response& response);

    /// Gives memory that the last request has taken back to the system at once where it was much.
    void releaseMemory();

private:
    void sayWhetherItEnds(const httplib::Request& request, httplib::Response& response);

    ConnectionStream& stream;
    Connections::Entry& entry;
    bool tookMuchMemory = false;
};

} // namespace Quarlen::Rest
