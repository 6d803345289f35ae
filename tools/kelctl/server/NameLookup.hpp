#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/thread_pool.hpp>

namespace Quarlen::Ctl {

/// Finds the addresses of many hosts: a name that nobody answers for takes the system many seconds,
/// and it must not hold up the others. `find` is called on the thread that runs the I/O context,
/// and so is what it is given.
class NameLookup {
public:
    using Endpoints = std::vector<boost::asio::ip::tcp::endpoint>;
    using OnFound =
        std::function<void(const boost::system::error_code& error, Endpoints endpoints)>;

    /// The context must outlive it and must not run any more when it is destroyed.
    explicit NameLookup(boost::asio::io_context& context) : context(context) {}
    NameLookup(const NameLookup&) = delete;
    NameLookup& operator=(const NameLookup&) = delete;
    /// Waits for the names that are being looked up.
    ~NameLookup() { workers.join(); }

    void find(const std::string& host, std::uint16_t port, OnFound onFound);

private:
    /// As many names are looked up at once.
    static constexpr std::size_t workerCount = 16;

    boost::asio::io_context& context;
    boost::asio::thread_pool workers{workerCount};
};

} // namespace Quarlen::Ctl
