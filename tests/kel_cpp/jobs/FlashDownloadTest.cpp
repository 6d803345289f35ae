#include "kel_cpp/jobs/FlashDownload.hpp"

#include <algorithm>
#include <map>
#include <numeric>
#include <vector>

#include <gtest/gtest.h>

#include "kel_cpp/jobs/FlashFile.hpp"
#include "tests/kel_cpp/AgreeingControlUnit.hpp"
#include "tests/kel_cpp/FakeVehicle.hpp"

namespace Quarlen::Kel_cpp::Tests {

using Uds::Bytes;

namespace {

/// A control unit that takes everything, unless a test's own answer comes first.
class FlashDownloadTest : public testing::Test {
protected:
    void SetUp() override {
        vehicle->answer = [this](const Bytes& request) -> std::optional<Bytes> {
            for (const auto& [beginning, answer] : ownAnswers) {
                if (request.size() >= beginning.size() &&
                    std::equal(beginning.begin(), beginning.end(), request.begin())) {
                    return answer;
                }
            }
            return agreeTo(request);
        };
    }

    void download() {
        VehicleAccess access(L"Fake", vehicle, clock);
        auto link = access.openLink({L"L"});
        const FlashListener listener{
            [this](std::uint16_t percent, std::size_t bytes) {
                percents.push_back(percent);
                transferred.push_back(bytes);
            },
            [this](std::chrono::seconds since) { erasing.push_back(since.count()); }};
        FlashDownload(link, {content, 0x00010000}, listener, clock, {}).run();
    }

    Bytes transferredBytes() const {
        Bytes bytes;
        for (const auto& request : vehicle->requests()) {
            if (request[0] == 0x36) {
                bytes.insert(bytes.end(), request.begin() + 2, request.end());
            }
        }
        return bytes;
    }

