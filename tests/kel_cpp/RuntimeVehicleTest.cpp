#include <atomic>
#include <barrier>
#include <fstream>
#include <future>
#include <iterator>
#include <utility>

#include <gmock/gmock.h>

#include "kel_cpp/ComponentVersions.hpp"
#include "kel_cpp/report/QuickTestRecords.hpp"
#include "platform/TextEncoding.hpp"
#include "simulation/SimulatedVehicle.hpp"
#include "tests/kel_cpp/RuntimeFixture.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

class RuntimeVehicle : public RuntimeFixture {
protected:
    void useInterfaces(const std::string& entries) {
        folder.replaceIn("KelServer.xml", "<Interface name=\"Simulation\" enabled=\"true\"/>",
                         entries);
        restart();
    }

    std::wstring connectError() {
        return errorOf([&] { connect(); });
    }

    static std::string contentOf(const std::wstring& file) {
        std::ifstream stream(Platform::toPath(file), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    }
};

} // namespace

TEST_F(RuntimeVehicle, IsTheOneThatTheEnvironmentOpens) {
    std::filesystem::path asked;
    RuntimeEnvironment environment{folder.config(), folder.base(), clock};
    environment.openVehicle = [&](const std::filesystem::path& file, Platform::Clock& used) {
        asked = file;
        EXPECT_EQ(&used, &clock);
        return Simulation::SimulatedVehicle(Simulation::VehicleDescription(), used);
    };
    runtime = std::make_shared<Runtime>(environment);
    runtime->initialize();
    EXPECT_NE(connectError().find(L"no control unit"), std::wstring::npos);
    EXPECT_EQ(asked, folder.config() / "vehicle.xml");
}

TEST_F(RuntimeVehicle, AnEnabledInterfaceThatIsUnknownIsNamed) {
    useInterfaces("<Interface name=\"CarBox\" enabled=\"true\"/>");
    EXPECT_NE(connectError().find(L"\"CarBox\""), std::wstring::npos);
    EXPECT_EQ(connectionCount(*runtime), 0U);
}

TEST_F(RuntimeVehicle, AnUnknownInterfaceIsNamedAlsoBehindAKnownOne) {
    useInterfaces("<Interface name=\"Simulation\" enabled=\"true\"/>"
                  "<Interface name=\"CarBox\" enabled=\"true\"/>");
    EXPECT_NE(connectError().find(L"\"CarBox\""), std::wstring::npos);
}

TEST_F(RuntimeVehicle, AnUnknownInterfaceThatIsNotEnabledIsNoMatter) {
    useInterfaces("<Interface name=\"CarBox\" enabled=\"false\"/>"
                  "<Interface name=\"Simulation\" enabled=\"true\"/>");
    EXPECT_EQ(connectError(), L"");
}

TEST_F(RuntimeVehicle, SaysThatNoInterfaceIsEnabled) {
    useInterfaces("<Interface name=\"Simulation\" enabled=\"false\"/>");
    EXPECT_NE(connectError().find(L"no vehicle communication interface is enabled"),
              std::wstring::npos);
}

TEST_F(RuntimeVehicle, IdentifyingNamesAnUnknownInterfaceToo) {
    useInterfaces("<Interface name=\"CarBox\" enabled=\"true\"/>");
    runtime->selectProject(L"Car_DEMO0000000042");
    runtime->selectVehicleInformation(L"VIT_A");
    RecordList<IdentifiedTarget> targets;
    std::shared_ptr<VehicleIdentification> identification;
    const auto error = errorOf([&] { runtime->identifyVehicle(targets, 0, identification); });
    EXPECT_NE(error.find(L"\"CarBox\""), std::wstring::npos);
}

TEST_F(RuntimeVehicle, ATargetThatAnotherInterfaceLeadsToIsNamedWithIt) {
    const char* const project = "projects/Car_DEMO0000000042/project.xml";
    const std::string brakes = "name=\"BRAKES\" link=\"UDS_CAN_BRAKES\"";
    folder.replaceIn(project, brakes, brakes + " interface=\"DoIP\"");
    EXPECT_EQ(connectError(), L"target \"BRAKES\" is reached over interface \"DoIP\", which is not "
                              L"enabled: the enabled one is \"Simulation\"");
    EXPECT_EQ(connectionCount(*runtime), 0U);
    folder.replaceIn(project, "interface=\"DoIP\"", "interface=\"Simulation\"");
    EXPECT_EQ(connectError(), L"");
}

