#include "tools/kelctl/Program.hpp"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <cerrno>
#include <fstream>
#include <limits>
#include <ostream>
#include <stdexcept>

#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include "platform/Paths.hpp"
#include "platform/StreamError.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kelctl/base/Failure.hpp"
#include "tools/kelctl/commands/CompletionCommand.hpp"
#include "tools/kelctl/commands/ConfigCommands.hpp"
#include "tools/kelctl/commands/ReportCommands.hpp"
#include "tools/kelctl/commands/RestCommands.hpp"
#include "tools/kelctl/commands/ScriptCommands.hpp"
#include "tools/kelctl/commands/SequenceCommands.hpp"
#include "tools/kelctl/commands/SupportCommands.hpp"
#include "tools/kelctl/commands/TokenCommands.hpp"
#include "tools/kelctl/commands/VehicleCommands.hpp"
#include "tools/kelctl/commands/WatchCommand.hpp"

namespace Quarlen::Ctl {

namespace {

/// What belongs to no single command.
struct CommonOptions {
    bool json = false;
    std::string tokenFile;
};

void addCommonOptions(CLI::App& application, CommandContext& context, CommonOptions& common) {
    application
        .add_option("--host", context.place.host, "Name or IPv4 address of the server [127.0.0.1]")
        ->option_text("HOST")
        ->check(notEmpty());
    const CLI::Range ports(std::uint16_t{1}, std::numeric_limits<std::uint16_t>::max());
    application.add_option("--port", context.place.port, "Port of the runtime's server [58000]")
        ->option_text("PORT")
        ->check(ports);
    application.add_option("--rest-port", context.place.restPort, "Port of the REST API [8011]")
        ->option_text("PORT")
        ->check(ports);
    application.add_option("--token-file", common.tokenFile,
                           "File with the token, for a server elsewhere");
    application.add_flag("--json", common.json, "Say everything as JSON, a value a line");
}

/// The first word of the file, which may be a pipe.
std::string readToken(const std::string& file) {
    errno = 0;
    std::ifstream stream(Platform::openablePath(Platform::toPath(Platform::fromUtf8(file))));
    std::string token;
    stream >> token;
    if (!stream.is_open() || stream.bad()) {
        throw Failure(ExitCode::Refused,
                      "the token file " + file + " cannot be read: " +
                          Platform::toUtf8(Platform::errorText(Platform::streamError())));
    }
    if (token.empty()) {
        throw Failure(ExitCode::WrongUsage, "the token file " + file + " has no token");
    }
    return token;
}

ExitCode run(CommandContext& context, const CommonOptions& common,
             const ProgramEnvironment& environment) {
    if (!common.tokenFile.empty()) {
        context.place.token = readToken(common.tokenFile);
    }
    Output output(environment.output,
                  {common.json, environment.isTerminal,
                   environment.isTerminal && !environment.noColour && !common.json});
    context.output = &output;
    return context.chosen();
}

ExitCode fail(const ProgramEnvironment& environment, const Failure& failure, bool asJson) {
    const std::string cause = printable(std::string_view(failure.what()));
    if (cause.empty()) {
        return failure.code();
    }
    if (asJson) {
        environment.errors << boost::json::serialize(boost::json::object{{"error", cause}}) << '\n';
    } else {
        environment.errors << "kelctl: " << cause << '\n';
    }
    return failure.code();
}

/// The library asks for a command before it looks at words that are none.
std::string causeOf(const CLI::App& application, const CLI::ParseError& error) {
    const auto others = application.remaining();
    return others.empty() ? error.what()
                          : "there is no command or option " + others.front() + "; see --help";
}

/// Help ends well; every other fault of the command line is wrong usage.
ExitCode explain(const CLI::App& application, const CLI::ParseError& error,
                 const ProgramEnvironment& environment, bool asJson) {
    if (error.get_exit_code() == 0) {
        application.exit(error, environment.output, environment.errors);
        return ExitCode::Done;
    }
    return fail(environment, Failure(ExitCode::WrongUsage, causeOf(application, error)), asJson);
}

} // namespace

int runProgram(std::vector<std::string> arguments, const ProgramEnvironment& environment) {
    CLI::App application("Starts, watches and looks after a kel_server.", "kelctl");
    application.require_subcommand(1);
    // A path may begin with a slash on every system.
    application.allow_windows_style_options(false);
    application.set_version_flag("--version", "kelctl " KELCTL_VERSION,
                                 "Show the program's version");
    CommandContext context;
    CommonOptions common;
    addCommonOptions(application, context, common);
    addSequenceCommands(application, context);
    addRestCommands(application, context);
    addReportCommands(application, context);
    addScriptCommands(application, context);
    addConfigCommands(application, context);
    addSupportCommands(application, context);
    addTokenCommands(application, context);
    addVehicleCommands(application, context);
    addWatchCommand(application, context);
    addCompletionCommand(application, context);
    // Known also where the rest of the line is wrong.
    const bool wantsJson =
        std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
    ExitCode code = ExitCode::Done;
    try {
        std::reverse(arguments.begin(), arguments.end());
        application.parse(arguments);
        code = run(context, common, environment);
    } catch (const CLI::ParseError& error) {
        code = explain(application, error, environment, wantsJson);
    } catch (const Failure& failure) {
        code = fail(environment, failure, wantsJson);
    } catch (const std::logic_error& error) {
        // A member that a server of this version has is missing, or is of another type.
        code =
            fail(environment,
                 Failure(ExitCode::Refused,
                         std::string("the server answered something unexpected: ") + error.what()),
                 wantsJson);
    } catch (const std::exception& error) {
        code = fail(environment,
                    Failure(ExitCode::Refused, Platform::toUtf8(Platform::exceptionText(error))),
                    wantsJson);
    }
    return static_cast<int>(code);
}

} // namespace Quarlen::Ctl
