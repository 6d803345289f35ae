#pragma once

#include <future>
#include <thread>
#include <type_traits>
#include <utility>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>

namespace Quarlen::Kel_cpp {

/// One thread that runs the handlers of one I/O context.
class IoThread {
public:
    IoThread();
    IoThread(const IoThread&) = delete;
    IoThread& operator=(const IoThread&) = delete;
    /// Waits until no handler is pending; the owner of the sockets must have closed them before.
    ~IoThread();

    asio::io_context& ioContext() noexcept { return context; }

    /// Runs the function on the thread and returns what it returns or throws. Must not be called
    /// from a handler.
    template <class Function>
    auto call(Function function) {
        std::packaged_task<std::invoke_result_t<Function>()> task(std::move(function));
        auto result = task.get_future();
        asio::post(context, std::move(task));
        return result.get();
    }

private:
    void run();

    asio::io_context context{1};
    asio::executor_work_guard<asio::io_context::executor_type> work{context.get_executor()};
    std::thread thread;
};

} // namespace Quarlen::Kel_cpp