TEST_F(RuntimeVehicle, IsGivenTheTimesThatItsInterfaceSays) {
    folder.replaceIn("vehicle.xml", "<FlashMemory",
                     "<Fault request=\"22 00 00\"/>"
                     "<Fault request=\"22 00 01\" response=\"7F 22 78\"/><FlashMemory");
    useInterfaces("<Interface name=\"Simulation\" enabled=\"true\" p2=\"1234\" p2Star=\"2345\"/>");
    connect();
    const auto unit = L"UDS_CAN_ENGINE";
    const std::wstring first = hexService(unit, {0x22, 0x00, 0x00})->errorText;
    EXPECT_NE(first.find(L"within 1234 ms"), std::wstring::npos) << Platform::toUtf8(first);
    const std::wstring next = hexService(unit, {0x22, 0x00, 0x01})->errorText;
    EXPECT_NE(next.find(L"within 2345 ms"), std::wstring::npos) << Platform::toUtf8(next);
}

/// The control unit tells 50 ms.
TEST_F(RuntimeVehicle, IsGivenTheTimeThatTheWayToItsControlUnitsTakesInASession) {
    folder.replaceIn("vehicle.xml", "<FlashMemory", "<Fault request=\"22 00 00\"/><FlashMemory");
    useInterfaces("<Interface name=\"Simulation\" enabled=\"true\" deltaP2=\"1234\"/>");
    connect();
    const auto unit = L"UDS_CAN_ENGINE";
    hexService(unit, {0x10, 0x03});
    const std::wstring text = hexService(unit, {0x22, 0x00, 0x00})->errorText;
    EXPECT_NE(text.find(L"within 1284 ms"), std::wstring::npos) << Platform::toUtf8(text);
}

TEST_F(RuntimeVehicle, IsConnectedAnewOnceTheParametersOfItsInterfaceChange) {
    std::vector<std::shared_ptr<Uds::VehicleInterface>> made;
    RuntimeEnvironment environment{folder.config(), folder.base(), clock};
    environment.connectTo = [&](const Simulation::SimulatedVehicle& vehicle) {
        EXPECT_TRUE(made.empty() || made.back()->state() != Uds::VehicleInterface::State::Open);
        return made.emplace_back(VehicleInterfaces::connectTo(vehicle));
    };
    runtime = std::make_shared<Runtime>(environment);
    runtime->initialize();
    connect();
    runtime->connectVehicle();
    EXPECT_EQ(made.size(), 1U);

    const auto interfaces = runtime->getInterfaceSettings();
    interfaces->groups.at(0)->interfaces.at(0)->parameters = {{L"p2", L"1234"}};
    runtime->setInterfaceSettings(interfaces);
    runtime->applyInterfaceSettings();
    runtime->connectVehicle();
    runtime->connectVehicle();
    EXPECT_EQ(made.size(), 2U);
    EXPECT_EQ(connectionCount(*runtime), 1U);
}

TEST_F(RuntimeVehicle, KeepsTheTimesOfItsInterfaceWhereWrongOnesAreApplied) {
    const auto interfaces = runtime->getInterfaceSettings();
    interfaces->groups.at(0)->interfaces.at(0)->parameters = {{L"p2", L"soon"}};
    runtime->setInterfaceSettings(interfaces);
    const std::wstring refusal = errorOf([&] { runtime->applyInterfaceSettings(); });
    EXPECT_NE(refusal.find(L"\"p2\" is \"soon\", expected a number from 1 to 60000"),
              std::wstring::npos)
        << Platform::toUtf8(refusal);
    EXPECT_EQ(connectError(), L"");
}

TEST_F(RuntimeVehicle, ConnectingFailsWhenNoControlUnitAnswers) {
    folder.write("vehicle.xml", "<Vehicle vin=\"WKLDEMO0000000042\">"
                                "<ControlUnit name=\"X\" address=\"1\" link=\"X\"/>"
                                "</Vehicle>");
    EXPECT_NE(connectError().find(L"no control unit of vehicle information \"VIT_A\""),
              std::wstring::npos);
    EXPECT_EQ(connectionCount(*runtime), 0U);
}

TEST_F(RuntimeVehicle, ConnectingIsContentWithOneControlUnitThatAnswers) {
    folder.replaceIn("vehicle.xml", "address=\"0x0011\" link=\"UDS_CAN_ENGINE\"",
                     "address=\"0x7011\" link=\"ELSEWHERE\"");
    folder.replaceIn("vehicle.xml", "link=\"UDS_CAN_D\"", "link=\"NOWHERE\"");
    EXPECT_EQ(connectError(), L"");
}

