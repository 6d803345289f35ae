#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace StdUtil {

enum class TraceLevel { Error = 1, Info = 3, Debug = 4 };

struct TraceLine {
    TraceLevel level = TraceLevel::Info;
    std::wstring source;
    int line = 0;
    std::wstring text;
};

/// Receives trace lines from any thread, one at a time.
class TraceListener {
public:
    TraceListener() = default;
    TraceListener(const TraceListener&) = delete;
    TraceListener& operator=(const TraceListener&) = delete;
    virtual ~TraceListener() = default;

    virtual void onTrace(const TraceLine& line) = 0;
};

/// Process-wide trace switchboard: keeps the listeners and the debug trace level. All functions may
/// be called from any thread.
namespace ErrorHandler {

void addListener(std::shared_ptr<TraceListener> listener);
/// Once this returns the listener is not called any more.
void removeListener(const std::shared_ptr<TraceListener>& listener);
std::size_t listenerCount();

/// 0 nothing, 1 errors, 3 also information, 4 also every message to and from the vehicle. Starts
/// at 3.
int debugTraceLevel();
void setDebugTraceLevel(int level);

/// Hands the line to every listener.
void dispatch(const TraceLine& line);

} // namespace ErrorHandler
} // namespace StdUtil
