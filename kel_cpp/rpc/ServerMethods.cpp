#include "kel_cpp/rpc/ServerMethods.hpp"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include <boost/json/array.hpp>

#include "kel_cpp/rpc/JsonRecords.hpp"
#include "kel_cpp/rpc/MethodDescriptions.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp {

namespace json = boost::json;

namespace {

using JsonRecords::roleName;
using JsonRecords::text;
using JsonRecords::texts;
using Run = std::function<void(const RpcCall&)>;

template <class Entries, class Convert>
json::array listOf(const Entries& entries, Convert convert) {
    json::array array;
    for (const auto& entry : entries) {
        array.push_back(convert(entry));
    }
    return array;
}

/// Answers with what the function returns or throws.
template <class Function>
void answerWith(const RpcAnswer& answer, Function function) {
    try {
        answer.result(function());
    } catch (...) {
        answer.failure(std::current_exception());
    }
}

template <class Function>
Run atOnce(Function function) {
    return [function](const RpcCall& call) {
        call.params.allowOnly({});
        call.answer.result(function());
    };
}

template <class Function>
Run asQuery(ServerTasks& tasks, Function function) {
    return [&tasks, function](const RpcCall& call) {
        call.params.allowOnly({});
        tasks.query([answer = call.answer, function] { answerWith(answer, function); });
    };
}

json::object handledAnswer(bool handled) {
    return {{"handled", handled}};
}

std::wstring scriptName(const RpcParams& params) {
    std::wstring name = params.text("name");
    if (name.size() > maxScriptName) {
        throw RpcError(RpcErrorCode::InvalidParams, "the parameter \"name\" has at most " +
                                                        std::to_string(maxScriptName) +
                                                        " characters");
    }
    return name;
}

Run startOf(const ServerMethodsContext& context) {
    return [context](const RpcCall& call) {
        call.params.allowOnly({"name"});
        const std::wstring name = scriptName(call.params);
        const std::wstring client = call.client->name();
        // A client that vanishes does not take its start back: until that has ended it counts as
        // an active connection, without which no sequence starts.
        const auto run = [&model = context.model, answer = call.answer, name, client,
                          listed = context.keepListed(client)] {
            answerWith(answer, [&] { return handledAnswer(model.startSequence(name, client)); });
        };
        const auto drop = [answer = call.answer] {
            answer.failure(std::make_exception_ptr(
                RpcError(RpcErrorCode::NotPossible, "the server has stopped")));
        };
        context.tasks.start({name, client, std::chrono::system_clock::now()}, run, drop,
                            context.runs.isClientWaiting());
    };
}

Run cancelOf(const ServerMethodsContext& context) {
    return [context](const RpcCall& call) {
        call.params.allowOnly({});
        context.tasks.cancel(
            [&model = context.model, answer = call.answer, client = call.client->name()] {
                answerWith(answer, [&] { return handledAnswer(model.cancelSequence(client)); });
            });
    };
}

Run runOf(const ServerMethodsContext& context) {
    return [&runs = context.runs, &tasks = context.tasks](const RpcCall& call) {
        call.params.allowOnly({"id"});
        const std::uint64_t id = call.params.number("id");
        tasks.query([&runs, answer = call.answer, id] {
            answerWith(answer, [&] {
                const auto found = runs.find(id);
                if (!found) {
                    throw RpcError(RpcErrorCode::NotFound, "there is no run " + std::to_string(id));
                }
                return JsonRecords::run(*found);
            });
        });
    };
}

/// The answer goes first, so that the client knows what the first notification is about. The
/// present text is older than the answer: who has the answer misses nothing.
Run subscribeTo(const StatusLog& statuses) {
    return [&statuses](const RpcCall& call) {
        call.params.allowOnly({});
        if (!call.client->canSubscribe()) {
            throw RpcError(RpcErrorCode::NotPossible,
                           "notifications need a WebSocket: this connection ends with the answer");
        }
        const StatusEntry present = statuses.current();
        call.answer.result(true);
        call.client->subscribe(present);
    };
}

void unsubscribe(const RpcCall& call) {
    call.params.allowOnly({});
    call.client->unsubscribe();
    call.answer.result(true);
}

void tellRole(const RpcCall& call) {
    call.params.allowOnly({});
    call.answer.result(roleName(call.client->role()));
}

json::object waitingStart(const WaitingStart& start) {
    return {{"name", text(start.name)},
            {"client", text(start.client)},
            {"since", JsonRecords::timeText(start.since)}};
}

/// A start that has been taken may still wait for a run that a button began.
json::array waitingStarts(const ServerTasks& tasks, const RunLog& runs) {
    json::array array;
    if (const auto taken = tasks.latestTakenStart(); taken && runs.isClientWaiting()) {
        array.push_back(waitingStart(*taken));
    }
    for (const WaitingStart& start : tasks.waitingStarts()) {
        array.push_back(waitingStart(start));
    }
    return array;
}

json::value lastCancel(const RunLog& runs) {
    const auto time = runs.lastCancel();
    return time ? json::value(JsonRecords::timeText(*time)) : json::value();
}

json::object reportFile(const ReportFile& file) {
    return {{"name", text(file.name)},
            {"bytes", file.bytes},
            {"time", JsonRecords::timeText(file.time)}};
}

json::object vehicleState(const VehicleState& state) {
    return {{"project", text(state.project)},
            {"vehicleInformation", text(state.vehicleInformation)},
            {"interface", text(state.interfaceName)}};
}

std::map<std::string_view, Run> inMemory(const ServerMethodsContext& context) {
    return {
        {"jobs.list",
         atOnce([&runs = context.runs] { return listOf(runs.progress(), JsonRecords::progress); })},
        {"runs.list",
         atOnce([&runs = context.runs] { return listOf(runs.latest(), JsonRecords::runSummary); })},
        {"runs.get", runOf(context)},
        {"sequence.lastCancel", atOnce([&runs = context.runs] { return lastCancel(runs); })},
        {"sequence.waiting", atOnce([&tasks = context.tasks, &runs = context.runs] {
             return waitingStarts(tasks, runs);
         })},
        {"server.describe", atOnce([version = context.model.version] {
             return describeServerMethods(Platform::toUtf8(version()));
         })},
        {"server.version", atOnce([version = context.model.version] { return text(version()); })},
        {"session.login", context.logIn},
        {"session.role", tellRole},
        {"status.get", atOnce([&statuses = context.statuses] {
             return JsonRecords::status(statuses.current());
         })},
        {"status.history", atOnce([&statuses = context.statuses] {
             return listOf(statuses.latest(), JsonRecords::status);
         })},
        {"status.subscribe", subscribeTo(context.statuses)},
        {"status.unsubscribe", unsubscribe},
    };
}

std::map<std::string_view, Run> inTasks(const ServerMethodsContext& context) {
    const ServerModel& model = context.model;
    ServerTasks& tasks = context.tasks;
    return {
        {"connections.list", asQuery(tasks, [&model] { return texts(model.connections()); })},
        {"projects.list", asQuery(tasks, [&model] { return texts(model.projects()); })},
        {"reports.list", asQuery(tasks, [&model] { return listOf(model.reports(), reportFile); })},
        {"sequence.cancel", cancelOf(context)},
        {"sequence.list", asQuery(tasks, [&model] { return texts(model.scripts()); })},
        {"sequence.start", startOf(context)},
        {"vehicle.get", asQuery(tasks, [&model] { return vehicleState(model.vehicle()); })},
    };
}

json::object description(const MethodDescription& method) {
    json::array params;
    if (!method.parameter.empty()) {
        params.push_back(json::object{{"name", json::string(method.parameter)},
                                      {"required", true},
                                      {"schema", method.parameterSchema()}});
    }
    return {{"name", json::string(method.name)},
            {"summary", json::string(method.summary)},
            {"x-role", roleName(method.role)},
            {"paramStructure", "by-name"},
            {"params", std::move(params)},
            {"result", json::object{{"name", "result"}, {"schema", method.resultSchema()}}}};
}

json::object description(const NotificationDescription& notification) {
    return {{"name", json::string(notification.name)},
            {"summary", json::string(notification.summary)},
            {"params", notification.paramsSchema()}};
}

} // namespace

std::vector<RpcMethod> serverMethods(const ServerMethodsContext& context) {
    std::map<std::string_view, Run> functions = inMemory(context);
    functions.merge(inTasks(context));
    std::vector<RpcMethod> methods;
    methods.reserve(methodDescriptions.size());
    for (const MethodDescription& method : methodDescriptions) {
        methods.push_back(
            {std::string(method.name), method.role, std::move(functions.at(method.name))});
    }
    return methods;
}

json::object describeServerMethods(std::string_view version) {
    const auto describe = [](const auto& entry) { return description(entry); };
    return {{"openrpc", "1.2.6"},
            {"info", json::object{{"title", "kel_server"}, {"version", json::string(version)}}},
            {"methods", listOf(methodDescriptions, describe)},
            {"x-notifications", listOf(notificationDescriptions, describe)}};
}

} // namespace Quarlen::Kel_cpp
