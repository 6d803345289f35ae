#include "kel_server_lib/http/ConnectionStream.hpp"

namespace Quarlen::Rest {

ConnectionStream::ConnectionStream(std::intptr_t connection, const Connections::Entry& entry,
                                   TimeLimits limits)
    : SocketStream(connection,
                   {.serverStops = [&entry] { return entry.serverStops(); },
                    .makesRoom = [&entry] { return entry.hasToEnd(); }},
                   limits) {}

std::size_t ConnectionStream::letThrough(std::span<char> bytes, bool room) {
    return filter.pass(bytes, room);
}

} // namespace Quarlen::Rest
