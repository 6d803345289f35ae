#include "kel_cpp/bus/BusCapture.hpp"

#include <fstream>
#include <iterator>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/HexBytes.hpp"
#include "tests/support/KeptBusEvent.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

using Kind = Uds::BusEvent::Kind;
using Quarlen::Tests::hex;

struct Block {
    std::uint32_t type;
    Uds::Bytes content;
};

std::uint32_t littleAt(const Uds::Bytes& bytes, std::size_t at, std::size_t count = 4) {
    std::uint32_t value = 0;
    for (std::size_t index = count; index > 0; --index) {
        value = (value << 8U) | bytes.at(at + index - 1);
    }
    return value;
}

/// A file of packets, of which a test reads the blocks.
class BusCaptureTest : public testing::Test {
protected:
    void capture(const std::vector<Quarlen::Tests::KeptBusEvent>& events) const {
        BusCapture written(folder.path(), [] {
            return std::chrono::system_clock::time_point(
                std::chrono::microseconds(0x0001'2345'6789'ABCD));
        });
        for (const auto& event : events) {
            written.take(event);
        }
    }
    static Quarlen::Tests::KeptBusEvent event(Kind kind, const char* bytes) {
        return {kind, {L"LINK", std::uint16_t{0x0010}}, hex(bytes)};
    }
    /// Each has its length in front and behind.
    [[nodiscard]] std::vector<Block> blocks() const {
        std::ifstream file(folder.path() / "bus.pcapng", std::ios::binary);
        const Uds::Bytes bytes{std::istreambuf_iterator<char>(file), {}};
        std::vector<Block> found;
        std::size_t at = 0;
        while (at < bytes.size()) {
            const std::uint32_t length = littleAt(bytes, at + 4);
            EXPECT_EQ(length % 4, 0U);
            EXPECT_EQ(littleAt(bytes, at + length - 4), length);
            const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(at);
            found.push_back({littleAt(bytes, at), {begin + 8, begin + length - 4}});
            at += length;
        }
        return found;
    }
    /// Behind the packet's header: tags and message, without what fills it up.
    static std::string messageOf(const Block& packet) {
        const auto begin = packet.content.begin() + 20;
        return hex(Uds::Bytes(begin, begin + littleAt(packet.content, 12)));
    }

    Quarlen::Tests::TemporaryFolder folder;
    const std::string tags = "00 0C 00 04 64 6F 69 70 00 00 00 00 ";
};

} // namespace

TEST_F(BusCaptureTest, BeginsWithASectionAndItsInterface) {
    capture({});
    const auto found = blocks();
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].type, 0x0A0D0D0AU);
    EXPECT_EQ(hex(found[0].content), "4D 3C 2B 1A 01 00 00 00 FF FF FF FF FF FF FF FF");
    EXPECT_EQ(found[1].type, 1U);
    EXPECT_EQ(hex(found[1].content), "FC 00 00 00 00 00 00 00");
}

TEST_F(BusCaptureTest, HasEachMessageWithTimeAndAddresses) {
    capture({event(Kind::Request, "22 F1 90"), event(Kind::Response, "62 F1 90 41 42"),
             event(Kind::KeepAlive, "3E 80")});
    const auto found = blocks();
    ASSERT_EQ(found.size(), 5U);
    EXPECT_EQ(found[2].type, 6U);
    EXPECT_EQ(littleAt(found[2].content, 0), 0U);
    EXPECT_EQ(littleAt(found[2].content, 4), 0x00012345U);
    EXPECT_EQ(littleAt(found[2].content, 8), 0x6789ABCDU);
    EXPECT_EQ(messageOf(found[2]), tags + "03 FC 80 01 00 00 00 07 0E 80 00 10 22 F1 90");
    EXPECT_EQ(messageOf(found[3]), tags + "03 FC 80 01 00 00 00 09 00 10 0E 80 62 F1 90 41 42");
    EXPECT_EQ(messageOf(found[4]), tags + "03 FC 80 01 00 00 00 06 0E 80 00 10 3E 80");
}

TEST_F(BusCaptureTest, HasTheAddressesThatTheProjectSays) {
    capture(
        {{Kind::Request, {L"L", std::uint16_t{0x1001}, {}, std::uint16_t{0x0EF0}}, hex("3E 00")},
         {Kind::Request, {L"", {}, std::uint16_t{0xE400}}, hex("3E 00")}});
    const auto found = blocks();
    EXPECT_EQ(messageOf(found[2]), tags + "03 FC 80 01 00 00 00 06 0E F0 10 01 3E 00");
    EXPECT_EQ(messageOf(found[3]), tags + "03 FC 80 01 00 00 00 06 0E 80 E4 00 3E 00");
}

TEST_F(BusCaptureTest, HasNothingOfWhatIsNoMessage) {
    capture(
        {event(Kind::Silence, "3E 00"), event(Kind::Lost, "3E 00"), event(Kind::Locked, "11 01")});
    EXPECT_EQ(blocks().size(), 2U);
}

TEST_F(BusCaptureTest, CutsALongMessageAndTellsItsLength) {
    Quarlen::Tests::KeptBusEvent longOne = event(Kind::Request, "");
    longOne.bytes = Uds::Bytes(70'000, 0x36);
    capture({longOne});
    const auto found = blocks();
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(littleAt(found[2].content, 12), 12U + 12U + 65'535U);
    EXPECT_EQ(littleAt(found[2].content, 16), 12U + 12U + 70'000U);
}

TEST_F(BusCaptureTest, GoesOnBehindWhatIsThere) {
    capture({event(Kind::Request, "3E 00")});
    capture({event(Kind::Request, "3E 80")});
    const auto found = blocks();
    ASSERT_EQ(found.size(), 4U);
    EXPECT_EQ(found[3].type, 6U);
}

TEST_F(BusCaptureTest, CannotBeOpenedWhereItsFolderIsAFile) {
    folder.write("file", "");
    EXPECT_THROW(BusCapture(folder.path() / "file"), std::system_error);
}

} // namespace Quarlen::Kel_cpp::Tests
