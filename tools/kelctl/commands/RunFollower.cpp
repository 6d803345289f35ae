#include "tools/kelctl/commands/RunFollower.hpp"

#include <cstddef>
#include <limits>
#include <optional>

#include <boost/json/array.hpp>

#include "platform/Terminal.hpp"
#include "tools/kelctl/base/Failure.hpp"
#include "tools/kelctl/output/Progress.hpp"
#include "tools/kelctl/output/ServerTable.hpp"
#include "tools/kelctl/server/RpcSession.hpp"

namespace Quarlen::Ctl {

namespace json = boost::json;

namespace {

struct Outcome {
    ExitCode code;
    Colour colour;
};

Outcome outcomeOf(const std::string& word) {
    if (word == "clean") {
        return {ExitCode::Done, Colour::Good};
    }
    if (word == "findings") {
        return {ExitCode::Findings, Colour::Note};
    }
    if (word == "cancelled") {
        return {ExitCode::Cancelled, Colour::Quiet};
    }
    return {ExitCode::Refused, Colour::Bad};
}

/// Shows the notifications of one server and keeps the end of our run.
class Follower {
public:
    Follower(Output& out, std::string name, std::string ownAddress)
        : out(out), name(std::move(name)), ownAddress(std::move(ownAddress)) {}

    void take(const RpcSession::Notification& notification) {
        out.value({{"method", notification.method}, {"params", notification.params}});
        if (notification.method == "status.changed") {
            out.line(printable(notification.params.at("time")) + "  " +
                     printable(notification.params.at("text")));
        } else if (notification.method == "job.progress") {
            out.replaceLine(firstLetters(progressLine(notification.params), columns()));
        } else if (notification.method == "run.ended") {
            takeEnd(notification.params);
        }
    }

    [[nodiscard]] const std::optional<json::object>& run() const { return ended; }

private:
    /// A bar of two rows could not be taken back.
    static std::size_t columns() {
        const auto size = Platform::outputTerminalSize();
        return size ? size->columns - 1 : std::numeric_limits<std::size_t>::max();
    }

    /// Behind a proxy the server does not know our address: then it is the last one of the name,
    /// because the end of a run comes before the answer to its start.
    void takeEnd(const json::object& run) {
        const bool isOurs = std::string_view(run.at("client").as_string()).ends_with(ownAddress);
        if (run.at("name") == json::value(name) && (isOurs || !isCertain)) {
            ended = run;
            isCertain = isOurs;
        }
    }

    Output& out;
    const std::string name;
    const std::string ownAddress;
    bool isCertain = false;
    std::optional<json::object> ended;
};

} // namespace

ExitCode followRun(const CommandContext& context, const std::string& name) {
    RpcSession session(context.place);
    Follower follower(context.out(), name, session.ownAddress());
    const auto take = [&](const auto& notification) { follower.take(notification); };
    session.call("status.subscribe", {}, take);
    const json::value answer = session.call("sequence.start", {{"name", name}}, take);
    if (!answer.at("handled").as_bool() || !follower.run()) {
        throw Failure(ExitCode::Refused, "the server did not run " + printable(name));
    }
    const std::string word = printable(follower.run()->at("outcome"));
    const Outcome outcome = outcomeOf(word);
    context.out().line(context.out().coloured(outcome.colour, word));
    for (const json::value& report : follower.run()->at("reports").as_array()) {
        context.out().line("report " + printable(report));
    }
    return outcome.code;
}

} // namespace Quarlen::Ctl
