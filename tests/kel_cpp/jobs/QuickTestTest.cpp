#include "kel_cpp/jobs/QuickTest.hpp"

#include <algorithm>

#include "tests/kel_cpp/RuntimeFixture.hpp"
#include "tests/support/ReportCollector.hpp"
#include "tests/support/TraceCapture.hpp"
#include "uds/SeedKey.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

using Results = std::vector<std::shared_ptr<ControlUnitQuickTestResult>>;

class QuickTestTest : public RuntimeFixture {
protected:
    Results test(const std::vector<std::wstring>& targets, std::uint32_t mask) {
        config->targets = targets;
        config->everyControlUnit = targets.empty();
        dtcConfig->statusMask = mask;
        Quarlen::Tests::QuickTestCollector reports;
        runtime->performQuickTest(config, dtcConfig, &reports);
        EXPECT_TRUE(reports.waitForLast());
        reportCount = reports.reportCount();
        Results results;
        matchingFaults = 0;
        for (const auto& result : reports.results()) {
            results.push_back(std::dynamic_pointer_cast<ControlUnitQuickTestResult>(result));
            matchingFaults += results.back()->faults.size();
        }
        return results;
    }

    static std::wstring identification(const ControlUnitQuickTestResult& result,
                                       std::uint16_t identifier) {
        const auto& values = result.identification;
        const auto found = std::find_if(values.begin(), values.end(), [&](const auto& value) {
            return value.dataIdentifier == identifier;
        });
        return found == values.end() ? L"" : found->value;
    }

    std::shared_ptr<QuicktestConfig> config = std::make_shared<QuicktestConfig>();
    std::shared_ptr<DtcReadConfig> dtcConfig = std::make_shared<DtcReadConfig>();
    std::size_t reportCount = 0;
    std::size_t matchingFaults = 0;
};

} // namespace

TEST_F(QuickTestTest, TestsAllControlUnitsInOrderWhenNoneIsNamed) {
    connect();
    const auto results = test({}, 0xFF);
    ASSERT_EQ(results.size(), 3U);
    EXPECT_EQ(results[0]->name, L"ENGINE");
    EXPECT_EQ(results[1]->name, L"GATEWAY");
    EXPECT_EQ(results[2]->name, L"BRAKES");
    EXPECT_EQ(reportCount, 4U);
}

TEST_F(QuickTestTest, TestsAllControlUnitsWhateverIsNamedWhenEveryOneIsAskedFor) {
    connect();
    config->targets = {L"ENGINE"};
    Quarlen::Tests::QuickTestCollector reports;
    runtime->performQuickTest(config, nullptr, &reports);
    ASSERT_TRUE(reports.waitForLast());
    EXPECT_EQ(reports.results().size(), 3U);
}

TEST_F(QuickTestTest, TestsNothingWhenNoneOfTheTargetsAskedForIsThere) {
    connect();
    config->everyControlUnit = false;
    Quarlen::Tests::QuickTestCollector reports;
    runtime->performQuickTest(config, nullptr, &reports);
    ASSERT_TRUE(reports.waitForLast());
    EXPECT_TRUE(reports.results().empty());
    EXPECT_EQ(reports.reportCount(), 1U);
}

TEST_F(QuickTestTest, ReadsTheFaultsThatMatchTheMask) {
    connect();
    const auto results = test({L"ENGINE"}, 0x08);
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0]->errorText, L"");
    ASSERT_EQ(results[0]->faults.size(), 1U);
    EXPECT_EQ(results[0]->faults[0].code, 0x030100U);
    EXPECT_EQ(results[0]->faults[0].status, 0x2F);
    EXPECT_EQ(results[0]->faults[0].text, L"Cylinder 1 misfire detected");
    EXPECT_EQ(results[0]->faultCount, 1U);
    EXPECT_EQ(results[0]->supported.size(), 3U);
}

TEST_F(QuickTestTest, OnlyTheEightStatusBitsOfTheMaskCount) {
    connect();
    EXPECT_EQ(test({L"ENGINE"}, 0xFFFFFF08U).at(0)->faults.size(), 1U);
    EXPECT_EQ(test({L"ENGINE"}, 0xFFFFFFFFU).at(0)->faults.size(), 3U);
    EXPECT_EQ(test({L"ENGINE"}, 0x100U).at(0)->faults.size(), 0U);
}

