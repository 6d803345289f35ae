#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <vector>

#include <gmock/gmock.h>

#include "tests/system/DeviceFiles.hpp"
#include "tests/system/InstalledServer.hpp"
#include "tests/system/LedHistory.hpp"

namespace Quarlen::Tests {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Tests::DeviceFiles;
using Tests::FileEvents;
using Tests::LedHistory;
using Tests::Process;

constexpr int f1Sensor = 1;
constexpr int f2Sensor = 0;
constexpr int nobody = 1000;
constexpr int hand = 9000;

constexpr const char* orange = "255 80 0";
constexpr const char* blue = "0 0 255";
constexpr const char* green = "0 255 0";
constexpr const char* red = "255 0 0";
constexpr const char* allOn = "255 255 255";

/// The real program on the device's files, as on the device.
class Device : public testing::Test {
protected:
    void SetUp() override {
        const std::string obstacle = Tests::enterDeviceNamespace();
        if (!obstacle.empty()) {
            GTEST_SKIP() << "this machine gives no device files, it refuses " << obstacle;
        }
        device.emplace();
        server.useExampleConfig();
    }

    [[nodiscard]] Process start(const std::string& f1Script, const std::string& f2Script) const {
        server.configure("<F1Sequence>" + f1Script + "</F1Sequence><F2Sequence>" + f2Script +
                         "</F2Sequence><Tracing enabled=\"true\" level=\"4\"/>");
        return server.start({"127.0.0.1", std::to_string(Tests::freePort())});
    }

    /// The server is up and these sensors have their background.
    static bool waitUntilWatching(Process& process, const std::vector<int>& sensors) {
        constexpr unsigned backgroundReadings = 10;
        if (!process.waitForOutput("Enter 'q'")) {
            return false;
        }
        std::vector<std::unique_ptr<FileEvents>> reads;
        for (const int number : sensors) {
            reads.push_back(
                std::make_unique<FileEvents>(DeviceFiles::sensor(number), FileEvents::reads));
        }
        // One more to be sure that the tenth has been taken.
        return std::all_of(reads.begin(), reads.end(), [](const auto& events) {
            return events->waitFor(backgroundReadings + 1);
        });
    }

    /// Holds a hand over sensor one for ten readings. Gives the colour that the LED then shows, or
    /// nothing when this machine was so slow that there may have been an eleventh.
    static std::optional<std::string> colourOfTenReadings(FileEvents& shown) {
        constexpr std::chrono::milliseconds betweenReadings{200};
        DeviceFiles::setReading(f1Sensor, hand);
        EXPECT_TRUE(shown.waitFor(10));
        std::string colour = DeviceFiles::led();
        DeviceFiles::setReading(f1Sensor, nobody);
        const auto held = std::chrono::steady_clock::now() - shown.beforeLast();
        return held < betweenReadings ? std::optional(colour) : std::nullopt;
    }

    void replaceInConfigFile(const std::string& name, const std::string& text,
                             const std::string& replacement) const {
        std::string content = server.readConfigFile(name);
        for (auto at = content.find(text); at != std::string::npos;
             at = content.find(text, at + replacement.size())) {
            content.replace(at, text.size(), replacement);
        }
        server.writeConfigFile(name, content);
    }

    /// So much that a flash goes on for seconds, however late a test looks.
    void slowTheVehicleDown() const {
        replaceInConfigFile("vehicle.xml", "responseDelay=\"2\"", "responseDelay=\"60\"");
    }

    /// The first step of a flash that changes anything has been asked for.
    [[nodiscard]] bool waitUntilErasing(Process& process) const {
        const auto isErasing = [this] {
            return server.readConfigFile("traces/kel_server.log").find("  31 01 FF 00") !=
                   std::string::npos;
        };
        const auto end = std::chrono::steady_clock::now() + Process::patience;
        while (!isErasing() && std::chrono::steady_clock::now() < end) {
            process.waitForExit(std::chrono::milliseconds(50));
        }
        return isErasing();
    }