TEST_F(RuntimeVehicle, AWrongVehicleFileIsAnErrorWithItsPlace) {
    folder.write("vehicle.xml", "<Vehicle>\n<Wheel/></Vehicle>");
    EXPECT_NE(connectError().find(L"vehicle.xml:2:"), std::wstring::npos);
}

TEST_F(RuntimeVehicle, ConnectingTwiceKeepsTheOneConnectionAndItsUnlocks) {
    connect();
    const auto session = runtime->openUnlockSession(L"UnlockGateway", {L"level1"});
    runtime->connectVehicle();
    EXPECT_EQ(connectionCount(*runtime), 1U);
    // Still unlocked: the write is let through.
    EXPECT_EQ(hexService(L"UDS_CAN_D", {0x2E, 0xF1, 0x5A, 1, 2, 3, 4})->error, 0);
    runtime->releaseJob(session->handle);
}

TEST_F(RuntimeVehicle, TwoWhoConnectAtOnceBothSucceedOverOneAccess) {
    useRealTime();
    for (int round = 0; round < 20; ++round) {
        runtime->selectProject(L"Car_DEMO0000000042");
        runtime->selectVehicleInformation(L"VIT_A");
        std::barrier together(2);
        const auto connectTogether = [&] {
            together.arrive_and_wait();
            return errorOf([&] { runtime->connectVehicle(); });
        };
        auto other = std::async(std::launch::async, connectTogether);
        EXPECT_EQ(connectTogether(), L"");
        EXPECT_EQ(other.get(), L"");
        EXPECT_EQ(connectionCount(*runtime), 1U);
    }
}

TEST_F(RuntimeVehicle, AFailedCheckKeepsAnAccessThatWasOpenBefore) {
    folder.write("vehicle.xml", "<Vehicle vin=\"WKLDEMO0000000042\">"
                                "<ControlUnit name=\"G\" address=\"1\" link=\"UDS_CAN_D\">"
                                "<Fault request=\"3E 00\" after=\"1\"/>"
                                "</ControlUnit></Vehicle>");
    connect();
    EXPECT_NE(errorOf([&] { runtime->connectVehicle(); }), L"");
    EXPECT_EQ(connectionCount(*runtime), 1U);
}

TEST_F(RuntimeVehicle, IdentifyingTellsTheNumberAndWhoIsSilent) {
    folder.replaceIn("vehicle.xml", "address=\"0x0011\" link=\"UDS_CAN_ENGINE\"",
                     "address=\"0x7011\" link=\"ELSEWHERE\"");
    runtime->selectProject(L"Car_DEMO0000000042");
    runtime->selectVehicleInformation(L"VIT_A");
    RecordList<IdentifiedTarget> targets;
    std::shared_ptr<VehicleIdentification> identification;
    runtime->identifyVehicle(targets, 0, identification);
    ASSERT_EQ(targets.size(), 3U);
    EXPECT_EQ(targets[0]->name, L"ENGINE");
    EXPECT_FALSE(targets[0]->reachable);
    EXPECT_TRUE(targets[1]->reachable);
    EXPECT_EQ(identification->vin, L"WKLDEMO0000000042");
}

TEST_F(RuntimeVehicle, IdentifyingAVehicleThatIsSilentFailsLikeConnecting) {
    for (const std::string unit : {"0x0010", "0x0011", "0x0012"}) {
        folder.replaceIn("vehicle.xml", "address=\"" + unit + "\" link=\"",
                         "address=\"0x7" + unit.substr(3) + "\" link=\"NO_");
    }
    const std::wstring connecting = connectError();
    EXPECT_NE(connecting, L"");
    RecordList<IdentifiedTarget> targets;
    std::shared_ptr<VehicleIdentification> identification;
    EXPECT_EQ(errorOf([&] { runtime->identifyVehicle(targets, 0, identification); }), connecting);
    EXPECT_TRUE(targets.empty());
    EXPECT_EQ(identification, nullptr);
    EXPECT_EQ(connectionCount(*runtime), 0U);
}

TEST_F(RuntimeVehicle, ALostConnectionIsNoneAnyMore) {
    folder.replaceIn("vehicle.xml", "<FlashMemory",
                     "<Fault request=\"22 00 00\" linkLost=\"true\"/><FlashMemory");
    connect();
    ASSERT_EQ(connectionCount(*runtime), 1U);
    EXPECT_NE(hexService(L"UDS_CAN_ENGINE", {0x22, 0x00, 0x00})->error, 0);
    EXPECT_EQ(connectionCount(*runtime), 0U);
    EXPECT_EQ(errorOf([&] {
                  hexService(L"UDS_CAN_D", {0x3E, 0x00});
              }),
              L"the connection to the vehicle of project \"Car_DEMO0000000042\" is lost: the "
              L"connection to ENGINE on UDS_CAN_ENGINE was lost");
}

