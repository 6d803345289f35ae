#include "tests/support/KelApiContract.hpp"

#include <algorithm>
#include <vector>

#include "kel_server_lib/runtime/ServerHandler.hpp"

namespace Quarlen::Tests {

using namespace Kel_cpp;

namespace {

std::vector<std::wstring> targetNames(KelApi& api) {
    RecordList<TargetEntry> targets;
    api.getTargets(targets);
    std::vector<std::wstring> names;
    for (const auto& target : targets) {
        names.push_back(target->name);
    }
    return names;
}

class SilentHandler : public ServerHandler {
public:
    void onNotification0(std::uint64_t, std::shared_ptr<Record>, std::shared_ptr<Record>) override {
    }
    void onNotification1(std::shared_ptr<Record>, std::shared_ptr<Record>) override {}
    void startSequence(std::wstring, std::shared_ptr<KelApi>, std::shared_ptr<ClientContext>,
                       bool&) override {}
    void cancelSequence(std::shared_ptr<KelApi>, std::shared_ptr<ClientContext>, bool&) override {}
    void onNotification4(std::shared_ptr<Record>, std::shared_ptr<Record>) override {}
    void onNotification5(std::shared_ptr<Record>, std::shared_ptr<Record>) override {}
};

/// Tries one port after the other, since others may be taken.
std::wstring startOnAFreePort(KelApi& api) {
    constexpr int lastPort = 50'000;
    for (int port = 40'000; port < lastPort; ++port) {
        try {
            return api.startServer(L"127.0.0.1:" + std::to_wstring(port));
        } catch (const KelApiException&) {
            continue;
        }
    }
    return {};
}

} // namespace

std::ostream& operator<<(std::ostream& stream, const KelApiContractSubject& subject) {
    return stream << subject.label;
}

std::string subjectLabel(const testing::TestParamInfo<KelApiContractSubject>& info) {
    return info.param.label;
}

void KelApiContract::selectVehicle() const {
    api->selectProject(GetParam().project);
    api->selectVehicleInformation(GetParam().vehicleInformation);
}

void KelApiContract::connect() const {
    selectVehicle();
    api->connectVehicle();
}

RecordList<ServiceInput> KelApiContract::inputOf(const std::wstring& service,
                                                 std::vector<std::uint8_t> request) {
    auto input = std::make_shared<ServiceInput>();
    input->serviceName = service;
    input->requestBytes = std::move(request);
    return {input};
}

RecordList<ServiceInput> KelApiContract::testerPresent() {
    return inputOf(L"HexService", {0x3E, 0x00});
}

std::size_t KelApiContract::connectionCount() const {
    RecordList<ActiveConnection> connections;
    api->getActiveConnections(connections);
    return connections.size();
}

TEST_P(KelApiContract, ListsTheProjectsByName) {
    RecordList<ProjectEntry> projects{nullptr};
    api->getProjects(projects);
    EXPECT_TRUE(std::any_of(projects.begin(), projects.end(), [](const auto& entry) {
        return entry && entry->name == GetParam().project;
    }));
}

TEST_P(KelApiContract, HasNoProjectSelectedAtFirst) {
    EXPECT_EQ(api->getSelectedProjectName(), L"");
}

TEST_P(KelApiContract, SelectsAProject) {
    api->selectProject(GetParam().project);
    EXPECT_EQ(api->getSelectedProjectName(), GetParam().project);
}

TEST_P(KelApiContract, TheEmptyNameDeselectsTheProject) {
    api->selectProject(GetParam().project);
    api->selectProject(L"");
    EXPECT_EQ(api->getSelectedProjectName(), L"");
}

TEST_P(KelApiContract, AnUnknownProjectIsAnErrorAndLeavesNothingSelected) {
    api->selectProject(GetParam().project);
    EXPECT_THROW(api->selectProject(L"no such project"), KelApiException);
    EXPECT_EQ(api->getSelectedProjectName(), L"");
}

TEST_P(KelApiContract, TellsTheVehicleInformationsOfAProjectThatIsNotSelected) {
    const auto details = api->getProjectDetails(GetParam().project);
    ASSERT_NE(details, nullptr);
    EXPECT_EQ(std::count(details->vehicleInformations.begin(), details->vehicleInformations.end(),
                         GetParam().vehicleInformation),
              1);
    EXPECT_EQ(api->getSelectedProjectName(), L"");
}

TEST_P(KelApiContract, AVehicleInformationNeedsAProjectAndMustBeKnown) {
    EXPECT_THROW(api->selectVehicleInformation(GetParam().vehicleInformation), KelApiException);
    api->selectProject(GetParam().project);
    EXPECT_THROW(api->selectVehicleInformation(L"no such information"), KelApiException);
}

TEST_P(KelApiContract, ListsProceduresOfTheSelectedVehicleInformation) {
    selectVehicle();
    RecordList<ProjectObject> objects{nullptr};
    api->getProjectObjects(objects, L"#OTX", L"", nullptr, 0);
    EXPECT_TRUE(std::any_of(objects.begin(), objects.end(), [](const auto& object) {
        return object && object->name == GetParam().procedure;
    }));
}

TEST_P(KelApiContract, ListsTheControlUnitsAsTargetsOfKindOne) {
    selectVehicle();
    RecordList<TargetEntry> targets{nullptr};
    api->getTargets(targets);
    EXPECT_TRUE(std::any_of(targets.begin(), targets.end(), [](const auto& target) {
        return target && target->name == GetParam().controlUnit &&
               target->kind == TargetEntry::controlUnitKind;
    }));
}

TEST_P(KelApiContract, TargetFiltersLetThroughWhatAnEnabledOneNames) {
    selectVehicle();
    auto filter = std::make_shared<TargetFilter>();
    filter->name = GetParam().controlUnit;
    api->setTargetFilters({filter});
    EXPECT_EQ(targetNames(*api), std::vector<std::wstring>{GetParam().controlUnit});
}

TEST_P(KelApiContract, ADisabledTargetFilterAloneOnlyLeavesOutWhatItNames) {
    selectVehicle();
    auto expected = targetNames(*api);
    std::erase(expected, GetParam().controlUnit);
    auto filter = std::make_shared<TargetFilter>();
    filter->name = GetParam().controlUnit;
    filter->enabled = false;
    api->setTargetFilters({filter});
    EXPECT_EQ(targetNames(*api), expected);
}

TEST_P(KelApiContract, ConnectingNeedsAProjectAndAVehicleInformation) {
    EXPECT_THROW(api->connectVehicle(), KelApiException);
    api->selectProject(GetParam().project);
    EXPECT_THROW(api->connectVehicle(), KelApiException);
}

TEST_P(KelApiContract, AnOpenVehicleAccessIsAnActiveConnection) {
    EXPECT_EQ(connectionCount(), 0U);
    connect();
    EXPECT_EQ(connectionCount(), 1U);
    api->selectProject(L"");
    EXPECT_EQ(connectionCount(), 0U);
}

TEST_P(KelApiContract, IdentifyingOpensTheVehicleAndTellsWhoAnswers) {
    selectVehicle();
    RecordList<IdentifiedTarget> targets;
    std::shared_ptr<VehicleIdentification> identification;
    api->identifyVehicle(targets, 0, identification);
    EXPECT_TRUE(std::any_of(targets.begin(), targets.end(), [](const auto& target) {
        return target->name == GetParam().controlUnit && target->reachable;
    }));
    EXPECT_NE(identification, nullptr);
    EXPECT_EQ(connectionCount(), 1U);
}

TEST_P(KelApiContract, AFlashItemLeadsToItsSessions) {
    selectVehicle();
    std::shared_ptr<FlashInfo> info;
    api->getFlashInfo(info, GetParam().flashItem);
    ASSERT_NE(info, nullptr);
    RecordList<FlashSession> sessions;
    api->getFlashSessions(sessions, info->item, info->target);
    EXPECT_FALSE(sessions.empty());
    EXPECT_THROW(api->getFlashInfo(info, L"no such item"), KelApiException);
}

TEST_P(KelApiContract, RecordsAreCopiesThatAreOnlyChangedBySettingThem) {
    api->getProjectPath()->tracing = true;
    EXPECT_FALSE(api->getProjectPath()->tracing);
    const auto interfaces = api->getInterfaceSettings();
    ASSERT_FALSE(interfaces->groups.empty());
    const std::size_t entries = interfaces->groups[0]->interfaces.size();
    interfaces->groups[0]->interfaces.clear();
    EXPECT_EQ(api->getInterfaceSettings()->groups[0]->interfaces.size(), entries);
}

TEST_P(KelApiContract, ReadsBackWhatWasSetBeforeItIsCommitted) {
    const auto settings = api->getServerSettings();
    settings->optionOtxListing = true;
    api->setServerSettings(settings);
    settings->optionOtxListing = false;
    EXPECT_TRUE(api->getServerSettings()->optionOtxListing);
}

TEST_P(KelApiContract, NamesADpduComponentAndTheDevice) {
    const auto components = api->getComponentVersions();
    EXPECT_TRUE(std::any_of(components.begin(), components.end(), [](const auto& component) {
        return component->kind == ComponentVersion::dpduApiKind && !component->version.empty();
    }));
    EXPECT_NE(api->getServerVersion(), L"");
    EXPECT_NE(api->getDeviceInfo()->cosVersion, L"");
}

TEST_P(KelApiContract, KeepsTheServerHandlerUntilAnotherOneIsSet) {
    const auto handler = std::make_shared<SilentHandler>();
    api->setServerHandler(handler);
    EXPECT_GT(handler.use_count(), 1);
    api->setServerHandler(nullptr);
    EXPECT_EQ(handler.use_count(), 1);
}

TEST_P(KelApiContract, RefusesPortZero) {
    EXPECT_THROW(api->startServer(L"127.0.0.1:0"), KelApiException);
}

TEST_P(KelApiContract, ListensUntilStoppedAndRefusesATakenAddress) {
    const std::wstring address = startOnAFreePort(*api);
    EXPECT_NE(address, L"");
    EXPECT_THROW(api->startServer(address), KelApiException);
    api->stopServer(address);
    EXPECT_THROW(api->stopServer(address), KelApiException);
}

} // namespace Quarlen::Tests
