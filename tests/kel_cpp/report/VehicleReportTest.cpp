#include "kel_cpp/report/VehicleReport.hpp"

#include <fstream>
#include <iterator>
#include <set>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_cpp/base/RuntimeError.hpp"
#include "kel_cpp/report/ReportTexts.hpp"
#include "platform/LocalTime.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "tests/support/NumberedCause.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::SizeIs;

std::string contentOf(const fs::path& file) {
    std::ifstream input(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
}

class WrittenVehicleReport : public testing::Test {
protected:
    WrittenVehicleReport() {
        const auto* test = testing::UnitTest::GetInstance()->current_test_info();
        folder = fs::temp_directory_path() / (std::string("kel_report_") + test->name());
        fs::remove_all(folder);
        report.name = L"Initial";
        report.vin = L"WKLDEMO0000000042";
        report.time = std::chrono::system_clock::from_time_t(1767323045);
    }
    ~WrittenVehicleReport() override {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }

    [[nodiscard]] std::string writtenName() const {
        return Platform::toPath(writeVehicleReport(report, folder)).filename().string();
    }
    [[nodiscard]] static std::string stamp() {
        return timeTexts(Platform::localTime(1767323045), 1767323045).forFileNames;
    }

    VehicleReport report;
    fs::path folder;
};

TEST_F(WrittenVehicleReport, IsNamedAfterTimeVehicleAndReport) {
    EXPECT_EQ(writtenName(), stamp() + "_WKLDEMO0000000042_Initial.html");
}

TEST_F(WrittenVehicleReport, HoldsTheRenderedPage) {
    const fs::path file = Platform::toPath(writeVehicleReport(report, folder));

    EXPECT_EQ(contentOf(file), renderVehicleReport(report));
    EXPECT_THAT(contentOf(file), HasSubstr("WKLDEMO0000000042"));
}

TEST_F(WrittenVehicleReport, StandsInAFolderThatIsMadeWhenMissing) {
    folder /= "a/b";

    const fs::path file = Platform::toPath(writeVehicleReport(report, folder));

    EXPECT_EQ(file.parent_path(), folder);
    EXPECT_TRUE(fs::is_regular_file(file));
    fs::remove_all(folder.parent_path().parent_path());
}

TEST_F(WrittenVehicleReport, IsReturnedWithItsAbsolutePath) {
    folder = folder.filename();

    const fs::path file = Platform::toPath(writeVehicleReport(report, folder));

    EXPECT_TRUE(file.is_absolute());
    EXPECT_TRUE(fs::exists(file));
}

TEST_F(WrittenVehicleReport, IsCalledReportWithoutAName) {
    report.name = L" \t";

    EXPECT_EQ(writtenName(), stamp() + "_WKLDEMO0000000042_Report.html");
}

TEST_F(WrittenVehicleReport, SaysInItsNameThatNoVinIsKnown) {
    report.vin.clear();

    EXPECT_EQ(writtenName(), stamp() + "_NoVIN_Initial.html");
}

TEST_F(WrittenVehicleReport, StaysInItsFolderWhateverTheNameIs) {
    report.name = L"../../etc/pass wd\\x:y*?\"<>|\n";
    report.vin = L"/..";

    EXPECT_EQ(writtenName(), stamp() + "__.._.._.._etc_pass_wd_x_y______.html");
}

TEST_F(WrittenVehicleReport, KeepsLettersOfAllLanguagesInItsName) {
    report.name = L"Pr\u00FCfung";

    EXPECT_EQ(writtenName(), stamp() + "_WKLDEMO0000000042_Pr\xC3\xBC" + "fung.html");
}

TEST_F(WrittenVehicleReport, ReplacesWhatIsNoTextInItsName) {
    report.name = {L'A', static_cast<wchar_t>(0xD800), L'B'};

    EXPECT_EQ(writtenName(), stamp() + "_WKLDEMO0000000042_A_B.html");
}

TEST_F(WrittenVehicleReport, ShortensANameThatNoFileSystemTakes) {
    report.name = std::wstring(5000, static_cast<wchar_t>(0x20AC));
    report.vin = std::wstring(5000, L'V');

    EXPECT_LE(writtenName().size(), 255U);
}

TEST_F(WrittenVehicleReport, GetsACounterWhenTheNameIsTaken) {
    const std::string stem = stamp() + "_WKLDEMO0000000042_Initial";

    EXPECT_EQ(writtenName(), stem + ".html");
    EXPECT_EQ(writtenName(), stem + "_2.html");
    EXPECT_EQ(writtenName(), stem + "_3.html");
}

TEST_F(WrittenVehicleReport, NeverSharesAFileWithAnotherWriter) {
    std::vector<std::vector<std::wstring>> written(4);
    {
        std::vector<std::jthread> writers;
        writers.reserve(written.size());
        for (auto& names : written) {
            writers.emplace_back([this, &names] {
                for (int count = 0; count < 10; ++count) {
                    names.push_back(writeVehicleReport(report, folder));
                }
            });
        }
    }
    std::set<std::wstring> different;
    for (const auto& names : written) {
        different.insert(names.begin(), names.end());
    }

    EXPECT_THAT(different, SizeIs(40));
    const std::string page = renderVehicleReport(report);
    for (const std::wstring& file : different) {
        EXPECT_EQ(contentOf(Platform::toPath(file)), page);
    }
}

TEST_F(WrittenVehicleReport, FailsWithPathAndCauseWhenTheFolderCannotBeMade) {
    std::ofstream(folder) << "a file where the folder should be";
    try {
        writeVehicleReport(report, folder / "reports");
        FAIL() << "no exception";
    } catch (const KelApiException& exception) {
        EXPECT_EQ(exception.code(), static_cast<std::int32_t>(ErrorCode::Report));
        EXPECT_EQ(exception.message(),
                  L"the vehicle report cannot be written to \"" +
                      Platform::fromPath(folder / "reports") + L"\": " +
                      Platform::errorText(make_error_code(std::errc::not_a_directory)));
    }
}

TEST_F(WrittenVehicleReport, FailsWithTheFileNameWhenTheFolderTakesNoFiles) {
    const fs::path kernelFolder = "/proc";
    if (!fs::exists(kernelFolder)) {
        // Windows has no such folder, and permissions do not keep the superuser out of others.
        GTEST_SKIP() << "no /proc here, the folder that takes no files from the superuser either";
    }
    try {
        writeVehicleReport(report, kernelFolder);
        FAIL() << "no exception";
    } catch (const KelApiException& exception) {
        fs::path file = fs::absolute(kernelFolder / (stamp() + "_WKLDEMO0000000042_Initial.html"));
        EXPECT_THAT(Platform::toUtf8(exception.message()),
                    testing::AllOf(HasSubstr("to \"" + file.make_preferred().string() + "\": "),
                                   Quarlen::Tests::EndsWithANumber()));
    }
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
