#include "simulation/FlashProgramming.hpp"

#include <algorithm>
#include <string_view>

#include "tests/simulation/ControlUnitFixture.hpp"
#include "uds/Crc32.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Simulation::Tests {
namespace {

using namespace std::chrono_literals;

/// Unlocked in the programming session, everything erased.
class FlashProgrammingTest : public ControlUnitFixture {
protected:
    void SetUp() override {
        enterProgramming();
        erased = ask("31 01 FF 00");
        clock.advance(1000ms);
    }

    static Uds::Bytes image(std::size_t size) {
        Uds::Bytes bytes;
        for (std::size_t index = 0; index < size; ++index) {
            bytes.push_back(static_cast<std::uint8_t>(index * 7 + 1));
        }
        return bytes;
    }

    /// Downloads to 0x1000 in blocks of 32 bytes.
    void download(const Uds::Bytes& data) {
        Uds::Bytes request{0x34, 0x00, 0x22, 0x10, 0x00};
        Uds::appendNumber(request, data.size(), 2);
        ASSERT_EQ(ask(request), "74 20 00 22");
        std::uint8_t counter = 1;
        for (std::size_t offset = 0; offset < data.size(); offset += 32, ++counter) {
            const auto end = std::min(offset + 32, data.size());
            Uds::Bytes block{0x36, counter};
            for (auto index = offset; index < end; ++index) {
                block.push_back(data[index]);
            }
            ASSERT_EQ(ask(block), hex(Uds::Bytes{0x76, counter}));
        }
        ASSERT_EQ(ask("37"), "77");
    }

    std::string check(std::uint32_t checksum) {
        auto request = hex("31 01 02 02");
        Uds::appendNumber(request, checksum, 4);
        return ask(request);
    }

    std::string checkRight(const Uds::Bytes& data) {
        return check(Uds::crc32(data.data(), data.size()));
    }

