#include "kel_cpp/base/RuntimeError.hpp"
#include "platform/TextEncoding.hpp"
#include "platform/UnfinishedFiles.hpp"
#include "std_util/TraceHelper.hpp"
#include "tests/kel_cpp/RuntimeFixture.hpp"
#include "tests/support/KilledWriter.hpp"
#include "tests/support/NumberedCause.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

class RuntimeSettingsOperations : public RuntimeFixture {
protected:
    /// What a client does that switches tracing.
    void switchTracing(bool on) {
        auto server = runtime->getServerSettings();
        server->optionTracing = on;
        runtime->setServerSettings(server);
        runtime->commitServerSettings();
        auto paths = runtime->getProjectPath();
        paths->tracing = on;
        paths->tracingSecondary = on;
        runtime->setProjectPath(paths);
        runtime->commitProjectPath();
    }

    [[nodiscard]] bool isEnabled(const std::wstring& name) const {
        const auto settings = runtime->getInterfaceSettings();
        for (const auto& entry : settings->groups.at(0)->interfaces) {
            if (entry->name == name) {
                return entry->enabled;
            }
        }
        return false;
    }

    /// Simulation, which is enabled, and CarBox, which is not.
    void startWithTwoInterfaces() {
        folder.replaceIn("KelServer.xml", "<Interface name=\"Simulation\" enabled=\"true\"/>",
                         "<Interface name=\"Simulation\" enabled=\"true\"/>"
                         "<Interface name=\"CarBox\" enabled=\"false\"/>");
        restart();
    }

    std::filesystem::path traceFile() const { return folder.config() / "traces/kel_server.log"; }
};

} // namespace

TEST_F(RuntimeSettingsOperations, TellsWhatTheSettingsFileSays) {
    const auto configuration = runtime->getServerConfiguration();
    ASSERT_EQ(configuration->serverAddresses.size(), 1U);
    EXPECT_EQ(configuration->serverAddresses[0]->address, L"127.0.0.1");
    EXPECT_EQ(configuration->startSequence, L"Demo.xml");
    EXPECT_EQ(configuration->f1Sequence, L"ButtonDemo.xml");
    EXPECT_EQ(configuration->f2Sequence, L"Flash.xml");
    EXPECT_EQ(Platform::toPath(runtime->getProjectPath()->reportsPath),
              folder.config() / "reports");
}

TEST_F(RuntimeSettingsOperations, AMissingFileIsAnEmptyConfiguration) {
    std::filesystem::remove(folder.config() / "KelServer.xml");
    restart();
    EXPECT_TRUE(runtime->getServerConfiguration()->serverAddresses.empty());
    EXPECT_FALSE(runtime->getProjectPath()->tracing);
}

TEST_F(RuntimeSettingsOperations, AFileThatAKilledProcessHadAlmostReplacedIsThereAgain) {
    const auto file = folder.config() / "KelServer.xml";
    const auto left = Quarlen::Tests::ofAKilledProcess(Platform::UnfinishedFile(file).complete);
    std::filesystem::rename(file, left);
    restart();
    EXPECT_EQ(runtime->getServerConfiguration()->startSequence, L"Demo.xml");
    EXPECT_TRUE(std::filesystem::exists(file));
    EXPECT_FALSE(std::filesystem::exists(left));
}

TEST_F(RuntimeSettingsOperations, AWrongFileIsAnErrorWithItsPlace) {
    folder.write("KelServer.xml", "<KelServer>\n  <Wheel/>\n</KelServer>");
    EXPECT_NE(errorOf([&] { restart(); }).find(L"KelServer.xml:2:"), std::wstring::npos);
}

TEST_F(RuntimeSettingsOperations, SwitchingTracingOnMakesTheTraceFileAndIsKept) {
    EXPECT_FALSE(std::filesystem::exists(traceFile()));
    switchTracing(true);
    runtime->setServerStatus(L"Traced");
    EXPECT_TRUE(runtime->getProjectPath()->tracing);
    EXPECT_TRUE(std::filesystem::exists(traceFile()));
    restart();
    EXPECT_TRUE(runtime->getProjectPath()->tracing);
    EXPECT_TRUE(runtime->getServerSettings()->optionTracing);
    EXPECT_NE(folder.read("traces/kel_server.log").find("server status: Traced"),
              std::string::npos);
}

