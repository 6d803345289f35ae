#pragma once

#include <future>
#include <memory>
#include <thread>
#include <type_traits>
#include <utility>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

namespace Quarlen::Kel_cpp {

/// One thread that runs the handlers of one I/O context.
class IoThread {
public:
    using Context = std::shared_ptr<boost::asio::io_context>;

    IoThread();
    IoThread(const IoThread&) = delete;
    IoThread& operator=(const IoThread&) = delete;
    /// Waits until no handler is pending; the owner of the sockets must have closed them before.
    ~IoThread();

    /// Outlives the thread where a socket still holds it.
    [[nodiscard]] const Context& ioContext() const noexcept { return context; }

    /// Runs the function on the thread and returns what it returns or throws. Must not be called
    /// from a handler.
    template <class Function>
    auto call(Function function) {
        std::packaged_task<std::invoke_result_t<Function>()> task(std::move(function));
        auto result = task.get_future();
        boost::asio::post(*context, std::move(task));
        return result.get();
    }

private:
    void run();

    Context context = std::make_shared<boost::asio::io_context>(1);
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work{
        context->get_executor()};
    std::thread thread;
};

} // namespace Quarlen::Kel_cpp
