#include "kel_cpp/network/ServerService.hpp"

#include <exception>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/rpc/ServerMethods.hpp"
#include "platform/SystemPaths.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen::Kel_cpp {

namespace {

std::vector<std::string> machineNames() {
    std::string name = Platform::toUtf8(Platform::hostName());
    return name.empty() ? std::vector<std::string>() : std::vector{std::move(name)};
}

} // namespace

ServerService::ServerService(const RuntimeServer::Sources& sources, const ClientSettings& settings,
                             ClientList& clients, ServerFeed& feed)
    : runs(sources.runs),
      feed(feed),
      tokens(settings.tokenFile),
      page(makeClientPage()),
      rpc(makeRpc(sources)),
      context{ioThread->ioContext(),
              sources.model,
              sources.statuses,
              rpc,
              tasks,
              tokens,
              clients,
              page,
              settings.limits,
              settings.readingTime,
              settings.handshakeTime,
              settings.sendBuffer,
              machineNames(),
              {}},
      tokenCheckInterval(settings.tokenCheckInterval),
      endOfRun(*ioThread->ioContext()),
      tokenCheck(*ioThread->ioContext()) {
    feed.attach(context, [this] { watchForEnd(); });
    if (tokens.areConfigured()) {
        // A file that lets nobody in is complained about before somebody needs it.
        ioThread->call([this] { watchTokens(); });
    }
}

JsonRpc ServerService::makeRpc(const RuntimeServer::Sources& sources) {
    return JsonRpc(serverMethods(
        {sources.model, sources.statuses, sources.runs, tasks,
         [this](const RpcCall& call) { logIn(context, call); },
         [this](const std::wstring& client) { return context.clients.keepListed(client); }}));
}

void ServerService::endTasks() {
    tasks.refuse();
    tasks.endRunningStart([this] {
        try {
            context.model.cancelSequence(L"(the server stops)");
        } catch (const std::exception&) {
            StdUtil::TraceHelper::ErrorTrace(L"kel_cpp/network/ServerService", __LINE__,
                                             L"a sequence cannot be cancelled: %s",
                                             currentExceptionText().c_str());
        }
    });
}

/// The tasks end while the I/O thread still takes their answers, for clients that have gone.
// NOLINTNEXTLINE(bugprone-exception-escape): only where there is no memory, and then all ends
ServerService::~ServerService() {
    feed.detach();
    ioThread->call([this] {
        isEnding = true;
        endPenalties(context);
        endOfRun.cancel();
        tokenCheck.cancel();
    });
    tasks.stop();
    ioThread.reset();
}

/// A token that is taken out of the file ends the connections that came with it.
void ServerService::watchTokens() {
    if (const std::size_t changes = tokens.refresh();
        std::exchange(tokenChanges, changes) != changes) {
        context.clients.checkTokens(tokens);
    }
    tokenCheck.expires_after(tokenCheckInterval);
    tokenCheck.async_wait([this](const boost::system::error_code& cancelled) {
        if (!cancelled && !isEnding) {
            watchTokens();
        }
    });
}

void ServerService::watchForEnd() {
    endOfRun.expires_after(RunLog::quietTime);
    endOfRun.async_wait([this](const boost::system::error_code& cancelled) {
        if (!cancelled && !isEnding && runs.settle()) {
            watchForEnd();
        }
    });
}

} // namespace Quarlen::Kel_cpp