TEST_F(RuntimeSettingsOperations, SwitchingTracingOffEndsTheListening) {
    const auto before = StdUtil::ErrorHandler::listenerCount();
    switchTracing(true);
    EXPECT_EQ(StdUtil::ErrorHandler::listenerCount(), before + 1);
    switchTracing(true);
    EXPECT_EQ(StdUtil::ErrorHandler::listenerCount(), before + 1);
    switchTracing(false);
    EXPECT_EQ(StdUtil::ErrorHandler::listenerCount(), before);
}

TEST_F(RuntimeSettingsOperations, TheTraceLevelOfTheFileCountsOnceTracingIsOn) {
    folder.replaceIn("KelServer.xml", "<Tracing enabled=\"false\" level=\"3\"/>",
                     "<Tracing enabled=\"true\" level=\"1\"/>");
    restart();
    EXPECT_EQ(StdUtil::ErrorHandler::debugTraceLevel(), 1);
    StdUtil::ErrorHandler::setDebugTraceLevel(3);
}

TEST_F(RuntimeSettingsOperations, TheRuntimeTakesItsTraceListenerAlong) {
    const auto before = StdUtil::ErrorHandler::listenerCount();
    switchTracing(true);
    runtime.reset();
    EXPECT_EQ(StdUtil::ErrorHandler::listenerCount(), before);
}

TEST_F(RuntimeSettingsOperations, ATraceFileThatCannotBeWrittenIsNamed) {
    folder.write("traces", "a file where a folder is wanted");
    const auto error = errorOf([&] { switchTracing(true); });
    EXPECT_NE(error.find(L"kel_server.log"), std::wstring::npos);
}

TEST_F(RuntimeSettingsOperations, StartsWithoutTracesWhereTheyCannotBeWrittenAndSaysSoOnce) {
    folder.replaceIn("KelServer.xml", "<Tracing enabled=\"false\"", "<Tracing enabled=\"true\"");
    folder.write("traces", "a file where a folder is wanted");
    const auto listeners = StdUtil::ErrorHandler::listenerCount();
    restart();
    EXPECT_EQ(runtime->getServerConfiguration()->startSequence, L"Demo.xml");
    EXPECT_FALSE(runtime->getProjectPath()->tracing);
    EXPECT_FALSE(runtime->getServerSettings()->optionTracing);
    EXPECT_EQ(StdUtil::ErrorHandler::listenerCount(), listeners);
    const std::string said = errorOutput.str();
    EXPECT_EQ(said.find("Tracing is off: the trace file "), 0U) << said;
    EXPECT_NE(said.find("kel_server.log"), std::string::npos) << said;
    EXPECT_EQ(said.find('\n'), said.size() - 1) << said;
    EXPECT_THAT(said.substr(0, said.size() - 1), Quarlen::Tests::EndsWithANumber());
}

TEST_F(RuntimeSettingsOperations,
       TracingThatCouldNotBeginCanBeSwitchedOnLaterAndIsNotSwitchedOffInTheFile) {
    folder.replaceIn("KelServer.xml", "<Tracing enabled=\"false\"", "<Tracing enabled=\"true\"");
    folder.write("traces", "a file where a folder is wanted");
    restart();
    runtime->applyInterfaceSettings();
    EXPECT_NE(folder.read("KelServer.xml").find("<Tracing enabled=\"true\""), std::string::npos);
    EXPECT_NE(errorOf([&] { switchTracing(true); }), L"");
    std::filesystem::remove(folder.config() / "traces");
    EXPECT_EQ(errorOf([&] { switchTracing(true); }), L"");
    EXPECT_TRUE(std::filesystem::exists(traceFile()));
    EXPECT_TRUE(runtime->getProjectPath()->tracing);
}

TEST_F(RuntimeSettingsOperations, SaysOnTheConsoleThatThereIsNoConfigurationFile) {
    std::filesystem::remove(folder.config() / "KelServer.xml");
    restart();
    EXPECT_EQ(errorOutput.str(), "There is no configuration file " +
                                     (folder.config() / "KelServer.xml").string() +
                                     ", defaults are used\n");
}

TEST_F(RuntimeSettingsOperations, SaysNothingOnTheConsoleWhenTracesCanBeWritten) {
    folder.replaceIn("KelServer.xml", "<Tracing enabled=\"false\"", "<Tracing enabled=\"true\"");
    restart();
    EXPECT_TRUE(runtime->getProjectPath()->tracing);
    EXPECT_EQ(errorOutput.str(), "");
}

