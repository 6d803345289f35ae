#pragma once

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "kel_cpp/ActiveSettings.hpp"
#include "kel_cpp/access/Selection.hpp"
#include "kel_cpp/access/VehicleInterfaces.hpp"
#include "kel_cpp/history/RunLog.hpp"
#include "kel_cpp/history/StatusLog.hpp"
#include "kel_cpp/jobs/JobRunner.hpp"
#include "kel_cpp/jobs/QuickTest.hpp"
#include "kel_cpp/network/RuntimeServer.hpp"
#include "kel_cpp/network/SovdServer.hpp"
#include "kel_server_lib/runtime/KelApi.hpp"
#include "platform/Clock.hpp"
#include "platform/Terminal.hpp"

namespace Quarlen::Kel_cpp {

/// The folders, the clock and the error output that a runtime uses.
struct RuntimeEnvironment {
    std::filesystem::path configFolder;
    /// Holds the folder "Update".
    std::filesystem::path installationFolder;
    /// Must outlive the runtime and its jobs.
    Platform::Clock& clock;
    /// Well below the session timeout S3 (5 s, ISO 14229-2).
    std::chrono::milliseconds testerPresentInterval{2000};
    /// Receives messages for the operator about conditions that are not failures. Must outlive the
    /// runtime.
    std::ostream& errorOutput = Platform::standardErrors();
    /// The time of status texts and runs.
    StatusLog::Now now = std::chrono::system_clock::now;
    VehicleInterfaces::OpenVehicle openVehicle = VehicleInterfaces::openVehicleOfFile;
    /// Control units that a quick test asks at the same time.
    std::size_t unitsAtOnce = QuickTest::defaultUnitsAtOnce;
    /// Hears of everything that goes to and comes from the vehicle, on the thread that sends or
    /// receives it; may be empty.
    Uds::OnBusEvent onBusEvent = {};
    /// Hears each status text; may be empty.
    StatusLog::Listener onStatus = {};
    /// Hears of each job of a run that has ended, on the job's thread; may be empty.
    RunLog::OnJobEnd onJobEnd = {};
    VehicleInterfaces::Connect connectTo = VehicleInterfaces::connectTo;
    /// The vehicle is reached over the enabled interface, whatever its project says.
    bool replacesInterfaces = false;
};

/// The built-in diagnostic runtime behind the facade `KelApi`. It owns one component for each
/// subject (settings, vehicle interfaces, selection, network servers, jobs) and hands each
/// operation to the component in charge; its sources are split by the same subjects. Any thread may
/// call an operation, which runs on the thread of the caller; services, quick tests and flashing
/// run as jobs on threads of their own and report to callbacks. No lock is held during a callback;
/// a flash job that reports during an erase has its control unit, which no other call gets
/// meanwhile. An operation throws no exception other than `KelApiException`.
class Runtime final : public KelApi, public std::enable_shared_from_this<Runtime> {
public:
    explicit Runtime(RuntimeEnvironment where);
    Runtime(const Runtime&) = delete;
    Runtime& operator=(const Runtime&) = delete;
    /// Cancels all jobs and waits for their ends; safe in any state.
    ~Runtime() override;

    [[nodiscard]] StatusEntry serverStatus() const;
    /// Keeps the sessions of control units that somebody holds, once. The runtime does it by itself
    /// in real time, at the interval of its environment.
    void keepSessions();
    /// The run of a sequence that began last.
    [[nodiscard]] std::optional<RunEntry> latestRun() const;

