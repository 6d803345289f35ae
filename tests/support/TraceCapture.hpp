#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "std_util/ErrorHandler.hpp"

namespace Quarlen::Tests {

/// Keeps every trace of its lifetime.
class TraceCapture {
public:
    TraceCapture() { StdUtil::ErrorHandler::addListener(listener); }
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;
    ~TraceCapture() { StdUtil::ErrorHandler::removeListener(listener); }

    [[nodiscard]] std::vector<StdUtil::TraceLine> lines() const { return listener->lines(); }

    [[nodiscard]] std::vector<std::wstring> texts() const {
        std::vector<std::wstring> texts;
        for (const StdUtil::TraceLine& line : lines()) {
            texts.push_back(line.text);
        }
        return texts;
    }

    /// How many traces have exactly this text.
    [[nodiscard]] std::ptrdiff_t count(const std::wstring& text) const {
        const auto all = texts();
        return std::count(all.begin(), all.end(), text);
    }

private:
    class Listener : public StdUtil::TraceListener {
    public:
        void onTrace(const StdUtil::TraceLine& line) override {
            const std::lock_guard lock(mutex);
            kept.push_back(line);
        }

        [[nodiscard]] std::vector<StdUtil::TraceLine> lines() const {
            const std::lock_guard lock(mutex);
            return kept;
        }

    private:
        mutable std::mutex mutex;
        std::vector<StdUtil::TraceLine> kept;
    };

    std::shared_ptr<Listener> listener = std::make_shared<Listener>();
};

} // namespace Quarlen::Tests