TEST_F(QuickTestTest, ReadsTheIdentificationAndSaysWhatIsNotSupported) {
    connect();
    const auto results = test({L"GATEWAY", L"BRAKES"}, 0xFF);
    EXPECT_EQ(identification(*results.at(0), 0xF190), L"WKLDEMO0000000042");
    EXPECT_EQ(identification(*results.at(1), 0xF187), L"BR-1234-100");
    EXPECT_EQ(identification(*results.at(1), 0xF190), L"not supported");
    EXPECT_EQ(results.at(1)->errorText, L"");
}

TEST_F(QuickTestTest, ShowsBytesThatAreNoTextInHexadecimal) {
    folder.replaceIn("vehicle.xml", "text=\"GW-4711-200\"", "bytes=\"00 FF 41\"");
    connect();
    EXPECT_EQ(identification(*test({L"GATEWAY"}, 0).at(0), 0xF187), L"00 FF 41");
}

TEST_F(QuickTestTest, TestsAControlUnitOnceHoweverOftenItIsNamed) {
    connect();
    EXPECT_EQ(test({L"ENGINE", L"BRAKES", L"ENGINE"}, 0xFF).size(), 2U);
}

TEST_F(QuickTestTest, KeepsTheOrderInWhichControlUnitsAreNamedFirst) {
    connect();
    const auto results = test({L"GATEWAY", L"ENGINE", L"GATEWAY", L"BRAKES", L"ENGINE"}, 0xFF);
    ASSERT_EQ(results.size(), 3U);
    EXPECT_EQ(results[0]->name, L"GATEWAY");
    EXPECT_EQ(results[1]->name, L"ENGINE");
    EXPECT_EQ(results[2]->name, L"BRAKES");
}

TEST_F(QuickTestTest, TracesWhatItCameToInOneLineBeforeItsLastReport) {
    connect();
    const Quarlen::Tests::TraceCapture traces;
    test({L"ENGINE", L"GATEWAY"}, 0x08);
    ASSERT_EQ(traces.lines().size(), 1U);
    EXPECT_EQ(traces.lines()[0].level, StdUtil::TraceLevel::Info);
    EXPECT_EQ(traces.lines()[0].source, L"kel_cpp/jobs/QuickTest");
    EXPECT_EQ(traces.lines()[0].text,
              L"quick test of \"VIT_A\" ended: 2 of 2 control units read, " +
                  std::to_wstring(matchingFaults) + L" faults");
}

TEST_F(QuickTestTest, TracesControlUnitsThatCouldNotBeReadAsAnError) {
    connect(L"VIT_B");
    const Quarlen::Tests::TraceCapture traces;
    const auto results = test({L"BRAKES", L"ENGINE", L"CHASSIS"}, 0x08);
    ASSERT_EQ(traces.lines().size(), 1U);
    EXPECT_EQ(traces.lines()[0].level, StdUtil::TraceLevel::Error);
    EXPECT_EQ(traces.lines()[0].text,
              L"quick test of \"VIT_B\" ended: 1 of 3 control units read, 1 faults; \"BRAKES\": " +
                  results.at(0)->errorText + L"; \"CHASSIS\": " + results.at(2)->errorText);
}

TEST_F(QuickTestTest, ReportsANameThatIsNoControlUnitHereAndGoesOn) {
    connect(L"VIT_B");
    const auto results = test({L"BRAKES", L"CHASSIS", L"ENGINE"}, 0xFF);
    ASSERT_EQ(results.size(), 3U);
    EXPECT_NE(results[0]->errorText.find(L"\"BRAKES\""), std::wstring::npos);
    EXPECT_NE(results[1]->errorText.find(L"\"CHASSIS\""), std::wstring::npos);
    EXPECT_EQ(results[2]->errorText, L"");
}

