#include "kel_server_lib/sequence/actions/QuicktestSettings.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/RecordingKelApi.hpp"

namespace Quarlen::Tests {

using testing::ElementsAre;
using testing::IsEmpty;

class QuicktestSettingsTest : public testing::Test {
protected:
    [[nodiscard]] std::uint32_t statusMaskOf(const std::vector<std::wstring>& texts) {
        action.dtcStatus = texts;
        return quicktestSettings(api, action).dtcRead->statusMask;
    }
    /// Empty also when there is no report.
    [[nodiscard]] std::vector<std::uint32_t> reportTypesOf(const std::wstring& text) {
        action.vehicleReport.emplace().reportType = text;
        const auto report = quicktestSettings(api, action).report;
        return report ? report->reportTypes : std::vector<std::uint32_t>();
    }

    RecordingKelApi api;
    Config::CfxQuicktestAction action;
};

TEST_F(QuicktestSettingsTest, TakeTheTargetsFromTheTargetList) {
    action.items = {L"ENGINE", L"BRAKES"};

    EXPECT_THAT(quicktestSettings(api, action).quicktest->targets,
                ElementsAre(L"ENGINE", L"BRAKES"));
}

TEST_F(QuicktestSettingsTest, MeanEveryControlUnitWhenTheActionListsNothing) {
    EXPECT_TRUE(quicktestSettings(api, action).quicktest->everyControlUnit);
}

TEST_F(QuicktestSettingsTest, MeanTheListedItemsOnly) {
    action.items = {L"ENGINE"};

    EXPECT_FALSE(quicktestSettings(api, action).quicktest->everyControlUnit);
}

TEST_F(QuicktestSettingsTest, MeanNoControlUnitWhenNoneOfTheTargetsIsThere) {
    action.targets = {{L"ENGINE", true}};

    const auto quicktest = quicktestSettings(api, action).quicktest;

    EXPECT_FALSE(quicktest->everyControlUnit);
    EXPECT_THAT(quicktest->targets, IsEmpty());
}

TEST_F(QuicktestSettingsTest, AskForRecordsAndMileageWhereTheActionDoes) {
    EXPECT_FALSE(quicktestSettings(api, action).dtcRead->freezeFrames);
    EXPECT_FALSE(quicktestSettings(api, action).dtcRead->extendedData);
    EXPECT_FALSE(quicktestSettings(api, action).quicktest->mileage);

    action.freezeFrames = true;
    EXPECT_TRUE(quicktestSettings(api, action).dtcRead->freezeFrames);
    action.extendedData = true;
    EXPECT_TRUE(quicktestSettings(api, action).dtcRead->extendedData);
    action.mileage = true;
    EXPECT_TRUE(quicktestSettings(api, action).quicktest->mileage);
}

TEST_F(QuicktestSettingsTest, JoinTheStatusBits) {
    EXPECT_EQ(statusMaskOf({L"Confirmed", L"TestFailed", L"Empty"}), 0x09U);
    EXPECT_EQ(statusMaskOf({}), 0U);
}

TEST_F(QuicktestSettingsTest, ATextThatStandsTwiceCountsOnce) {
    action.vehicleReport.emplace().services = {L"IdentValues", L"IdentValues"};

    EXPECT_EQ(statusMaskOf({L"Confirmed", L"Confirmed"}), 0x08U);
    const auto report = quicktestSettings(api, action).report;

    ASSERT_TRUE(report);
    EXPECT_EQ(report->serviceMask, 1U);
}

TEST_F(QuicktestSettingsTest, AnUnknownStatusTextSetsAllBits) {
    EXPECT_EQ(statusMaskOf({L"Empty", L"confirmed"}), 0xFFFFFFFFU);
}

TEST_F(QuicktestSettingsTest, HaveNoReportWhenTheActionAsksForNone) {
    EXPECT_FALSE(quicktestSettings(api, action).report);
}

TEST_F(QuicktestSettingsTest, JoinTheReportServices) {
    action.vehicleReport.emplace().services = {L"IdentValues", L"CurrentDtcs"};

    const auto report = quicktestSettings(api, action).report;

    ASSERT_TRUE(report);
    EXPECT_EQ(report->serviceMask, 3U);
    EXPECT_THAT(report->reportTypes, IsEmpty());
}

TEST_F(QuicktestSettingsTest, AnUnknownServiceTextSetsAllBits) {
    action.vehicleReport.emplace().services = {L"IdentValues", L"identValues"};

    const auto report = quicktestSettings(api, action).report;

    ASSERT_TRUE(report);
    EXPECT_EQ(report->serviceMask, 0xFFFFFFFFU);
}

TEST_F(QuicktestSettingsTest, HaveTheOneReportType) {
    EXPECT_THAT(reportTypesOf(L"SWT_Final"), ElementsAre(2U));
    EXPECT_THAT(reportTypesOf(L"Undefined"), ElementsAre(0U));
}

TEST_F(QuicktestSettingsTest, PassAnUnknownOrEmptyReportTypeOn) {
    EXPECT_THAT(reportTypesOf(L"swt_final"), ElementsAre(0xFFFFFFFFU));
    EXPECT_THAT(reportTypesOf(L""), ElementsAre(0xFFFFFFFFU));
}

} // namespace Quarlen::Tests
