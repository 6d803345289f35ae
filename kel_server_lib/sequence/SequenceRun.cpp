#include "kel_server_lib/sequence/SequenceRun.hpp"

#include <utility>

#include "config/ConfigBase.hpp"
#include "config/ScriptObjects.hpp"
#include "kel_server_lib/sequence/ScriptFile.hpp"
#include "kel_server_lib/sequence/actions/SequenceTrace.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen {

using StdUtil::TraceHelper::ErrorTrace;
using StdUtil::TraceHelper::InfoTrace;

SequenceRun::SequenceRun(ServerHandlerSequence& handler, std::wstring name,
                         ServerHandlerSequence::Api api, Walk walk)
    : handler(handler), name(std::move(name)), api(std::move(api)), walk(std::move(walk)) {}

void SequenceRun::run() {
    InfoTrace(sequenceTraceSource, __LINE__, L"-> Running sequence: %s", name.c_str());
    api->setServerStatus(L"Running sequence: " + name);
    const ScriptFile script = locateScript(handler.environment.configPath, name);
    if (!script.found) {
        reportMissing(script.path);
        return;
    }
    handler.environment.showColour(LedColours::running);
    end(runScript(script.path));
}

void SequenceRun::reportMissing(const StdUtil::PathString& path) const {
    ErrorTrace(sequenceTraceSource, __LINE__, L"File not found: %s", name.c_str());
    handler.environment.console.line("File not found: " + Platform::toUtf8(path.wstr()));
}

SequenceRun::Outcome SequenceRun::runScript(const StdUtil::PathString& path) const {
    const auto config = Config::createConfigBase();
    if (!config->load(path.wstr())) {
        return {};
    }
    const Config::Ref<Config::ConfigObject> root = config->root();
    const auto* const script = root ? Config::as<Config::CfxKelServerScript>(*root) : nullptr;
    if (script == nullptr) {
        return {};
    }
    return {walk(handler, api, *script), script->resultLed};
}

void SequenceRun::end(const Outcome& outcome) const {
    // A walk that was stopped counts as stopped, even where the stop has been lowered since.
    if (outcome.result.stopped || handler.stopRaised()) {
        endStoppedRun();
    }
    showResult(outcome);
    InfoTrace(sequenceTraceSource, __LINE__, L"<- Running sequence: %s", name.c_str());
    api->setServerStatus(L"Idle");
}

void SequenceRun::endStoppedRun() const {
    if (const std::uint64_t handle = handler.currentJobHandle; handle != 0) {
        api->releaseJob(handle);
        handler.currentJobHandle = 0;
    }
    api->selectProject(L"");
    handler.lowerStop();
}

void SequenceRun::showResult(const Outcome& outcome) const {
    if (!outcome.result.success) {
        handler.environment.showColour(LedColours::failed);
    } else if (outcome.resultLed) {
        handler.environment.showColour(LedColours::succeeded);
    }
}

} // namespace Quarlen
