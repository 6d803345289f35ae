#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "http_stream/SocketStream.hpp"
#include "kel_server_lib/http/Connections.hpp"
#include "kel_server_lib/http/RangeFilter.hpp"

namespace Quarlen::Rest {

/// The bytes of one connection of the REST server, without the headers that its HTTP library would
/// misunderstand. Its entry tells what it does not wait for any more.
class ConnectionStream final : public Http::SocketStream {
public:
    /// The caller keeps owning the socket and its entry.
    ConnectionStream(std::intptr_t connection, const Connections::Entry& entry, TimeLimits limits);

private:
    void beginRequest() override { filter.beginRequest(); }
    std::size_t letThrough(std::span<char> bytes, bool room) override;

    RangeFilter filter;
};

} // namespace Quarlen::Rest
