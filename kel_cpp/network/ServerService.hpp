#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <utility>

#include <boost/asio/steady_timer.hpp>

#include "kel_cpp/network/RuntimeServer.hpp"
#include "kel_cpp/network/ServerContext.hpp"
#include "kel_cpp/network/ServerFeed.hpp"

namespace Quarlen::Kel_cpp {

/// What a server has while at least one address is open: the I/O thread, the tasks, the methods,
/// and what its connections share.
class ServerService {
public:
    /// `clients` and what `sources` names must outlive the service.
    ServerService(const RuntimeServer::Sources& sources, const ClientSettings& settings,
                  ClientList& clients, ServerFeed& feed);
    ServerService(const ServerService&) = delete;
    ServerService& operator=(const ServerService&) = delete;
    /// All listeners must have been closed.
    // NOLINTNEXTLINE(bugprone-exception-escape): only where there is no memory, and then all ends
    ~ServerService();

    /// Call it before the last listener is closed: no start begins any more, and the one that runs
    /// is cancelled and has ended when this returns.
    void endTasks();

    IoThread& io() { return *ioThread; }
    ServerContext& sharedByConnections() { return context; }

private:
    [[nodiscard]] JsonRpc makeRpc(const RuntimeServer::Sources& sources);
    void watchForEnd();
    void watchTokens();

    RunLog& runs;
    ServerFeed& feed;
    /// Ends first: what it runs uses the members below.
    std::optional<IoThread> ioThread{std::in_place};
    ServerTasks tasks;
    AccessTokens tokens;
    const ClientPage page;
    const JsonRpc rpc;
    ServerContext context;
    const std::chrono::milliseconds tokenCheckInterval;
    /// Asks again whether a run has ended that nobody tells the end of.
    boost::asio::steady_timer endOfRun;
    boost::asio::steady_timer tokenCheck;
    std::size_t tokenChanges = 0;
    /// A timer that has just fired cannot be cancelled any more; it must not be set again.
    bool isEnding = false;
};

} // namespace Quarlen::Kel_cpp
