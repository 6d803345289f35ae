#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kel_cpp/history/StatusLog.hpp"

namespace Quarlen::Kel_cpp {

using SystemTime = std::chrono::system_clock::time_point;

enum class JobKind { Service, Procedure, QuickTest, Flash };

enum class JobOutcome { Running, Passed, Failed, Cancelled };

/// The part of a job that can be judged on its own: a step, a control unit, a flash session.
struct JobItem {
    std::wstring name;
    bool passed = true;
    /// The verdict, the cause of the failure, or what was found; may be empty.
    std::wstring text;
};

/// One job of the runtime: a procedure or service, a quick test, a flash item.
struct JobEntry {
    std::uint64_t id = 0;
    JobKind kind = JobKind::Service;
    /// The procedure, the vehicle information or the flash item.
    std::wstring name;
    SystemTime begin;
    std::optional<SystemTime> end;
    JobOutcome outcome = JobOutcome::Running;
    std::vector<JobItem> items;
    /// One line for people.
    std::wstring summary;
};

/// How far a job is. `total` is 0 when it is not known.
struct JobProgress {
    std::uint64_t job = 0;
    JobKind kind = JobKind::Service;
    std::wstring controlUnit;
    /// "bytes" or "units", what `done` and `total` count.
    std::wstring unit;
    std::uint64_t done = 0;
    std::uint64_t total = 0;
};

enum class RunOutcome {
    Running,
    Clean,
    /// An exception reached the sequence: the LED was red.
    Failed,
    /// A procedure, a service or a flash failed, though the sequence went on: the LED may be green.
    Findings,
    Cancelled,
};

/// What a list tells of one run of a sequence.
struct RunSummary {
    std::uint64_t id = 0;
    std::wstring name;
    /// Who asked for it: the name of a client, or empty for a button or the start sequence.
    std::wstring client;
    SystemTime begin;
    std::optional<SystemTime> end;
    RunOutcome outcome = RunOutcome::Running;
    /// File names without folder.
    std::vector<std::wstring> reports;
};

/// One run as the runtime saw it from below: by the status texts that the sequence set, the jobs
/// that it launched and the reports that it wrote.
struct RunEntry : RunSummary {
    std::vector<StatusEntry> statuses;
    /// Status texts that were left out because there were too many.
    std::size_t statusesLeftOut = 0;
    std::vector<JobEntry> jobs;
    std::vector<std::wstring> exceptions;
};

} // namespace Quarlen::Kel_cpp
