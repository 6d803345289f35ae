#include "kel_cpp/jobs/FlashSequence.hpp"

#include <algorithm>
#include <ctime>

#include <gmock/gmock.h>

#include "kel_cpp/jobs/FlashJob.hpp"
#include "kel_cpp/report/FlashRecords.hpp"
#include "tests/kel_cpp/AgreeingControlUnit.hpp"
#include "tests/kel_cpp/FakeVehicle.hpp"
#include "tests/support/ReportCollector.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Kel_cpp::Tests {

using Uds::Bytes;
using namespace std::chrono_literals;

namespace {

constexpr const wchar_t* defaultSession = L"10 01";

/// A job with the steps of a test on a control unit that takes everything, unless the test's own
/// answer comes first.
class FlashSequenceTest : public testing::Test {
protected:
    FlashSequenceTest() {
        folder.write("app.bin", "12345678");
        folder.write("data.bin", "1234");
        vehicle->answer = [this](const Bytes& request) { return answerTo(request); };
    }

    virtual std::optional<Bytes> answerTo(const Bytes& request) { return agreeTo(request); }

    /// The message of the job's error; empty when it has none.
    std::wstring flash(std::vector<FlashStep> steps,
                       const std::vector<std::wstring>& sessions = {L"APP"}) {
        const auto project = std::make_shared<Project>();
        project->vehicleInformations = {{L"V", {{1, L"UNIT", L"LINK"}}, {}}};
        project->flashItems = {{L"ITEM",
                                L"UNIT",
                                L"",
                                3,
                                0,
                                {{L"APP", L"app.bin", 0, 8}, {L"DATA", L"data.bin", 64, 4}},
                                std::move(steps)}};
        const FlashJob job({project, &project->vehicleInformations.front(), access}, L"ITEM",
                           sessions, folder.path(), {clock, [this] { return moment; }});
        Quarlen::Tests::FlashCollector reports;
        JobReport<FlashResult> report(reports, 1);
        job.run(report, cancel.get_token());
        results = reports.results();
        const auto error = results.empty() ? nullptr : results.back()->jobError;
        return error ? error->message : std::wstring();
    }

    std::vector<std::wstring> requests() const {
        std::vector<std::wstring> texts;
        for (const auto& request : vehicle->requests()) {
            texts.push_back(Uds::hexText(request));
        }
        return texts;
    }

    Quarlen::Tests::FakeClock clock;
    Quarlen::Tests::TemporaryFolder folder;
    std::shared_ptr<FakeVehicle> vehicle = std::make_shared<FakeVehicle>(clock);
    std::shared_ptr<VehicleAccess> access = std::make_shared<VehicleAccess>(
        L"Test", vehicle, clock, AccessOptions{.testerPresentInterval = std::chrono::hours(1)});
    std::chrono::system_clock::time_point moment = std::chrono::system_clock::now();
    std::stop_source cancel;
    RecordList<FlashResult> results;
};

std::vector<FlashStep> wholeSequence() {
    return {FlashRequest{{0x10, 0x03}},
            FlashRequest{{0x85, 0x02}},
            FlashRequest{{0x28, 0x01, 0x01}},
            FlashRequest{{0x10, 0x02}},
            FlashUnlock{},
            FlashFingerprint{{0xAB, 0xCD}},
            FlashMemories{},
            FlashDependencies{},
            FlashReset{},
            FlashRequest{{0x10, 0x01}}};
}

} // namespace

TEST_F(FlashSequenceTest, DoesEachStepOnceInItsOrderAndTheSessionsOneAfterTheOther) {
    // Noon, so that no time zone makes it another day.
    std::tm date{};
    date.tm_year = 126;
    date.tm_mon = 10;
    date.tm_mday = 9;
    date.tm_hour = 12;
    moment = std::chrono::system_clock::from_time_t(std::mktime(&date));
    EXPECT_EQ(flash(wholeSequence(), {L"DATA", L"APP"}), L"");
    EXPECT_EQ(requests(), (std::vector<std::wstring>{L"10 03",
                                                     L"85 02",
                                                     L"28 01 01",
                                                     L"10 02",
                                                     L"27 03",
                                                     L"2E F1 5A 26 11 09 AB CD",
                                                     L"31 01 FF 00 44 00 00 00 40 00 00 00 04",
                                                     L"34 00 44 00 00 00 40 00 00 00 04",
                                                     L"36 01 31 32 33 34",
                                                     L"37",
                                                     L"31 01 02 02 9B E3 E0 A3",
                                                     L"31 01 FF 00 44 00 00 00 00 00 00 00 08",
                                                     L"34 00 44 00 00 00 00 00 00 00 08",
                                                     L"36 01 31 32 33 34 35 36 37 38",
                                                     L"37",
                                                     L"31 01 02 02 9A E0 DA AF",
                                                     L"31 01 FF 01",
                                                     L"11 01",
                                                     L"3E 00",
                                                     L"10 01"}));
    EXPECT_EQ(results.back()->progress, 100);
    EXPECT_TRUE(std::all_of(results.begin(), results.end(), [](const auto& result) {
        return result->sessionName == L"DATA" || result->sessionName == L"APP";
    }));
    EXPECT_EQ(results.back()->sessionName, L"APP");
}

