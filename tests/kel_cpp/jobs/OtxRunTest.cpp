#include "kel_cpp/jobs/OtxRun.hpp"

#include <system_error>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/kel_cpp/FakeVehicle.hpp"
#include "tests/support/NumberedCause.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

using Uds::Bytes;

std::int32_t number(ServiceError error) {
    return static_cast<std::int32_t>(error);
}

UdsStep noAnswerTo(const Bytes& request) {
    UdsStep step{L"L", request, {}, false};
    step.wantsNoAnswer = true;
    return step;
}

UdsStep seedWithin(std::chrono::seconds delayBound) {
    UdsStep step{L"L", {0x27, 0x01}, {0x67, 0x01}, true};
    step.delayBound = delayBound;
    return step;
}

struct Expectation {
    const char* label;
    std::vector<ExpectedByte> expected;
    bool openEnd;
    std::optional<Bytes> response;
    std::int32_t error;
};

std::ostream& operator<<(std::ostream& stream, const Expectation& expectation) {
    return stream << expectation.label;
}

class OtxFixture {
protected:
    RecordList<ServiceResult> run(std::vector<OtxStep> steps, std::stop_token cancel = {}) {
        VehicleAccess access(L"Fake", vehicle, clock,
                             {.testerPresentInterval = std::chrono::hours(1)});
        RecordList<ServiceResult> results;
        const OtxRun::OnResult onResult = [&](auto result) { results.push_back(result); };
        OtxRun(access, Project(), std::move(cancel), clock, onResult).run({L"P", std::move(steps)});
        return results;
    }

    Quarlen::Tests::FakeClock clock;
    std::shared_ptr<FakeVehicle> vehicle = std::make_shared<FakeVehicle>(clock);
};

class OtxRunTest : public OtxFixture, public testing::Test {};
class OtxExpectation : public OtxFixture, public testing::TestWithParam<Expectation> {};

} // namespace

TEST_P(OtxExpectation, IsComparedWithTheResponse) {
    vehicle->answer = [](const Bytes&) { return GetParam().response; };
    const auto results =
        run({UdsStep{L"L", {0x22, 0xF1, 0x90}, GetParam().expected, GetParam().openEnd}});
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0]->error, GetParam().error);
    EXPECT_EQ(results[0]->errorText.empty(), GetParam().error == 0);
    EXPECT_EQ(results[0]->responses.size(), GetParam().response ? 1U : 0U);
}

INSTANTIATE_TEST_SUITE_P(
    Table, OtxExpectation,
    testing::Values(
        Expectation{"Exact", {0x62, 0xF1, 0x90}, false, Bytes{0x62, 0xF1, 0x90}, 0},
        Expectation{"AnyByte", {0x62, 0xF1, {}}, false, Bytes{0x62, 0xF1, 0x90}, 0},
        Expectation{"OpenEnd", {0x62, 0xF1}, true, Bytes{0x62, 0xF1, 0x90, 0x01}, 0},
        Expectation{"OpenEndAtTheEnd", {0x62, 0xF1, 0x90}, true, Bytes{0x62, 0xF1, 0x90}, 0},
        Expectation{"NoExpectation", {}, false, Bytes{0x62, 0xF1, 0x90}, 0},
        Expectation{"ExpectedRefusal", {0x7F, 0x22, 0x31}, false, Bytes{0x7F, 0x22, 0x31}, 0},
        Expectation{"OtherByte", {0x62, 0xF1, 0x91}, false, Bytes{0x62, 0xF1, 0x90}, 0x101},
        Expectation{"TooLong", {0x62, 0xF1}, false, Bytes{0x62, 0xF1, 0x90}, 0x101},
        Expectation{"TooShort", {0x62, 0xF1, {}, {}}, true, Bytes{0x62, 0xF1, 0x90}, 0x101},
        Expectation{"Refusal", {0x62, 0xF1}, true, Bytes{0x7F, 0x22, 0x31}, 0x31},
        Expectation{"RefusalUnasked", {}, false, Bytes{0x7F, 0x22, 0x33}, 0x33},
        Expectation{"RefusalWithCodeZero", {}, false, Bytes{0x7F, 0x22, 0x00}, 0x101},
        Expectation{"OtherThanRefusalWithCodeZero", {0x62}, true, Bytes{0x7F, 0x22, 0x00}, 0x101},
        Expectation{"ExpectedCodeZero", {0x7F, 0x22, 0x00}, false, Bytes{0x7F, 0x22, 0x00}, 0},
        Expectation{"Silence", {}, true, std::nullopt, 0x100}),
    [](const auto& row) { return std::string(row.param.label); });

