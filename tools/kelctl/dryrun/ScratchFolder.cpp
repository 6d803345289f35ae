#include "tools/kelctl/dryrun/ScratchFolder.hpp"

#include <cerrno>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>

#include "platform/FileActions.hpp"
#include "platform/Paths.hpp"
#include "platform/StreamError.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kelctl/base/Failure.hpp"
#include "tools/kelctl/base/TemporaryFolder.hpp"

namespace Quarlen::Ctl {

namespace {

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

ScratchFolder::ScratchFolder() : folder(newTemporaryFolder("kelctl-run-")) {
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
    errno = 0;
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
                      Platform::toUtf8(L"cannot write into " + Platform::fromPath(scratch.path()) +
                                       L": " + Platform::errorText(Platform::streamError())));
    }
}

} // namespace Quarlen::Ctl
