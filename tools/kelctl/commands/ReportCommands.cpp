#include "tools/kelctl/commands/ReportCommands.hpp"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <memory>

#include <boost/algorithm/string/predicate.hpp>
#include <boost/json/array.hpp>

#include "platform/FileViewer.hpp"
#include "platform/Paths.hpp"
#include "platform/StreamError.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kelctl/base/Failure.hpp"
#include "tools/kelctl/base/TemporaryFolder.hpp"
#include "tools/kelctl/server/HttpExchange.hpp"
#include "tools/kelctl/server/RpcSession.hpp"

namespace Quarlen::Ctl {

namespace json = boost::json;

namespace {

struct ReportWish {
    std::string opened;
    std::string saved;
    std::string folder;
};

ExitCode list(const CommandContext& context) {
    RpcSession session(context.place);
    const json::value reports = session.call("reports.list");
    for (const json::value& report : reports.as_array()) {
        context.out().line(printable(report.at("time")) + "  " + printable(report.at("name")));
    }
    context.out().value(reports);
    return ExitCode::Done;
}

/// A temporary one stays, because the viewer reads the file later.
std::filesystem::path folderFor(const ReportWish& wish) {
    return wish.folder.empty() ? newTemporaryFolder("kelctl-report-")
                               : Platform::toPath(Platform::fromUtf8(wish.folder));
}

/// What a server calls a report may be a program for the system.
void requireReportName(const std::string& name) {
    if (!boost::algorithm::iends_with(name, ".html")) {
        throw Failure(ExitCode::WrongUsage, "a report's name ends in .html: " + name);
    }
}

/// The name counts without its folders.
std::filesystem::path save(const std::string& name, const std::filesystem::path& folder,
                           const std::string& content) {
    const auto target = folder / Platform::toPath(Platform::fromUtf8(name)).filename();
    errno = 0;
    std::ofstream stream(Platform::openablePath(target), std::ios::binary);
    stream << content << std::flush;
    if (!stream) {
        throw Failure(ExitCode::Refused,
                      Platform::toUtf8(Platform::fromPath(target) + L" cannot be written: " +
                                       Platform::errorText(Platform::streamError())));
    }
    return target;
}

ExitCode show(const CommandContext& context, const ReportWish& wish) {
    const bool isOpened = !wish.opened.empty();
    const std::string& name = isOpened ? wish.opened : wish.saved;
    requireReportName(name);
    const std::string content = fetchReport(context.place, name);
    const auto file = save(name, folderFor(wish), content);
    const std::string path = Platform::toUtf8(Platform::fromPath(file));
    context.out().line(path);
    context.out().value({{"file", path}});
    if (isOpened && !Platform::openInViewer(file)) {
        throw Failure(ExitCode::Refused, "there is no program here that shows " + path);
    }
    return ExitCode::Done;
}

} // namespace

void addReportCommands(CLI::App& application, CommandContext& context) {
    const auto wish = std::make_shared<ReportWish>();
    CLI::App* const command = addCommand(
        application, context, "reports", "List the reports of the server, or show one",
        "  kelctl reports\n"
        "  kelctl reports --open 20261122_074712_WKLDEMO0000000042_Initial.html\n"
        "  kelctl reports --save 20261122_074712_WKLDEMO0000000042_Initial.html --into .",
        [&context, wish] {
            if (!wish->opened.empty() || !wish->saved.empty()) {
                return show(context, *wish);
            }
            if (!wish->folder.empty()) {
                throw Failure(ExitCode::WrongUsage, "--into needs --open or --save");
            }
            return list(context);
        });
    auto* const opened =
        command->add_option("--open", wish->opened, "Report to show in the browser")
            ->option_text("NAME")
            ->check(notEmpty());
    command->add_option("--save", wish->saved, "Report to save")
        ->option_text("NAME")
        ->check(notEmpty())
        ->excludes(opened);
    command->add_option("--into", wish->folder, "Folder for its file [a new temporary one]")
        ->option_text("FOLDER");
}

} // namespace Quarlen::Ctl