TEST_F(OtxRunTest, AStepThatWantsNoAnswerPassesInSilence) {
    const auto results =
        run({noAnswerTo({0x31, 0x81, 0x01, 0x02}), noAnswerTo({0x22, 0xF1, 0x90})});
    ASSERT_EQ(results.size(), 2U);
    EXPECT_EQ(results[0]->error, 0);
    EXPECT_EQ(results[1]->error, 0);
    EXPECT_TRUE(results[1]->responses.empty());
}

TEST_F(OtxRunTest, AStepThatWantsNoAnswerDropsAPositiveOne) {
    vehicle->answer = [](const Bytes&) { return Bytes{0x62, 0xF1, 0x90}; };
    EXPECT_EQ(run({noAnswerTo({0x22, 0xF1, 0x90})}).at(0)->error, 0);
}

TEST_F(OtxRunTest, AStepThatWantsNoAnswerFailsWithANegativeOne) {
    vehicle->answer = [](const Bytes&) { return Bytes{0x7F, 0x31, 0x22}; };
    const auto results = run({noAnswerTo({0x31, 0x81, 0x01, 0x02})});
    EXPECT_EQ(results.at(0)->error, 0x22);
    EXPECT_NE(results[0]->errorText.find(L"expected no answer, received 7F 31 22 (RoutineControl"),
              std::wstring::npos);
}

TEST_F(OtxRunTest, AsksAgainUntilTheDelayTimerHasExpired) {
    vehicle->answer = [end = clock.now() + std::chrono::seconds(10), this](const Bytes&) {
        return clock.now() < end ? Bytes{0x7F, 0x27, 0x37} : Bytes{0x67, 0x01, 0x12};
    };
    const auto before = clock.now();
    EXPECT_EQ(run({seedWithin(std::chrono::seconds(60))}).at(0)->error, 0);
    EXPECT_EQ(clock.now() - before, std::chrono::seconds(10));
    EXPECT_EQ(vehicle->requests().size(), 11U);
}

TEST_F(OtxRunTest, TakesTheRefusalOfTheDelayTimerWhenItsTimeIsOver) {
    vehicle->answer = [](const Bytes&) { return Bytes{0x7F, 0x27, 0x37}; };
    const auto before = clock.now();
    const auto results = run({seedWithin(std::chrono::seconds(3))});
    EXPECT_EQ(clock.now() - before, std::chrono::seconds(3));
    EXPECT_EQ(vehicle->requests().size(), 4U);
    EXPECT_EQ(results.at(0)->error, 0x37);
    EXPECT_NE(results[0]->errorText.find(L"required time delay not expired (0x37)"),
              std::wstring::npos);
}

TEST_F(OtxRunTest, AsksTheLastTimeWhenTheBoundIsReached) {
    vehicle->answer = [this](const Bytes&) {
        clock.advance(std::chrono::milliseconds(300));
        return Bytes{0x7F, 0x27, 0x37};
    };
    const auto before = clock.now();
    EXPECT_EQ(run({seedWithin(std::chrono::seconds(2))}).at(0)->error, 0x37);
    EXPECT_EQ(clock.now() - before, std::chrono::milliseconds(2300));
}

TEST_F(OtxRunTest, AsksOnlyOnceWhereTheStepWaitsOutNoDelay) {
    vehicle->answer = [](const Bytes&) { return Bytes{0x7F, 0x27, 0x37}; };
    EXPECT_EQ(run({seedWithin(std::chrono::seconds(0))}).at(0)->error, 0x37);
    EXPECT_EQ(vehicle->requests().size(), 1U);
}

TEST_F(OtxRunTest, WaitsOutNoOtherRefusal) {
    vehicle->answer = [](const Bytes&) { return Bytes{0x7F, 0x27, 0x36}; };
    EXPECT_EQ(run({seedWithin(std::chrono::seconds(60))}).at(0)->error, 0x36);
    EXPECT_EQ(vehicle->requests().size(), 1U);
}

