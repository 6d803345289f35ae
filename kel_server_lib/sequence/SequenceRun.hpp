#pragma once

#include <functional>
#include <string>

#include "kel_server_lib/ServerHandlerSequence.hpp"
#include "kel_server_lib/sequence/ActionWalk.hpp"
#include "std_util/PathString.hpp"

namespace Quarlen {

/// One run of a script. The handler's run lock must be held for as long as it lives.
class SequenceRun {
public:
    using Walk =
        std::function<WalkResult(ServerHandlerSequence& handler, const ServerHandlerSequence::Api&,
                                 const Config::CfxKelServerScript&)>;

    SequenceRun(ServerHandlerSequence& handler, std::wstring name, ServerHandlerSequence::Api api,
                Walk walk = walkActions);

    /// Status and LED tell how it went. A script that is not there only leaves a message; one that
    /// cannot be loaded or has no actions ends like a successful one.
    void run();

private:
    struct Outcome {
        WalkResult result;
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
    Walk walk;
};

} // namespace Quarlen
