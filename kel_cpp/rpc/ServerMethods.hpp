#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <boost/json/object.hpp>

#include "kel_cpp/history/RunLog.hpp"
#include "kel_cpp/history/StatusLog.hpp"
#include "kel_cpp/rpc/JsonRpc.hpp"
#include "kel_cpp/rpc/ServerModel.hpp"
#include "kel_cpp/rpc/ServerTasks.hpp"

namespace Quarlen::Kel_cpp {

/// What the methods use; all of it must outlive them.
struct ServerMethodsContext {
    const ServerModel& model;
    const StatusLog& statuses;
    RunLog& runs;
    ServerTasks& tasks;
    /// Takes a token for a client that logs in and answers the call, later when it was wrong.
    std::function<void(const RpcCall& call)> logIn;
    /// Keeps a client in the list of clients for as long as the returned object lives.
    std::function<std::shared_ptr<const void>(const std::wstring& client)> keepListed;
};

/// In characters. Names stay in the histories, which therefore stay small.
inline constexpr std::size_t maxScriptName = 1024;

/// The methods of the runtime's server. What is in memory is answered at once; what reads the disk
/// or calls the server handler runs in the tasks.
std::vector<RpcMethod> serverMethods(const ServerMethodsContext& context);

/// The methods with the schemas of their parameters and results, as an OpenRPC 1.2 document. It has
/// no place for notifications: these are in its extension `x-notifications`.
boost::json::object describeServerMethods(std::string_view version);

} // namespace Quarlen::Kel_cpp
