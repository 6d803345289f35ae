#include "tools/kelctl/dryrun/ScratchFolder.hpp"

#include <fstream>
#include <string>
#include <string_view>
#include <system_error>

#include "platform/FileActions.hpp"
#include "platform/Paths.hpp"
#include "platform/PrivateFolder.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kelctl/base/Failure.hpp"

namespace Quarlen::Ctl {

namespace {

[[noreturn]] void refuse(const std::error_code& cause) {
    throw Failure(ExitCode::Refused, "cannot make a folder in the one for temporary files: " +
                                         Platform::toUtf8(Platform::errorText(cause)));
}

/// Absolute also where TMPDIR is not: the paths in it are told to people.
std::filesystem::path temporaryFolder() {
    try {
        return Platform::normalPath(Platform::absolutePath(std::filesystem::temp_directory_path()));
    } catch (const std::system_error& error) {
        refuse(error.code());
    }
}

std::filesystem::path newFolder() {
    const std::filesystem::path parent = temporaryFolder();
    try {
        return Platform::makePrivateFolder(parent, "kelctl-run-");
    } catch (const std::system_error& error) {
        refuse(error.code());
    }
}

std::string element(std::string_view name, const std::wstring& text) {
    std::string content;
    for (const char letter : Platform::toUtf8(text)) {
        content += letter == '&'   ? "&amp;"
                   : letter == '<' ? "&lt;"
                   : letter == '>' ? "&gt;"
                                   : std::string{letter};
    }
    return "<" + std::string(name) + ">" + content + "</" + std::string(name) + ">";
}

} // namespace

ScratchFolder::ScratchFolder() : folder(newFolder()) {
    try {
        Platform::createFolders(config());
    } catch (const std::system_error&) {
        // The settings cannot be written then, which is told.
        return;
    }
}

ScratchFolder::~ScratchFolder() {
    if (!isKept) {
        Platform::removeFolder(folder);
    }
}

void writeDryRunSettings(const ScratchFolder& scratch, const Kel_cpp::RuntimeSettings& settings) {
    std::ofstream file(Platform::openablePath(scratch.config() / "KelServer.xml"),
                       std::ios::binary);
    file << R"(<?xml version="1.0" encoding="UTF-8"?>)"
         << "\n<KelServer><Paths>" << element("Projects", settings.paths.projectsPath)
         << element("Data", Platform::fromPath(settings.dataFolder))
         << element("Traces", Platform::fromPath(scratch.path() / "traces"))
         << element("Reports", Platform::fromPath(scratch.reports())) << "</Paths>\n"
         << R"(<Tracing enabled="true" level="3"/>)"
         << R"(<Interfaces><Group name="Default"><Interface name="Simulation" enabled="true"/>)"
         << "</Group></Interfaces></KelServer>\n";
    if (!file.flush()) {
        throw Failure(ExitCode::Refused,
                      "cannot write into " + Platform::toUtf8(Platform::fromPath(scratch.path())));
    }
}

} // namespace Quarlen::Ctl
