#include "tools/kel_vehicle/entity/Outbox.hpp"

#include <gtest/gtest.h>

#include "tests/support/HexBytes.hpp"

namespace Quarlen::KelVehicle::Tests {
namespace {

using namespace std::chrono_literals;
using Quarlen::Tests::hex;

TEST(Outbox, CountsWhatEachMessageTakes) {
    Outbox outbox;
    outbox.add(hex("01 02 03"), {});
    outbox.add(hex("04"), {});
    EXPECT_EQ(outbox.size(), 4 + 2 * perMessage);
    outbox.take(2);
    EXPECT_EQ(outbox.size(), 2 + 2 * perMessage);
    outbox.take(1);
    outbox.take(1);
    EXPECT_EQ(outbox.size(), 0U);
    EXPECT_TRUE(outbox.isEmpty());
}

TEST(Outbox, GivesMessageByMessageAndByteByByteWhereAsked) {
    Outbox outbox;
    outbox.add(hex("01 02"), {});
    outbox.add(hex("03 04"), 5ms);
    EXPECT_EQ(outbox.piece().size(), 2U);
    EXPECT_EQ(outbox.take(2), 0ms);
    EXPECT_EQ(outbox.piece().size(), 1U);
    EXPECT_EQ(outbox.take(1), 5ms);
    EXPECT_EQ(outbox.piece()[0], 0x04);
    EXPECT_EQ(outbox.take(1), 0ms);
}

} // namespace
} // namespace Quarlen::KelVehicle::Tests
