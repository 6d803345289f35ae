#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/kel_cpp/RuntimeFixture.hpp"
#include "tests/support/ReportCollector.hpp"

namespace Quarlen::Kel_cpp::Tests {

/// Flashes the example's engine with files of the test's own.
class FlashJobTest : public RuntimeFixture {
protected:
    /// The tests write files of their own, of any size, and flash with the common steps.
    void SetUp() override {
        folder.replaceIn(projectFile, "size=\"100000\"\n             checksum=\"0x13B199D7\"",
                         "unchecked=\"true\"");
        folder.replaceIn(projectFile, "size=\"12345\"\n             checksum=\"0xC2274205\"",
                         "unchecked=\"true\"");
        useSteps("");
        RuntimeFixture::SetUp();
    }

    /// Instead of the steps that the project gives.
    void useSteps(const std::string& steps) const {
        std::string text = folder.read(projectFile);
        const auto begin = text.find("<Sequence>");
        const auto end = text.find("</Sequence>");
        ASSERT_NE(end, std::string::npos);
        text.replace(begin, end - begin, "<Sequence>" + steps);
        if (steps.empty()) {
            text.erase(begin, std::string_view("<Sequence></Sequence>").size());
        }
        folder.write(projectFile, text);
    }

    void writeFlashFile(const std::string& name, std::size_t size) const {
        std::string content = "KELSWVEREN_02.00.00";
        content.push_back('\0');
        content.resize(size, '\x5A');
        folder.write("data/flashdata/" + name, content);
    }

    RecordList<FlashResult> flash(const std::vector<std::wstring>& sessions) {
        Quarlen::Tests::FlashCollector reports;
        runtime->executeFlashSessions(L"ENGINE", sessions, 0, &reports);
        EXPECT_TRUE(reports.waitForLast());
        return reports.results();
    }

    std::wstring errorOfApp() {
        const auto results = flash({L"ENGINE_APP"});
        const auto error = results.empty() ? nullptr : results.back()->jobError;
        return error ? error->message : std::wstring();
    }

    /// Empty when the control unit has none, after an erase for example.
    std::string softwareVersion() {
        const auto response = hexService(L"UDS_CAN_ENGINE", {0x22, 0xF1, 0x95});
        const auto& data = response->responses.at(0)->data;
        return {data.begin() + 3, data.end()};
    }

    /// The engine control unit has this element besides its own.
    void giveEngine(const std::string& element) const {
        folder.replaceIn("vehicle.xml", "<FlashMemory", element + "<FlashMemory");
    }

    static constexpr const char* projectFile = "projects/Car_DEMO0000000042/project.xml";
};

} // namespace Quarlen::Kel_cpp::Tests
