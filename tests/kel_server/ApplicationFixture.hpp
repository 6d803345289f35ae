#pragma once

#include <chrono>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kel_server/ServerApplication.hpp"
#include "tests/kel_server/ScriptedKeys.hpp"
#include "tests/support/FakeClock.hpp"
#include "tests/support/RecordingKelApi.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Tests {

/// An application object in a world of its own: recording runtime, clock that does not wait, LED
/// files, keyboard without keys.
class ApplicationFixture : public testing::Test {
protected:
    using Calls = std::vector<std::string>;

    ApplicationFixture();

    void configureAddress(const std::wstring& address, std::int32_t port = 58000);
    /// As `kel_server` followed by these arguments would set them.
    void setArguments(const std::vector<std::wstring>& arguments);
    /// Runs an application from its construction to its destruction and returns what `run` did.
    int runAndDestroy();
    [[nodiscard]] std::string printed() const { return output.str(); }
    [[nodiscard]] bool printedLine(const std::string& line) const;
    [[nodiscard]] std::string ledColour() const;
    /// For the clock's hook, which does this unless a test sets its own: a wait for the network
    /// that the test does not expect fails it instead of lasting for ever.
    void boundTheWaitForTheNetwork(std::chrono::milliseconds slept) const;

    TemporaryFolder folder;
    std::shared_ptr<Tests::RecordingKelApi> api = std::make_shared<Tests::RecordingKelApi>();
    FakeClock clock;
    std::ostringstream output;
    Platform::Console console{output};
    StartOptions options;
    ApplicationEnvironment environment;
};

/// Ends a wait that has no end of its own.
struct WaitedLongEnough {};

} // namespace Quarlen::Tests