    void initialize() override;
    std::wstring startServer(const std::wstring& address) override;
    void stopServer(const std::wstring& address) override;
    std::shared_ptr<ProjectDetails> getProjectDetails(const std::wstring& projectName) override;
    void commitServerSettings() override;
    void getProjectObjects(RecordList<ProjectObject>& objects, const std::wstring& kind,
                           const std::wstring& filter, std::shared_ptr<Record> context,
                           std::uint32_t flags) override;
    void getFlashInfo(std::shared_ptr<FlashInfo>& info, const std::wstring& flashItem) override;
    void getFlashSessions(RecordList<FlashSession>& sessions, const std::wstring& item,
                          const std::wstring& target) override;
    JobId executeFlashSessions(const std::wstring& flashItem,
                               const std::vector<std::wstring>& sessionNames, std::uint32_t flags,
                               ExecuteFlashSessionsCallback* callback) override;
    JobId performQuickTest(std::shared_ptr<QuicktestConfig> config,
                           std::shared_ptr<DtcReadConfig> dtcReadConfig,
                           PerformQuickTestCallback* callback) override;
    void applyInterfaceSettings() override;
    void connectVehicle() override;
    void beginProjectSelection() override;
    void commitProjectPath() override;
    void executeServiceSync(RecordList<ServiceResult>& results, const std::wstring& logicalLink,
                            const RecordList<ServiceInput>& inputs) override;
    JobId executeService(const std::wstring& target, const RecordList<ServiceInput>& inputs,
                         ExecuteServiceCallback* callback) override;
    void identifyVehicle(RecordList<IdentifiedTarget>& targets, std::uint32_t flags,
                         std::shared_ptr<VehicleIdentification>& identification) override;
    void cancelJobs(const std::vector<JobId>& ids) override;
    void getDataFolders(RecordList<DataFolder>& folders, std::int32_t kind) override;
    void createVehicleReport(std::wstring& fileName, const std::wstring& reportName,
                             std::shared_ptr<DtcReadConfig> dtcReadConfig,
                             const RecordList<QuickTestResult>& results,
                             std::shared_ptr<VehicleReportConfig> reportConfig) override;
    void setServerHandler(std::shared_ptr<ServerHandler> handler) override;
    std::shared_ptr<UnlockSession>
    openUnlockSession(const std::wstring& name,
                      const std::vector<std::wstring>& parameters) override;
    void releaseJob(std::uint64_t handle) override;
    std::shared_ptr<DeviceInfo> getDeviceInfo() override;
    void installUpdatePackages(const RecordList<UpdatePackageInfo>& packages) override;
    void prepareUpdatePackages(const std::vector<std::wstring>& paths,
                               RecordList<UpdateDescription>& descriptions) override;
    void startSovdServer() override;
    void stopSovdServer() override;
    void getProjects(RecordList<ProjectEntry>& projects) override;
    std::wstring getServerVersion() override;
    std::wstring getSelectedProjectName() override;
    void selectProject(const std::wstring& projectName) override;
    std::shared_ptr<ServerSettings> getServerSettings() override;
    void setServerSettings(std::shared_ptr<ServerSettings> record) override;
    void selectVehicleInformation(const std::wstring& name) override;
    void getTargets(RecordList<TargetEntry>& targets) override;
    void getActiveConnections(RecordList<ActiveConnection>& connections) override;
    std::shared_ptr<PathSettings> getProjectPath() override;
    void setProjectPath(std::shared_ptr<PathSettings> record) override;
    std::shared_ptr<InterfaceSettings> getInterfaceSettings() override;
    void setInterfaceSettings(std::shared_ptr<InterfaceSettings> record) override;
    void setTargetFilters(const RecordList<TargetFilter>& filters) override;
    RecordList<ComponentVersion> getComponentVersions() override;
    std::shared_ptr<ServerConfiguration> getServerConfiguration() override;
    void setServerStatus(const std::wstring& text) override;

private:
    [[nodiscard]] std::filesystem::path projectsFolder() const;
    [[nodiscard]] SovdModel sovdModel() const;
    [[nodiscard]] RuntimeServer::Sources serverSources();
    [[nodiscard]] ServerModel serverModel();
    [[nodiscard]] VehicleState vehicleState() const;
    [[nodiscard]] std::filesystem::path reportsFolder() const;
    /// Throws `RpcError` (NotPossible) while the runtime is shutting down: what waits for its turn
    /// then must not begin behind the run that the shutdown cancels. One that is just beginning is
    /// ended with the server.
    bool startForClient(const std::wstring& name, const std::wstring& client);
    bool cancelForClient(const std::wstring& client);
    [[nodiscard]] std::shared_ptr<ServerHandler> currentHandler() const;
    struct OpenedVehicle {
        SelectedVehicle vehicle;
        /// True when this call opened the access; the caller then closes it after a failure.
        bool isNew = false;
    };
    /// Returns the selection with an open access. An open access is reused when it uses the
    /// interface that is enabled now, with the same parameters. `opening` serializes the callers,
    /// so that they share one access.
    OpenedVehicle openVehicle();
    /// Throws `KelApiException` when the selection changes meanwhile, which ends it at once.
    [[nodiscard]] std::shared_ptr<VehicleAccess> openAccess(const SelectedVehicle& vehicle,
                                                            const std::wstring& interfaceName,
                                                            const RuntimeSettings& inEffect);
    void giveUp(const OpenedVehicle& opened);
    [[nodiscard]] Uds::OnBusEvent busListener(const RuntimeSettings& inEffect) const;
    /// What is known of a job before it runs. `access` cancels the job when it is closed.
    template <class Result>
    struct Launch {
        KelApi::JobCallback<Result>* callback;
        std::shared_ptr<VehicleAccess> access;
        JobKind kind = JobKind::Service;
        std::wstring name;
        /// Control units that a quick test asks.
        std::size_t units = 0;
    };
    template <class Result, class Body>
    JobId launch(Launch<Result> what, Body body);

    const RuntimeEnvironment environment;
    ActiveSettings settings;
    VehicleInterfaces interfaces;
    Selection selection;
    /// Taken before every other lock.
    std::mutex opening;
    /// What the newest access was opened over. Guarded by `opening`.
    InterfaceEntry openedOver;

    mutable std::mutex mutex;
    std::shared_ptr<ServerHandler> serverHandler;
    /// From the status "Shutting down" until an address is started again.
    std::atomic<bool> isShuttingDown = false;
    /// The connection that is being opened, in words; empty when none is.
    std::wstring underWay;

    StatusLog statuses{environment.now};
    /// A job that outlives the runtime still tells it how it goes.
    const std::shared_ptr<RunLog> runs = std::make_shared<RunLog>(environment.now);
    SovdServer sovd;
    /// Declared last, so that all jobs end before the other members are destroyed.
    JobRunner jobs;
    /// Ends before the jobs: its clients use everything else.
    RuntimeServer server;
};

} // namespace Quarlen::Kel_cpp
