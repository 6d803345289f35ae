#include <atomic>
#include <condition_variable>
#include <mutex>
#include <set>

#include <gtest/gtest.h>

#include "kel_cpp/jobs/QuickTest.hpp"
#include "tests/kel_cpp/FakeVehicle.hpp"
#include "tests/support/ReportCollector.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

/// So many come together; false when they do not.
class Meeting {
public:
    explicit Meeting(std::size_t count) : missing(count) {}

    bool arrive() {
        std::unique_lock lock(mutex);
        missing -= missing > 0 ? 1 : 0;
        complete.notify_all();
        return complete.wait_for(lock, std::chrono::seconds(60), [this] { return missing == 0; });
    }

private:
    std::mutex mutex;
    std::condition_variable complete;
    std::size_t missing;
};

/// A quick test of a vehicle with many control units.
class QuickTestUnits : public testing::Test {
protected:
    static constexpr std::size_t unitCount = 20;

    QuickTestUnits() {
        project->vehicleInformations.push_back({L"V", {}, {}});
        for (std::size_t number = 0; number < unitCount; ++number) {
            const std::wstring name = std::to_wstring(100 + number);
            project->vehicleInformations[0].targets.push_back({1, L"U" + name, L"L" + name});
        }
        vehicle->answer = [](const Uds::Bytes& request) { return answerTo(request); };
        dtcConfig.statusMask = 0xFF;
    }

    static std::optional<Uds::Bytes> answerTo(const Uds::Bytes& request) {
        if (request == Uds::Bytes{0x19, 0x02, 0xFF}) {
            return Uds::Bytes{0x59, 0x02, 0xFF, 0x03, 0x01, 0x00, 0x2F};
        }
        return Uds::Bytes{0x7F, request[0], 0x12};
    }

    std::vector<ControlUnitQuickTestResult> test(std::size_t unitsAtOnce) {
        const QuickTest quickTest({project, &project->vehicleInformations.front(), access},
                                  quicktestConfig, dtcConfig);
        JobReport<QuickTestResult> report(reports, 1);
        quickTest.run(report, cancel.get_token(), unitsAtOnce);
        std::vector<ControlUnitQuickTestResult> results;
        for (const auto& result : reports.results()) {
            results.push_back(dynamic_cast<const ControlUnitQuickTestResult&>(*result));
        }
        return results;
    }

    QuicktestConfig quicktestConfig;
    DtcReadConfig dtcConfig;
    Quarlen::Tests::FakeClock clock;
    std::shared_ptr<FakeVehicle> vehicle = std::make_shared<FakeVehicle>(clock);
    std::shared_ptr<VehicleAccess> access =
        std::make_shared<VehicleAccess>(L"Test", vehicle, clock);
    std::shared_ptr<Project> project = std::make_shared<Project>();
    Quarlen::Tests::QuickTestCollector reports;
    std::stop_source cancel;
};

} // namespace

TEST_F(QuickTestUnits, AreAskedAtTheSameTime) {
    Meeting all(unitCount);
    std::atomic<bool> haveMet{true};
    vehicle->answer = [&](const Uds::Bytes& request) {
        if (request[1] == 0x02 && !all.arrive()) {
            haveMet = false;
        }
        return answerTo(request);
    };
    test(QuickTest::defaultUnitsAtOnce);
    EXPECT_TRUE(haveMet);
}

TEST_F(QuickTestUnits, AreAskedByNoMoreThreadsThanAskedFor) {
    std::mutex mutex;
    std::set<std::thread::id> threads;
    vehicle->answer = [&](const Uds::Bytes& request) {
        const std::lock_guard lock(mutex);
        threads.insert(std::this_thread::get_id());
        return answerTo(request);
    };
    EXPECT_EQ(test(2).size(), unitCount);
    EXPECT_LE(threads.size(), 2U);
}

TEST_F(QuickTestUnits, AreReportedInTheirOrder) {
    const auto results = test(QuickTest::defaultUnitsAtOnce);
    ASSERT_EQ(results.size(), unitCount);
    for (std::size_t number = 0; number < unitCount; ++number) {
        EXPECT_EQ(results[number].name, L"U" + std::to_wstring(100 + number));
    }
    EXPECT_EQ(reports.reportCount(), unitCount + 1);
}

TEST_F(QuickTestUnits, AreReadCompletelyWithoutWhatIsOptional) {
    for (const auto& result : test(1)) {
        EXPECT_EQ(result.errorText, L"");
        EXPECT_EQ(result.faults.size(), 1U);
        EXPECT_EQ(result.faultCount, 1U);
        EXPECT_TRUE(result.supported.empty());
        EXPECT_EQ(result.dtcFormat, std::nullopt);
    }
}

