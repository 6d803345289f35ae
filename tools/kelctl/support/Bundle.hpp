#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tools/kelctl/server/ServerPlace.hpp"

namespace Quarlen::Ctl {

/// What a maintainer asks for first, as one file: what the server tells (versions, paths, status
/// texts, runs, reports) and what lies on this machine (settings, scripts, projects without flash
/// data, traces, bus traces where there are any, limits, environment). Secrets are blanked, the
/// file with the tokens is left out. What cannot be had is listed, and the rest is there all the
/// same: a server that does not answer is the best reason to ask for help.
struct BundleWish {
    std::filesystem::path file;
    ServerPlace place;
    /// Configuration folder on this machine; empty for none.
    std::filesystem::path configFolder;
    /// Folder of traces on this machine; empty for that of the configuration folder.
    std::filesystem::path tracesFolder;
};

/// Of all parts together: a bundle has to go into a mail.
inline constexpr std::size_t maxBundle = std::size_t{64} * 1024 * 1024;

/// The report that somebody asks about is a recent one.
inline constexpr std::size_t maxReports = 20;

/// Adds a part to the bundle.
using AddPart = std::function<void(const std::string& name, std::string content)>;
/// Tells what could not be had and why.
using NotePart = std::function<void(const std::string& note)>;

/// The notes on what is missing. Throws `Failure` (Refused) when the file cannot be written.
std::vector<std::string> writeBundle(const BundleWish& wish);

} // namespace Quarlen::Ctl
