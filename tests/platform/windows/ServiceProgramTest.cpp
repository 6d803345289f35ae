#include "platform/ServiceProgram.hpp"

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/SystemPaths.hpp"
#include "platform/windows/ServiceArguments.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Platform::Tests {

namespace {

namespace fs = std::filesystem;

class ServiceProgram : public testing::Test {
protected:
    ServiceProgram() { fs::current_path(folder.path()); }
    ServiceProgram(const ServiceProgram&) = delete;
    ServiceProgram& operator=(const ServiceProgram&) = delete;
    ~ServiceProgram() override { fs::current_path(former); }

    const fs::path former = fs::current_path();
    Quarlen::Tests::TemporaryFolder folder;
};

TEST_F(ServiceProgram, ThatIsStartedByHandDoesNotRunAndStandsInItsOwnFolder) {
    bool hasRun = false;

    const int code = runServiceProgram(
        {L"kel_server", L"--REST", L"--service"}, std::make_shared<std::atomic<bool>>(false),
        [&](const std::vector<std::wstring>&, const std::function<void()>&) {
            hasRun = true;
            return 0;
        });

    EXPECT_EQ(code, 1);
    EXPECT_FALSE(hasRun);
    EXPECT_EQ(fs::current_path(), executablePath().parent_path());
}

TEST(ServiceArguments, AreTheProgramsWithoutTheOptionAndWithoutKeys) {
    using Texts = std::vector<std::wstring>;
    EXPECT_EQ(serviceArguments({L"kel_server", L"--service", L"--REST"}),
              (Texts{L"kel_server", L"--REST", L"--non_interactive"}));
    EXPECT_EQ(serviceArguments({L"kel_server", L"--SERVICE", L"--services"}), std::nullopt);
}

} // namespace

} // namespace Quarlen::Platform::Tests
