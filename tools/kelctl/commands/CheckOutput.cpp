#include "tools/kelctl/commands/CheckOutput.hpp"

#include <algorithm>
#include <system_error>

#include "platform/FileFacts.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kelctl/base/Failure.hpp"
#include "tools/kelctl/check/FindingFormats.hpp"

namespace Quarlen::Ctl {

namespace {

std::string counted(std::size_t count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string summaryOf(const std::vector<Finding>& findings, std::size_t fileCount) {
    const auto errors = static_cast<std::size_t>(
        std::count_if(findings.begin(), findings.end(),
                      [](const Finding& finding) { return finding.severity == Severity::Error; }));
    return counted(errors, "error") + " and " + counted(findings.size() - errors, "warning") +
           " in " + counted(fileCount, "file");
}

} // namespace

std::filesystem::path CheckWish::workingPath() const {
    std::error_code ignored;
    return workingFolder.empty() ? std::filesystem::current_path(ignored)
                                 : requiredFolder(workingFolder);
}

std::filesystem::path requiredFolder(const std::string& name) {
    const auto folder = Platform::toPath(Platform::fromUtf8(name));
    if (!Platform::isFolder(folder)) {
        throw Failure(ExitCode::WrongUsage, "there is no folder " + name);
    }
    return folder;
}

void addCheckOptions(CLI::App& command, CheckWish& wish) {
    command.add_option("--working-folder", wish.workingFolder,
                       "Folder in which the server is started [current]");
    command.add_option("--format", wish.format, "text, sarif or github")
        ->check(CLI::IsMember({"text", "sarif", "github"}));
}

ExitCode tellFindings(const CommandContext& context, const CheckWish& wish,
                      const std::vector<Finding>& findings, std::size_t fileCount) {
    Output& out = context.out();
    if (wish.format == "sarif" || out.isJson()) {
        out.text(sarifOf(findings));
    } else {
        for (const Finding& finding : findings) {
            out.text(wish.format == "github" ? gitHubLineOf(finding)
                                             : printable(std::string_view(textOf(finding))));
        }
        if (wish.format == "text") {
            out.line(summaryOf(findings, fileCount));
        }
    }
    return findings.empty() ? ExitCode::Done : ExitCode::Findings;
}

} // namespace Quarlen::Ctl
