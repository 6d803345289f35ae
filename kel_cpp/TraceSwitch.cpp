#include "kel_cpp/TraceSwitch.hpp"

#include <utility>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/base/RuntimeError.hpp"
#include "platform/FileActions.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/TraceFile.hpp"

namespace Quarlen::Kel_cpp {

namespace {

std::shared_ptr<StdUtil::TraceListener> openIn(const std::filesystem::path& folder) {
    const std::filesystem::path file = folder / "kel_server.log";
    try {
        Platform::createFolders(folder);
        return StdUtil::openTraceFile(file);
    } catch (...) {
        throw runtimeError(ErrorCode::Configuration, L"the trace file " + Platform::fromPath(file) +
                                                         L" cannot be written: " +
                                                         currentExceptionText());
    }
}

} // namespace

void TraceSwitch::turnOn(const std::filesystem::path& folder, int level) {
    if (!listener || folder != currentFolder) {
        auto opened = openIn(folder);
        turnOff();
        StdUtil::ErrorHandler::addListener(opened);
        listener = std::move(opened);
        currentFolder = folder;
    }
    StdUtil::ErrorHandler::setDebugTraceLevel(level);
}

void TraceSwitch::turnOff() {
    if (const auto former = std::exchange(listener, nullptr)) {
        StdUtil::ErrorHandler::removeListener(former);
    }
}

} // namespace Quarlen::Kel_cpp