    /// The pages of all reports.
    [[nodiscard]] std::vector<std::string> reports() const {
        std::vector<std::string> pages;
        std::error_code missing;
        for (const auto& entry :
             std::filesystem::directory_iterator(server.config() / "reports", missing)) {
            std::ifstream file(entry.path());
            pages.emplace_back(std::istreambuf_iterator<char>(file),
                               std::istreambuf_iterator<char>());
        }
        return pages;
    }

    Tests::InstalledServer server;
    std::optional<DeviceFiles> device;
};

TEST_F(Device, AHandHeldOverSensorOneRunsF1sScriptOrangeThenBlueThenGreen) {
    LedHistory led;
    Process process = start("ButtonDemo.xml", "");
    ASSERT_TRUE(waitUntilWatching(process, {f1Sensor})) << process.output();
    EXPECT_THAT(led.colours(), IsEmpty());

    DeviceFiles::setReading(f1Sensor, hand);

    EXPECT_TRUE(led.waitFor(green));
    EXPECT_THAT(led.colours(), ElementsAre(orange, blue, green));
    EXPECT_THAT(process.output(), HasSubstr("Press F1 to run sequence: ButtonDemo.xml"));
    EXPECT_THAT(reports(), ElementsAre(HasSubstr("Cylinder 1 misfire detected")));
}

TEST_F(Device, AHandHeldOverSensorZeroRunsF2sScriptWhichFlashesTheEngine) {
    LedHistory led;
    Process process = start("", "Flash.xml");
    ASSERT_TRUE(waitUntilWatching(process, {f2Sensor})) << process.output();

    DeviceFiles::setReading(f2Sensor, hand);

    EXPECT_TRUE(led.waitFor(green));
    EXPECT_THAT(led.colours(), ElementsAre(orange, blue, green));
    EXPECT_THAT(reports(), ElementsAre(HasSubstr("EN_02.00.00")));
}

TEST_F(Device, AScriptThatFailsEndsRed) {
    server.writeConfigFile("KelServerScripts/Fail.xml",
                           "<KelServerScript><SelectAction project='Unknown'/></KelServerScript>");
    Process process = start("Fail.xml", "");
    ASSERT_TRUE(waitUntilWatching(process, {f1Sensor})) << process.output();

    DeviceFiles::setReading(f1Sensor, hand);

    EXPECT_TRUE(DeviceFiles::waitForLed(red)) << DeviceFiles::led();
}

TEST_F(Device, TenNearReadingsShowTheHandAndStartNothing) {
    constexpr int attempts = 20;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        std::filesystem::remove_all(server.config() / "reports");
        Process process = start("ButtonDemo.xml", "");
        ASSERT_TRUE(waitUntilWatching(process, {f1Sensor})) << process.output();
        FileEvents shown(DeviceFiles::brightness("red"), FileEvents::writes);

        if (const auto colour = colourOfTenReadings(shown)) {
            EXPECT_EQ(*colour, orange);
            EXPECT_TRUE(DeviceFiles::waitForLed(allOn)) << DeviceFiles::led();
            FileEvents passes(DeviceFiles::sensor(f1Sensor), FileEvents::reads);
            ASSERT_TRUE(passes.waitFor(3));
            EXPECT_EQ(shown.count(), 11U);
            EXPECT_THAT(reports(), IsEmpty());
            return;
        }
    }
    FAIL() << "this machine is too slow to take a hand away between two readings";
}

