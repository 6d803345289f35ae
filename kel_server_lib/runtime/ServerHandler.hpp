#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "kel_server_lib/runtime/Record.hpp"

namespace Quarlen::Kel_cpp {

class KelApi;

/// Who asks; an empty pointer or text means that nobody in particular does.
struct ClientContext : Record {
    std::wstring text;
};

/// What the runtime calls back. The order of the operations is the order of their slots and part
/// of the interface; the destructor has the last slot. The runtime calls from its own threads.
class ServerHandler {
public:
    virtual void onNotification0(std::uint64_t code, std::shared_ptr<Record> first,
                                 std::shared_ptr<Record> second) = 0;
    virtual void onNotification1(std::shared_ptr<Record> first, std::shared_ptr<Record> second) = 0;

    /// A client asks for a sequence. `handled` tells whether somebody has taken care of it.
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
