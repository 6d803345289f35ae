#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <boost/json/value.hpp>

#include "kel_cpp/rpc/RpcClient.hpp"
#include "kel_cpp/rpc/RpcError.hpp"

namespace Quarlen::Kel_cpp {

/// The parameters of one call, by name. A method asks for what it takes; then `requireNoOther`
/// refuses what is left over. All throw `RpcError` (InvalidParams) that names the parameter.
class RpcParams {
public:
    explicit RpcParams(boost::json::object values) : values(std::move(values)) {}

    /// The text must be there.
    [[nodiscard]] std::wstring text(std::string_view name) const;
    /// A whole number from 0 on, which must be there.
    [[nodiscard]] std::uint64_t number(std::string_view name) const;
    void allowOnly(std::initializer_list<std::string_view> names) const;

private:
    [[nodiscard]] const boost::json::value& required(std::string_view name) const;

    boost::json::object values;
};

/// Takes the result of one call, once, on any thread.
class RpcAnswer {
public:
    using Send = std::function<void(boost::json::object)>;

    explicit RpcAnswer(Send send) : send(std::make_shared<const Send>(std::move(send))) {}

    void result(boost::json::value value) const;
    /// Describes the exception: an `RpcError`, a `KelApiException`, or another one.
    void failure(const std::exception_ptr& exception) const;

private:
    /// Shared, because what it captures is more than a copy should cost.
    std::shared_ptr<const Send> send;
};

struct RpcCall {
    RpcParams params;
    std::shared_ptr<RpcClient> client;
    RpcAnswer answer;
};

/// One method that clients can call. `run` answers the call, at once or later, or throws.
struct RpcMethod {
    std::string name;
    /// The least role that may call it.
    Role role = Role::Watch;
    std::function<void(const RpcCall&)> run;
};

/// JSON-RPC 2.0: takes messages apart, calls the methods and puts the responses together. It knows
/// nothing of connections. Its methods never change, so that any thread may call it.
class JsonRpc {
public:
    static constexpr std::size_t maxBatch = 100;
    static constexpr std::size_t maxDepth = 32;

    using Reply = std::function<void(std::string)>;

    explicit JsonRpc(std::vector<RpcMethod> list);

    /// Handles one message, a request or a batch. `reply` is called once, on any thread, when all
    /// of its requests have been answered, with an empty text when there is nothing to respond.
    void handle(std::string_view message, const std::shared_ptr<RpcClient>& client,
                const Reply& reply) const;

    /// The text of a notification to a client.
    [[nodiscard]] static std::string notification(std::string_view method,
                                                  boost::json::object params);

private:
    void handleBatch(const boost::json::array& batch, const std::shared_ptr<RpcClient>& client,
                     const Reply& reply) const;
    void handleRequest(const boost::json::value& request, const std::shared_ptr<RpcClient>& client,
                       RpcAnswer::Send respond) const;
    void call(const boost::json::object& request, const std::shared_ptr<RpcClient>& client,
              const RpcAnswer& answer) const;
    [[nodiscard]] const RpcMethod& find(std::string_view name, const RpcClient& client) const;

    std::map<std::string, RpcMethod, std::less<>> methods;
};

} // namespace Quarlen::Kel_cpp