TEST_F(OtxRunTest, ACancelEndsTheWaitForADelayTimerAtOnce) {
    vehicle->answer = [](const Bytes&) { return Bytes{0x7F, 0x27, 0x37}; };
    std::stop_source cancel;
    constexpr std::chrono::milliseconds soon{10};
    clock.callAfter(soon, [&] { cancel.request_stop(); });
    const auto before = clock.now();
    EXPECT_THROW(run({seedWithin(std::chrono::seconds(60))}, cancel.get_token()), Uds::Cancelled);
    EXPECT_EQ(clock.now() - before, soon);
}

TEST_F(OtxRunTest, EndsWithTheFirstStepThatFails) {
    vehicle->answer = [](const Bytes& request) {
        return request[0] == 0x22 ? Bytes{0x7F, 0x22, 0x31} : Bytes{0x7E, 0x00};
    };
    const auto results =
        run({UdsStep{L"L", {0x3E, 0x00}, {}, false}, UdsStep{L"L", {0x22, 0xF1, 0x90}, {}, false},
             UdsStep{L"L", {0x3E, 0x00}, {}, false}});
    ASSERT_EQ(results.size(), 2U);
    EXPECT_EQ(results[1]->error, 0x31);
    EXPECT_NE(results[1]->errorText.find(L"procedure \"P\", step 2"), std::wstring::npos);
    EXPECT_EQ(vehicle->requests().size(), 2U);
}

TEST_F(OtxRunTest, TellsWhatItExpectedAndWhatCame) {
    vehicle->answer = [](const Bytes&) { return Bytes{0x62, 0xF1, 0x90}; };
    const auto results = run({UdsStep{L"L", {0x22, 0xF1, 0x90}, {0x62, {}, 0x91}, true}});
    EXPECT_NE(results.at(0)->errorText.find(L"expected 62 ?? 91 *, received 62 F1 90"),
              std::wstring::npos);
}

TEST_F(OtxRunTest, TellsTheLinkOnWhichNobodyAnswersAndWhereAnAnswerIsMissing) {
    const std::wstring silence = L"logical link \"L\": no response to TesterPresent (0x3E) within "
                                 L"1000 ms";
    EXPECT_EQ(run({UdsStep{L"L", {0x3E, 0x00}, {}, false}}).at(0)->errorText,
              L"procedure \"P\", step 1: " + silence);
    VehicleAccess access(L"Fake", vehicle, clock);
    EXPECT_EQ(exchangeRaw(access, {L"L"}, {0x3E, 0x00}, {})->errorText, silence);
    EXPECT_EQ(run({UdsStep{L"L", {0x3E, 0x80}, {0x7E}, true}}).at(0)->errorText,
              L"procedure \"P\", step 1: expected 7E *, received no response");
}

TEST_F(OtxRunTest, NamesAVerdictWithoutAText) {
    EXPECT_EQ(run({VerdictStep{false, L""}}).at(0)->errorText,
              L"procedure \"P\", step 1: verdict: failed");
}

TEST_F(OtxRunTest, TracesAPassedProcedureWithTheTextOfItsLastVerdict) {
    const Quarlen::Tests::TraceCapture traces;
    run({VerdictStep{true, L"first"}, VerdictStep{true, L"all well"}, WaitStep{}});
    ASSERT_EQ(traces.lines().size(), 1U);
    EXPECT_EQ(traces.lines()[0].level, StdUtil::TraceLevel::Info);
    EXPECT_EQ(traces.lines()[0].source, L"kel_cpp/jobs/OtxRun");
    EXPECT_EQ(traces.lines()[0].text, L"procedure \"P\" ended: passed, all well");
}

TEST_F(OtxRunTest, TracesAPassedProcedureWithoutAText) {
    const Quarlen::Tests::TraceCapture traces;
    run({VerdictStep{true, L""}});
    EXPECT_EQ(traces.texts(), std::vector<std::wstring>{L"procedure \"P\" ended: passed"});
}

TEST_F(OtxRunTest, TracesAFailedProcedureWithStepVerdictTextAndCauseAsAnError) {
    const Quarlen::Tests::TraceCapture traces;
    run({VerdictStep{true, L"well"}, VerdictStep{false, L"too cold"}, VerdictStep{}});
    ASSERT_EQ(traces.lines().size(), 1U);
    EXPECT_EQ(traces.lines()[0].level, StdUtil::TraceLevel::Error);
    EXPECT_EQ(traces.lines()[0].text, L"procedure \"P\" ended: failed, step 2: verdict: too cold");
}

