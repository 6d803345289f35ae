#include "uds/Client.hpp"

#include "tests/uds/ChannelFixture.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Uds::Tests {
namespace {

using Quarlen::Tests::hex;

class UdsClientTest : public ChannelFixture {
protected:
    Client client{link, cancel.get_token()};
};

TEST_F(UdsClientTest, ReturnsANegativeResponseFromExchange) {
    answerNext("7F 22 31");
    EXPECT_EQ(hex(client.exchange(hex("22 12 34"))), "7F 22 31");
}

TEST_F(UdsClientTest, ThrowsANegativeResponseFromRequest) {
    answerNext("7F 22 31");
    try {
        client.request(hex("22 12 34"));
        FAIL() << "no exception";
    } catch (const NegativeResponse& error) {
        EXPECT_EQ(error.service(), 0x22);
        EXPECT_EQ(error.nrc(), 0x31);
        EXPECT_EQ(error.message(),
                  L"ReadDataByIdentifier (0x22) refused: request out of range (0x31)");
    }
}

TEST_F(UdsClientTest, IsEndedByItsCancel) {
    cancel.request_stop();
    EXPECT_THROW(client.request(hex("3E 00")), Cancelled);
}

TEST_F(UdsClientTest, UnlocksWithTheKeyForTheSeed) {
    answerNext("67 01 11 22 33 44");
    answerNext("67 02");
    client.unlock(1, 0x5A3C96E1);
    ASSERT_EQ(script.requests.size(), 2U);
    EXPECT_EQ(hex(script.requests[0]), "27 01");
    EXPECT_EQ(hex(script.requests[1]), "27 02 1E A5 A5 4B");
}

TEST_F(UdsClientTest, SendsNoKeyWhenTheControlUnitIsUnlockedAlready) {
    answerNext("67 03 00 00 00 00");
    client.unlock(3, 0x5A3C96E1);
    EXPECT_EQ(script.requests.size(), 1U);
}

TEST_F(UdsClientTest, ThrowsWhenTheKeyIsRefused) {
    answerNext("67 01 11 22 33 44");
    answerNext("7F 27 35");
    EXPECT_THROW(client.unlock(1, 0), NegativeResponse);
}

TEST_F(UdsClientTest, RefusesASeedOfAnotherLevel) {
    answerNext("67 03 11 22 33 44");
    EXPECT_THROW(client.unlock(1, 0), LinkError);
}

TEST_F(UdsClientTest, ReadsDataWithoutTheHeader) {
    answerNext("62 F1 95 41 42");
    EXPECT_EQ(hex(client.readData(Did::softwareVersion)), "41 42");
    EXPECT_EQ(hex(script.requests.front()), "22 F1 95");
}

} // namespace
} // namespace Quarlen::Uds::Tests