TEST_F(RuntimeSettingsOperations, ACommitOfEitherRecordShowsTheOneTracingSwitchInBoth) {
    auto server = runtime->getServerSettings();
    server->optionTracing = true;
    runtime->setServerSettings(server);
    EXPECT_FALSE(runtime->getProjectPath()->tracing);
    runtime->commitServerSettings();
    EXPECT_TRUE(runtime->getProjectPath()->tracing);
    EXPECT_TRUE(runtime->getProjectPath()->tracingSecondary);
}

TEST_F(RuntimeSettingsOperations, TracingThatIsSwitchedOffIsOffInAllItsFlags) {
    switchTracing(true);
    auto paths = runtime->getProjectPath();
    paths->tracing = false;
    runtime->setProjectPath(paths);
    runtime->commitProjectPath();
    EXPECT_FALSE(runtime->getProjectPath()->tracingSecondary);
    EXPECT_FALSE(runtime->getServerSettings()->optionTracing);
}

TEST_F(RuntimeSettingsOperations, InterfacesCountFromTheirApplicationOnAndAreKept) {
    startWithTwoInterfaces();
    enableOnly(L"CarBox");
    EXPECT_EQ(errorOf([&] { connect(); }), L"");
    runtime->applyInterfaceSettings();
    EXPECT_NE(errorOf([&] { connect(); }).find(L"\"CarBox\""), std::wstring::npos);
    restart();
    EXPECT_TRUE(runtime->getInterfaceSettings()->groups.at(0)->interfaces.at(1)->enabled);
}

TEST_F(RuntimeSettingsOperations, AnotherProjectsPathCountsFromItsCommitOn) {
    auto paths = runtime->getProjectPath();
    paths->projectsPath = L"other";
    runtime->setProjectPath(paths);
    EXPECT_EQ(Platform::toPath(runtime->getProjectPath()->projectsPath), folder.config() / "other");
    EXPECT_EQ(errorOf([&] { runtime->selectProject(L"VIN_Reader"); }), L"");
    runtime->commitProjectPath();
    EXPECT_NE(errorOf([&] { runtime->selectProject(L"VIN_Reader"); }), L"");
}

TEST_F(RuntimeSettingsOperations, InterfacesThatCannotBeSavedAreNotInEffect) {
    startWithTwoInterfaces();
    folder.write("KelServer.xml", "<KelServer>");
    enableOnly(L"CarBox");
    EXPECT_TRUE(isEnabled(L"CarBox"));

    EXPECT_NE(errorOf([&] { runtime->applyInterfaceSettings(); }), L"");

    EXPECT_TRUE(isEnabled(L"Simulation"));
    EXPECT_FALSE(isEnabled(L"CarBox"));
    EXPECT_EQ(errorOf([&] { connect(); }), L"");
    EXPECT_EQ(folder.read("KelServer.xml"), "<KelServer>");
}

TEST_F(RuntimeSettingsOperations, ACommitTriesTheRefusedRecordAgain) {
    startWithTwoInterfaces();
    const std::string good = folder.read("KelServer.xml");
    folder.write("KelServer.xml", "<KelServer>");
    enableOnly(L"CarBox");
    EXPECT_NE(errorOf([&] { runtime->applyInterfaceSettings(); }), L"");
    folder.write("KelServer.xml", good);

    runtime->applyInterfaceSettings();

    EXPECT_TRUE(isEnabled(L"CarBox"));
    restart();
    EXPECT_TRUE(isEnabled(L"CarBox"));
}

TEST_F(RuntimeSettingsOperations, ARecordThatIsWrittenAfterARefusedOneIsShown) {
    startWithTwoInterfaces();
    folder.write("KelServer.xml", "<KelServer>");
    EXPECT_NE(errorOf([&] { runtime->applyInterfaceSettings(); }), L"");

    enableOnly(L"CarBox");

    EXPECT_TRUE(isEnabled(L"CarBox"));
}

TEST_F(RuntimeSettingsOperations, TracingThatCannotBeSavedIsNotSwitched) {
    const std::string good = folder.read("KelServer.xml");
    const auto listeners = StdUtil::ErrorHandler::listenerCount();
    folder.write("KelServer.xml", "<KelServer>");
    EXPECT_NE(errorOf([&] { switchTracing(true); }), L"");
    EXPECT_EQ(StdUtil::ErrorHandler::listenerCount(), listeners);
    EXPECT_FALSE(runtime->getServerSettings()->optionTracing);
    EXPECT_FALSE(runtime->getProjectPath()->tracing);

    folder.write("KelServer.xml", good);
    switchTracing(true);
    folder.write("KelServer.xml", "<KelServer>");
    EXPECT_NE(errorOf([&] { switchTracing(false); }), L"");
    EXPECT_EQ(StdUtil::ErrorHandler::listenerCount(), listeners + 1);
    EXPECT_TRUE(runtime->getServerSettings()->optionTracing);
    EXPECT_TRUE(runtime->getProjectPath()->tracing);
}

