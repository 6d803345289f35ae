#include "tools/kelctl/commands/SequenceCommands.hpp"

#include <memory>
#include <optional>
#include <utility>

#include <boost/json/array.hpp>

#include "tools/kelctl/base/Failure.hpp"
#include "tools/kelctl/commands/RunFollower.hpp"
#include "tools/kelctl/server/RpcSession.hpp"

namespace Quarlen::Ctl {

namespace json = boost::json;

namespace {

void show(Output& out, const json::value& status) {
    out.line(printable(status.at("time")) + "  " + printable(status.at("text")));
    out.value(status);
}

ExitCode showStatus(const CommandContext& context, bool watch) {
    RpcSession session(context.place);
    if (!watch) {
        show(context.out(), session.call("status.get"));
        return ExitCode::Done;
    }
    session.call("status.subscribe");
    for (;;) {
        const auto notification = session.nextNotification();
        if (notification.method == "status.changed") {
            show(context.out(), notification.params);
        }
    }
}

ExitCode cancel(const CommandContext& context) {
    RpcSession session(context.place);
    const json::value answer = session.call("sequence.cancel");
    if (!answer.at("handled").as_bool()) {
        throw Failure(ExitCode::Refused,
                      "no sequence can be cancelled while the server starts or stops");
    }
    context.out().line("cancelled; the buttons rest until the program is started again");
    context.out().value(answer);
    return ExitCode::Done;
}

/// A start that is refused is refused at once, so a call behind it tells that it was taken.
ExitCode start(const CommandContext& context, const std::string& name) {
    RpcSession session(context.place);
    const std::uint64_t id = session.begin("sequence.start", {{"name", name}});
    session.call("session.role");
    if (const auto answer = session.answerSoFar(id); answer && !answer->at("handled").as_bool()) {
        throw Failure(ExitCode::Refused, "no sequence can start while the server starts or stops");
    }
    context.out().line("started " + printable(name));
    context.out().value({{"started", name}});
    return ExitCode::Done;
}

void addStatus(CLI::App& application, CommandContext& context) {
    const auto watch = std::make_shared<bool>(false);
    addCommand(application, context, "status", "Show the status of the server",
               "  kelctl status\n  kelctl --host bench-3 status --watch",
               [&context, watch] { return showStatus(context, *watch); })
        ->add_flag("--watch", *watch, "Go on with every change until Ctrl-C");
}

void addStart(CLI::App& application, CommandContext& context) {
    const auto name = std::make_shared<std::string>();
    const auto follow = std::make_shared<bool>(false);
    CLI::App* const command =
        addCommand(application, context, "start", "Run a sequence",
                   "  kelctl start Demo.xml\n  kelctl start Flash.xml --follow || echo not clean",
                   [&context, name, follow] {
                       return *follow ? followRun(context, *name) : start(context, *name);
                   });
    command->add_option("name", *name, "Script in KelServerScripts, or a path there")
        ->required()
        ->check(notEmpty());
    command->add_flag("--follow", *follow,
                      "Show what happens until the run has ended, and end\n"
                      "with its outcome: 0 clean, 1 failed, 4 findings,\n"
                      "5 cancelled. Ctrl-C ends the watching, not the run");
}

} // namespace

void addSequenceCommands(CLI::App& application, CommandContext& context) {
    addStatus(application, context);
    addStart(application, context);
    addCommand(application, context, "cancel", "End the running sequence; the buttons then rest",
               "  kelctl cancel", [&context] { return cancel(context); });
}

} // namespace Quarlen::Ctl
