#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "kel_server_lib/runtime/KelApi.hpp"
#include "kel_server_lib/runtime/ServerHandler.hpp"

namespace Quarlen::Tests {

/// A runtime that does nothing but write down, in order, what is asked of it.
///
/// A call's text is the operation's name with its input arguments, for example
/// "selectProject(P1)", "cancelJobs(7)", "executeService(#OTX, Otx_ReadIdent)" or
/// "setTargetFilters(ENGINE=on, BRAKES=off)"; texts are UTF-8. What would read alike is told apart:
/// an empty text in a list is `""`, a text with a comma stands in quotation marks, a null pointer
/// is "no ...", an out argument that was not handed in empty is "... not empty". The records that
/// were handed in are kept below, together with the callbacks of the launches; a launch without a
/// callback is refused by an exception. Calls, hooks and records may be used from any thread; set
/// the public members before other threads call.
class RecordingKelApi : public Kel_cpp::KelApi {
public:
    using Hook = std::function<void()>;

    [[nodiscard]] std::vector<std::string> calls() const;
    /// The calls of these operations only, for example `callsOf({"setServerStatus"})`.
    [[nodiscard]] std::vector<std::string> callsOf(const std::vector<std::string>& names) const;
    [[nodiscard]] std::size_t count(const std::string& call) const;
    void forgetCalls();

    /// Runs `hook` inside every call that has this operation name ("selectProject") or this whole
    /// text ("selectProject(P1)"), after it was written down. What the hook throws the call throws.
    void during(const std::string& call, Hook hook);
    void throwIn(const std::string& call, const std::wstring& message, std::int32_t code);
    /// As `throwIn`, with an exception that is not the facade's own: a `std::runtime_error`.
    void throwOtherIn(const std::string& call, const std::string& message);

    // What the operations hand out.
    Kel_cpp::RecordList<Kel_cpp::ActiveConnection> activeConnections;
    Kel_cpp::RecordList<Kel_cpp::ComponentVersion> componentVersions;
    Kel_cpp::RecordList<Kel_cpp::DataFolder> dataFolders;
    Kel_cpp::RecordList<Kel_cpp::FlashSession> flashSessions;
    Kel_cpp::RecordList<Kel_cpp::IdentifiedTarget> identifiedTargets;
    Kel_cpp::RecordList<Kel_cpp::ProjectEntry> projects;
    Kel_cpp::RecordList<Kel_cpp::ProjectObject> projectObjects;
    Kel_cpp::RecordList<Kel_cpp::ServiceResult> syncServiceResults;
    Kel_cpp::RecordList<Kel_cpp::TargetEntry> targets;
    Kel_cpp::RecordList<Kel_cpp::UpdateDescription> updateDescriptions;
    std::shared_ptr<Kel_cpp::DeviceInfo> deviceInfo = std::make_shared<Kel_cpp::DeviceInfo>();
    std::shared_ptr<Kel_cpp::FlashInfo> flashInfo = std::make_shared<Kel_cpp::FlashInfo>();
    std::shared_ptr<Kel_cpp::InterfaceSettings> interfaceSettings =
        std::make_shared<Kel_cpp::InterfaceSettings>();
    std::shared_ptr<Kel_cpp::PathSettings> pathSettings = std::make_shared<Kel_cpp::PathSettings>();
    std::shared_ptr<Kel_cpp::ProjectDetails> projectDetails =
        std::make_shared<Kel_cpp::ProjectDetails>();
    std::shared_ptr<Kel_cpp::ServerConfiguration> serverConfiguration =
        std::make_shared<Kel_cpp::ServerConfiguration>();
    std::shared_ptr<Kel_cpp::ServerSettings> serverSettings =
        std::make_shared<Kel_cpp::ServerSettings>();
    /// Handle of every unlock session.
    std::uint64_t unlockHandle = 1;
    /// Identifier of every launched job.
    JobId jobId = 1;
    std::wstring reportFileName = L"report.html";
    std::wstring selectedProjectName;
    std::wstring serverVersion = L"1.0.0";
    /// The address that `startServer` returns; by default the one it was given.
    std::function<std::wstring(const std::wstring&)> startedAddress;

    /// What a launched job reports, run inside the launch. By default the job ends at once with
    /// one last report without results. A job that reports later may start a thread or keep the
    /// callback.
    std::function<void(ExecuteFlashSessionsCallback&)> flashJob;
    std::function<void(PerformQuickTestCallback&)> quickTestJob;
    std::function<void(ExecuteServiceCallback&)> serviceJob;

    // What was handed in last.
    ExecuteFlashSessionsCallback* flashCallback = nullptr;
    PerformQuickTestCallback* quickTestCallback = nullptr;
    ExecuteServiceCallback* serviceCallback = nullptr;
    std::shared_ptr<Kel_cpp::ServerHandler> serverHandler;
    std::shared_ptr<Kel_cpp::QuicktestConfig> quicktestConfig;
    std::shared_ptr<Kel_cpp::DtcReadConfig> dtcReadConfig;
    std::shared_ptr<Kel_cpp::DtcReadConfig> reportDtcReadConfig;
    std::shared_ptr<Kel_cpp::VehicleReportConfig> vehicleReportConfig;
    Kel_cpp::RecordList<Kel_cpp::QuickTestResult> reportResults;
    Kel_cpp::RecordList<Kel_cpp::ServiceInput> serviceInputs;
    Kel_cpp::RecordList<Kel_cpp::UpdatePackageInfo> updatePackages;

