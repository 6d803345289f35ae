#include "kel_cpp/network/ServerContext.hpp"

#include <utility>

#include "kel_cpp/rpc/JsonRecords.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen::Kel_cpp {

namespace {

void refuseLater(ServerContext& context, const RpcCall& call) {
    call.client->loginFailing = true;
    afterPenalty(context, [call] {
        call.client->loginFailing = false;
        call.answer.failure(
            std::make_exception_ptr(RpcError(RpcErrorCode::AccessDenied, wrongToken)));
    });
}

} // namespace

void logIn(ServerContext& context, const RpcCall& call) {
    call.params.allowOnly({"token"});
    const std::string token = Platform::toUtf8(call.params.text("token"));
    if (call.client->loginFailing) {
        throw RpcError(RpcErrorCode::Busy, "the last attempt to log in has not been answered yet");
    }
    const auto grant = context.tokens.find(token);
    if (!grant) {
        StdUtil::TraceHelper::ErrorTrace(L"kel_cpp/network/ServerContext", __LINE__,
                                         L"client %s sent a wrong token",
                                         call.client->name().c_str());
        refuseLater(context, call);
        return;
    }
    call.client->logIn(grant->role, grant->name);
    call.answer.result(boost::json::object{{"role", JsonRecords::roleName(grant->role)},
                                           {"name", JsonRecords::text(grant->name)}});
}

void afterPenalty(ServerContext& context, std::function<void()> function) {
    const auto penalty =
        std::make_shared<boost::asio::steady_timer>(*context.ioContext, loginPenalty);
    context.penalties.insert(penalty);
    penalty->async_wait(
        [&context, penalty, function = std::move(function)](const boost::system::error_code&) {
            context.penalties.erase(penalty);
            function();
        });
}

void endPenalties(ServerContext& context) {
    for (const auto& penalty : context.penalties) {
        penalty->cancel();
    }
}

} // namespace Quarlen::Kel_cpp
