#include "doip/MessageReader.hpp"

#include <algorithm>
#include <limits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/HexBytes.hpp"

namespace Quarlen::Doip::Tests {
namespace {

using Quarlen::Tests::hex;
using testing::HasSubstr;

constexpr std::size_t someBytes = 16;
constexpr std::uint32_t fourGigabytes = std::numeric_limits<std::uint32_t>::max();

/// Three messages: one without payload, one of a type that no one knows, one with all that is
/// allowed.
const Bytes threeMessages =
    hex("03 FC 00 07 00 00 00 00 "
        "02 FD 12 34 00 00 00 01 AA "
        "04 FB 80 01 00 00 00 10 0E 80 00 10 01 02 03 04 05 06 07 08 09 0A 0B 0C");
const std::vector<std::size_t> endsOfMessages = {8, 17, 41};

Bytes headerWith(std::uint8_t version, std::uint32_t length) {
    const auto bytes = encode(Header{version, 0x8001, length});
    return {bytes.begin(), bytes.end()};
}

class AMessageReader : public testing::Test {
protected:
    void add(const Bytes& bytes) { reader.add(bytes); }

    /// Version, type, and bytes of the payload, as they were on the wire.
    void takeAll() {
        while (const auto message = reader.next()) {
            const auto whole =
                encode(static_cast<PayloadType>(message->type), message->payload, message->version);
            taken.insert(taken.end(), whole.begin(), whole.end());
            ++messages;
        }
    }

    void expectRefused(HeaderNackCode code, const std::vector<std::wstring>& parts) {
        expectRefusedBy(reader, code, parts);
    }

    static void expectRefusedBy(MessageReader& reader, HeaderNackCode code,
                                const std::vector<std::wstring>& parts) {
        try {
            (void)reader.next();
            ADD_FAILURE() << "it was taken";
        } catch (const MalformedMessage& error) {
            EXPECT_EQ(error.code(), code);
            for (const auto& part : parts) {
                EXPECT_THAT(error.message(), HasSubstr(part));
            }
        }
    }