    // The facade.
    void initialize() override;
    std::wstring startServer(const std::wstring& address) override;
    void stopServer(const std::wstring& address) override;
    std::shared_ptr<Kel_cpp::ProjectDetails>
    getProjectDetails(const std::wstring& projectName) override;
    void commitServerSettings() override;
    void getProjectObjects(Kel_cpp::RecordList<Kel_cpp::ProjectObject>& objects,
                           const std::wstring& kind, const std::wstring& filter,
                           std::shared_ptr<Kel_cpp::Record> context, std::uint32_t flags) override;
    void getFlashInfo(std::shared_ptr<Kel_cpp::FlashInfo>& info,
                      const std::wstring& flashItem) override;
    void getFlashSessions(Kel_cpp::RecordList<Kel_cpp::FlashSession>& sessions,
                          const std::wstring& item, const std::wstring& target) override;
    JobId executeFlashSessions(const std::wstring& flashItem,
                               const std::vector<std::wstring>& sessionNames, std::uint32_t flags,
                               ExecuteFlashSessionsCallback* callback) override;
    JobId performQuickTest(std::shared_ptr<Kel_cpp::QuicktestConfig> config,
                           std::shared_ptr<Kel_cpp::DtcReadConfig> dtcConfig,
                           PerformQuickTestCallback* callback) override;
    void applyInterfaceSettings() override;
    void connectVehicle() override;
    void beginProjectSelection() override;
    void commitProjectPath() override;
    void executeServiceSync(Kel_cpp::RecordList<Kel_cpp::ServiceResult>& results,
                            const std::wstring& logicalLink,
                            const Kel_cpp::RecordList<Kel_cpp::ServiceInput>& inputs) override;
    JobId executeService(const std::wstring& target,
                         const Kel_cpp::RecordList<Kel_cpp::ServiceInput>& inputs,
                         ExecuteServiceCallback* callback) override;
    void identifyVehicle(Kel_cpp::RecordList<Kel_cpp::IdentifiedTarget>& found, std::uint32_t flags,
                         std::shared_ptr<Kel_cpp::VehicleIdentification>& identification) override;
    void cancelJobs(const std::vector<JobId>& jobs) override;
    void getDataFolders(Kel_cpp::RecordList<Kel_cpp::DataFolder>& folders,
                        std::int32_t kind) override;
    void createVehicleReport(std::wstring& fileName, const std::wstring& reportName,
                             std::shared_ptr<Kel_cpp::DtcReadConfig> dtcConfig,
                             const Kel_cpp::RecordList<Kel_cpp::QuickTestResult>& results,
                             std::shared_ptr<Kel_cpp::VehicleReportConfig> reportConfig) override;
    void setServerHandler(std::shared_ptr<Kel_cpp::ServerHandler> handler) override;
    std::shared_ptr<Kel_cpp::UnlockSession>
    openUnlockSession(const std::wstring& name,
                      const std::vector<std::wstring>& parameters) override;
    void releaseJob(std::uint64_t handle) override;
    std::shared_ptr<Kel_cpp::DeviceInfo> getDeviceInfo() override;
    void
    installUpdatePackages(const Kel_cpp::RecordList<Kel_cpp::UpdatePackageInfo>& packages) override;
    void
    prepareUpdatePackages(const std::vector<std::wstring>& paths,
                          Kel_cpp::RecordList<Kel_cpp::UpdateDescription>& descriptions) override;
    void startSovdServer() override;
    void stopSovdServer() override;
    void getProjects(Kel_cpp::RecordList<Kel_cpp::ProjectEntry>& entries) override;
    std::wstring getServerVersion() override;
    std::wstring getSelectedProjectName() override;
    void selectProject(const std::wstring& projectName) override;
    std::shared_ptr<Kel_cpp::ServerSettings> getServerSettings() override;
    void setServerSettings(std::shared_ptr<Kel_cpp::ServerSettings> settings) override;
    void selectVehicleInformation(const std::wstring& name) override;
    void getTargets(Kel_cpp::RecordList<Kel_cpp::TargetEntry>& entries) override;
    void getActiveConnections(Kel_cpp::RecordList<Kel_cpp::ActiveConnection>& connections) override;
    std::shared_ptr<Kel_cpp::PathSettings> getProjectPath() override;
    void setProjectPath(std::shared_ptr<Kel_cpp::PathSettings> settings) override;
    std::shared_ptr<Kel_cpp::InterfaceSettings> getInterfaceSettings() override;
    void setInterfaceSettings(std::shared_ptr<Kel_cpp::InterfaceSettings> settings) override;
    void setTargetFilters(const Kel_cpp::RecordList<Kel_cpp::TargetFilter>& filters) override;
    Kel_cpp::RecordList<Kel_cpp::ComponentVersion> getComponentVersions() override;
    std::shared_ptr<Kel_cpp::ServerConfiguration> getServerConfiguration() override;
    void setServerStatus(const std::wstring& status) override;

private:
    void record(const std::string& operation, const std::string& arguments = {});
    [[nodiscard]] std::vector<Hook> hooksFor(const std::string& operation,
                                             const std::string& call) const;

    template <class Value>
    void keep(Value& place, Value value) {
        const std::lock_guard lock(mutex);
        place = std::move(value);
    }
    /// The settings of a write, which hooks see already; a call that throws puts the former back.
    template <class Settings>
    void takeOver(std::shared_ptr<Settings>& place, std::shared_ptr<Settings> settings,
                  const std::string& operation);

    mutable std::mutex mutex;
    std::vector<std::string> recorded;
    std::map<std::string, Hook> hooks;
};

} // namespace Quarlen::Tests