TEST_F(QuickTestUnits, TellTheFormatOfTheirCodesAndTheStatusThatTheySupport) {
    vehicle->answer = [](const Uds::Bytes& request) {
        return std::optional(request[1] == 0x01 ? Uds::Bytes{0x59, 0x01, 0x09, 0x02, 0x00, 0x00}
                                                : Uds::Bytes{0x59, request[1], 0x09});
    };
    for (const auto& result : test(1)) {
        EXPECT_EQ(result.dtcFormat, 0x02);
        EXPECT_EQ(result.statusAvailability, 0x09);
    }
}

TEST_F(QuickTestUnits, AreReadCompletelyWhereWhatIsOptionalStaysUnanswered) {
    vehicle->answer = [](const Uds::Bytes& request) -> std::optional<Uds::Bytes> {
        const bool isOptional = request[0] == 0x19 && (request[1] == 0x01 || request[1] == 0x0A);
        return isOptional ? std::nullopt : answerTo(request);
    };
    const auto unit = test(1).front();
    EXPECT_EQ(unit.errorText, L"");
    EXPECT_EQ(unit.faults.size(), 1U);
    EXPECT_EQ(unit.faultCount, 1U);
}

TEST_F(QuickTestUnits, KeepTheAvailabilityThatTheirFaultsHave) {
    vehicle->answer = [](const Uds::Bytes& request) -> std::optional<Uds::Bytes> {
        if (request == Uds::Bytes{0x19, 0x0A}) {
            return Uds::Bytes{0x59, 0x0A, 0x00};
        }
        return answerTo(request);
    };
    EXPECT_EQ(test(1).front().statusAvailability, 0xFF);
    dtcConfig.statusMask = 0;
    EXPECT_EQ(test(1).back().statusAvailability, 0x00);
}

TEST_F(QuickTestUnits, TellTheFormatOfTheCodesThatTheySupportWithoutAStatus) {
    dtcConfig.statusMask = 0;
    vehicle->answer = [](const Uds::Bytes& request) -> std::optional<Uds::Bytes> {
        if (request == Uds::Bytes{0x19, 0x0A}) {
            return Uds::Bytes{0x59, 0x0A, 0xFF, 0x03, 0x01, 0x00, 0x2F};
        }
        if (request == Uds::Bytes{0x19, 0x01, 0xFF}) {
            return Uds::Bytes{0x59, 0x01, 0xFF, 0x02, 0x00, 0x07};
        }
        return answerTo(request);
    };
    const auto unit = test(1).front();
    EXPECT_EQ(unit.dtcFormat, 0x02);
    EXPECT_EQ(unit.faultCount, 0U);
}

TEST_F(QuickTestUnits, HaveAnsweredAlsoWithSomethingThatDoesNotFit) {
    using Reply = ControlUnitQuickTestResult::Reply;
    vehicle->answer = [](const Uds::Bytes&) { return Uds::Bytes{0x59, 0x01}; };
    EXPECT_EQ(test(1).front().reply, Reply::Answered);
    vehicle->answer = [](const Uds::Bytes&) { return Uds::Bytes{0x7F, 0x19, 0x78}; };
    EXPECT_EQ(test(1).back().reply, Reply::Answered);
    vehicle->answer = [](const Uds::Bytes&) { return std::nullopt; };
    EXPECT_EQ(test(1).back().reply, Reply::Silent);
}

TEST_F(QuickTestUnits, SayWhyTheyDoNotTellTheMileage) {
    quicktestConfig.mileage = true;
    for (const auto& [code, text] :
         {std::pair<std::uint8_t, std::wstring>{0x31, L""},
          {0x11, L""},
          {0x22, L"ReadDataByIdentifier (0x22) refused: conditions not correct (0x22)"}}) {
        vehicle->answer = [code = code](const Uds::Bytes& request) -> std::optional<Uds::Bytes> {
            return request[0] == 0x22 ? Uds::Bytes{0x7F, 0x22, code} : answerTo(request);
        };
        EXPECT_EQ(test(1).back().mileage, text);
    }
    vehicle->answer = [](const Uds::Bytes&) { return std::nullopt; };
    EXPECT_EQ(test(1).back().mileage, std::nullopt);
}

