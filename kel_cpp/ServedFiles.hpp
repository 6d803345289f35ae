#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "kel_cpp/rpc/ServerModel.hpp"

/// The files of the configuration that clients of the runtime's server see: names without folder,
/// sorted. A folder that is missing or cannot be read has no files.
namespace Quarlen::Kel_cpp {

/// Larger reports are not served; the runtime writes none so large.
inline constexpr std::size_t maxServedReport = std::size_t{64} * 1024 * 1024;

/// The scripts of the folder "KelServerScripts".
std::vector<std::wstring> listScripts(const std::filesystem::path& configFolder);
std::vector<ReportFile> listReports(const std::filesystem::path& reportsFolder);
/// The content of one of the reports that `listReports` lists. Throws `KelApiException` (code
/// Report) for every other name, so that no name leads out of the folder.
std::string readReport(const std::filesystem::path& reportsFolder, const std::wstring& name);

} // namespace Quarlen::Kel_cpp
