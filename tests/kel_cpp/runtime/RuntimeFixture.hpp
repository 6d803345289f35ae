#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "kel_cpp/Runtime.hpp"
#include "tests/support/FakeClock.hpp"

namespace Quarlen::Kel_cpp::Tests {

/// A folder that is removed with its owner, holding "config", a copy of the example configuration
/// in which tracing is off.
class ConfigFolder {
public:
    ConfigFolder();
    ConfigFolder(const ConfigFolder&) = delete;
    ConfigFolder& operator=(const ConfigFolder&) = delete;
    ~ConfigFolder();

    [[nodiscard]] std::filesystem::path base() const { return folder; }
    [[nodiscard]] std::filesystem::path config() const { return folder / "config"; }
    void write(const std::filesystem::path& relativePath, std::string_view content) const;
    [[nodiscard]] std::string read(const std::filesystem::path& relativePath) const;
    /// Replaces the first occurrence, which must be there.
    void replaceIn(const std::filesystem::path& relativePath, const std::string& text,
                   const std::string& replacement) const;

private:
    std::filesystem::path folder;
};

/// An initialised runtime on such a folder, whose clock only moves when somebody sleeps on it.
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
    std::shared_ptr<ServiceResult> hexService(const std::wstring& link,
                                              std::vector<std::uint8_t> request);

    ConfigFolder folder;
    Quarlen::Tests::FakeClock clock;
    Platform::Clock* usedClock = &clock;
    /// What the runtime says on the console's error stream.
    std::ostringstream errorOutput;
    std::shared_ptr<Runtime> runtime;
};

RecordList<ServiceInput> inputsOf(const std::vector<std::wstring>& serviceNames);
std::size_t connectionCount(Runtime& runtime);

} // namespace Quarlen::Kel_cpp::Tests