TEST_F(QuickTestTest, ReportsAControlUnitThatDoesNotAnswerAndGoesOn) {
    folder.replaceIn("vehicle.xml", "address=\"0x0011\" link=\"UDS_CAN_ENGINE\"",
                     "address=\"0x7011\" link=\"ELSEWHERE\"");
    connect();
    const auto results = test({}, 0xFF);
    ASSERT_EQ(results.size(), 3U);
    EXPECT_NE(results[0]->errorText, L"");
    EXPECT_EQ(results[1]->errorText, L"");
}

TEST_F(QuickTestTest, ShowsThatAProgrammingWasInterrupted) {
    connect();
    const std::wstring engine = L"UDS_CAN_ENGINE";
    hexService(engine, {0x10, 0x02});
    const auto seed = hexService(engine, {0x27, 0x01})->responses.at(0)->data;
    auto key = Uds::keyForSeed({seed.begin() + 2, seed.end()}, 0x1234ABCD);
    key.insert(key.begin(), {0x27, 0x02});
    EXPECT_EQ(hexService(engine, key)->error, 0);
    EXPECT_EQ(hexService(engine, {0x31, 0x01, 0xFF, 0x00})->error, 0);
    hexService(engine, {0x11, 0x01});

    const auto results = test({L"ENGINE"}, 0x08);
    EXPECT_TRUE(wasInterrupted(*results.at(0)));
    EXPECT_EQ(identification(*results.at(0), 0xF195),
              L"not valid: the programming was interrupted (conditions not correct (0x22))");
    EXPECT_EQ(results.at(0)->errorText, L"");
}

TEST_F(QuickTestTest, ReadsRecordsOfFaultsAndTheMileageOnlyWhereTheyAreAskedFor) {
    connect();
    const auto plain = test({L"ENGINE"}, 0x08).at(0);
    EXPECT_TRUE(plain->faults.at(0).freezeFrames.empty());
    EXPECT_TRUE(plain->faults.at(0).extendedData.empty());
    EXPECT_FALSE(plain->mileage.has_value());

    dtcConfig->freezeFrames = dtcConfig->extendedData = config->mileage = true;
    const auto whole = test({L"ENGINE"}, 0x08).at(0);
    const auto& fault = whole->faults.at(0);
    EXPECT_EQ(fault.freezeFrames.at(0).values.at(0).value, L"1726 1/min");
    EXPECT_EQ(fault.extendedData.at(0).value, L"3");
    EXPECT_EQ(fault.recordsText, L"");
    EXPECT_EQ(whole->mileage, L"123456.0 km");
    EXPECT_EQ(test({L"BRAKES"}, 0x08).at(0)->mileage, L"");
}

TEST_F(QuickTestTest, TheVehicleKeepsItsStateOverReconnects) {
    connect();
    EXPECT_EQ(hexService(L"UDS_CAN_ENGINE", {0x14, 0xFF, 0xFF, 0xFF})->error, 0);
    runtime->selectProject(L"");
    connect();
    EXPECT_TRUE(test({L"ENGINE"}, 0x08).at(0)->faults.empty());
}

TEST_F(QuickTestTest, ACancelEndsItWithTheLastReport) {
    useRealTime();
    folder.replaceIn("vehicle.xml", "link=\"UDS_CAN_ENGINE\" responseDelay=\"2\"",
                     "link=\"UDS_CAN_ENGINE\" responseDelay=\"900\"");
    connect();
    const Quarlen::Tests::TraceCapture traces;
    // A busy machine may delay some cancels until a control unit has been read.
    bool isEmpty = false;
    for (int attempt = 0; attempt < 10 && !isEmpty; ++attempt) {
        Quarlen::Tests::QuickTestCollector reports;
        const auto job = runtime->performQuickTest(nullptr, nullptr, &reports);
        runtime->cancelJobs({job});
        ASSERT_TRUE(reports.waitForLast());
        isEmpty = reports.results().empty();
    }
    EXPECT_TRUE(isEmpty);
    EXPECT_EQ(traces.texts().back(), L"quick test of \"VIT_A\" cancelled: 0 of 3 "
                                     L"control units read, faults not asked for");
}

} // namespace Quarlen::Kel_cpp::Tests
