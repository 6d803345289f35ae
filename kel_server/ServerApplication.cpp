#include "kel_server/ServerApplication.hpp"

#include <utility>

#include "kel_server/Addresses.hpp"
#include "kel_server/HardwareTypeText.hpp"
#include "kel_server/KeyboardThread.hpp"
#include "kel_server/ServerStart.hpp"
#include "kel_server/Usage.hpp"
#include "kel_server_lib/runtime/ExceptionLine.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen {

using Kel_cpp::KelApiException;
using Platform::toUtf8;

namespace {

constexpr std::chrono::milliseconds stopPollInterval{1000};

} // namespace

ServerApplication::ServerApplication(const StartOptions& options,
                                     ApplicationEnvironment environment)
    : environment(std::move(environment)) {
    state.options = options;
    state.stopRequested = this->environment.stopRequested;
}

int ServerApplication::run() {
    for (const Group group : {&ServerApplication::openServers, &ServerApplication::registerHandler,
                              &ServerApplication::startServices}) {
        if (const int result = runGroup(group); result != ExitCodes::success) {
            return result;
        }
    }
    return ExitCodes::success;
}

int ServerApplication::runGroup(Group group) {
    try {
        return (this->*group)();
    } catch (const KelApiException& exception) {
        environment.console.line(exceptionLine(exception));
        return ExitCodes::runtimeException;
    }
}

int ServerApplication::openServers() {
    openFacade();
    openBroker();
    createSequenceHandler();
    if (addressIsMissing()) {
        reportMissingAddress();
        return ExitCodes::noServerAddress;
    }
    startServers();
    printBanner();
    return ExitCodes::success;
}

void ServerApplication::openFacade() {
    if (state.options.presetFacade) {
        state.facade = state.options.presetFacade;
        return;
    }
    state.facade = environment.getKelApi();
    if (!state.facade) {
        throw KelApiException(L"The diagnostic runtime is not available", -1);
    }
    state.facade->initialize();
}

void ServerApplication::openBroker() {
    state.brokerUrl = resolveBrokerUrl(*state.facade);
    state.brokerUrlPresent = !state.brokerUrl.empty();
}

void ServerApplication::createSequenceHandler() {
    state.sequenceHandler = std::make_shared<ServerHandlerSequence>(environment.sequence);
    state.serverConfiguration = state.facade->getServerConfiguration();
}

bool ServerApplication::addressIsMissing() const {
    return state.options.argumentCount == 1 && state.serverConfiguration->serverAddresses.empty();
}

void ServerApplication::reportMissingAddress() const {
    environment.console.line("Missing ServerAddresses configuration in kelServer.xml and also "
                             "address is not given as parameter to application");
    printUsage(state.options.arguments[0]);
}

void ServerApplication::startServers() {
    if (state.options.presetFacade) {
        return;
    }
    if (state.options.argumentCount < 2) {
        startFromConfiguration(state, environment);
    } else {
        startFromArguments(state, environment);
    }
}

void ServerApplication::printBanner() const {
    if (!state.options.verbose) {
        return;
    }
    Platform::Console& console = environment.console;
    console.line("project path: " + toUtf8(state.facade->getProjectPath()->projectsPath));
    console.line("server version: " + toUtf8(state.facade->getServerVersion()));
    const auto device = state.facade->getDeviceInfo();
    console.line("cos version: " + toUtf8(device->cosVersion));
    console.line("server device: " + toUtf8(hardwareTypeText(device->hardwareType)));
}

int ServerApplication::registerHandler() {
    state.facade->setServerHandler(state.sequenceHandler);
    return ExitCodes::success;
}

int ServerApplication::startServices() {
    state.facade->setServerStatus(L"Idle");
    startRest();
    startSovd();
    runStartSequence();
    startButtons();
    startKeyboard();
    return ExitCodes::success;
}

void ServerApplication::startRest() {
    if (!state.options.rest) {
        return;
    }
    state.restServer = std::make_unique<RESTServer>(*state.stopRequested, state.sequenceHandler,
                                                    state.options.verbose, environment.rest);
    state.restServer->start(state.facade);
    // The line appears also when the REST server could not listen: the program goes on without it,
    // and the server has reported the failure.
    environment.console.line("REST server started");
}

void ServerApplication::startSovd() const {
    if (state.options.sovd) {
        state.facade->startSovdServer();
        environment.console.line("SOVD server started");
    }
}

void ServerApplication::runStartSequence() const {
    const std::wstring& name = state.serverConfiguration->startSequence;
    if (name.empty()) {
        return;
    }
    environment.console.line("Running start sequence: " + toUtf8(name));
    state.facade->setServerStatus(L"Running start sequence: " + name);
    state.sequenceHandler->runSequence(name, state.facade);
}

void ServerApplication::startButtons() const {
    const std::wstring& f1 = state.serverConfiguration->f1Sequence;
    const std::wstring& f2 = state.serverConfiguration->f2Sequence;
    try {
        if (!f1.empty()) {
            environment.console.line("Press F1 to run sequence: " + toUtf8(f1));
            state.sequenceHandler->startF1ScriptThread(f1, state.facade);
        }
        if (!f2.empty()) {
            environment.console.line("Press F2 to run sequence: " + toUtf8(f2));
            state.sequenceHandler->startF2ScriptThread(f2, state.facade);
        }
    } catch (const KelApiException& exception) {
        environment.console.line(exceptionLine(exception));
    }
}

void ServerApplication::startKeyboard() const {
    if (!state.options.nonInteractive) {
        startKeyboardThread(state.stopRequested, environment);
    }
}

void ServerApplication::waitForStop() const {
    while (!state.stopRequested->load()) {
        environment.clock.sleepFor(stopPollInterval);
    }
}

void ServerApplication::printUsage(const std::wstring& programPath) const {
    Quarlen::printUsage(environment.console, programPath);
}

} // namespace Quarlen
