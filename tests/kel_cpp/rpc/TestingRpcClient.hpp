#pragma once

#include <optional>
#include <string>

#include "kel_cpp/rpc/RpcClient.hpp"

namespace Quarlen::Kel_cpp::Tests {

/// A client that keeps what is done to it.
class TestingRpcClient final : public RpcClient {
public:
    [[nodiscard]] std::wstring name() const override { return L"tester"; }
    [[nodiscard]] Role role() const override { return granted; }
    void logIn(Role role, const std::wstring& tokenName) override {
        granted = role;
        token = tokenName;
    }
    [[nodiscard]] bool canSubscribe() const override { return true; }
    void subscribe(const StatusEntry& present) override { subscribedWith = present; }
    void unsubscribe() override { subscribedWith.reset(); }

    Role granted = Role::Control;
    std::wstring token;
    std::optional<StatusEntry> subscribedWith;
};

} // namespace Quarlen::Kel_cpp::Tests