TEST_F(FlashSequenceTest, BeginsEachSessionWithoutTheBytesOfTheOneBefore) {
    EXPECT_EQ(flash(wholeSequence(), {L"DATA", L"APP"}), L"");
    const auto first = std::find_if(results.begin(), results.end(), [](const auto& result) {
        return result->sessionName == L"APP";
    });
    ASSERT_NE(first, results.end());
    const auto begun = std::dynamic_pointer_cast<ControlUnitFlashResult>(*first);
    ASSERT_NE(begun, nullptr);
    EXPECT_EQ(begun->bytesDone, 0U);
    EXPECT_EQ(begun->bytesTotal, 8U);
    EXPECT_EQ(begun->progress, 0);
}

TEST_F(FlashSequenceTest, HoldsItsSessionUntilItsEnd) {
    bool isHeld = false;
    vehicle->answer = [&](const Bytes& request) {
        isHeld = isHeld || (request[0] == 0x31 && access->connection().holdsSessions());
        return agreeTo(request);
    };
    EXPECT_EQ(flash(wholeSequence()), L"");
    EXPECT_TRUE(isHeld);
    EXPECT_FALSE(access->connection().holdsSessions());
}

TEST_F(FlashSequenceTest, DoesNothingWithoutASession) {
    EXPECT_EQ(flash(wholeSequence(), {}), L"");
    EXPECT_TRUE(requests().empty());
}

TEST_F(FlashSequenceTest, WithoutStepsOfTheProjectIsDoneForEachSession) {
    EXPECT_EQ(flash({}, {L"APP", L"DATA"}), L"");
    auto sent = requests();
    for (auto& request : sent) {
        request.resize(std::min<std::size_t>(request.size(), 5));
    }
    const std::vector<std::wstring> once{L"10 02", L"27 03", L"31 01", L"34 00",
                                         L"36 01", L"37",    L"31 01", L"10 01"};
    auto twice = once;
    twice.insert(twice.end(), once.begin(), once.end());
    EXPECT_EQ(sent, twice);
}

TEST_F(FlashSequenceTest, MayHaveARequestThatSuppressesItsAnswer) {
    const auto quiet = [](const Bytes& request) -> std::optional<Bytes> {
        return Uds::suppressesPositiveResponse(request) ? std::nullopt
                                                        : std::optional(agreeTo(request));
    };
    vehicle->answer = quiet;
    EXPECT_EQ(flash({FlashRequest{{0x85, 0x82}}, FlashMemories{}}), L"");
}

namespace {

struct FailingStep {
    const char* name;
    /// The beginning of the request and what is answered.
    Bytes request;
    Bytes answer;
    const wchar_t* message;
};

class FailingFlashStep : public FlashSequenceTest, public testing::WithParamInterface<FailingStep> {
    std::optional<Bytes> answerTo(const Bytes& request) override {
        const Bytes& beginning = GetParam().request;
        const bool fails = request.size() >= beginning.size() &&
                           std::equal(beginning.begin(), beginning.end(), request.begin());
        return fails ? GetParam().answer : agreeTo(request);
    }
};

} // namespace

TEST_P(FailingFlashStep, EndsTheJobWithItsNumberAndLeavesTheSession) {
    EXPECT_EQ(flash(wholeSequence()), L"flash item \"ITEM\", " + std::wstring(GetParam().message));
    const auto sent = vehicle->requests();
    ASSERT_GE(sent.size(), 2U);
    const Bytes& failed = sent[sent.size() - 2];
    EXPECT_TRUE(std::equal(GetParam().request.begin(), GetParam().request.end(), failed.begin()));
    EXPECT_EQ(requests().back(), defaultSession);
    // Outside of a session the step alone is told.
    const bool isInSession = GetParam().message[1] == L'e' && GetParam().message[2] == L's';
    EXPECT_EQ(results.back()->sessionName, isInSession ? L"APP" : L"");
}

