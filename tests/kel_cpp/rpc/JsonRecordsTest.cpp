#include "kel_cpp/rpc/JsonRecords.hpp"

#include <boost/json/serialize.hpp>
#include <gtest/gtest.h>

namespace Quarlen::Kel_cpp::Tests {
namespace {

using namespace std::chrono_literals;

/// 2026-01-31 09:05:00.042 UTC
constexpr SystemTime aTime{1769850300042ms};

RunEntry aRun() {
    RunEntry run;
    run.id = 3;
    run.name = L"A.xml";
    run.client = L"line";
    run.begin = aTime;
    run.reports = {L"a.html"};
    return run;
}

TEST(JsonRecords, WriteATimeInUtcWithMilliseconds) {
    EXPECT_EQ(JsonRecords::timeText(aTime), "2026-01-31T09:05:00.042Z");
    EXPECT_EQ(JsonRecords::timeText(SystemTime()), "1970-01-01T00:00:00.000Z");
}

TEST(JsonRecords, WriteAStatus) {
    EXPECT_EQ(
        boost::json::serialize(JsonRecords::status({L"\u00E4 \"x\"", aTime, 7})),
        "{\"text\":\"\xC3\xA4 \\\"x\\\"\",\"time\":\"2026-01-31T09:05:00.042Z\",\"number\":7}");
}

TEST(JsonRecords, WriteTheProgressOfAJob) {
    EXPECT_EQ(
        boost::json::serialize(
            JsonRecords::progress({9, JobKind::QuickTest, L"ENGINE", L"units", 2, 5})),
        R"({"kind":"quickTest","controlUnit":"ENGINE","unit":"units","done":2,"total":5,"job":9})");
}

TEST(JsonRecords, WriteARunThatLasts) {
    EXPECT_EQ(boost::json::serialize(JsonRecords::runSummary(aRun())),
              R"({"id":3,"name":"A.xml","client":"line","begin":"2026-01-31T09:05:00.042Z",)"
              R"("end":null,"outcome":null,"reports":["a.html"]})");
}

TEST(JsonRecords, WriteARunThatHasEnded) {
    RunEntry run = aRun();
    run.end = aTime + 1s;
    run.outcome = RunOutcome::Findings;
    run.statuses = {{L"Idle", aTime, 1}};
    run.statusesLeftOut = 2;
    run.exceptions = {L"no vehicle"};
    JobEntry job;
    job.kind = JobKind::Flash;
    job.name = L"Item";
    job.begin = aTime;
    job.end = aTime + 500ms;
    job.outcome = JobOutcome::Failed;
    job.items = {{L"Session", false, L"why"}};
    job.summary = L"sum";
    run.jobs = {job};

    EXPECT_EQ(boost::json::serialize(JsonRecords::run(run)),
              R"({"id":3,"name":"A.xml","client":"line","begin":"2026-01-31T09:05:00.042Z",)"
              R"("end":"2026-01-31T09:05:01.042Z","outcome":"findings","reports":["a.html"],)"
              R"("statuses":[{"text":"Idle","time":"2026-01-31T09:05:00.042Z","number":1}],)"
              R"("statusesLeftOut":2,"jobs":[{"kind":"flash","name":"Item",)"
              R"("begin":"2026-01-31T09:05:00.042Z","end":"2026-01-31T09:05:00.542Z",)"
              R"("outcome":"failed","summary":"sum",)"
              R"("items":[{"name":"Session","passed":false,"text":"why"}]}],)"
              R"("exceptions":["no vehicle"]})");
}

TEST(JsonRecords, NameEachOutcomeAndKind) {
    RunEntry run = aRun();
    const auto outcomeOf = [&](RunOutcome outcome) {
        run.outcome = outcome;
        return JsonRecords::runSummary(run).at("outcome");
    };
    const auto kindOf = [](JobKind kind) {
        return JsonRecords::progress({1, kind, L"", L"", 0, 0}).at("kind");
    };
    const auto jobOutcomeOf = [&](JobOutcome outcome) {
        run.jobs.resize(1);
        run.jobs[0].outcome = outcome;
        return JsonRecords::run(run).at("jobs").at(0).at("outcome");
    };

    EXPECT_EQ(outcomeOf(RunOutcome::Clean), boost::json::value("clean"));
    EXPECT_EQ(outcomeOf(RunOutcome::Failed), boost::json::value("failed"));
    EXPECT_EQ(outcomeOf(RunOutcome::Cancelled), boost::json::value("cancelled"));
    EXPECT_EQ(kindOf(JobKind::Service), boost::json::value("service"));
    EXPECT_EQ(kindOf(JobKind::Procedure), boost::json::value("procedure"));
    EXPECT_EQ(jobOutcomeOf(JobOutcome::Passed), boost::json::value("passed"));
    EXPECT_EQ(jobOutcomeOf(JobOutcome::Cancelled), boost::json::value("cancelled"));
    EXPECT_EQ(jobOutcomeOf(JobOutcome::Running), boost::json::value());
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
