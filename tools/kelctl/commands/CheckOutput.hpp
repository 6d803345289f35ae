#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "tools/kelctl/check/Finding.hpp"
#include "tools/kelctl/commands/Command.hpp"

namespace Quarlen::Ctl {

/// What the commands that check files share.
struct CheckWish {
    /// "text", "sarif" or "github".
    std::string format = "text";
    /// The folder in which the server is started; empty for the current one.
    std::string workingFolder;

    /// Throws `Failure` when there is no such folder.
    [[nodiscard]] std::filesystem::path workingPath() const;
};

/// The path of a folder that the user names. Throws `Failure` when there is none.
std::filesystem::path requiredFolder(const std::string& name);

void addCheckOptions(CLI::App& command, CheckWish& wish);

/// Writes the findings in `fileCount` files and tells how the program ends: with `Findings` where
/// there is any, error or warning. With --json the output is SARIF.
ExitCode tellFindings(const CommandContext& context, const CheckWish& wish,
                      const std::vector<Finding>& findings, std::size_t fileCount);

} // namespace Quarlen::Ctl
