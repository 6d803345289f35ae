#include "kel_cpp/Runtime.hpp"
#include "kel_cpp/base/ExceptionBoundary.hpp"

namespace Quarlen::Kel_cpp {

std::shared_ptr<ServerConfiguration> Runtime::getServerConfiguration() {
    return guarded(L"getServerConfiguration", [&] { return settings.serverConfiguration(); });
}

std::shared_ptr<ServerSettings> Runtime::getServerSettings() {
    return guarded(L"getServerSettings", [&] { return settings.serverSettings(); });
}

void Runtime::setServerSettings(std::shared_ptr<ServerSettings> record) {
    guarded(L"setServerSettings", [&] { settings.write(record); });
}

void Runtime::commitServerSettings() {
    guarded(L"commitServerSettings", [&] { settings.commitServerSettings(); });
}

std::shared_ptr<PathSettings> Runtime::getProjectPath() {
    return guarded(L"getProjectPath", [&] { return settings.paths(); });
}

void Runtime::setProjectPath(std::shared_ptr<PathSettings> record) {
    guarded(L"setProjectPath", [&] { settings.write(record); });
}

void Runtime::commitProjectPath() {
    guarded(L"commitProjectPath", [&] { settings.commitPaths(); });
}

std::shared_ptr<InterfaceSettings> Runtime::getInterfaceSettings() {
    return guarded(L"getInterfaceSettings", [&] { return settings.interfaces(); });
}

void Runtime::setInterfaceSettings(std::shared_ptr<InterfaceSettings> record) {
    guarded(L"setInterfaceSettings", [&] { settings.write(record); });
}

void Runtime::applyInterfaceSettings() {
    guarded(L"applyInterfaceSettings", [&] { settings.commitInterfaces(); });
}

} // namespace Quarlen::Kel_cpp
