#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace Quarlen::Kel_cpp {

/// Codes of JSON-RPC 2.0, section 5.1, and the server's own from -32000 down.
enum class RpcErrorCode : std::int32_t {
    ParseError = -32700,
    InvalidRequest = -32600,
    MethodNotFound = -32601,
    InvalidParams = -32602,
    InternalError = -32603,
    /// The runtime threw; the error's data carry its code.
    Runtime = -32000,
    AccessDenied = -32001,
    /// Too many requests wait.
    Busy = -32002,
    NotFound = -32003,
    NotPossible = -32004,
};

/// A request that is answered with an error.
class RpcError : public std::runtime_error {
public:
    RpcError(RpcErrorCode code, const std::string& message, std::int32_t runtimeCode = 0)
        : std::runtime_error(message), errorCode(code), codeOfRuntime(runtimeCode) {}

    [[nodiscard]] RpcErrorCode code() const { return errorCode; }
    /// Of the `KelApiException`, for `RpcErrorCode::Runtime`.
    [[nodiscard]] std::int32_t runtimeCode() const { return codeOfRuntime; }

private:
    RpcErrorCode errorCode;
    std::int32_t codeOfRuntime;
};

} // namespace Quarlen::Kel_cpp
