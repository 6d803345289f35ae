#pragma once

#include <string>

#include "kel_cpp/history/StatusLog.hpp"

namespace Quarlen::Kel_cpp {

/// What a client may do. Each role may do what the one before it may.
enum class Role { None, Watch, Control };

/// One client of the server as the methods see it. Used on the server's I/O thread only.
class RpcClient {
public:
    RpcClient() = default;
    RpcClient(const RpcClient&) = delete;
    RpcClient& operator=(const RpcClient&) = delete;
    virtual ~RpcClient() = default;

    /// For lists and traces: "ipv4:port", with the name of its token before it when it has one.
    [[nodiscard]] virtual std::wstring name() const = 0;
    [[nodiscard]] virtual Role role() const = 0;
    virtual void logIn(Role role, const std::wstring& tokenName) = 0;
    /// While a failed attempt to log in waits for its answer, there is no other one.
    bool loginFailing = false;

    /// False for a client whose connection ends with the answer.
    [[nodiscard]] virtual bool canSubscribe() const = 0;
    /// From now on the client gets the server's notifications, first the present status.
    virtual void subscribe(const StatusEntry& present) = 0;
    virtual void unsubscribe() = 0;
};

} // namespace Quarlen::Kel_cpp
