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
        throw runtimeError(ErrorCode::Configuration,
                           L"the trace file " + inQuotes(Platform::fromPath(file)) +
                               L" cannot be written: " + currentExceptionText());
    }
}

} // namespace

TraceSwitch::Prepared TraceSwitch::prepareOn(const std::filesystem::path& folder, int level) const {
    const bool isOpen = current.listener != nullptr && folder == current.folder;
    return {folder, isOpen ? current.listener : openIn(folder), level};
}

void TraceSwitch::enter(Prepared prepared) {
    if (prepared.listener != current.listener) {
        turnOff();
        if (prepared.listener != nullptr) {
            StdUtil::ErrorHandler::addListener(prepared.listener);
        }
    }
    if (prepared.listener != nullptr) {
        StdUtil::ErrorHandler::setDebugTraceLevel(prepared.level);
    }
    current = std::move(prepared);
}

void TraceSwitch::turnOff() {
    if (const auto former = std::exchange(current.listener, nullptr)) {
        StdUtil::ErrorHandler::removeListener(former);
    }
}

} // namespace Quarlen::Kel_cpp
