#pragma once

#include <cstdint>
#include <functional>
#include <mutex>

#include "kel_cpp/history/RunLog.hpp"
#include "kel_cpp/network/ServerContext.hpp"

namespace Quarlen::Kel_cpp {

/// Brings what happens in the runtime to the clients that have subscribed: in the order in which it
/// happened, whatever thread it happened on. While no server listens, nobody hears of it. Any
/// thread may call an operation; none of them waits for the I/O thread.
class ServerFeed {
public:
    using Task = std::function<void()>;

    /// From now on the clients of this server hear of everything. `function` runs on the I/O thread
    /// after each status text that may be the last one of a run.
    void attach(ServerContext& server, Task function);
    void detach();

    void statusChanged(const StatusEntry& status);
    void jobProgressed(const JobProgress& progress);
    void runEnded(const RunSummary& run);

private:
    void publish(const std::string& method, boost::json::object params, std::uint64_t number,
                 bool mayBeDropped);

    std::mutex mutex;
    ServerContext* context = nullptr;
    Task onPause;
};

} // namespace Quarlen::Kel_cpp