TEST_F(QuickTestUnits, SayWhyAnIdentificationValueIsMissing) {
    using State = IdentificationValue::State;
    project->identification = {{0xF190, L"VIN"}, {0xF187, L"Part"}, {0xF195, L"Software"}};
    vehicle->answer = [](const Uds::Bytes& request) {
        const std::uint8_t refusal = request.back() == 0x90 ? 0x31 : 0x22;
        return std::optional(Uds::Bytes{0x7F, request[0], refusal});
    };
    const auto values = test(1).front().identification;
    ASSERT_EQ(values.size(), 3U);
    EXPECT_EQ(values[0].state, State::NotSupported);
    EXPECT_EQ(values[1].state, State::Refused);
    EXPECT_EQ(values[2].state, State::Interrupted);
}

TEST_F(QuickTestUnits, AreAskedForTheMileageThatTheProjectNames) {
    quicktestConfig.mileage = true;
    project->mileage = MileageItem{0x0203, L"mi"};
    vehicle->answer = [](const Uds::Bytes& request) {
        return request == Uds::Bytes{0x22, 0x02, 0x03}
                   ? std::optional(Uds::Bytes{0x62, 0x02, 0x03, 0x00, 0x64})
                   : answerTo(request);
    };
    EXPECT_EQ(test(1).front().mileage, L"100 mi");
}

TEST_F(QuickTestUnits, AreIncompleteWhenTheirListIsCutOff) {
    vehicle->answer = [](const Uds::Bytes& request) {
        return std::optional(Uds::Bytes{0x59, request[1], 0xFF, 0x03, 0x01, 0x00});
    };
    for (const auto& result : test(1)) {
        EXPECT_TRUE(result.faults.empty());
        EXPECT_EQ(result.errorText, L"unusable response to ReadDTCInformation: 59 02 FF 03 01 00");
    }
}

TEST_F(QuickTestUnits, AreNotAskedForFaultsWithoutAStatus) {
    dtcConfig.statusMask = 0xFFFFFF00;
    const auto results = test(1);
    for (const auto& result : results) {
        EXPECT_FALSE(result.faultsAskedFor);
        EXPECT_EQ(result.errorText, L"");
        EXPECT_EQ(result.reply, ControlUnitQuickTestResult::Reply::Answered);
    }
    EXPECT_EQ(vehicle->requests(), std::vector<Uds::Bytes>(results.size(), Uds::Bytes{0x19, 0x0A}));
}

TEST_F(QuickTestUnits, AreNotReadWithoutTheirFaults) {
    vehicle->answer = [](const Uds::Bytes& request) {
        return std::optional(Uds::Bytes{0x7F, request[0], 0x11});
    };
    for (const auto& result : test(1)) {
        EXPECT_EQ(result.reply, ControlUnitQuickTestResult::Reply::Answered);
        EXPECT_EQ(result.errorText,
                  L"fault memory: ReadDTCInformation (0x19) refused: service not supported (0x11)");
    }
}

TEST_F(QuickTestUnits, AreOneByOneWithoutAnAnswer) {
    vehicle->answer = [](const Uds::Bytes&) { return std::nullopt; };
    const auto results = test(1);
    ASSERT_EQ(results.size(), unitCount);
    EXPECT_EQ(results.back().reply, ControlUnitQuickTestResult::Reply::Silent);
    EXPECT_EQ(results.back().errorText, L"no response to ReadDTCInformation (0x19) within 1000 ms");
    EXPECT_EQ(vehicle->requests().size(), unitCount);
}

TEST_F(QuickTestUnits, AreNotAskedOnceTheConnectionIsLost) {
    vehicle->answer = [this](const Uds::Bytes& request) -> std::optional<Uds::Bytes> {
        if (vehicle->requests().size() == 4) {
            vehicle->lose(L"cable is off");
            throw Uds::ConnectionLost(L"cable is off");
        }
        return answerTo(request);
    };
    const auto results = test(1);
    ASSERT_EQ(results.size(), unitCount);
    EXPECT_EQ(results[0].errorText, L"");
    for (std::size_t number = 1; number < unitCount; ++number) {
        EXPECT_EQ(results[number].errorText, L"cable is off") << number;
        EXPECT_EQ(results[number].reply, ControlUnitQuickTestResult::Reply::NotAsked) << number;
    }
    EXPECT_EQ(vehicle->requests().size(), 4U);
}

TEST_F(QuickTestUnits, AreNotReportedBehindTheOneAtWhichItIsCancelled) {
    const Quarlen::Tests::TraceCapture traces;
    vehicle->answer = [this](const Uds::Bytes& request) {
        if (vehicle->requests().size() == 5) {
            cancel.request_stop();
        }
        return answerTo(request);
    };
    EXPECT_EQ(test(1).size(), 1U);
    EXPECT_EQ(traces.texts().back(), L"quick test of \"V\" cancelled: 1 of 20 control units read, "
                                     L"1 faults");
}

} // namespace Quarlen::Kel_cpp::Tests