INSTANTIATE_TEST_SUITE_P(
    Sequence, FailingFlashStep,
    testing::Values(
        FailingStep{"Request",
                    {0x85, 0x02},
                    {0x7F, 0x85, 0x22},
                    L"step 2: ControlDTCSetting (0x85) refused: conditions not correct (0x22)"},
        FailingStep{
            "Unlock",
            {0x27, 0x03},
            {0x7F, 0x27, 0x37},
            L"step 5: SecurityAccess (0x27) refused: required time delay not expired (0x37)"},
        FailingStep{"Fingerprint",
                    {0x2E, 0xF1, 0x5A},
                    {0x7F, 0x2E, 0x31},
                    L"step 6: WriteDataByIdentifier (0x2E) refused: request out of range (0x31)"},
        FailingStep{"Sessions",
                    {0x34},
                    {0x7F, 0x34, 0x70},
                    L"session \"APP\", file \"app.bin\": RequestDownload (0x34) refused: "
                    L"upload/download not accepted (0x70)"},
        FailingStep{"Dependencies",
                    {0x31, 0x01, 0xFF, 0x01},
                    {0x71, 0x01, 0xFF, 0x01, 0x01},
                    L"step 8: the control unit says that its software does not fit together"},
        FailingStep{"DependenciesWithoutAStatus",
                    {0x31, 0x01, 0xFF, 0x01},
                    {0x71, 0x01, 0xFF, 0x01},
                    L"step 8: unusable response to a routine's start: 71 01 FF 01"},
        FailingStep{"Reset",
                    {0x11, 0x01},
                    {0x7F, 0x11, 0x22},
                    L"step 9: ECUReset (0x11) refused: conditions not correct (0x22)"}),
    [](const auto& test) { return std::string(test.param.name); });

namespace {

/// A control unit that is silent for a while after its reset.
class BootingControlUnit : public FlashSequenceTest {
protected:
    std::optional<Bytes> answerTo(const Bytes& request) override {
        if (request[0] == 0x11) {
            ready = clock.now() + bootTime;
        } else if (clock.now() < ready) {
            return std::nullopt;
        }
        return request[0] == 0x3E ? firstAnswer : agreeTo(request);
    }

    std::chrono::milliseconds bootTime{0};
    Bytes firstAnswer{0x7E, 0x00};
    Platform::Clock::TimePoint ready;
};

} // namespace

TEST_F(BootingControlUnit, IsAwaitedBeforeTheNextStep) {
    bootTime = 4500ms;
    EXPECT_EQ(flash({FlashMemories{}, FlashReset{5s}, FlashRequest{{0x22, 0xF1, 0x95}}}), L"");
    EXPECT_EQ(requests().back(), L"22 F1 95");
    EXPECT_GE(clock.now(), ready);
}

TEST_F(BootingControlUnit, IsNotAskedRightBehindItsAnswerToTheReset) {
    std::optional<Platform::Clock::TimePoint> reset;
    vehicle->answer = [&](const Bytes& request) -> std::optional<Bytes> {
        if (request[0] == 0x11) {
            reset = clock.now();
        } else if (reset && request[0] == 0x3E) {
            EXPECT_GE(clock.now() - *reset, 100ms);
        }
        return agreeTo(request);
    };
    EXPECT_EQ(flash({FlashMemories{}, FlashReset{}}), L"");
    EXPECT_TRUE(reset.has_value());
}

TEST_F(BootingControlUnit, IsThereAlsoWhenItRefusesTesterPresent) {
    firstAnswer = {0x7F, 0x3E, 0x11};
    EXPECT_EQ(flash({FlashMemories{}, FlashReset{}}), L"");
}

TEST_F(BootingControlUnit, ThatDoesNotComeBackIsAJobError) {
    bootTime = 1h;
    const auto begin = clock.now();
    EXPECT_EQ(flash({FlashMemories{}, FlashReset{5s}}),
              L"flash item \"ITEM\", step 2: the control unit did not answer within 5000 ms after "
              L"its reset");
    EXPECT_GE(clock.now() - begin, 5s);
    EXPECT_LE(clock.now() - begin, 7s);
}

TEST_F(BootingControlUnit, IsAskedOnceMoreWhenItsTimeIsOver) {
    bootTime = 5050ms;
    EXPECT_EQ(flash({FlashMemories{}, FlashReset{5s}}), L"");
}

TEST_F(BootingControlUnit, ThatAGatewayDoesNotReachYetIsAskedAgainAfterAPause) {
    int refused = 0;
    vehicle->answer = [&](const Bytes& request) -> std::optional<Bytes> {
        if (request[0] == 0x3E && refused < 3) {
            ++refused;
            throw Uds::MessageRefused(0x06, L"target unreachable");
        }
        return agreeTo(request);
    };
    const auto begin = clock.now();
    EXPECT_EQ(flash({FlashMemories{}, FlashReset{}}), L"");
    EXPECT_EQ(refused, 3);
    EXPECT_EQ(clock.now() - begin, 400ms);
}

TEST_F(BootingControlUnit, IsNotAwaitedByACancelledJob) {
    vehicle->answer = [&](const Bytes& request) -> std::optional<Bytes> {
        if (request[0] == 0x3E) {
            cancel.request_stop();
            throw Uds::MessageRefused(0x06, L"target unreachable");
        }
        return agreeTo(request);
    };
    EXPECT_EQ(flash({FlashMemories{}, FlashReset{}}), L"flash item \"ITEM\", step 2: cancelled");
}

} // namespace Quarlen::Kel_cpp::Tests