TEST_F(RuntimeVehicle, IsOpenedAnewAfterALoss) {
    folder.replaceIn("vehicle.xml", "<FlashMemory",
                     "<Fault request=\"22 00 00\" linkLost=\"true\"/><FlashMemory");
    connect();
    hexService(L"UDS_CAN_ENGINE", {0x22, 0x00, 0x00});
    runtime->connectVehicle();
    EXPECT_EQ(connectionCount(*runtime), 1U);
    EXPECT_EQ(hexService(L"UDS_CAN_D", {0x3E, 0x00})->error, 0);
}

TEST_F(RuntimeVehicle, WritesAReportAlsoWhenTheConnectionIsLost) {
    folder.replaceIn("vehicle.xml", "<FlashMemory",
                     "<Fault request=\"22 00 00\" linkLost=\"true\"/><FlashMemory");
    connect();
    hexService(L"UDS_CAN_ENGINE", {0x22, 0x00, 0x00});
    std::wstring file;
    runtime->createVehicleReport(file, L"Late", nullptr, {},
                                 std::make_shared<VehicleReportConfig>());
    EXPECT_TRUE(std::filesystem::exists(Platform::toPath(file)));
}

TEST_F(RuntimeVehicle, IsNamedInAReportByWhatTheQuickTestHasReadOnceTheConnectionIsLost) {
    folder.replaceIn("vehicle.xml", "<FlashMemory",
                     "<Fault request=\"22 00 00\" linkLost=\"true\"/><FlashMemory");
    connect();
    hexService(L"UDS_CAN_ENGINE", {0x22, 0x00, 0x00});
    auto unit = std::make_shared<ControlUnitQuickTestResult>();
    unit->identification = {{0xF190, L"VIN", L"", IdentificationValue::State::Read},
                            {0xF190, L"VIN", L"refused", IdentificationValue::State::Refused},
                            {0xF187, L"Part", L"4711", IdentificationValue::State::Read},
                            {0xF190, L"VIN", L"WKLREAD", IdentificationValue::State::Read}};
    std::wstring file;
    runtime->createVehicleReport(file, L"Late", nullptr, {unit},
                                 std::make_shared<VehicleReportConfig>());
    EXPECT_NE(file.find(L"WKLREAD"), std::wstring::npos) << Platform::toUtf8(file);
}

TEST_F(RuntimeVehicle, IsCapturedWhereTheSettingsAskForIt) {
    const auto capture = folder.config() / "traces" / "bus.pcapng";
    folder.write("KelServer.xml",
                 "<KelServer><Tracing enabled=\"false\" bus=\"true\"/></KelServer>");
    restart();
    connect();
    EXPECT_FALSE(std::filesystem::exists(capture));
    folder.write("KelServer.xml",
                 "<KelServer><Tracing enabled=\"true\" bus=\"true\"/></KelServer>");
    restart();
    connect();
    EXPECT_GT(std::filesystem::file_size(capture), 100U);
}

TEST_F(RuntimeVehicle, IsConnectedAlsoWhereItCannotBeCaptured) {
    folder.write("KelServer.xml",
                 "<KelServer><Tracing enabled=\"true\" bus=\"true\"/></KelServer>");
    std::filesystem::create_directories(folder.config() / "traces" / "bus.pcapng");
    restart();
    const Quarlen::Tests::TraceCapture traces;
    connect();
    EXPECT_EQ(connectionCount(*runtime), 1U);
    EXPECT_THAT(traces.texts(),
                testing::Contains(testing::StartsWith(L"the bus is not captured, the file in ")));
}

TEST_F(RuntimeVehicle, TellsTheEnvironmentWhatGoesAndComes) {
    std::atomic<int> requests{0};
    RuntimeEnvironment environment{folder.config(), folder.base(), clock};
    environment.onBusEvent = [&](const Uds::BusEvent& event) {
        requests += event.kind == Uds::BusEvent::Kind::Request ? 1 : 0;
    };
    runtime = std::make_shared<Runtime>(environment);
    runtime->initialize();
    connect();
    EXPECT_EQ(requests, 1) << "one to the functional address of all three";
}

TEST_F(RuntimeVehicle, ReadsTheIdentificationNumberOverTheAuxiliaryProject) {
    runtime->selectProject(L"VIN_Reader");
    runtime->selectVehicleInformation(L"DefaultVIT");
    runtime->connectVehicle();
    const auto result = hexService(L"UDS_CAN_D", {0x22, 0xF1, 0x90});
    ASSERT_EQ(result->responses.size(), 1U);
    const auto& data = result->responses[0]->data;
    EXPECT_EQ(std::string(data.begin() + 3, data.end()), "WKLDEMO0000000042");
}

