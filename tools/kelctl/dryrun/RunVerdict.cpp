#include "tools/kelctl/dryrun/RunVerdict.hpp"

namespace Quarlen::Ctl {

namespace {

using Kel_cpp::RunOutcome;

Verdict finding(const std::string& text) {
    return {ExitCode::Findings, "findings: " + text, Colour::Note};
}

Verdict judgeClean(const RunFacts& facts) {
    if (!facts.hasWalked) {
        return finding("the server would do nothing, and yet end like after a success");
    }
    if (facts.wasStopped) {
        return finding("the script was stopped before its end");
    }
    if (facts.toldConsole) {
        return finding("a failure that the server only tells its console");
    }
    if (facts.foundNoProject) {
        return finding("no project was selected, which the server takes well");
    }
    return {ExitCode::Done, "clean", Colour::Good};
}

} // namespace

Verdict judge(const RunFacts& facts) {
    if (facts.gotSignal) {
        return {ExitCode::Cancelled, "cancelled", Colour::Note};
    }
    if (!facts.isScriptThere) {
        return {ExitCode::Refused, "failed: there is no such script", Colour::Bad};
    }
    switch (facts.outcome) {
    case RunOutcome::Failed:
        return {ExitCode::Refused, "failed", Colour::Bad};
    case RunOutcome::Findings:
        return finding("something failed, though the script went on");
    case RunOutcome::Clean:
        return judgeClean(facts);
    case RunOutcome::Cancelled:
        return {ExitCode::Cancelled, "cancelled", Colour::Note};
    case RunOutcome::Running:
        break;
    }
    return {ExitCode::Refused, "failed: the server would not take the run for ended", Colour::Bad};
}

} // namespace Quarlen::Ctl
