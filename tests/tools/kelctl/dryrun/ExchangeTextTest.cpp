#include "tools/kelctl/dryrun/ExchangeText.hpp"

#include <gtest/gtest.h>

#include "tests/support/HexBytes.hpp"

namespace Quarlen::Ctl::Tests {

using Quarlen::Tests::hex;

TEST(ExchangeText, ShowsLongMessagesByTheirBegin) {
    EXPECT_EQ(bytesText(hex("22 F1 90")), "22 F1 90");
    EXPECT_EQ(bytesText({}), "");
    EXPECT_EQ(bytesText(Uds::Bytes(32, 0xAB)).size(), 32U * 3 - 1);
    EXPECT_EQ(bytesText(Uds::Bytes(33, 0xAB)),
              "AB AB AB AB AB AB AB AB AB AB AB AB AB AB AB AB ... (33 bytes)");
}

TEST(ExchangeText, NamesTheServiceAndTheReasonOfARefusal) {
    EXPECT_EQ(requestText(hex("22 F1 90")), "ReadDataByIdentifier (0x22)");
    EXPECT_EQ(requestText({}), "");
    EXPECT_EQ(responseText(hex("7F 22 31")), "request out of range (0x31)");
    EXPECT_EQ(responseText(hex("7F 22")), "");
    EXPECT_EQ(responseText(hex("62 F1 90")), "");
}

TEST(TransferRun, StandsForAcceptedBlocks) {
    TransferRun run;
    EXPECT_FALSE(run.end());
    EXPECT_TRUE(run.takesRequest(L"L", hex("36 01 AA BB")));
    EXPECT_TRUE(run.takesResponse(L"L", hex("76 01")));
    EXPECT_TRUE(run.takesRequest(L"L", hex("36 02 CC")));
    EXPECT_TRUE(run.takesResponse(L"L", hex("76 02")));
    const auto blocks = run.end();
    ASSERT_TRUE(blocks);
    EXPECT_EQ(blocks->link, L"L");
    EXPECT_EQ(blocks->accepted, 2U);
    EXPECT_EQ(blocks->bytes, 3U);
    EXPECT_FALSE(blocks->open);
    EXPECT_FALSE(run.end());
}

TEST(TransferRun, KeepsTheBlockThatIsNotAccepted) {
    TransferRun run;
    EXPECT_TRUE(run.takesRequest(L"L", hex("36 01 AA")));
    EXPECT_FALSE(run.takesResponse(L"L", hex("7F 36 72")));
    EXPECT_FALSE(run.takesRequest(L"L", hex("36 01 AA")));
    const auto blocks = run.end();
    ASSERT_TRUE(blocks);
    EXPECT_EQ(blocks->accepted, 0U);
    EXPECT_EQ(blocks->open, hex("36 01 AA"));
}

TEST(TransferRun, IsOfOneLinkAndOneService) {
    TransferRun run;
    EXPECT_FALSE(run.takesRequest(L"L", hex("22 01 AA")));
    EXPECT_FALSE(run.takesRequest(L"L", hex("36 01")));
    EXPECT_FALSE(run.takesResponse(L"L", hex("76 01")));
    EXPECT_TRUE(run.takesRequest(L"L", hex("36 01 AA")));
    EXPECT_FALSE(run.takesResponse(L"M", hex("76 01")));
    EXPECT_FALSE(run.takesResponse(L"L", {}));
    EXPECT_TRUE(run.takesResponse(L"L", hex("76 01")));
    EXPECT_FALSE(run.takesRequest(L"M", hex("36 01 AA")));
}

} // namespace Quarlen::Ctl::Tests
