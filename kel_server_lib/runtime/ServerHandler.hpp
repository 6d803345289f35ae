#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "kel_server_lib/runtime/Record.hpp"

namespace Quarlen::Kel_cpp {

class KelApi;

/// The client that asks. An empty pointer or text means no particular client.
struct ClientContext : Record {
    std::wstring text;
};

/// The operations that the runtime calls. The order of the operations is the order of their slots
/// and part of the interface; the destructor has the last slot. The runtime calls on its own
/// threads.
class ServerHandler {
public:
    virtual void onNotification0(std::uint64_t code, std::shared_ptr<Record> first,
                                 std::shared_ptr<Record> second) = 0;
    virtual void onNotification1(std::shared_ptr<Record> first, std::shared_ptr<Record> second) = 0;

    /// A client asks for a sequence. `handled` tells whether a handler has taken care of the
    /// request.
    virtual void startSequence(std::wstring name, std::shared_ptr<KelApi> api,
                               std::shared_ptr<ClientContext> context, bool& handled) = 0;
    /// A client asks to end the running sequence.
    virtual void cancelSequence(std::shared_ptr<KelApi> api, std::shared_ptr<ClientContext> context,
                                bool& handled) = 0;

    virtual void onNotification4(std::shared_ptr<Record> first, std::shared_ptr<Record> second) = 0;
    virtual void onNotification5(std::shared_ptr<Record> first, std::shared_ptr<Record> second) = 0;

    ServerHandler() = default;
    ServerHandler(const ServerHandler&) = delete;
    ServerHandler& operator=(const ServerHandler&) = delete;
    virtual ~ServerHandler() = default;
};

} // namespace Quarlen::Kel_cpp
