#include "kel_server_lib/devices/SensorFile.hpp"

#include <filesystem>

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Tests {

TEST(SensorFileOnLinux, StaysOpenWhateverBecomesOfItsName) {
    const TemporaryFolder folder;
    const auto path = folder.write("raw", "100\n");
    SensorFile sensor(path.string());
    EXPECT_EQ(sensor.readLine(), "100");

    std::filesystem::rename(path, folder.path() / "moved");
    folder.write("raw", "200\n");

    EXPECT_EQ(sensor.readLine(), "100");
    folder.write("moved", "300\n");
    EXPECT_EQ(sensor.readLine(), "300");
}

} // namespace Quarlen::Tests
