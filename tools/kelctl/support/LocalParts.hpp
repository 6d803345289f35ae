#pragma once

#include <filesystem>

#include "tools/kelctl/support/Bundle.hpp"

namespace Quarlen::Ctl {

struct LocalFolders {
    /// Empty where none is known.
    std::filesystem::path config;
    /// Empty: "traces" in the configuration folder.
    std::filesystem::path traces;
};

/// The program's and the system's versions, variables and limits.
void addEnvironment(const AddPart& add);

/// Settings, scripts, projects and vehicle, under "config/".
void addConfiguration(const LocalFolders& folders, const AddPart& add, const NotePart& note);
/// Traces and bus traces, under "traces/". Of a large one the end.
void addTraces(const LocalFolders& folders, const AddPart& add, const NotePart& note);
/// The latest reports in the configuration folder, under "reports/".
void addLocalReports(const LocalFolders& folders, const AddPart& add, const NotePart& note);

} // namespace Quarlen::Ctl