TEST_F(OtxRunTest, TracesAnAnswerThatWasNotExpected) {
    const Quarlen::Tests::TraceCapture traces;
    vehicle->answer = [](const Bytes&) { return Bytes{0x62, 0xF1, 0x90}; };
    run({UdsStep{L"L", {0x22, 0xF1, 0x90}, {0x63}, false}});
    EXPECT_EQ(traces.texts(),
              std::vector<std::wstring>{L"procedure \"P\" ended: failed, step 1: expected 63, "
                                        L"received 62 F1 90"});
}

TEST_F(OtxRunTest, HasTracedTheFailureBeforeItIsReported) {
    const Quarlen::Tests::TraceCapture traces;
    VehicleAccess access(L"Fake", vehicle, clock);
    std::size_t tracesAtReport = 0;
    const OtxRun::OnResult onResult = [&](auto) { tracesAtReport = traces.lines().size(); };
    OtxRun(access, Project(), {}, clock, onResult).run({L"P", {VerdictStep{false, L""}}});
    EXPECT_EQ(tracesAtReport, 1U);
}

TEST_F(OtxRunTest, TracesACancelledProcedureAsInformation) {
    const Quarlen::Tests::TraceCapture traces;
    std::stop_source cancel;
    cancel.request_stop();
    EXPECT_THROW(run({WaitStep{std::chrono::seconds(1)}}, cancel.get_token()), Uds::Cancelled);
    ASSERT_EQ(traces.lines().size(), 1U);
    EXPECT_EQ(traces.lines()[0].level, StdUtil::TraceLevel::Info);
    EXPECT_EQ(traces.lines()[0].text, L"procedure \"P\" ended: cancelled");
}

TEST_F(OtxRunTest, TracesAProcedureThatBreaksOffWithItsCause) {
    const Quarlen::Tests::TraceCapture traces;
    vehicle->answer = [](const Bytes&) -> std::optional<Bytes> {
        throw std::system_error(std::make_error_code(std::errc::io_error), "broken");
    };
    EXPECT_THROW(run({UdsStep{L"L", {0x3E, 0x00}, {}, false}}), std::system_error);
    ASSERT_EQ(traces.lines().size(), 1U);
    EXPECT_EQ(traces.lines()[0].level, StdUtil::TraceLevel::Error);
    EXPECT_THAT(traces.lines()[0].text,
                testing::AllOf(testing::StartsWith(L"procedure \"P\" ended: failed, broken: "),
                               Quarlen::Tests::EndsWithANumber()));
}

TEST_F(OtxRunTest, WaitsOnTheClock) {
    const auto before = clock.now();
    const auto results = run({WaitStep{std::chrono::seconds(10)}});
    EXPECT_EQ(clock.now() - before, std::chrono::seconds(10));
    EXPECT_EQ(results.size(), 1U);
}

TEST_F(OtxRunTest, AWaitEndsWithTheConnection) {
    const auto begin = clock.now();
    clock.callAfter(std::chrono::seconds(1), [this] { vehicle->lose(L"cable"); });
    const auto results = run({WaitStep{std::chrono::hours(24)}, VerdictStep{true, L""}});
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0]->error, number(ServiceError::Communication));
    EXPECT_THAT(results[0]->errorText, testing::EndsWith(L"step 1: cable"));
    EXPECT_LT(clock.now() - begin, std::chrono::hours(24));
}

TEST_F(OtxRunTest, ACancelEndsAWaitAtOnce) {
    std::stop_source cancel;
    constexpr std::chrono::milliseconds soon{10};
    clock.callAfter(soon, [&] { cancel.request_stop(); });
    const auto before = clock.now();
    EXPECT_THROW(run({WaitStep{std::chrono::seconds(10)}}, cancel.get_token()), Uds::Cancelled);
    EXPECT_EQ(clock.now() - before, soon);
}

TEST_F(OtxRunTest, AFailedVerdictIsAnErrorWithItsText) {
    const auto results = run({VerdictStep{false, L"too cold"}});
    EXPECT_EQ(results.at(0)->error, number(ServiceError::VerdictFailed));
    EXPECT_NE(results.at(0)->errorText.find(L"too cold"), std::wstring::npos);
}

TEST_F(OtxRunTest, APassedVerdictKeepsItsText) {
    const auto results = run({VerdictStep{true, L"all well"}});
    EXPECT_EQ(results.at(0)->error, 0);
    EXPECT_EQ(results.at(0)->errorText, L"all well");
}

} // namespace Quarlen::Kel_cpp::Tests
