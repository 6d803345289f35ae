#pragma once

#include <filesystem>

#include "kel_cpp/settings/RuntimeSettings.hpp"

namespace Quarlen::Ctl {

/// A folder of its own for what a dry run writes, below the system's folder for temporary files.
/// Only its owner can read it. It is removed with the object unless it is kept.
class ScratchFolder {
public:
    /// Throws `Failure` where there can be no such folder.
    ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    ~ScratchFolder();

    [[nodiscard]] const std::filesystem::path& path() const { return folder; }
    [[nodiscard]] std::filesystem::path config() const { return folder / "config"; }
    [[nodiscard]] std::filesystem::path reports() const { return folder / "reports"; }
    void keep() { isKept = true; }

private:
    std::filesystem::path folder;
    bool isKept = false;
};

/// Writes the KelServer.xml of a dry run: projects and data of the given settings, the simulated
/// vehicle, everything that is written in the scratch folder.
void writeDryRunSettings(const ScratchFolder& scratch, const Kel_cpp::RuntimeSettings& settings);

} // namespace Quarlen::Ctl
