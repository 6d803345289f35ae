#include "std_util/TraceFile.hpp"

#include <chrono>

#include "std_util/TraceQueue.hpp"
#include "std_util/TraceWriter.hpp"

namespace StdUtil {

namespace {

class TraceFile final : public TraceListener {
public:
    explicit TraceFile(const std::filesystem::path& file) : writer(file) {}

    void onTrace(const TraceLine& line) override {
        queue.push({std::chrono::system_clock::now(), line});
    }

private:
    TraceWriter writer;
    TraceQueue queue{[this](const TraceQueue::Traces& traces) { writer.write(traces); }};
};

} // namespace

std::shared_ptr<TraceListener> openTraceFile(const std::filesystem::path& file) {
    return std::make_shared<TraceFile>(file);
}

} // namespace StdUtil
