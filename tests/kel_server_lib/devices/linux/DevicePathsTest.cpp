#include "kel_server_lib/devices/DevicePaths.hpp"

#include <gtest/gtest.h>

namespace Quarlen::Tests {

TEST(DevicePathsTest, AreTheDevicesOwnUnlessOthersAreGiven) {
    const DevicePaths paths;

    EXPECT_EQ(paths.ledPrefix, "/sys/class/leds/2.");
    EXPECT_EQ(paths.f1Sensor, "/sys/bus/iio/devices/iio:device1/in_proximity1_raw");
    EXPECT_EQ(paths.f2Sensor, "/sys/bus/iio/devices/iio:device1/in_proximity0_raw");
}

} // namespace Quarlen::Tests
