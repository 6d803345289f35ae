// The smallest runtime that the program runs on: it keeps settings in memory, listens nowhere and
// knows no vehicle. Replace one operation after the other by what your runtime can do.

#include <atomic>
#include <cstdio>
#include <utility>

#include "kel_server_lib/runtime/KelApi.hpp"

namespace {

using namespace Quarlen::Kel_cpp;
using Text = std::wstring;

/// The facade throws nothing else than this; people see the message, clients the code too.
[[noreturn]] void refuse(const wchar_t* operation) {
    throw KelApiException(Text(operation) + L": this runtime knows no vehicle", 1);
}

/// Any thread reads and replaces it at any time, as every operation may be called.
template <class Record>
using Kept = std::atomic<std::shared_ptr<Record>>;

class SmallestRuntime : public KelApi {
    // Servers and their settings: what a start needs.
    void initialize() override {}
    Text startServer(const Text& address) override { return address; }
    void stopServer(const Text&) override {}
    void setServerHandler(std::shared_ptr<ServerHandler> handler) override {
        serverHandler = std::move(handler);
    }
    void setServerStatus(const Text& status) override {
        std::printf("status: %ls\n", status.c_str());
    }
    void startSovdServer() override { refuse(L"startSovdServer"); }
    void stopSovdServer() override {}
    Text getServerVersion() override { return L"smallest runtime 1.0"; }
    std::shared_ptr<DeviceInfo> getDeviceInfo() override { return std::make_shared<DeviceInfo>(); }
    RecordList<ComponentVersion> getComponentVersions() override { return {}; }
    std::shared_ptr<ServerConfiguration> getServerConfiguration() override {
        return std::make_shared<ServerConfiguration>();
    }
    void getActiveConnections(RecordList<ActiveConnection>& connections) override {
        connections.clear();
    }
    std::shared_ptr<ServerSettings> getServerSettings() override { return settings; }
    void setServerSettings(std::shared_ptr<ServerSettings> written) override { settings = written; }
    void commitServerSettings() override {}
    std::shared_ptr<PathSettings> getProjectPath() override { return paths; }
    void setProjectPath(std::shared_ptr<PathSettings> written) override { paths = written; }
    void commitProjectPath() override {}
    std::shared_ptr<InterfaceSettings> getInterfaceSettings() override { return interfaces; }
    void setInterfaceSettings(std::shared_ptr<InterfaceSettings> written) override {
        interfaces = written;
    }
    void applyInterfaceSettings() override {}
    void installUpdatePackages(const RecordList<UpdatePackageInfo>&) override {
        refuse(L"installUpdatePackages");
    }
    void prepareUpdatePackages(const std::vector<Text>&, RecordList<UpdateDescription>&) override {
        refuse(L"prepareUpdatePackages");
    }
    void getDataFolders(RecordList<DataFolder>& folders, std::int32_t) override { folders.clear(); }

    // Projects: there is none.
    void getProjects(RecordList<ProjectEntry>& projects) override { projects.clear(); }
    void beginProjectSelection() override {}
    void selectProject(const Text& name) override {
        if (!name.empty()) {
            refuse(L"selectProject");
        }
    }
    Text getSelectedProjectName() override { return {}; }
    std::shared_ptr<ProjectDetails> getProjectDetails(const Text&) override {
        refuse(L"getProjectDetails");
    }
    void getProjectObjects(RecordList<ProjectObject>&, const Text&, const Text&,
                           std::shared_ptr<Record>, std::uint32_t) override {
        refuse(L"getProjectObjects");
    }
    void selectVehicleInformation(const Text&) override { refuse(L"selectVehicleInformation"); }
    void setTargetFilters(const RecordList<TargetFilter>&) override {}
    void getTargets(RecordList<TargetEntry>&) override { refuse(L"getTargets"); }

    // The vehicle.
    void connectVehicle() override { refuse(L"connectVehicle"); }
    void identifyVehicle(RecordList<IdentifiedTarget>&, std::uint32_t,
                         std::shared_ptr<VehicleIdentification>&) override {
        refuse(L"identifyVehicle");
    }
    void executeServiceSync(RecordList<ServiceResult>&, const Text&,
                            const RecordList<ServiceInput>&) override {
        refuse(L"executeServiceSync");
    }
    std::shared_ptr<UnlockSession> openUnlockSession(const Text&,
                                                     const std::vector<Text>&) override {
        refuse(L"openUnlockSession");
    }
    void releaseJob(std::uint64_t) override {}
    void getFlashInfo(std::shared_ptr<FlashInfo>&, const Text&) override {
        refuse(L"getFlashInfo");
    }
    void getFlashSessions(RecordList<FlashSession>&, const Text&, const Text&) override {
        refuse(L"getFlashSessions");
    }
    void createVehicleReport(Text&, const Text&, std::shared_ptr<DtcReadConfig>,
                             const RecordList<QuickTestResult>&,
                             std::shared_ptr<VehicleReportConfig>) override {
        refuse(L"createVehicleReport");
    }

    // Jobs: a launch that throws has started none, so that there is nothing to report or cancel.
    JobId executeFlashSessions(const Text&, const std::vector<Text>&, std::uint32_t,
                               ExecuteFlashSessionsCallback*) override {
        refuse(L"executeFlashSessions");
    }
    JobId performQuickTest(std::shared_ptr<QuicktestConfig>, std::shared_ptr<DtcReadConfig>,
                           PerformQuickTestCallback*) override {
        refuse(L"performQuickTest");
    }
    JobId executeService(const Text&, const RecordList<ServiceInput>&,
                         ExecuteServiceCallback*) override {
        refuse(L"executeService");
    }
    void cancelJobs(const std::vector<JobId>&) override {}

    Kept<ServerHandler> serverHandler;
    Kept<ServerSettings> settings = std::make_shared<ServerSettings>();
    Kept<PathSettings> paths = std::make_shared<PathSettings>();
    Kept<InterfaceSettings> interfaces = std::make_shared<InterfaceSettings>();
};

} // namespace

std::shared_ptr<KelApi> Quarlen::Kel_cpp::getKelApi() {
    return std::make_shared<SmallestRuntime>();
}
