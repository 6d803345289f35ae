#include "kel_cpp/network/ServerService.hpp"

#include <boost/asio/ip/host_name.hpp>

#include "kel_cpp/rpc/ServerMethods.hpp"

namespace Quarlen::Kel_cpp {

namespace {

std::vector<std::string> machineNames() {
    boost::system::error_code error;
    std::string name = boost::asio::ip::host_name(error);
    return error || name.empty() ? std::vector<std::string>() : std::vector{std::move(name)};
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
              machineNames(),
              {}},
      endOfRun(*ioThread->ioContext()) {
    feed.attach(context, [this] { watchForEnd(); });
}

JsonRpc ServerService::makeRpc(const RuntimeServer::Sources& sources) {
    return JsonRpc(serverMethods({sources.model, sources.statuses, sources.runs, tasks,
                                  [this](const RpcCall& call) { logIn(context, call); }}));
}

/// The tasks end while the I/O thread still takes their answers, for clients that have gone.
ServerService::~ServerService() {
    feed.detach();
    ioThread->call([this] {
        endPenalties(context);
        endOfRun.cancel();
    });
    tasks.stop();
    ioThread.reset();
}

void ServerService::watchForEnd() {
    endOfRun.expires_after(RunLog::quietTime);
    endOfRun.async_wait([this](const boost::system::error_code& cancelled) {
        if (!cancelled && runs.settle()) {
            watchForEnd();
        }
    });
}

} // namespace Quarlen::Kel_cpp
