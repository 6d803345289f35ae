#include <exception>

#include "kel_server/ServerApplication.hpp"
#include "kel_server_lib/devices/StatusLed.hpp"
#include "kel_server_lib/runtime/ExceptionLine.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen {

namespace {

/// An exception of a step is reported, and the steps after it still run.
template <class Step>
void contain(Platform::Console& console, Step step) noexcept {
    try {
        try {
            step();
        } catch (const Kel_cpp::KelApiException& exception) {
            console.line(exceptionLine(exception));
        } catch (const std::exception& exception) {
            console.line("Exception caught: " +
                         Platform::toUtf8(Platform::exceptionText(exception)));
        }
    } catch (...) {
        // The failure cannot be reported; the steps that follow matter more.
    }
}

} // namespace

ServerApplication::~ServerApplication() {
    contain(environment.console, [this] { shutDownServices(); });
    contain(environment.console, [this] { lightAllLeds(); });
    contain(environment.console, [this] { stopButtons(); });
    // A button's run that was still under way has shown its own colour at its end.
    contain(environment.console, [this] { lightAllLeds(); });
}

void ServerApplication::shutDownServices() const {
    if (state.options.verbose) {
        environment.console.line("Shutting down kel_server");
    }
    stopRest();
    if (!state.facade) {
        return;
    }
    stopSovd();
    state.facade->setServerStatus(L"Shutting down");
    cancelSequence();
    stopServers();
}

void ServerApplication::stopRest() const {
    if (state.restServer) {
        state.restServer->stop();
    }
}

void ServerApplication::stopSovd() const {
    if (state.options.sovd) {
        state.facade->stopSovdServer();
    }
}

void ServerApplication::cancelSequence() const {
    if (state.sequenceHandler) {
        bool handled = false;
        state.sequenceHandler->cancelSequence(state.facade,
                                              std::make_shared<Kel_cpp::ClientContext>(), handled);
    }
}

void ServerApplication::stopServers() const {
    for (const std::wstring& address : state.startedAddresses) {
        state.facade->stopServer(address);
    }
}

/// A button's thread holds the facade and the facade holds the handler: unless the threads are
/// stopped the three keep one another alive.
void ServerApplication::stopButtons() const {
    if (state.sequenceHandler) {
        state.sequenceHandler->stopScriptThreads();
    }
}

/// All LEDs on means that the server no longer runs.
void ServerApplication::lightAllLeds() const {
    setLed(environment.sequence.devices.ledPrefix, LedColours::allOn);
}

} // namespace Quarlen
