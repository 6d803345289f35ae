#include "kel_cpp/network/ServerFeed.hpp"

#include <memory>
#include <utility>

#include <boost/asio/post.hpp>

#include "kel_cpp/rpc/JsonRecords.hpp"

namespace Quarlen::Kel_cpp {

void ServerFeed::attach(ServerContext& server, Task function) {
    const std::lock_guard lock(mutex);
    context = &server;
    onPause = std::move(function);
}

void ServerFeed::detach() {
    const std::lock_guard lock(mutex);
    context = nullptr;
    onPause = nullptr;
}

void ServerFeed::statusChanged(const StatusEntry& status) {
    const std::lock_guard lock(mutex);
    publish("status.changed", JsonRecords::status(status), status.number, false);
    if (context != nullptr && RunLog::mayEndAfter(status.text)) {
        boost::asio::post(*context->ioContext, onPause);
    }
}

void ServerFeed::jobProgressed(const JobProgress& progress) {
    const std::lock_guard lock(mutex);
    publish("job.progress", JsonRecords::progress(progress), 0, true);
}

void ServerFeed::runEnded(const RunSummary& run) {
    const std::lock_guard lock(mutex);
    publish("run.ended", JsonRecords::runSummary(run), 0, false);
}

/// Posted with the lock held, so that the order of the posts is that of the calls.
void ServerFeed::publish(const std::string& method, boost::json::object params,
                         std::uint64_t number, bool mayBeDropped) {
    if (context == nullptr) {
        return;
    }
    boost::asio::post(*context->ioContext, [server = context, number, mayBeDropped,
                                            message = std::make_shared<const std::string>(
                                                JsonRpc::notification(method, std::move(params)))] {
        server->clients.notify(message, number, mayBeDropped);
    });
}

} // namespace Quarlen::Kel_cpp
