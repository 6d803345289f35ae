#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kel_cpp/Runtime.hpp"
#include "tests/support/ConfigFolder.hpp"
#include "tests/support/FakeClock.hpp"

namespace Quarlen::Kel_cpp::Tests {

using Quarlen::Tests::ConfigFolder;

/// An initialised runtime on a configuration folder, whose clock only moves when somebody sleeps on
/// it.
class RuntimeFixture : public testing::Test {
protected:
    static constexpr std::chrono::milliseconds testerPresentInterval{5};

    void SetUp() override { restart(); }

    /// A new runtime on the folder as it is now.
    void restart();
    void useRealTime();
    void connect(const std::wstring& vehicleInformation = L"VIT_A");
    /// The error text of what `operation` throws; empty when it throws nothing.
    template <class Operation>
    static std::wstring errorOf(Operation operation) {
        try {
            operation();
        } catch (const KelApiException& exception) {
            return exception.message();
        }
        return {};
    }
    /// In the settings that are not in effect yet.
    void enableOnly(const std::wstring& interfaceName);
    std::shared_ptr<ServiceResult> hexService(const std::wstring& link,
                                              std::vector<std::uint8_t> request);

    ConfigFolder folder;
    Quarlen::Tests::FakeClock clock;
    Platform::Clock* usedClock = &clock;
    /// What the runtime says on the console's error stream.
    std::ostringstream errorOutput;
    /// By how much the runtime's calendar time is ahead of the start of the test; only the test
    /// moves it.
    std::atomic<std::chrono::seconds> later{std::chrono::seconds(0)};
    const std::chrono::system_clock::time_point startOfTest = std::chrono::system_clock::now();
    std::shared_ptr<Runtime> runtime;
};

RecordList<ServiceInput> inputsOf(const std::vector<std::wstring>& serviceNames);
std::size_t connectionCount(Runtime& runtime);

} // namespace Quarlen::Kel_cpp::Tests
