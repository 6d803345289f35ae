#include "tools/kel_vehicle/entity/Inbox.hpp"

#include <gtest/gtest.h>

#include "tests/support/HexBytes.hpp"
#include "tools/kel_vehicle/entity/EntityLimits.hpp"

namespace Quarlen::KelVehicle::Tests {
namespace {

using Doip::HeaderNackCode;
using Doip::PayloadType;
using Quarlen::Tests::hex;

/// Of an inbox to which these bytes come first.
HeaderFault refusalOf(const std::string& bytes, std::size_t room = 16) {
    InboxBudget budget(room);
    Inbox inbox(budget);
    inbox.add(hex(bytes));
    return std::get<HeaderFault>(inbox.next().value());
}

TEST(Inbox, TakesEveryVersionThatIsServed) {
    InboxBudget budget(16);
    Inbox inbox(budget);
    for (const std::uint8_t version : hex("02 03 04")) {
        inbox.add(Doip::encode(PayloadType::AliveCheckResponse, hex("0E 80"), version));
        EXPECT_EQ(std::get<Doip::Message>(inbox.next().value()).version, version);
    }
}

TEST(Inbox, RefusesInTheTestersVersionOrInOneThatIsServed) {
    EXPECT_EQ(refusalOf("02 FD 12 34 00 00 00 00").version, Doip::version2012);
    EXPECT_EQ(refusalOf("04 FB 80 01 FF FF FF FF").version, Doip::version2025);
    EXPECT_EQ(refusalOf("01 FE 00 05 00 00 00 07").version, Doip::version2019);
    EXPECT_EQ(refusalOf("02 FC 00 05 00 00 00 07").version, Doip::version2019);
}

/// ISO 13400-2:2019, figure 6.
TEST(Inbox, JudgesVersionTypeLengthAndRoomInThatOrder) {
    EXPECT_EQ(refusalOf("05 FA 12 34 FF FF FF FF").code, HeaderNackCode::IncorrectPattern);
    EXPECT_EQ(refusalOf("03 FC 12 34 FF FF FF FF").code, HeaderNackCode::UnknownPayloadType);
    EXPECT_EQ(refusalOf("03 FC 80 01 FF FF FF FF").code, HeaderNackCode::MessageTooLarge);
    EXPECT_EQ(refusalOf("03 FC 80 01 00 00 00 11").code, HeaderNackCode::OutOfMemory);
}

TEST(Inbox, SaysWhatItRefuses) {
    EXPECT_EQ(refusalOf("05 FA 00 05 00 00 00 07").cause,
              L"protocol version 0x05, expected 0x02 to 0x04");
    EXPECT_EQ(refusalOf("03 FC 12 34 00 00 00 00").cause,
              L"unknown payload type (0x1234) over TCP");
    EXPECT_EQ(refusalOf("03 FC 80 01 FF FF FF FF").cause,
              L"diagnostic message (0x8001) of 4294967295 bytes");
    EXPECT_EQ(refusalOf("03 FC 80 01 00 00 00 11").cause,
              L"diagnostic message (0x8001) of 17 bytes");
}

TEST(Inbox, TakesTheLongestPayloadAndNoneThatIsLonger) {
    const auto begin = [](std::size_t length) {
        const auto header = Doip::encode(
            Doip::Header{Doip::version2019, 0x8001, static_cast<std::uint32_t>(length)});
        return hex(Doip::Bytes(header.begin(), header.end()));
    };
    InboxBudget budget(maxPayload);
    Inbox inbox(budget);
    inbox.add(hex(begin(maxPayload)));
    EXPECT_FALSE(inbox.next().has_value());
    EXPECT_EQ(refusalOf(begin(maxPayload + 1), maxPayload + 1).code,
              HeaderNackCode::MessageTooLarge);
}

TEST(Inbox, NeedsNoRoomForMessagesThatWereTaken) {
    InboxBudget budget(2);
    Inbox inbox(budget);
    for (int count = 0; count < 3; ++count) {
        inbox.add(Doip::encode(PayloadType::AliveCheckResponse, hex("0E 80")));
        EXPECT_TRUE(std::holds_alternative<Doip::Message>(inbox.next().value()));
    }
}

TEST(Inbox, LeavesTheRoomOfAHalfMessageWhenItEnds) {
    InboxBudget budget(2);
    {
        Inbox inbox(budget);
        inbox.add(hex("03 FC 00 08 00 00 00 02 0E"));
        EXPECT_FALSE(inbox.next().has_value());
        EXPECT_FALSE(budget.take(1));
    }
    EXPECT_TRUE(budget.take(2));
}

} // namespace
} // namespace Quarlen::KelVehicle::Tests
