#include "kel_server_lib/devices/DevicePaths.hpp"

#include <gtest/gtest.h>

namespace Quarlen::Tests {

TEST(DevicePathsTest, NameNoFileThatTheDriveCouldHave) {
    const DevicePaths paths;

    EXPECT_EQ(paths.ledPrefix, "");
    EXPECT_EQ(paths.f1Sensor, "");
    EXPECT_EQ(paths.f2Sensor, "");
}

} // namespace Quarlen::Tests
