#include "kel_cpp/history/RunLog.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

namespace Quarlen::Kel_cpp {

namespace {

constexpr std::wstring_view runPrefix = L"Running sequence: ";
constexpr std::wstring_view exceptionPrefix = L"Exception caught: ";
constexpr std::wstring_view idle = L"Idle";

bool startsWith(const std::wstring& text, std::wstring_view prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

} // namespace

RunLog::RunLog(Now now) : now(std::move(now)) {}

void RunLog::statusSet(const StatusEntry& status) {
    Ended ended;
    {
        const std::lock_guard lock(mutex);
        endRequests.statusSet(status);
        if (startsWith(status.text, runPrefix)) {
            ended = end(status.time);
            begin(status);
        } else if (!ranHere()) {
            ended = settleLocked();
        }
        if (RunEntry* const run = running()) {
            note(*run, status);
        }
    }
    tell(ended);
}

void RunLog::projectDeselected() {
    const std::lock_guard lock(mutex);
    const bool isForRequest = endRequests.projectDeselected();
    // A run that notices a request early takes the project away itself.
    if (running() != nullptr && (isForRequest || (ranHere() && endRequests.isAnyUnderWay()))) {
        current.isEnding = true;
    }
}

void RunLog::begin(const StatusEntry& status) {
    RunEntry run;
    run.id = ++lastId;
    run.name = status.text.substr(runPrefix.size());
    run.begin = status.time;
    current = {};
    current.thread = std::this_thread::get_id();
    const auto client = std::find_if(asked.begin(), asked.end(), [&](const Asked& entry) {
        return entry.thread == current.thread;
    });
    if (client != asked.end()) {
        run.client = client->client;
        client->hasBegun = true;
        current.ofClient = true;
    }
    runs.push_back(std::move(run));
    if (runs.size() > maxRuns) {
        runs.pop_front();
    }
}

void RunLog::note(RunEntry& run, const StatusEntry& status) {
    if (run.statuses.size() < maxEntriesOfRun) {
        run.statuses.push_back(status);
    } else {
        ++run.statusesLeftOut;
    }
    if (startsWith(status.text, exceptionPrefix) && run.exceptions.size() < maxEntriesOfRun) {
        run.exceptions.push_back(status.text.substr(exceptionPrefix.size()));
    }
    if (!ranHere()) {
        return;
    }
    current.isSilent = current.isSilent && startsWith(status.text, runPrefix);
    current.cancelled = current.cancelled || current.isEnding;
    if (status.text == idle) {
        current.idleSince = status.time;
    } else {
        current.idleSince.reset();
    }
}

void RunLog::reportWritten(std::wstring fileName) {
    const std::lock_guard lock(mutex);
    RunEntry* const run = running();
    if (run != nullptr && run->reports.size() < maxEntriesOfRun) {
        run->reports.push_back(std::move(fileName));
    }
}

bool RunLog::settle() {
    Ended ended;
    bool mayEndLater = false;
    {
        const std::lock_guard lock(mutex);
        ended = settleLocked();
        mayEndLater =
            running() != nullptr && !current.ofClient && (current.idleSince || current.isSilent);
    }
    tell(ended);
    return mayEndLater;
}

RunLog::Ended RunLog::settleLocked() {
    if (running() == nullptr || current.ofClient || current.calls > 0 ||
        !current.runningJobs.empty()) {
        return {};
    }
    if (current.isSilent && now() - running()->begin >= silentTime) {
        noteMissingScript();
        return end(running()->begin);
    }
    if (!current.idleSince || now() - *current.idleSince < quietTime) {
        return {};
    }
    return end(*current.idleSince);
}

bool RunLog::mayEndAfter(const std::wstring& text) {
    return text == idle || startsWith(text, runPrefix);
}

std::vector<RunSummary> RunLog::latest() {
    settle();
    const std::lock_guard lock(mutex);
    return {runs.begin(), runs.end()};
}

std::optional<RunEntry> RunLog::find(std::uint64_t id) {
    settle();
    const std::lock_guard lock(mutex);
    const auto found =
        std::find_if(runs.begin(), runs.end(), [&](const RunEntry& run) { return run.id == id; });
    return found == runs.end() ? std::nullopt : std::optional(*found);
}

std::optional<SystemTime> RunLog::lastCancel() const {
    const std::lock_guard lock(mutex);
    return endRequests.lastCancel();
}

bool RunLog::isClientWaiting() const {
    const std::lock_guard lock(mutex);
    return std::any_of(asked.begin(), asked.end(),
                       [](const Asked& entry) { return !entry.hasBegun; });
}

void RunLog::onEnd(OnEnd function) {
    runEnded = std::move(function);
}

void RunLog::onProgress(OnProgress function) {
    progressed = std::move(function);
}

void RunLog::onJobEnd(OnJobEnd function) {
    jobEnded = std::move(function);
}

RunEntry* RunLog::running() {
    return runs.empty() || runs.back().end ? nullptr : &runs.back();
}

RunLog::Ended RunLog::end(SystemTime time) {
    RunEntry* const run = running();
    if (run == nullptr) {
        return {};
    }
    run->end = time;
    run->outcome = outcomeOf(*run);
    return *run;
}

RunOutcome RunLog::outcomeOf(const RunEntry& run) const {
    if (current.cancelled) {
        return RunOutcome::Cancelled;
    }
    if (!run.exceptions.empty()) {
        return RunOutcome::Failed;
    }
    return current.hasFindings ? RunOutcome::Findings : RunOutcome::Clean;
}

void RunLog::tell(const Ended& ended) const {
    if (ended && runEnded) {
        runEnded(*ended);
    }
}

/// Every other end sets "Idle" or tells of an exception.
void RunLog::noteMissingScript() {
    running()->exceptions.emplace_back(L"there is no such script");
}

bool RunLog::ranHere() const {
    return current.thread == std::this_thread::get_id();
}

} // namespace Quarlen::Kel_cpp
