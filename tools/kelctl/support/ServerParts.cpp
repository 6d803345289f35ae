#include "tools/kelctl/support/ServerParts.hpp"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <system_error>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include "platform/FileFacts.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kelctl/base/Failure.hpp"
#include "tools/kelctl/server/HttpExchange.hpp"
#include "tools/kelctl/server/RestClient.hpp"
#include "tools/kelctl/server/RpcSession.hpp"
#include "tools/kelctl/support/Secrets.hpp"

namespace Quarlen::Ctl {

namespace json = boost::json;

namespace {

/// The run that somebody asks about is a recent one.
constexpr std::size_t maxRuns = 20;

using OnAnswer = std::function<void(const json::value& answer)>;

/// One part: a fault of it, an answer that is none included, leaves the others as they are. False
/// when the server is not there.
bool addAnswerOf(const std::string& name, const std::function<json::value()>& ask,
                 const AddPart& add, const NotePart& note, const OnAnswer& use = {}) {
    try {
        const json::value answer = ask();
        add(name, json::serialize(withoutSecrets(answer)) + "\n");
        if (use) {
            use(answer);
        }
    } catch (const Failure& failure) {
        note(name + ": " + failure.what());
        return failure.code() != ExitCode::NotReachable;
    } catch (const std::exception& error) {
        note(name + ": the server answered something unexpected: " +
             Platform::toUtf8(Platform::exceptionText(error)));
    }
    return true;
}

void addRestParts(const ServerPlace& place, ServerPaths& paths, const AddPart& add,
                  const NotePart& note) {
    const RestClient client(place);
    const auto keepPaths = [&](const json::value& answer) {
        const auto folder =
            Platform::toPath(Platform::fromUtf8(std::string(answer.at("tracesPath").as_string())));
        if (place.isLocal() && Platform::isFolder(folder)) {
            paths.traces = folder;
        }
    };
    for (const std::string name : {"version", "configurations", "tracing", "simulation"}) {
        const bool isThere = addAnswerOf(
            "server/" + name + ".json", [&] { return client.get("/" + name); }, add, note,
            name == "configurations" ? OnAnswer(keepPaths) : OnAnswer());
        if (!isThere) {
            return;
        }
    }
}

/// The last ones of a list.
template <class Use>
void forLatest(const json::array& list, std::size_t count, Use use) {
    for (std::size_t index = list.size() - std::min(count, list.size()); index < list.size();
         ++index) {
        use(list[index].as_object());
    }
}

bool addRuns(RpcSession& session, const AddPart& add, const NotePart& note) {
    const auto addEach = [&](const json::value& runs) {
        forLatest(runs.as_array(), maxRuns, [&](const json::object& run) {
            const json::value id = run.at("id");
            addAnswerOf(
                "server/run-" + std::to_string(id.to_number<std::uint64_t>()) + ".json",
                [&] {
                    return session.call("runs.get", {{"id", id}});
                },
                add, note);
        });
    };
    return addAnswerOf(
        "server/runs.json", [&] { return session.call("runs.list"); }, add, note, addEach);
}

/// The names come from the server: what stands behind the last slash counts.
std::string plainName(const std::string& name) {
    const std::size_t slash = name.find_last_of("/\\");
    return slash == std::string::npos ? name : name.substr(slash + 1);
}

void addReport(const ServerPlace& place, const std::string& name, const AddPart& add,
               const NotePart& note) {
    try {
        add("reports/" + plainName(name), withoutSecrets(fetchReport(place, name)));
    } catch (const Failure& failure) {
        note("reports/" + plainName(name) + ": " + failure.what());
    }
}

} // namespace

ServerPaths addServerParts(const ServerPlace& place, const AddPart& add, const NotePart& note) {
    ServerPaths paths;
    addRestParts(place, paths, add, note);
    try {
        RpcSession session(place);
        for (const std::string method :
             {"status.history", "connections.list", "jobs.list", "projects.list", "sequence.list",
              "sequence.waiting", "sequence.lastCancel", "server.version", "vehicle.get"}) {
            if (!addAnswerOf(
                    "server/" + method + ".json", [&] { return session.call(method); }, add,
                    note)) {
                return paths;
            }
        }
        addRuns(session, add, note);
    } catch (const Failure& failure) {
        note(std::string("what the runtime's server tells: ") + failure.what());
    }
    return paths;
}

bool addServerReports(const ServerPlace& place, const AddPart& add, const NotePart& note) {
    bool isTold = false;
    try {
        RpcSession session(place);
        const auto addEach = [&](json::value reports) {
            json::array& list = reports.as_array();
            std::sort(list.begin(), list.end(),
                      [](const json::value& left, const json::value& right) {
                          return left.at("time").as_string() < right.at("time").as_string();
                      });
            isTold = true;
            forLatest(list, maxReports, [&](const json::object& report) {
                addReport(place, std::string(report.at("name").as_string()), add, note);
            });
        };
        addAnswerOf(
            "server/reports.json", [&] { return session.call("reports.list"); }, add, note,
            addEach);
    } catch (const Failure&) {
        // Has been told with the server's other parts.
    }
    return isTold;
}

} // namespace Quarlen::Ctl
