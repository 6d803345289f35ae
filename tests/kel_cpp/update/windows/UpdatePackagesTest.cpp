#include "kel_cpp/update/UpdatePackages.hpp"

#include <memory>

#include <gtest/gtest.h>

#include "platform/FileFacts.hpp"
#include "platform/Paths.hpp"
#include "tests/kel_cpp/update/ZipFiles.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

TEST(UpdatePackagesOnWindows, AreFoundBehindThePrefixOfExtendedPaths) {
    const Quarlen::Tests::TemporaryFolder folder;
    const auto file = writeZip(folder.write("Update/a.zip", ""), {"a.bin"});
    const auto package = std::make_shared<UpdatePackageInfo>();
    package->packagePath = L"\\\\?\\" + Platform::absolutePath(file).native();

    stageUpdatePackages({package}, folder.path() / "Update", folder.path() / "staging");

    EXPECT_TRUE(Platform::isRegularFile(folder.path() / "staging" / "a.zip"));
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
