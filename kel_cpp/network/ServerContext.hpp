#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <boost/asio/steady_timer.hpp>

#include "kel_cpp/base/ClientLimits.hpp"
#include "kel_cpp/history/StatusLog.hpp"
#include "kel_cpp/network/ClientList.hpp"
#include "kel_cpp/network/ClientPage.hpp"
#include "kel_cpp/network/IoThread.hpp"
#include "kel_cpp/rpc/AccessTokens.hpp"
#include "kel_cpp/rpc/JsonRpc.hpp"
#include "kel_cpp/rpc/ServerModel.hpp"
#include "kel_cpp/rpc/ServerTasks.hpp"
#include "platform/ConnectionSocket.hpp"

namespace Quarlen::Kel_cpp {

/// What the connections of one server share. It outlives them. Used on the I/O thread.
struct ServerContext {
    IoThread::Context ioContext;
    const ServerModel& model;
    const StatusLog& statuses;
    const JsonRpc& rpc;
    ServerTasks& tasks;
    AccessTokens& tokens;
    ClientList& clients;
    const ClientPage& page;
    ClientLimits limits;
    /// For a client to read its last reply of so many bytes and to end its side.
    Platform::ReadingTime readingTime;
    std::chrono::milliseconds handshakeTime;
    std::optional<int> sendBuffer;
    /// The names of this machine.
    std::vector<std::string> machineNames;
    /// Of the wrong tokens that have not been answered yet.
    std::set<std::shared_ptr<boost::asio::steady_timer>> penalties;
};

/// A wrong token costs its client this time.
inline constexpr std::chrono::seconds loginPenalty{1};
/// What one is told who sends a wrong token.
inline constexpr const char* wrongToken = "there is no such token";

/// Logs the client of the call in by its parameter `token` and answers the call. Throws `RpcError`.
void logIn(ServerContext& context, const RpcCall& call);

/// Runs the function after the penalty for a wrong token, or at once when the server stops.
void afterPenalty(ServerContext& context, std::function<void()> function);
/// Ends all penalties.
void endPenalties(ServerContext& context);

} // namespace Quarlen::Kel_cpp