TEST_F(RuntimeSettingsOperations, TracingThatCannotBeginIsNotSaved) {
    const std::string before = folder.read("KelServer.xml");
    folder.write("traces", "a file where a folder is wanted");

    EXPECT_NE(errorOf([&] { switchTracing(true); }), L"");

    EXPECT_EQ(folder.read("KelServer.xml"), before);
    EXPECT_FALSE(runtime->getServerSettings()->optionTracing);
}

TEST_F(RuntimeSettingsOperations, PathsThatCannotBeSavedAreNotInEffect) {
    folder.write("KelServer.xml", "<KelServer>");
    const std::wstring before = runtime->getProjectPath()->projectsPath;
    auto paths = runtime->getProjectPath();
    paths->projectsPath = L"other";
    runtime->setProjectPath(paths);

    EXPECT_NE(errorOf([&] { runtime->commitProjectPath(); }), L"");

    EXPECT_EQ(runtime->getProjectPath()->projectsPath, before);
    EXPECT_EQ(errorOf([&] { runtime->selectProject(L"VIN_Reader"); }), L"");
}

TEST_F(RuntimeSettingsOperations, PathsThatCannotBeSavedDoNotSwitchTracing) {
    folder.write("KelServer.xml", "<KelServer>");
    const auto listeners = StdUtil::ErrorHandler::listenerCount();
    auto paths = runtime->getProjectPath();
    paths->tracing = true;
    runtime->setProjectPath(paths);

    EXPECT_NE(errorOf([&] { runtime->commitProjectPath(); }), L"");

    EXPECT_EQ(StdUtil::ErrorHandler::listenerCount(), listeners);
    EXPECT_FALSE(runtime->getServerSettings()->optionTracing);
}

TEST_F(RuntimeSettingsOperations, MissingRecordsAndEmptyPathsAreRefused) {
    EXPECT_NE(errorOf([&] { runtime->setServerSettings(nullptr); }), L"");
    EXPECT_NE(errorOf([&] { runtime->setInterfaceSettings(nullptr); }), L"");
    EXPECT_NE(errorOf([&] { runtime->setProjectPath(nullptr); }), L"");
    EXPECT_NE(errorOf([&] { runtime->setProjectPath(std::make_shared<PathSettings>()); }), L"");
}

TEST_F(RuntimeSettingsOperations, NamesTheRecordThatIsMissingAndThePathThatIsWrong) {
    EXPECT_EQ(errorOf([&] { runtime->setServerSettings(nullptr); }),
              L"the record of the server settings is missing");
    EXPECT_EQ(errorOf([&] { runtime->setInterfaceSettings(nullptr); }),
              L"the record of the interface settings is missing");
    EXPECT_EQ(errorOf([&] { runtime->setProjectPath(nullptr); }),
              L"the record of the path settings is missing");
    const auto refusalOf = [&](std::wstring PathSettings::*path, const std::wstring& text) {
        auto paths = runtime->getProjectPath();
        (*paths).*path = text;
        return errorOf([&] { runtime->setProjectPath(paths); });
    };
    EXPECT_EQ(refusalOf(&PathSettings::projectsPath, L""), L"the projects path is empty");
    EXPECT_EQ(refusalOf(&PathSettings::tracesPath, std::wstring(L"a\0b", 3)),
              L"the traces path contains a null character");
    EXPECT_EQ(refusalOf(&PathSettings::reportsPath, L"\xDC80"),
              L"the reports path is not valid Unicode text");
}

TEST_F(RuntimeSettingsOperations, ACommitBeforeTheInitialisationDoesNotTouchTheFile) {
    const std::string before = folder.read("KelServer.xml");
    Runtime fresh({folder.config(), folder.base(), clock});
    EXPECT_NE(errorOf([&] { fresh.commitServerSettings(); }), L"");
    EXPECT_NE(errorOf([&] { fresh.commitProjectPath(); }), L"");
    EXPECT_NE(errorOf([&] { fresh.applyInterfaceSettings(); }), L"");
    EXPECT_EQ(folder.read("KelServer.xml"), before);
}

} // namespace Quarlen::Kel_cpp::Tests
