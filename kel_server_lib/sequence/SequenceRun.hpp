#pragma once

#include <string>

#include "kel_server_lib/ServerHandlerSequence.hpp"
#include "std_util/PathString.hpp"

namespace Quarlen {

/// One run of a script. The handler's run lock must be held for as long as it lives.
class SequenceRun {
public:
    SequenceRun(ServerHandlerSequence& handler, std::wstring name, ServerHandlerSequence::Api api);

    /// Status and LED tell how it went. A script that is not there only leaves a message; one that
    /// cannot be loaded or has no actions ends like a successful one.
    void run();

private:
    struct Outcome {
        bool success = true;
        bool resultLed = true;
    };

    void reportMissing(const StdUtil::PathString& path) const;
    [[nodiscard]] Outcome runScript(const StdUtil::PathString& path) const;
    void end(const Outcome& outcome) const;
    void endStoppedRun() const;
    void showResult(const Outcome& outcome) const;

    ServerHandlerSequence& handler;
    std::wstring name;
    ServerHandlerSequence::Api api;
};

} // namespace Quarlen
