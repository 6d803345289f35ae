#pragma once

#include <atomic>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_server_lib/rest/FunctionMap.hpp"
#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"
#include "tests/support/FakeClock.hpp"
#include "tests/support/RecordingKelApi.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Tests {

/// What a handler left in the response.
struct HandlerReply {
    /// `untouched` when the handler has set none.
    int status = untouched;
    std::string body;
    std::string contentType;

    static constexpr int untouched = -1;
};

/// The product's routes on a recording runtime, called without HTTP.
class HandlerFixture : public testing::Test {
protected:
    using Calls = std::vector<std::string>;

    HandlerFixture();
    HandlerFixture(const HandlerFixture&) = delete;
    HandlerFixture& operator=(const HandlerFixture&) = delete;
    ~HandlerFixture() override;

    /// Calls the handler of a route such as "put/scripts/F1". A status that it throws is the
    /// reply's, as in the server; what else it throws passes.
    HandlerReply call(const std::string& route, const std::string& body = {});
    /// The same; whatever it throws passes.
    void handle(const std::string& route, const std::string& body, httplib::Response& response);
    /// The text of the exception that leaves the handler; empty when none does.
    std::string exceptionOf(const std::string& route, const std::string& body = {});

    /// No text that UTF-8 has: a lone surrogate.
    static std::wstring brokenText() { return {L'a', static_cast<wchar_t>(0xD800), L'b'}; }

    TemporaryFolder folder;
    FakeClock clock;
    std::ostringstream output;
    Platform::Console console{output};
    std::shared_ptr<RecordingKelApi> api = std::make_shared<RecordingKelApi>();
    std::atomic<bool> stopRequested{false};
    std::shared_ptr<ServerHandlerSequence> handler;
    Rest::FunctionMap routes;
};

/// 200 by the handler's own hand, or left to the layer above.
MATCHER_P(IsJson, body, "") {
    *result_listener << arg.status << " " << arg.contentType << " " << arg.body;
    return (arg.status == HandlerReply::untouched || arg.status == 200) && arg.body == body &&
           arg.contentType == "application/json";
}

MATCHER_P2(IsError, code, message, "") {
    *result_listener << arg.status << " " << arg.contentType << " " << arg.body;
    return arg.status == 500 && arg.contentType == "application/json" &&
           arg.body ==
               std::string("{\"errorCode\":\"") + code + "\",\"errorMessage\":\"" + message + "\"}";
}

MATCHER(IsBadRequest, "") {
    *result_listener << arg.status << " " << arg.contentType << " " << arg.body;
    return arg.status == 400 && arg.body.empty() && arg.contentType.empty();
}

} // namespace Quarlen::Tests