TEST_F(Device, WhileOneButtonRunsTheOtherDoesNothing) {
    // Longer than the slowest machine needs: the first button's run lasts until the program is
    // killed.
    replaceInConfigFile("projects/Car_DEMO0000000042/project.xml", "milliseconds=\"10000\"",
                        "milliseconds=\"3600000\"");
    server.writeConfigFile("KelServerScripts/Slow.xml",
                           "<KelServerScript>"
                           "<SelectAction project='Car_DEMO0000000042'"
                           " vehicleInformation='VIT_A' autoConnect='true'/>"
                           "<ExecuteAction command='Otx_Slow'/></KelServerScript>");
    Process process = start("Slow.xml", "ButtonDemo.xml");
    ASSERT_TRUE(waitUntilWatching(process, {f1Sensor, f2Sensor})) << process.output();
    FileEvents shown(DeviceFiles::brightness("red"), FileEvents::writes);
    // Orange for each near reading, then blue twice: by the button and by its run.
    constexpr unsigned colours = 11 + 2;
    DeviceFiles::setReading(f1Sensor, hand);
    ASSERT_TRUE(shown.waitFor(colours)) << shown.count();
    ASSERT_TRUE(DeviceFiles::waitForLed(blue)) << DeviceFiles::led();
    FileEvents f2Reads(DeviceFiles::sensor(f2Sensor), FileEvents::reads);

    DeviceFiles::setReading(f2Sensor, hand);
    ASSERT_TRUE(f2Reads.waitFor(15));
    DeviceFiles::setReading(f2Sensor, nobody);
    ASSERT_TRUE(f2Reads.waitFor(18));

    EXPECT_EQ(shown.count(), colours);
    EXPECT_EQ(DeviceFiles::led(), blue);
    EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(Device, EndsWithTheLedAllOn) {
    Process process = start("ButtonDemo.xml", "Flash.xml");
    ASSERT_TRUE(waitUntilWatching(process, {f1Sensor, f2Sensor})) << process.output();

    process.type("q");

    EXPECT_EQ(process.waitForExit(), 0);
    EXPECT_EQ(DeviceFiles::led(), allOn);
}

TEST_F(Device, ASignalDuringAFlashCancelsItAndLeavesTheLedAllOn) {
    slowTheVehicleDown();
    Process process = start("", "Flash.xml");
    ASSERT_TRUE(waitUntilWatching(process, {f2Sensor})) << process.output();
    DeviceFiles::setReading(f2Sensor, hand);
    ASSERT_TRUE(waitUntilErasing(process)) << process.output();
    EXPECT_EQ(DeviceFiles::led(), blue);

    process.sendSignal(SIGTERM);

    EXPECT_EQ(process.waitForExit(), 0);
    EXPECT_THAT(process.output(), testing::EndsWith("Shutting down kel_server\n"));
    EXPECT_EQ(DeviceFiles::led(), allOn);
    EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(Device, ASensorLineThatIsNoNumberEndsTheProgramByAbort) {
    Process process = start("ButtonDemo.xml", "");
    ASSERT_TRUE(waitUntilWatching(process, {f1Sensor})) << process.output();

    DeviceFiles::setLine(f1Sensor, "broken");

    EXPECT_EQ(process.waitForExit(), -SIGABRT);
    EXPECT_THAT(process.output(), HasSubstr("invalid stoi argument"));
}

TEST_F(Device, AMissingLedIsSilentAndNotCreated) {
    std::filesystem::remove(DeviceFiles::brightness("blue"));
    Process process = start("ButtonDemo.xml", "");
    ASSERT_TRUE(waitUntilWatching(process, {f1Sensor})) << process.output();

    DeviceFiles::setReading(f1Sensor, hand);

    const auto end = std::chrono::steady_clock::now() + Process::patience;
    while (reports().empty() && std::chrono::steady_clock::now() < end) {
        process.waitForExit(std::chrono::milliseconds(50));
    }
    EXPECT_EQ(reports().size(), 1U);
    EXPECT_EQ(DeviceFiles::led(), "0 0 ");
    EXPECT_FALSE(std::filesystem::exists(DeviceFiles::brightness("blue")));
}

TEST_F(Device, WithoutSensorsTheButtonsAreBoundAndTheServerGoesOn) {
    std::filesystem::remove(DeviceFiles::sensor(f1Sensor));
    std::filesystem::remove(DeviceFiles::sensor(f2Sensor));
    server.configure("<F1Sequence>ButtonDemo.xml</F1Sequence>");
    Process process = server.start({"127.0.0.1", std::to_string(Tests::freePort())});

    ASSERT_TRUE(process.waitForOutput("Enter 'q'")) << process.output();

    process.type("q");
    EXPECT_EQ(process.waitForExit(), 0);
    EXPECT_EQ(DeviceFiles::led(), allOn);
}

} // namespace

} // namespace Quarlen::Tests
