#include "kel_cpp/history/RunGuards.hpp"

#include <thread>
#include <utility>

namespace Quarlen::Kel_cpp {

RunLog::Call::Call(RunLog& log) : log(log) {
    const std::lock_guard lock(log.mutex);
    if (log.running() != nullptr && log.ranHere()) {
        run = log.running()->id;
        ++log.current.calls;
        log.current.isSilent = false;
    }
}

RunLog::Call::~Call() {
    const std::lock_guard lock(log.mutex);
    if (run == 0 || log.running() == nullptr || log.running()->id != run) {
        return;
    }
    --log.current.calls;
    if (log.current.idleSince) {
        log.current.idleSince = log.now();
    }
}

RunLog::ClientRun::ClientRun(RunLog& log, std::wstring client) : log(log) {
    const std::lock_guard lock(log.mutex);
    log.asked.push_back({std::this_thread::get_id(), std::move(client), false});
}

void RunLog::ClientRun::fail(const std::wstring& message) {
    const std::lock_guard lock(log.mutex);
    if (RunEntry* const run = log.running(); run != nullptr && log.ranHere()) {
        run->exceptions.push_back(message);
    }
}

RunLog::ClientRun::~ClientRun() {
    Ended ended;
    {
        const std::lock_guard lock(log.mutex);
        std::erase_if(log.asked, [](const Asked& entry) {
            return entry.thread == std::this_thread::get_id();
        });
        if (RunEntry* const run = log.running(); run != nullptr && log.ranHere()) {
            if (!log.current.idleSince && run->exceptions.empty()) {
                log.noteMissingScript();
            }
            ended = log.end(log.now());
        }
    }
    log.tell(ended);
}

} // namespace Quarlen::Kel_cpp
