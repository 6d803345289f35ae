#include <utility>

#include "kel_cpp/Runtime.hpp"
#include "kel_cpp/ServedFiles.hpp"
#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/history/RunGuards.hpp"
#include "kel_cpp/rpc/RpcError.hpp"
#include "kel_server_lib/runtime/ServerHandler.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen::Kel_cpp {

namespace {

std::shared_ptr<ClientContext> contextOf(const std::wstring& client) {
    auto context = std::make_shared<ClientContext>();
    context->text = client;
    return context;
}

template <class Entry, class Record>
std::vector<std::wstring> textsOf(const RecordList<Record>& records, std::wstring Entry::*member) {
    std::vector<std::wstring> texts;
    for (const auto& record : records) {
        texts.push_back((*record).*member);
    }
    return texts;
}

void traceRequest(const std::wstring& client, const std::wstring& what) {
    StdUtil::TraceHelper::InfoTrace(L"kel_cpp/Runtime", __LINE__, L"client %s %s", client.c_str(),
                                    what.c_str());
}

} // namespace

RuntimeServer::Sources Runtime::serverSources() {
    // The run log hears of a status before the clients do, so that who asks for the runs finds them
    // as far as the status that it has heard of.
    statuses.listen([this](const StatusEntry& status) { runs->statusSet(status); });
    if (environment.onStatus) {
        statuses.listen(environment.onStatus);
    }
    runs->onJobEnd(environment.onJobEnd);
    return {serverModel(), statuses, *runs, [this] {
                const RuntimeSettings inEffect = settings.inEffect();
                return ClientSettings{inEffect.clientLimits, inEffect.tokenFile};
            }};
}

ServerModel Runtime::serverModel() {
    ServerModel model;
    model.version = [this] { return getServerVersion(); };
    model.scripts = [this] { return listScripts(environment.configFolder); };
    model.startSequence = [this](const auto& name, const auto& client) {
        return startForClient(name, client);
    };
    model.cancelSequence = [this](const auto& client) { return cancelForClient(client); };
    model.projects = [this] {
        RecordList<ProjectEntry> projects;
        getProjects(projects);
        return textsOf(projects, &ProjectEntry::name);
    };
    model.connections = [this] {
        RecordList<ActiveConnection> connections;
        getActiveConnections(connections);
        return textsOf(connections, &ActiveConnection::description);
    };
    model.vehicle = [this] { return vehicleState(); };
    model.reports = [this] { return listReports(reportsFolder()); };
    model.report = [this](const std::wstring& name) { return readReport(reportsFolder(), name); };
    return model;
}

std::filesystem::path Runtime::reportsFolder() const {
    return Platform::toPath(settings.inEffect().paths.reportsPath);
}

VehicleState Runtime::vehicleState() const {
    const SelectedVehicle vehicle = selection.current();
    VehicleState state;
    if (vehicle.project) {
        state.project = vehicle.project->name;
    }
    if (vehicle.information != nullptr) {
        state.vehicleInformation = vehicle.information->name;
    }
    if (vehicle.access && vehicle.access->isOpen()) {
        state.interfaceName = vehicle.access->interfaceName();
    }
    return state;
}

std::shared_ptr<ServerHandler> Runtime::currentHandler() const {
    const std::lock_guard lock(mutex);
    return serverHandler;
}

bool Runtime::startForClient(const std::wstring& name, const std::wstring& client) {
    traceRequest(client, L"starts sequence " + inQuotes(name));
    if (isShuttingDown) {
        throw RpcError(RpcErrorCode::NotPossible, "the server stops");
    }
    const auto handler = currentHandler();
    const auto self = weak_from_this().lock();
    bool handled = false;
    if (handler && self) {
        RunLog::ClientRun run(*runs, client);
        try {
            handler->startSequence(name, self, contextOf(client), handled);
        } catch (...) {
            run.fail(currentExceptionText());
            throw;
        }
    }
    return handled;
}

bool Runtime::cancelForClient(const std::wstring& client) {
    traceRequest(client, L"cancels the running sequence");
    const auto handler = currentHandler();
    const auto self = weak_from_this().lock();
    bool handled = false;
    if (handler && self) {
        handler->cancelSequence(self, contextOf(client), handled);
    }
    return handled;
}

} // namespace Quarlen::Kel_cpp