TEST_F(RuntimeVehicle, WritesAReportWithTheVehiclesNumberAndReturnsItsPath) {
    connect();
    auto unit = std::make_shared<ControlUnitQuickTestResult>();
    unit->name = L"ENGINE";
    std::wstring file;
    runtime->createVehicleReport(file, L"Initial", nullptr, {unit},
                                 std::make_shared<VehicleReportConfig>());
    const auto reports = folder.config() / "reports";
    EXPECT_EQ(Platform::toPath(file).parent_path(), reports);
    for (const std::string& text : {std::string("WKLDEMO0000000042"), std::string("ENGINE"),
                                    std::string("VIT_A"), Platform::toUtf8(runtimeVersion())}) {
        EXPECT_NE(contentOf(file).find(text), std::string::npos) << text;
    }
}

TEST_F(RuntimeVehicle, WritesAReportThatSaysItsType) {
    const auto textOf = [this](std::vector<std::uint32_t> types) {
        auto config = std::make_shared<VehicleReportConfig>();
        config->reportTypes = std::move(types);
        std::wstring file;
        runtime->createVehicleReport(file, L"Typed", nullptr, {}, config);
        return contentOf(file);
    };
    EXPECT_NE(textOf({}).find("Type not given"), std::string::npos);
    EXPECT_EQ(textOf({1}).find("Type not given"), std::string::npos);
}

TEST_F(RuntimeVehicle, TracesThatAReportIsToShowFaultsThatNobodyAskedFor) {
    const auto lines = [this](std::uint32_t services, std::uint32_t mask) {
        auto config = std::make_shared<VehicleReportConfig>();
        config->serviceMask = services;
        auto dtcs = std::make_shared<DtcReadConfig>();
        dtcs->statusMask = mask;
        const Quarlen::Tests::TraceCapture traces;
        std::wstring file;
        runtime->createVehicleReport(file, L"Late", dtcs, {}, config);
        return traces.lines();
    };
    const auto traced = lines(0x2, 0x100);
    ASSERT_EQ(traced.size(), 1U);
    EXPECT_EQ(traced[0].level, StdUtil::TraceLevel::Error);
    EXPECT_EQ(traced[0].text,
              L"the report \"Late\" is to show faults (CurrentDtcs), but the script "
              L"names no DtcStatus: no fault was asked for");
    EXPECT_TRUE(lines(0x2, 0x08).empty());
    EXPECT_TRUE(lines(0x5, 0).empty());
}

TEST_F(RuntimeVehicle, WritesAReportAlsoWhenTheVehicleIsClosedAlready) {
    std::wstring file;
    runtime->createVehicleReport(file, L"Late", nullptr, {},
                                 std::make_shared<VehicleReportConfig>());
    EXPECT_TRUE(std::filesystem::exists(Platform::toPath(file)));
}

TEST_F(RuntimeVehicle, WritesAReportAlsoWhenTheVehicleIsClosedMeanwhile) {
    bool closes = false;
    RuntimeEnvironment environment{folder.config(), folder.base(), clock};
    environment.onBusEvent = [&](const Uds::BusEvent&) {
        if (std::exchange(closes, false)) {
            runtime->selectProject(L"");
        }
    };
    runtime = std::make_shared<Runtime>(environment);
    runtime->initialize();
    connect();
    closes = true;
    std::wstring file;
    runtime->createVehicleReport(file, L"Late", nullptr, {},
                                 std::make_shared<VehicleReportConfig>());
    EXPECT_FALSE(closes);
    EXPECT_TRUE(std::filesystem::exists(Platform::toPath(file)));
}

TEST_F(RuntimeVehicle, AReportNeedsItsConfigurationAndResultsOfThisRuntime) {
    std::wstring file = L"before";
    EXPECT_NE(errorOf([&] { runtime->createVehicleReport(file, L"R", nullptr, {}, nullptr); }),
              L"");
    const RecordList<QuickTestResult> foreign{nullptr};
    EXPECT_NE(errorOf([&] {
                  runtime->createVehicleReport(file, L"R", nullptr, foreign,
                                               std::make_shared<VehicleReportConfig>());
              }).find(L"not made by this runtime"),
              std::wstring::npos);
    EXPECT_EQ(file, L"before");
}

} // namespace Quarlen::Kel_cpp::Tests
