#pragma once

#include <string>

#include "kel_cpp/history/RunRecords.hpp"
#include "tools/kelctl/base/ExitCode.hpp"
#include "tools/kelctl/output/Output.hpp"

namespace Quarlen::Ctl {

/// What is known of a run after its end.
struct RunFacts {
    /// As the runtime's own history has it.
    Kel_cpp::RunOutcome outcome = Kel_cpp::RunOutcome::Running;
    bool gotSignal = false;
    bool isScriptThere = false;
    /// The server has loaded the script and begun with its actions.
    bool hasWalked = false;
    bool wasStopped = false;
    /// A failure was written to the server's console.
    bool toldConsole = false;
    /// No project fitted the car.
    bool foundNoProject = false;
};

struct Verdict {
    ExitCode code;
    /// For people.
    std::string words;
    Colour colour;
};

/// The runtime's outcome, except that what the server takes for a success and a person would not is
/// a finding.
Verdict judge(const RunFacts& facts);

} // namespace Quarlen::Ctl