    MessageReader reader{someBytes};
    Bytes taken{};
    std::size_t messages = 0;
};

TEST_F(AMessageReader, HasNothingAtFirst) {
    EXPECT_FALSE(reader.next());
    EXPECT_FALSE(reader.isInMessage());
}

TEST_F(AMessageReader, PutsMessagesTogetherWhereverTheyAreCut) {
    for (std::size_t first = 0; first <= threeMessages.size(); ++first) {
        for (std::size_t second = first; second <= threeMessages.size(); ++second) {
            const auto at = [](std::size_t index) {
                return threeMessages.begin() + static_cast<std::ptrdiff_t>(index);
            };
            taken.clear();
            for (const auto& part :
                 {Bytes(threeMessages.begin(), at(first)), Bytes(at(first), at(second)),
                  Bytes(at(second), threeMessages.end())}) {
                add(part);
                takeAll();
            }
            ASSERT_EQ(hex(taken), hex(threeMessages)) << first << ", " << second;
            ASSERT_FALSE(reader.isInMessage());
        }
    }
}

TEST_F(AMessageReader, GivesAMessageOnceItsLastByteIsThere) {
    for (std::size_t count = 1; count <= threeMessages.size(); ++count) {
        add({threeMessages[count - 1]});
        takeAll();
        const auto whole = std::count_if(endsOfMessages.begin(), endsOfMessages.end(),
                                         [count](std::size_t end) { return end <= count; });
        EXPECT_EQ(messages, whole) << count;
        const bool isEnd = std::count(endsOfMessages.begin(), endsOfMessages.end(), count) > 0;
        EXPECT_EQ(reader.isInMessage(), !isEnd) << count;
    }
}

TEST_F(AMessageReader, IsInAMessageAsLongAsOneCanBeTaken) {
    add(threeMessages);

    for (std::size_t index = 0; index < endsOfMessages.size(); ++index) {
        EXPECT_TRUE(reader.isInMessage());
        EXPECT_TRUE(reader.next());
    }
    EXPECT_FALSE(reader.isInMessage());
    EXPECT_FALSE(reader.next());
}

TEST_F(AMessageReader, TellsVersionTypeAndPayload) {
    add(hex("02 FD 12 34 00 00 00 02 AA BB"));

    const auto message = reader.next();

    ASSERT_TRUE(message);
    EXPECT_EQ(message->version, version2012);
    EXPECT_EQ(message->type, 0x1234);
    EXPECT_EQ(message->payload, hex("AA BB"));
}

TEST_F(AMessageReader, TakesNothingForMoreBytes) {
    add({});

    EXPECT_FALSE(reader.next());
    EXPECT_FALSE(reader.isInMessage());
}

TEST_F(AMessageReader, RefusesMoreThanItsBoundBeforeItComes) {
    for (const auto length :
         {std::uint32_t{someBytes + 1}, std::uint32_t{0x7FFFFFFF}, fourGigabytes}) {
        MessageReader another{someBytes};
        another.add(headerWith(version2019, length));
        expectRefusedBy(
            another, HeaderNackCode::MessageTooLarge,
            {std::to_wstring(length), std::to_wstring(someBytes), L"diagnostic message (0x8001)"});
    }
}

TEST_F(AMessageReader, RefusesVersionsThatItDoesNotKnow) {
    for (unsigned version = 0; version <= 0xFF; ++version) {
        if (isKnownVersion(static_cast<std::uint8_t>(version))) {
            continue;
        }
        MessageReader another{someBytes};
        another.add(headerWith(static_cast<std::uint8_t>(version), 0));
        expectRefusedBy(another, HeaderNackCode::IncorrectPattern,
                        {L"0x" + Uds::hexText({static_cast<std::uint8_t>(version)}), L"expected"});
    }
}

TEST_F(AMessageReader, RefusesAVersionWithoutItsInverse) {
    add(hex("03 FD 80 01 00 00 00 00"));

    expectRefused(HeaderNackCode::IncorrectPattern, {L"03 FD", L"expected"});
}

TEST_F(AMessageReader, JudgesThePatternBeforeTheLength) {
    add(hex("03 FD 80 01 FF FF FF FF"));

    expectRefused(HeaderNackCode::IncorrectPattern, {L"03 FD"});
}

TEST_F(AMessageReader, GivesTheMessagesBeforeOneThatIsNone) {
    add(hex("03 FC 00 07 00 00 00 00 47 45 54 20 2F 20 48 54"));

    EXPECT_TRUE(reader.next());
    expectRefused(HeaderNackCode::IncorrectPattern, {L"47 45"});
}

TEST_F(AMessageReader, ReadsNothingAfterOneThatIsNone) {
    add(hex("03 FD 80 01 00 00 00 00"));
    EXPECT_THROW((void)reader.next(), MalformedMessage);

    add(hex("03 FC 00 07 00 00 00 00"));

    EXPECT_THROW((void)reader.next(), MalformedMessage);
}

TEST_F(AMessageReader, ForgetsEverythingForAnotherConnection) {
    add(hex("03 FC 00 07 00 00 00 00 03 FC 80 01"));
    EXPECT_TRUE(reader.next());
    reader.reset();
    EXPECT_FALSE(reader.isInMessage());

    add(hex("02 FD 12 34 00 00 00 01 AA"));

    const auto message = reader.next();
    ASSERT_TRUE(message);
    EXPECT_EQ(message->type, 0x1234);
    EXPECT_FALSE(reader.isInMessage());
}

const Bytes datagram = hex("FF 00 00 03 00 00 00 03 41 42 43");

TEST(DoipDatagram, IsOneMessage) {
    const auto message = decodeDatagram(datagram);

    EXPECT_EQ(message.version, versionUnknown);
    EXPECT_EQ(message.type, 0x0003);
    EXPECT_EQ(message.payload, hex("41 42 43"));
    EXPECT_TRUE(decodeDatagram(hex("03 FC 00 01 00 00 00 00")).payload.empty());
}

void expectRefused(const Bytes& bytes, HeaderNackCode code) {
    try {
        (void)decodeDatagram(bytes);
        ADD_FAILURE() << hex(bytes) << " was taken";
    } catch (const MalformedMessage& error) {
        EXPECT_EQ(error.code(), code) << hex(bytes);
        EXPECT_THAT(error.message(),
                    HasSubstr(std::to_wstring(
                        bytes.size() < headerSize ? bytes.size() : bytes.size() - headerSize)));
    }
}

TEST(DoipDatagram, IsRefusedWhereverItIsCut) {
    for (std::size_t count = 0; count < datagram.size(); ++count) {
        expectRefused(
            Bytes(datagram.begin(), datagram.begin() + static_cast<std::ptrdiff_t>(count)),
            HeaderNackCode::InvalidPayloadLength);
    }
}

TEST(DoipDatagram, IsRefusedWithMoreThanItsHeaderTells) {
    expectRefused(hex("03 FC 00 01 00 00 00 00 00"), HeaderNackCode::InvalidPayloadLength);
    expectRefused(hex("FF 00 00 03 00 00 00 03 41 42 43 44"), HeaderNackCode::InvalidPayloadLength);
}

TEST(DoipDatagram, IsRefusedWithLessThanFourGigabytesWhenItsHeaderTellsThem) {
    expectRefused(hex("03 FC 00 01 FF FF FF FF"), HeaderNackCode::InvalidPayloadLength);
}

TEST(DoipDatagram, IsRefusedWithoutAPattern) {
    for (const auto* const bytes : {"03 03 00 01 00 00 00 00", "00 00 00 01 00 00 00 00"}) {
        try {
            (void)decodeDatagram(hex(bytes));
            FAIL() << bytes;
        } catch (const MalformedMessage& error) {
            EXPECT_EQ(error.code(), HeaderNackCode::IncorrectPattern);
        }
    }
}

} // namespace
} // namespace Quarlen::Doip::Tests
