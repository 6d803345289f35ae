#pragma once

#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "platform/AtomicFile.hpp"
#include "platform/TextEncoding.hpp"
#include "tests/kel_cpp/network/RpcTestClient.hpp"
#include "tests/kel_cpp/network/ServedRuntime.hpp"
#include "tests/support/FileAccess.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Kel_cpp::Tests {

inline constexpr const char* watchToken = "see";
inline constexpr const char* controlToken = "do";
inline constexpr const char* tokenLines =
    "# who may what\n"
    "\n"
    "watch viewer aa9e9b5c907d50feb410f2a84e81ab72c5ae6724d57ccc53650f9361d33dc734\n"
    "control line-1 AC0B52A2AE6EF99999BC08FB31E19188BF0085A4614204068E677E140E1458BE\r\n";

/// A proxy on this machine says that it passes a request on; the request counts as from elsewhere.
inline const Headers forwarded{{"X-Forwarded-For", "192.0.2.7"}};

inline Headers withToken(const std::string& token) {
    return {{"X-Forwarded-For", "192.0.2.7"}, {"Authorization", "Bearer " + token}};
}

class AServerWithAGuard : public testing::Test {
protected:
    void start() { address = server.start(L"127.0.0.1:0"); }
    void startWithTokens(const std::string& lines = tokenLines) {
        served.settings.tokenFile = folder.path() / "access.token";
        writeTokens(lines);
        start();
    }
    /// In one step: a server that looks at half a file ends the connections of the other half.
    void writeTokens(const std::string& content) const {
        const auto fresh = folder.path() / "fresh.token";
        std::ofstream(fresh, std::ios::binary) << content;
        Quarlen::Tests::makePrivate(fresh);
        Platform::moveOver(fresh, served.settings.tokenFile);
    }
    [[nodiscard]] unsigned statusOf(const std::string& target, const Headers& headers = {}) const {
        return request(address, http::verb::get, target, {}, headers).result_int();
    }
    [[nodiscard]] unsigned postStatus(const Headers& headers) const {
        return request(address, http::verb::post, "/rpc",
                       R"({"jsonrpc":"2.0","id":1,"method":"server.version"})", headers)
            .result_int();
    }
    [[nodiscard]] std::string ownHost() const { return Platform::toUtf8(address); }
    [[nodiscard]] std::string port() const { return ownHost().substr(ownHost().rfind(':')); }

    Quarlen::Tests::TemporaryFolder folder;
    ServedRuntime served;
    RuntimeServer server{served.sources()};
    std::wstring address;
    Quarlen::Tests::TraceCapture traces;
};

} // namespace Quarlen::Kel_cpp::Tests
