#pragma once

#include <functional>
#include <string>

#include "kel_server_lib/sequence/ActionWalk.hpp"
#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"
#include "std_util/PathString.hpp"

namespace Quarlen {

/// One run of a script. The caller must hold the handler's run lock for as long as the object
/// lives.
class SequenceRun {
public:
    using Walk =
        std::function<WalkResult(ServerHandlerSequence& handler, const ServerHandlerSequence::Api&,
                                 const Config::CfxKelServerScript&)>;

    SequenceRun(ServerHandlerSequence& handler, std::wstring name, ServerHandlerSequence::Api api,
                Walk walk = walkActions);

    /// Status and LED show how the run went. A missing script only leaves a message; a script that
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
