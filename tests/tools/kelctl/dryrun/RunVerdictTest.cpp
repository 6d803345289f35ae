#include "tools/kelctl/dryrun/RunVerdict.hpp"

#include <gtest/gtest.h>

namespace Quarlen::Ctl::Tests {

using Kel_cpp::RunOutcome;

namespace {

RunFacts factsOf(RunOutcome outcome) {
    RunFacts facts;
    facts.outcome = outcome;
    facts.isScriptThere = true;
    facts.hasWalked = true;
    return facts;
}

/// What it is with one more fact.
ExitCode codeOf(RunOutcome outcome, bool RunFacts::*fact, bool value = true) {
    RunFacts facts = factsOf(outcome);
    facts.*fact = value;
    return judge(facts).code;
}

} // namespace

TEST(RunVerdict, IsTheOutcomeOfTheRuntime) {
    EXPECT_EQ(judge(factsOf(RunOutcome::Clean)).code, ExitCode::Done);
    EXPECT_EQ(judge(factsOf(RunOutcome::Failed)).code, ExitCode::Refused);
    EXPECT_EQ(judge(factsOf(RunOutcome::Findings)).code, ExitCode::Findings);
    EXPECT_EQ(judge(factsOf(RunOutcome::Cancelled)).code, ExitCode::Cancelled);
    EXPECT_EQ(judge(factsOf(RunOutcome::Running)).code, ExitCode::Refused);
    EXPECT_EQ(judge(factsOf(RunOutcome::Clean)).words, "clean");
}

TEST(RunVerdict, IsAFindingWhereTheServerTakesForASuccessWhatIsNone) {
    EXPECT_EQ(codeOf(RunOutcome::Clean, &RunFacts::hasWalked, false), ExitCode::Findings);
    EXPECT_EQ(codeOf(RunOutcome::Clean, &RunFacts::wasStopped), ExitCode::Findings);
    EXPECT_EQ(codeOf(RunOutcome::Clean, &RunFacts::toldConsole), ExitCode::Findings);
    EXPECT_EQ(codeOf(RunOutcome::Clean, &RunFacts::foundNoProject), ExitCode::Findings);
}

TEST(RunVerdict, IsAFailureAlsoWhereTheConsoleWasToldOfIt) {
    EXPECT_EQ(codeOf(RunOutcome::Failed, &RunFacts::toldConsole), ExitCode::Refused);
    EXPECT_EQ(codeOf(RunOutcome::Failed, &RunFacts::foundNoProject), ExitCode::Refused);
}

TEST(RunVerdict, IsAFailureWithoutAScript) {
    EXPECT_EQ(codeOf(RunOutcome::Clean, &RunFacts::isScriptThere, false), ExitCode::Refused);
}

TEST(RunVerdict, IsACancelAfterASignalHoweverItEnded) {
    for (const RunOutcome outcome :
         {RunOutcome::Clean, RunOutcome::Failed, RunOutcome::Findings, RunOutcome::Running}) {
        EXPECT_EQ(codeOf(outcome, &RunFacts::gotSignal), ExitCode::Cancelled);
    }
}

} // namespace Quarlen::Ctl::Tests
