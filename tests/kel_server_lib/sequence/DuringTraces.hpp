#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "std_util/ErrorHandler.hpp"

namespace Quarlen::Tests {

/// Calls `hook` with the text of every trace of its lifetime, on the thread that traces. The hook
/// must not trace.
class DuringTraces {
public:
    using Hook = std::function<void(const std::wstring&)>;

    explicit DuringTraces(Hook hook) : listener(std::make_shared<Listener>(std::move(hook))) {
        StdUtil::ErrorHandler::addListener(listener);
    }
    DuringTraces(const DuringTraces&) = delete;
    DuringTraces& operator=(const DuringTraces&) = delete;
    ~DuringTraces() { StdUtil::ErrorHandler::removeListener(listener); }

private:
    class Listener : public StdUtil::TraceListener {
    public:
        explicit Listener(Hook hook) : hook(std::move(hook)) {}
        void onTrace(const StdUtil::TraceLine& line) override { hook(line.text); }

    private:
        Hook hook;
    };

    std::shared_ptr<Listener> listener;
};

} // namespace Quarlen::Tests