    Quarlen::Tests::FakeClock clock;
    std::shared_ptr<FakeVehicle> vehicle = std::make_shared<FakeVehicle>(clock);
    /// The beginning of requests and what is answered to them.
    std::map<Bytes, Bytes> ownAnswers;
    Bytes content = Bytes(4099, 0xA5);
    std::vector<std::uint16_t> percents;
    std::vector<std::size_t> transferred;
    std::vector<std::int64_t> erasing;
};

} // namespace

TEST_F(FlashDownloadTest, SendsTheFilesBytesInBlocksThatTheControlUnitCanTake) {
    content[0] = 0x01;
    content.back() = 0x02;
    download();
    EXPECT_EQ(transferredBytes(), content);
    for (const auto& request : vehicle->requests()) {
        EXPECT_LE(request.size(), request[0] == 0x36 ? 10U : 13U);
    }
}

TEST_F(FlashDownloadTest, SaysNoMoreThanOnceASecondThatAnEraseGoesOn) {
    ownAnswers[{0x31, 0x01, 0xFF, 0x00}] = {0x7F, 0x31, 0x78};
    EXPECT_THROW(download(), Uds::NoUsableResponse);
    EXPECT_EQ(erasing, std::vector<std::int64_t>{0});
}

TEST_F(FlashDownloadTest, CountsTheBlocksFromOneAndWrapsToZero) {
    download();
    std::vector<std::uint8_t> counters;
    for (const auto& request : vehicle->requests()) {
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
    for (const auto& request : vehicle->requests()) {
        services.push_back(request[0]);
    }
    EXPECT_EQ(services, (Bytes{0x31, 0x34, 0x36, 0x37, 0x31}));
}

TEST_F(FlashDownloadTest, AnotherBlockThanTheOneThatWasSentIsAnError) {
    ownAnswers[{0x36}] = {0x76, 0x09};
    EXPECT_THROW(download(), Uds::NoUsableResponse);
}

TEST_F(FlashDownloadTest, TellsEachWholePercentOnce) {
    download();
    std::vector<std::uint16_t> all(100);
    std::iota(all.begin(), all.end(), std::uint16_t{1});
    EXPECT_EQ(percents, all);
}

TEST_F(FlashDownloadTest, TellsTheBytesOfTheBlocksThatTheControlUnitHas) {
    content.resize(200);
    download();
    ASSERT_EQ(transferred.size(), 26U);
    for (std::size_t block = 1; block <= 25; ++block) {
        EXPECT_EQ(transferred[block - 1], 8 * block);
    }
    EXPECT_EQ(transferred.back(), 200U);
}

TEST_F(FlashDownloadTest, TellsThatTheEraseBegins) {
    download();
    EXPECT_EQ(erasing, std::vector<std::int64_t>{0});
}

TEST_F(FlashDownloadTest, AnEraseNeedNotTellAStatus) {
    ownAnswers[{0x31, 0x01, 0xFF, 0x00}] = {0x71, 0x01, 0xFF, 0x00};
    download();
    EXPECT_EQ(percents.back(), 100);
}

namespace {

struct RoutineAnswer {
    Bytes request;
    Bytes answer;
};

class RoutineThatHasNotDoneItsWork : public FlashDownloadTest,
                                     public testing::WithParamInterface<RoutineAnswer> {};

const Bytes eraseRequest{0x31, 0x01, 0xFF, 0x00};
const Bytes checkRequest{0x31, 0x01, 0x02, 0x02};

} // namespace

TEST_P(RoutineThatHasNotDoneItsWork, IsAnErrorAndTheDownloadIsNotDone) {
    ownAnswers[GetParam().request] = GetParam().answer;
    EXPECT_THROW(download(), FlashError);
    EXPECT_TRUE(percents.empty() || percents.back() < 100);
}

class RoutineThatWasNotStarted : public FlashDownloadTest,
                                 public testing::WithParamInterface<RoutineAnswer> {};

TEST_P(RoutineThatWasNotStarted, IsNoUsableResponseAndTheDownloadIsNotDone) {
    ownAnswers[GetParam().request] = GetParam().answer;
    EXPECT_THROW(download(), Uds::NoUsableResponse);
    EXPECT_TRUE(percents.empty() || percents.back() < 100);
}

INSTANTIATE_TEST_SUITE_P(Erase, RoutineThatHasNotDoneItsWork,
                         testing::Values(RoutineAnswer{eraseRequest,
                                                       {0x71, 0x01, 0xFF, 0x00, 0x01}}));

INSTANTIATE_TEST_SUITE_P(
    Erase, RoutineThatWasNotStarted,
    testing::Values(RoutineAnswer{eraseRequest, {0x71}}, RoutineAnswer{eraseRequest, {0x71, 0x01}},
                    RoutineAnswer{eraseRequest, {0x71, 0x01, 0xFF}},
                    RoutineAnswer{eraseRequest, {0x71, 0x03, 0xFF, 0x00, 0x00}},
                    RoutineAnswer{eraseRequest, {0x71, 0x01, 0x02, 0x02, 0x00}}));

INSTANTIATE_TEST_SUITE_P(Check, RoutineThatHasNotDoneItsWork,
                         testing::Values(RoutineAnswer{checkRequest,
                                                       {0x71, 0x01, 0x02, 0x02, 0x01}},
                                         RoutineAnswer{checkRequest, {0x71, 0x01, 0x02, 0x02}}));

INSTANTIATE_TEST_SUITE_P(
    Check, RoutineThatWasNotStarted,
    testing::Values(RoutineAnswer{checkRequest, {0x71}}, RoutineAnswer{checkRequest, {0x71, 0x01}},
                    RoutineAnswer{checkRequest, {0x71, 0x03, 0x02, 0x02, 0x00}},
                    RoutineAnswer{checkRequest, {0x71, 0x01, 0xFF, 0x00, 0x00}}));

TEST_F(FlashDownloadTest, AControlUnitThatTakesNoDataIsAnError) {
    for (const Bytes& answer :
         {Bytes{0x74}, Bytes{0x74, 0x20, 0x00}, Bytes{0x74, 0x00, 0x10}, Bytes{0x74, 0x10, 0x02},
          Bytes{0x74, 0x90, 1, 1, 1, 1, 1, 1, 1, 1, 1}}) {
        ownAnswers[{0x34}] = answer;
        EXPECT_THROW(download(), FlashError);
    }
}

TEST_F(FlashDownloadTest, ARefusedBlockEndsIt) {
    ownAnswers[{0x36}] = {0x7F, 0x36, 0x73};
    EXPECT_THROW(download(), Uds::NegativeResponse);
}

} // namespace Quarlen::Kel_cpp::Tests
