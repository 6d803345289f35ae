#include "kel_server_lib/sequence/actions/SequenceEnvironment.hpp"

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Tests {

TEST(SequenceEnvironment, WritesTheLedOfItsDevices) {
    const TemporaryFolder folder;
    for (const char* const colour : {"red", "green", "blue"}) {
        folder.write(std::string("2.") + colour + "/brightness", "-");
    }
    const SequenceEnvironment environment{
        .devices = {.ledPrefix = (folder.path() / "2.").string()}};

    environment.showColour({255, 80, 0});

    EXPECT_EQ(folder.read("2.red/brightness"), "255");
    EXPECT_EQ(folder.read("2.green/brightness"), "80");
    EXPECT_EQ(folder.read("2.blue/brightness"), "0");
}

} // namespace Quarlen::Tests
