#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_server_lib/sequence/ServerHandlerSequence.hpp"
#include "tests/support/FakeClock.hpp"
#include "tests/support/RecordingKelApi.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Tests {

/// A handler in a world of its own: recording runtime with one connection, a clock that does not
/// wait, a configuration folder, LED files and sensor files.
class SequenceFixture : public testing::Test {
protected:
    using Calls = std::vector<std::string>;

    SequenceFixture();

    /// A script of this name in the scripts folder, with these actions as XML.
    void writeScript(const std::string& name, const std::string& actions,
                     const std::string& rootAttributes = "");
    void writeF1Sensor(const std::string& content);
    void writeF2Sensor(const std::string& content);
    /// The sensor shows its background for ten readings and a hand from then on; counts the passes
    /// of whichever button thread sleeps on the clock.
    void holdHandOverF1Sensor();

    [[nodiscard]] Calls statuses() const { return api->callsOf({"setServerStatus"}); }
    /// The three intensities, for example "0 0 255"; "- - -" as long as none was written.
    [[nodiscard]] std::string ledColour() const;
    /// Every colour written so far, in order.
    [[nodiscard]] Calls shownColours() const;
    /// Calls `hook` in each write of the LED, before the files change, with the colour's text.
    void duringLed(std::function<void(const std::string&)> hook) { ledHook = std::move(hook); }
    /// False while a run holds the lock, also when the caller is within that run.
    [[nodiscard]] bool runLockIsFree();
    [[nodiscard]] std::string printed() const { return output.str(); }
    [[nodiscard]] SequenceEnvironment environment();

    TemporaryFolder folder;
    FakeClock clock;
    std::ostringstream output;
    Platform::Console console{output};
    std::shared_ptr<RecordingKelApi> api = std::make_shared<RecordingKelApi>();
    std::unique_ptr<ServerHandlerSequence> owner;
    ServerHandlerSequence& handler;

private:
    void writeLed(const std::string& prefix, const LedColour& colour);

    mutable std::mutex ledMutex;
    Calls ledLog;
    std::function<void(const std::string&)> ledHook;
};

} // namespace Quarlen::Tests