    std::string erased;
};

TEST_F(FlashProgrammingTest, SendsResponsePendingWhileItErases) {
    EXPECT_EQ(erased, "7F 31 78|71 01 FF 00 00");
}

TEST_F(FlashProgrammingTest, HoldsExactlyTheBytesOfTheFileAfterwards) {
    const auto data = image(200);
    download(data);
    EXPECT_EQ(checkRight(data), "71 01 02 02 00");
    EXPECT_EQ(unit->memoryContent(0x1000, 200), data);
    EXPECT_EQ(unit->memoryContent(0x10C8, 56), Uds::Bytes(56, 0xFF));
}

TEST_F(FlashProgrammingTest, ReportsAWrongChecksum) {
    download(image(64));
    EXPECT_EQ(check(0x12345678), "71 01 02 02 01");
}

TEST_F(FlashProgrammingTest, HasNoSoftwareVersionFromAnEraseToAGoodCheck) {
    const auto data = image(64);
    EXPECT_EQ(ask("22 F1 95"), "7F 22 22");
    EXPECT_EQ(ask("22 F1 90 F1 95"), "7F 22 22");
    download(data);
    EXPECT_EQ(ask("22 F1 95"), "7F 22 22");
    check(0x12345678);
    EXPECT_EQ(ask("22 F1 95"), "7F 22 22");
    checkRight(data);
    EXPECT_EQ(ask("22 F1 95").substr(0, 8), "62 F1 95");
}

TEST_F(FlashProgrammingTest, HasNoSoftwareVersionAfterAResetEither) {
    ask("11 01");
    EXPECT_EQ(ask("22 F1 95"), "7F 22 22");
    EXPECT_EQ(ask("22 F1 90"), "62 F1 90 56 49 4E");
}

TEST_F(FlashProgrammingTest, LosesItsSoftwareVersionWithAnEraseOfOneRegion) {
    unit = std::make_unique<SimulatedControlUnit>(smallControlUnit(), clock);
    enterProgramming();
    EXPECT_EQ(ask("22 F1 95"), "62 F1 95 31");
    ask("31 01 FF 00 22 10 00 00 20");
    EXPECT_EQ(ask("22 F1 95"), "7F 22 22");
}

TEST_F(FlashProgrammingTest, KeepsItsSoftwareVersionWhenAnEraseIsRefused) {
    unit = std::make_unique<SimulatedControlUnit>(smallControlUnit(), clock);
    ask("10 02");
    EXPECT_EQ(ask("31 01 FF 00"), "7F 31 33");
    enterProgramming();
    EXPECT_EQ(ask("31 01 FF 00 22 0F FF 00 10"), "7F 31 31");
    EXPECT_EQ(ask("22 F1 95"), "62 F1 95 31");
}

TEST_F(FlashProgrammingTest, TellsWhetherTheSoftwareIsComplete) {
    const auto data = image(64);
    EXPECT_EQ(ask("31 01 FF 01"), "71 01 FF 01 01");
    download(data);
    checkRight(data);
    EXPECT_EQ(ask("31 01 FF 01"), "71 01 FF 01 00");
    EXPECT_EQ(ask("31 01 FF 01 00"), "7F 31 13");
    ask("10 03");
    EXPECT_EQ(ask("31 01 FF 01"), "7F 31 31");
}

TEST_F(FlashProgrammingTest, LeavesTheDependenciesToARoutineOfTheDescription) {
    auto description = smallControlUnit();
    description.routines.push_back({Uds::Routine::checkProgrammingDependencies, {0x55}, 0ms, {}});
    unit = std::make_unique<SimulatedControlUnit>(description, clock);
    EXPECT_EQ(ask("31 01 FF 01"), "71 01 FF 01 55");
}

TEST_F(FlashProgrammingTest, ReadsTheChecksumAsVersionOfAPlainImage) {
    const std::string_view text = "123456789";
    const Uds::Bytes data(text.begin(), text.end());
    download(data);
    checkRight(data);
    EXPECT_EQ(ask("22 F1 95"), "62 F1 95 43 42 46 34 33 39 32 36");
}

struct Version {
    std::string_view behindMark;
    std::string_view version;
};

class FlashedVersion : public FlashProgrammingTest, public testing::WithParamInterface<Version> {};

TEST_P(FlashedVersion, IsTheTextBehindTheMark) {
    const auto text = std::string("KELSWVER").append(GetParam().behindMark);
    const Uds::Bytes data(text.begin(), text.end());
    download(data);
    checkRight(data);
    Uds::Bytes expected{0x62, 0xF1, 0x95};
    expected.insert(expected.end(), GetParam().version.begin(), GetParam().version.end());
    EXPECT_EQ(ask("22 F1 95"), hex(expected));
}

using namespace std::string_view_literals;
INSTANTIATE_TEST_SUITE_P(Texts, FlashedVersion,
                         testing::Values(Version{"EN_02\0rest"sv, "EN_02"sv},
                                         Version{"EN_02"sv, "EN_02"sv},
                                         Version{"0123456789abcdefgh"sv, "0123456789abcdef"sv},
                                         Version{""sv, "364FCA81"sv},
                                         Version{"\0x"sv, "462E5F1A"sv}));

TEST_F(FlashProgrammingTest, RefusesADownloadOverData) {
    download(image(64));
    EXPECT_EQ(ask("34 00 22 10 20 00 20"), "7F 34 70");
    EXPECT_EQ(ask("34 00 22 10 40 00 20"), "74 20 00 22");
}

TEST_F(FlashProgrammingTest, RefusesADownloadThatWasNeverErased) {
    unit = std::make_unique<SimulatedControlUnit>(smallControlUnit(), clock);
    enterProgramming();
    EXPECT_EQ(ask("34 00 22 10 00 01 00"), "7F 34 70");
}

TEST_F(FlashProgrammingTest, ErasesOneRegion) {
    download(image(64));
    EXPECT_EQ(ask("31 01 FF 00 22 10 00 00 20"), "71 01 FF 00 00");
    EXPECT_EQ(unit->memoryContent(0x1000, 32), Uds::Bytes(32, 0xFF));
    EXPECT_EQ(unit->memoryContent(0x1020, 1), Uds::Bytes{image(64)[32]});
}

TEST_F(FlashProgrammingTest, TakesFourBytesForALargeBlockLength) {
    EXPECT_EQ(ask("34 00 12 80 00 10"), "74 40 00 01 11 70");
}

class ReadMemoryByAddress : public FlashProgrammingTest {};

TEST_F(ReadMemoryByAddress, ReadsWhatTheMemoryHolds) {
    download(image(64));
    EXPECT_EQ(ask("23 12 10 00 04"), "63 01 08 0F 16");
    EXPECT_EQ(ask("23 44 00 00 10 3F 00 00 00 02"), "63 BA FF");
}

TEST_F(ReadMemoryByAddress, NeedsTheSecurityLevelOfTheMemory) {
    ask("10 03");
    EXPECT_EQ(ask("23 12 10 00 04"), "7F 23 33");
    unlock(1, 0x5A3C96E1);
    EXPECT_EQ(ask("23 12 10 00 04"), "63 FF FF FF FF");
}

TEST_F(ReadMemoryByAddress, ReadsAnywhereWhenTheMemoryHasNoSecurityLevel) {
    auto description = smallControlUnit();
    description.flashMemories = {{0x1000, 0x2000, 34, 0ms, 0}};
    unit = std::make_unique<SimulatedControlUnit>(description, clock);
    EXPECT_EQ(ask("23 12 10 00 02"), "63 00 00");
    EXPECT_EQ(ask("23 22 10 00 0F FE").size(), 4095U * 3 - 1);
    EXPECT_EQ(ask("23 22 10 00 0F FF"), "7F 23 14");
}

TEST_F(ReadMemoryByAddress, IsNoServiceOfAControlUnitWithoutMemory) {
    auto description = smallControlUnit();
    description.flashMemories.clear();
    unit = std::make_unique<SimulatedControlUnit>(description, clock);
    EXPECT_EQ(ask("23 12 10 00 02"), "7F 23 11");
}

class FlashRequest : public FlashProgrammingTest, public testing::WithParamInterface<Exchange> {};

TEST_P(FlashRequest, IsRefusedWithItsReason) {
    EXPECT_EQ(ask(GetParam().request), GetParam().response);
}

INSTANTIATE_TEST_SUITE_P(Erase, FlashRequest,
                         testing::Values(Exchange{"31 02 FF 00", "7F 31 12"},
                                         Exchange{"31 01 FF 00 22 10 00", "7F 31 13"},
                                         Exchange{"31 01 FF 00 00", "7F 31 31"},
                                         Exchange{"31 01 FF 00 22 0F FF 00 10", "7F 31 31"},
                                         Exchange{"31 01 FF 00 22 10 00 01 01", "7F 31 31"},
                                         Exchange{"31 01 FF 00 22 10 00 00 00", "7F 31 31"}));

INSTANTIATE_TEST_SUITE_P(Check, FlashRequest,
                         testing::Values(Exchange{"31 01 02 02", "7F 31 13"},
                                         Exchange{"31 01 02 02 00 00 00", "7F 31 13"},
                                         Exchange{"31 01 02 02 00 00 00 00", "7F 31 24"},
                                         Exchange{"31 03 02 02 00 00 00 00", "7F 31 12"}));

INSTANTIATE_TEST_SUITE_P(RequestDownload, FlashRequest,
                         testing::Values(Exchange{"34", "7F 34 13"}, Exchange{"34 00", "7F 34 13"},
                                         Exchange{"34 00 22 10 00 01", "7F 34 13"},
                                         Exchange{"34 00 22 10 00 01 00 00", "7F 34 13"},
                                         Exchange{"34 10 22 10 00 01 00", "7F 34 31"},
                                         Exchange{"34 00 00", "7F 34 31"},
                                         Exchange{"34 00 52 10 00", "7F 34 31"},
                                         Exchange{"34 00 22 0F FF 00 02", "7F 34 31"},
                                         Exchange{"34 00 22 10 00 01 01", "7F 34 31"},
                                         Exchange{"34 00 22 10 FF 00 02", "7F 34 31"},
                                         Exchange{"34 00 22 10 00 00 00", "7F 34 31"},
                                         Exchange{"34 00 44 FF FF FF FF FF FF FF FF", "7F 34 31"}));

INSTANTIATE_TEST_SUITE_P(
    ReadMemory, FlashRequest,
    testing::Values(Exchange{"23", "7F 23 13"}, Exchange{"23 12 10 00", "7F 23 13"},
                    Exchange{"23 12 10 00 04 00", "7F 23 13"}, Exchange{"23 00", "7F 23 31"},
                    Exchange{"23 12 10 00 00", "7F 23 31"}, Exchange{"23 12 0F FF 02", "7F 23 31"},
                    Exchange{"23 12 10 FF 02", "7F 23 31"}));

INSTANTIATE_TEST_SUITE_P(WithoutDownload, FlashRequest,
                         testing::Values(Exchange{"36 01 00", "7F 36 24"},
                                         Exchange{"37", "7F 37 24"},
                                         Exchange{"37 00", "7F 37 13"}));

/// A download of 64 bytes, of which 32 are there.
class TransferData : public FlashProgrammingTest {
protected:
    void SetUp() override {
        FlashProgrammingTest::SetUp();
        ASSERT_EQ(ask("34 00 22 10 00 00 40"), "74 20 00 22");
        ASSERT_EQ(ask(block(1, 32, 0x11)), "76 01");
    }

