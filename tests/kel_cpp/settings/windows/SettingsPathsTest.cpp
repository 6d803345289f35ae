#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "kel_cpp/settings/RuntimeSettings.hpp"
#include "kel_cpp/settings/SettingsReader.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

struct ConfiguredPath {
    std::wstring folder;
    std::wstring text;
    std::wstring expected;
};

void PrintTo(const ConfiguredPath& path, std::ostream* output) {
    *output << Platform::toUtf8(path.folder) << " and " << Platform::toUtf8(path.text);
}

class ConfiguredPaths : public testing::TestWithParam<ConfiguredPath> {};

TEST_P(ConfiguredPaths, AreOfTheDriveOrTheShareThatTheyName) {
    const auto resolved = SettingsReader::resolve(GetParam().folder, GetParam().text);
    EXPECT_EQ(Platform::toUtf8(resolved.native()), Platform::toUtf8(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(
    All, ConfiguredPaths,
    testing::Values(
        ConfiguredPath{L"\\\\srv\\kel\\config", L"projects", L"\\\\srv\\kel\\config\\projects"},
        ConfiguredPath{L"\\\\srv\\kel\\config", L"..\\projects\\", L"\\\\srv\\kel\\projects"},
        ConfiguredPath{L"\\\\srv\\kel\\config", L"/projects", L"\\\\srv\\kel\\projects"},
        ConfiguredPath{L"C:\\config", L"\\\\srv\\kel\\projects", L"\\\\srv\\kel\\projects"},
        ConfiguredPath{L"C:\\config", L"\\\\srv\\kel\\", L"\\\\srv\\kel"},
        ConfiguredPath{L"C:\\config", L"K:\\", L"K:\\"},
        ConfiguredPath{L"C:\\config", L"\\\\?\\UNC\\srv\\kel\\x", L"\\\\srv\\kel\\x"},
        ConfiguredPath{L"C:\\config", L"\\\\?\\C:\\x\\..\\y", L"C:\\y"}));

TEST(SettingsOnAShare, KeepTheShareInTheirNames) {
    const std::filesystem::path folder = L"\\\\srv\\kel\\config";
    const RuntimeSettings settings = SettingsReader::defaults(folder);

    EXPECT_EQ(SettingsFile(folder).name(), L"\\\\srv\\kel\\config\\KelServer.xml");
    EXPECT_EQ(settings.paths.projectsPath, L"\\\\srv\\kel\\config\\projects");
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
