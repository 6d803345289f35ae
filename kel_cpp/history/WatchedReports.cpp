#include "kel_cpp/history/WatchedReports.hpp"

#include <utility>

#include "kel_cpp/jobs/OtxRun.hpp"
#include "kel_cpp/report/FlashRecords.hpp"
#include "kel_cpp/report/QuickTestRecords.hpp"

namespace Quarlen::Kel_cpp {

namespace {

constexpr std::uint16_t wholeSession = 100;

std::wstring faultsText(std::size_t count, bool isAskedFor) {
    if (!isAskedFor) {
        return L"faults not asked for";
    }
    return std::to_wstring(count) + (count == 1 ? L" fault" : L" faults");
}

std::wstring unitText(const ControlUnitQuickTestResult& unit) {
    if (!unit.errorText.empty()) {
        return unit.errorText;
    }
    const std::wstring text = faultsText(unit.faults.size(), unit.faultsAskedFor);
    return wasInterrupted(unit) ? L"software not valid, " + text : text;
}

bool isCancelled(const ServiceResult& result) {
    return result.error == static_cast<std::int32_t>(ServiceError::Cancelled);
}

std::wstring errorText(const FlashJobError& error) {
    return error.vciServerError ? error.message + L": " + error.vciServerError->message
                                : error.message;
}

} // namespace

JobWatch::JobWatch(std::shared_ptr<RunLog> runLog, std::uint64_t id, JobKind kind,
                   const std::wstring& name, std::uint64_t units)
    : log(std::move(runLog)), id(id), kind(kind), units(units) {
    log->jobBegins(id, kind, name);
}

/// A step without a text has nothing to say.
void JobWatch::take(const RecordList<ServiceResult>& results) {
    for (const auto& result : results) {
        const bool passed = result->error == 0;
        if (!passed) {
            outcome = isCancelled(*result) ? JobOutcome::Cancelled : JobOutcome::Failed;
        }
        if (!result->errorText.empty()) {
            summary = result->errorText;
            log->jobFound(id, {passed ? L"verdict" : L"failure", passed, result->errorText});
        }
    }
}

void JobWatch::take(const RecordList<QuickTestResult>& results) {
    for (const auto& result : results) {
        const auto unit = std::dynamic_pointer_cast<ControlUnitQuickTestResult>(result);
        if (!unit) {
            continue;
        }
        ++unitsDone;
        faults += unit->faults.size();
        const bool read = unit->errorText.empty();
        unitsRead += read ? 1 : 0;
        asksForFaults = unit->faultsAskedFor;
        log->jobFound(id, {unit->name, read && !wasInterrupted(*unit), unitText(*unit)});
        log->jobProgressed({id, kind, unit->name, L"units", unitsDone, units});
    }
}

void JobWatch::take(const RecordList<FlashResult>& results) {
    for (const auto& result : results) {
        take(*result);
    }
}

void JobWatch::take(const FlashResult& result) {
    const auto* const exact = dynamic_cast<const ControlUnitFlashResult*>(&result);
    if (result.jobError) {
        outcome = exact != nullptr && exact->cancelled ? JobOutcome::Cancelled : JobOutcome::Failed;
        summary = errorText(*result.jobError);
        log->jobFound(id, {result.sessionName, false, summary});
        return;
    }
    if (exact != nullptr) {
        log->jobProgressed(
            {id, kind, exact->controlUnit, L"bytes", exact->bytesDone, exact->bytesTotal});
    }
    // The last report of a job repeats the end of its last session.
    if (result.progress == wholeSession && result.sessionName != passedSession) {
        passedSession = result.sessionName;
        log->jobFound(id, {result.sessionName, true, {}});
    }
}

void JobWatch::end() {
    if (kind == JobKind::QuickTest) {
        summary = std::to_wstring(unitsRead) + L" of " + std::to_wstring(units) +
                  L" control units read, " + faultsText(faults, asksForFaults);
        if (unitsDone < units) {
            outcome = JobOutcome::Cancelled;
        } else if (unitsRead < units) {
            outcome = JobOutcome::Failed;
        }
    }
    log->jobEnds(id, outcome, summary);
}

} // namespace Quarlen::Kel_cpp
