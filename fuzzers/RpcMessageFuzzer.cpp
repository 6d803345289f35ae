#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include <boost/json/parse.hpp>

#include "kel_cpp/rpc/JsonRpc.hpp"
#include "tests/kel_cpp/rpc/TestingRpcClient.hpp"

namespace {

using namespace Quarlen::Kel_cpp;

const JsonRpc& rpc() {
    static const JsonRpc methods({
        {"text", Role::Watch,
         [](const RpcCall& call) {
             call.params.allowOnly({"name"});
             call.answer.result(call.params.text("name").size());
         }},
        {"number", Role::Control,
         [](const RpcCall& call) { call.answer.result(call.params.number("id")); }},
    });
    return methods;
}

} // namespace

/// Each message has exactly one reply: nothing, or a response, or an array of responses.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    int replies = 0;
    rpc().handle({reinterpret_cast<const char*>(data), size},
                 std::make_shared<Tests::TestingRpcClient>(), [&](const std::string& text) {
                     ++replies;
                     if (text.empty()) {
                         return;
                     }
                     const boost::json::value reply = boost::json::parse(text);
                     const bool isBatch = reply.is_array() && !reply.get_array().empty();
                     const bool isResponse =
                         reply.is_object() && reply.get_object().contains("jsonrpc");
                     if (!isBatch && !isResponse) {
                         std::abort();
                     }
                 });
    if (replies != 1) {
        std::abort();
    }
    return 0;
}
