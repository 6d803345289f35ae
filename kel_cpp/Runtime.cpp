#include "kel_cpp/Runtime.hpp"

#include <utility>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "std_util/SystemInformation.hpp"

namespace Quarlen::Kel_cpp {

namespace {

struct SharedRuntime {
    std::mutex mutex;
    std::weak_ptr<KelApi> runtime;
};

/// Never destroyed, because `getKelApi` may be called while static objects are destroyed.
SharedRuntime& sharedRuntime() {
    static auto& shared = *new SharedRuntime;
    return shared;
}

std::shared_ptr<KelApi> makeRuntime() {
    using namespace StdUtil::SystemInformation;
    return std::make_shared<Runtime>(RuntimeEnvironment{
        getConfigPath().path(), getInstallationPath().path(), Platform::systemClock()});
}

} // namespace

Runtime::Runtime(RuntimeEnvironment where)
    : environment(std::move(where)),
      settings(environment.configFolder, environment.errorOutput),
      interfaces(environment.clock, environment.openVehicle, environment.connectTo),
      sovd(sovdModel()),
      server(serverSources()) {}

/// The members are destroyed in reverse order: `jobs` first, so that no callback is called after
/// the server handler, which owns the callbacks, is released.
Runtime::~Runtime() = default;

void Runtime::initialize() {
    guarded(L"initialize", [&] { settings.load(); });
}

std::shared_ptr<KelApi> getKelApi() {
    SharedRuntime& shared = sharedRuntime();
    const std::lock_guard lock(shared.mutex);
    auto runtime = shared.runtime.lock();
    if (!runtime) {
        runtime = guarded(L"getKelApi", makeRuntime);
        shared.runtime = runtime;
    }
    return runtime;
}

} // namespace Quarlen::Kel_cpp