    static Uds::Bytes block(std::uint8_t counter, std::size_t size, std::uint8_t value) {
        Uds::Bytes bytes(2 + size, value);
        bytes[0] = 0x36;
        bytes[1] = counter;
        return bytes;
    }
};

TEST_F(TransferData, RefusesAWrongBlockCounter) {
    EXPECT_EQ(ask(block(3, 32, 0x22)), "7F 36 73");
    EXPECT_EQ(ask(block(0, 32, 0x22)), "7F 36 73");
    EXPECT_EQ(ask(block(2, 32, 0x22)), "76 02");
}

TEST_F(TransferData, AcceptsARepeatedBlockWithoutWritingItAgain) {
    EXPECT_EQ(ask(block(1, 32, 0x99)), "76 01");
    EXPECT_EQ(ask(block(2, 32, 0x22)), "76 02");
    EXPECT_EQ(unit->memoryContent(0x1000, 32), Uds::Bytes(32, 0x11));
    EXPECT_EQ(unit->memoryContent(0x1020, 32), Uds::Bytes(32, 0x22));
}

TEST_F(TransferData, RefusesTooMuchData) {
    EXPECT_EQ(ask(block(2, 31, 0x22)), "76 02");
    EXPECT_EQ(ask(block(3, 2, 0x33)), "7F 36 71");
    EXPECT_EQ(ask(block(3, 1, 0x33)), "76 03");
    EXPECT_EQ(ask("37"), "77");
}

TEST_F(TransferData, AcceptsTheRepetitionOfTheLastBlockOfAll) {
    EXPECT_EQ(ask(block(2, 32, 0x22)), "76 02");
    EXPECT_EQ(ask(block(2, 32, 0x22)), "76 02");
    EXPECT_EQ(ask("37"), "77");
}

TEST_F(TransferData, RefusesABlockLongerThanAnnounced) {
    EXPECT_EQ(ask(block(2, 33, 0x22)), "7F 36 13");
}

TEST_F(TransferData, RefusesABlockWithoutData) {
    EXPECT_EQ(ask("36 02"), "7F 36 13");
    EXPECT_EQ(ask("36"), "7F 36 13");
}

TEST_F(TransferData, CannotEndEarly) {
    EXPECT_EQ(ask("37"), "7F 37 24");
}

TEST_F(TransferData, CannotBeCheckedEarly) {
    EXPECT_EQ(check(0), "7F 31 24");
}

TEST_F(TransferData, DoesNotStartASecondDownload) {
    EXPECT_EQ(ask("34 00 22 10 80 00 40"), "7F 34 22");
}

TEST_F(TransferData, DoesNotEraseMeanwhile) {
    EXPECT_EQ(ask("31 01 FF 00"), "7F 31 22");
}

TEST_F(TransferData, IsForgottenWhenTheSessionIsEnteredAgain) {
    enterProgramming();
    EXPECT_EQ(ask(block(2, 32, 0x22)), "7F 36 24");
}

TEST_F(FlashProgrammingTest, WrapsTheBlockCounterFrom255ToZero) {
    ASSERT_EQ(ask("34 00 22 80 00 01 00"), "74 40 00 01 11 70");
    for (int count = 1; count <= 0xFF; ++count) {
        ASSERT_EQ(ask(Uds::Bytes{0x36, static_cast<std::uint8_t>(count), 0xAB}).substr(0, 2), "76");
    }
    EXPECT_EQ(ask("36 01 AB"), "7F 36 73");
    EXPECT_EQ(ask("36 00 CD"), "76 00");
    EXPECT_EQ(ask("37"), "77");
}

TEST_F(FlashProgrammingTest, ShowsNoMemoryOutsideItsRegions) {
    EXPECT_TRUE(unit->memoryContent(0x0FFF, 1).empty());
    EXPECT_TRUE(unit->memoryContent(0x10FF, 2).empty());
    EXPECT_EQ(unit->memoryContent(0x80FF, 1), Uds::Bytes{0xFF});
}

} // namespace
} // namespace Quarlen::Simulation::Tests
