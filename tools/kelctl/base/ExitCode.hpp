#pragma once

namespace Quarlen::Ctl {

/// What a script that calls the program can act upon.
enum class ExitCode : int {
    Done = 0,
    /// The server said no, or a run failed.
    Refused = 1,
    WrongUsage = 2,
    NotReachable = 3,
    /// A run ended with findings, or a check found something.
    Findings = 4,
    Cancelled = 5,
};

} // namespace Quarlen::Ctl
