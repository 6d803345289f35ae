#include "kel_cpp/ActiveSettings.hpp"

#include <memory>
#include <sstream>

#include <gtest/gtest.h>

namespace Quarlen::Kel_cpp::Tests {
namespace {

TEST(ActiveSettingsOnWindows, KeepTheShareOfAPath) {
    std::ostringstream errors;
    ActiveSettings settings(L"\\\\srv\\kel\\config", errors);
    auto paths = std::make_shared<PathSettings>();
    paths->projectsPath = L"projects";
    paths->tracesPath = L"\\\\logs\\kel\\.\\traces";
    paths->reportsPath = L"C:\\reports";

    settings.write(paths);

    EXPECT_EQ(settings.paths()->projectsPath, L"\\\\srv\\kel\\config\\projects");
    EXPECT_EQ(settings.paths()->tracesPath, L"\\\\logs\\kel\\traces");
    EXPECT_EQ(settings.paths()->reportsPath, L"C:\\reports");
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
