#include "kel_cpp/history/RunResults.hpp"

#include "kel_cpp/base/ExceptionBoundary.hpp"

namespace Quarlen::Kel_cpp {

namespace {

std::string_view kindOf(const JobEntry& job) {
    switch (job.kind) {
    case JobKind::Flash:
        return "Flash";
    case JobKind::Procedure:
        return "Procedure";
    case JobKind::Service:
    case JobKind::QuickTest:
        break;
    }
    return "Service";
}

RunResult::Outcome outcomeOf(const JobEntry& job) {
    switch (job.outcome) {
    case JobOutcome::Passed:
        return RunResult::Outcome::Passed;
    case JobOutcome::Failed:
        return RunResult::Outcome::Failed;
    case JobOutcome::Cancelled:
        return RunResult::Outcome::Cancelled;
    case JobOutcome::Running:
        break;
    }
    return RunResult::Outcome::Running;
}

/// A flash session that is done has no text; verdicts and causes of failures speak for themselves.
std::wstring lineOf(const JobEntry& job, const JobItem& item) {
    const bool isDone = job.kind == JobKind::Flash && item.passed;
    return isDone ? L"session " + inQuotes(item.name) + L": done" : item.text;
}

} // namespace

std::vector<RunResult> runResults(const std::optional<RunEntry>& run) {
    std::vector<RunResult> results;
    if (!run || run->outcome != RunOutcome::Running) {
        return results;
    }
    for (const JobEntry& job : run->jobs) {
        if (job.kind != JobKind::QuickTest) {
            RunResult& result = results.emplace_back();
            result.kind = kindOf(job);
            result.name = job.name;
            result.outcome = outcomeOf(job);
            for (const JobItem& item : job.items) {
                result.lines.push_back(lineOf(job, item));
            }
        }
    }
    return results;
}

} // namespace Quarlen::Kel_cpp
