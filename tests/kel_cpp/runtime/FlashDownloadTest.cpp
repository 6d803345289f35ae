#include "kel_cpp/jobs/FlashDownload.hpp"

#include <map>
#include <vector>

#include <gtest/gtest.h>

#include "kel_cpp/jobs/FlashFile.hpp"
#include "tests/kel_cpp/runtime/FakeVehicle.hpp"

namespace Quarlen::Kel_cpp {

using Uds::Bytes;

TEST(FlashFile, RefusesANameThatLeavesTheFolder) {
    for (const auto* name : {L"../secret.bin", L"sub/file.bin", L"..", L".", L"", L"/etc/passwd"}) {
        EXPECT_THROW(readFlashFile("/tmp", name), FlashError);
    }
}

TEST(FlashFile, MustHaveTheSizeAndTheChecksumThatTheProjectSays) {
    const Bytes content{'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    FlashSessionDescription session;
    EXPECT_NO_THROW(checkFlashFile(content, session));
    session.size = 9;
    session.checksum = 0xCBF43926;
    EXPECT_NO_THROW(checkFlashFile(content, session));
    EXPECT_THROW(checkFlashFile({'1', '2', '3'}, session), FlashError);
    EXPECT_THROW(checkFlashFile({'1', '2', '3', '4', '5', '6', '7', '8', '0'}, session),
                 FlashError);
}

namespace {

/// A control unit that takes everything, unless a test's own answer comes first.
class FlashDownloadTest : public testing::Test {
protected:
    void SetUp() override {
        vehicle.answer = [this](const Bytes& request) -> std::optional<Bytes> {
            const auto own = ownAnswers.find(request[0]);
            return own != ownAnswers.end() ? own->second : agree(request);
        };
    }

    static Bytes agree(const Bytes& request) {
        switch (request[0]) {
        case 0x27:
            return {0x67, request[1], 0x00, 0x00};
        case 0x34:
            return {0x74, 0x20, 0x00, 0x0A};
        default:
            return {static_cast<std::uint8_t>(request[0] + 0x40),
                    request.size() > 1 ? request[1] : std::uint8_t{0}};
        }
    }

    void download() {
        const auto link = vehicle.openLink(L"L");
        Uds::UdsClient client(*link, {}, clock);
        FlashDownload(client, {content, 0x00010000, 1, 0}, [](std::uint16_t) {}).run();
    }

    Bytes transferredBytes() const {
        Bytes bytes;
        for (const auto& request : vehicle.requests()) {
            if (request[0] == 0x36) {
                bytes.insert(bytes.end(), request.begin() + 2, request.end());
            }
        }
        return bytes;
    }

    Quarlen::Tests::FakeClock clock;
    Tests::FakeVehicle vehicle{clock};
    std::map<std::uint8_t, Bytes> ownAnswers;
    Bytes content = Bytes(4099, 0xA5);
};

} // namespace

TEST_F(FlashDownloadTest, SendsTheFilesBytesInBlocksThatTheControlUnitCanTake) {
    content[0] = 0x01;
    content.back() = 0x02;
    download();
    EXPECT_EQ(transferredBytes(), content);
    for (const auto& request : vehicle.requests()) {
        EXPECT_LE(request.size(), request[0] == 0x36 ? 10U : 13U);
    }
}

TEST_F(FlashDownloadTest, CountsTheBlocksFromOneAndWrapsToZero) {
    download();
    std::vector<std::uint8_t> counters;
    for (const auto& request : vehicle.requests()) {
        if (request[0] == 0x36) {
            counters.push_back(request[1]);
        }
    }
    ASSERT_EQ(counters.size(), 513U);
    EXPECT_EQ(counters[0], 1);
    EXPECT_EQ(counters[254], 255);
    EXPECT_EQ(counters[255], 0);
    EXPECT_EQ(counters[512], 1);
}

TEST_F(FlashDownloadTest, KeepsTheOrderOfTheReprogramming) {
    content.resize(1);
    download();
    Bytes services;
    for (const auto& request : vehicle.requests()) {
        services.push_back(request[0]);
    }
    EXPECT_EQ(services, (Bytes{0x10, 0x27, 0x31, 0x34, 0x36, 0x37, 0x31}));
}

TEST_F(FlashDownloadTest, AnotherBlockThanTheOneThatWasSentIsAnError) {
    ownAnswers[0x36] = {0x76, 0x09};
    EXPECT_THROW(download(), FlashError);
}

TEST_F(FlashDownloadTest, AWrongChecksumOrAFailedEraseIsAnError) {
    ownAnswers[0x31] = {0x71, 0x01, 0x02, 0x02, 0x01};
    EXPECT_THROW(download(), FlashError);
}

TEST_F(FlashDownloadTest, AControlUnitThatTakesNoDataIsAnError) {
    for (const Bytes& answer :
         {Bytes{0x74}, Bytes{0x74, 0x20, 0x00}, Bytes{0x74, 0x00, 0x10}, Bytes{0x74, 0x10, 0x02},
          Bytes{0x74, 0x90, 1, 1, 1, 1, 1, 1, 1, 1, 1}}) {
        ownAnswers[0x34] = answer;
        EXPECT_THROW(download(), FlashError);
    }
}

TEST_F(FlashDownloadTest, ARefusedBlockEndsIt) {
    ownAnswers[0x36] = {0x7F, 0x36, 0x73};
    EXPECT_THROW(download(), Uds::NegativeResponse);
}

} // namespace Quarlen::Kel_cpp
