#include "tools/kel_vehicle/entity/ExchangeLog.hpp"

#include <regex>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/HexBytes.hpp"

namespace Quarlen::KelVehicle::Tests {
namespace {

using Quarlen::Tests::hex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

std::wstring textOf(const Doip::Bytes& data) {
    return messageText({0x0E80, 0x0010, data});
}

TEST(ExchangeLog, NamesTheServiceOfARequestAndOfItsResponse) {
    EXPECT_EQ(textOf(hex("22 F1 90")), L"0x0E80 > 0x0010 22 F1 90 ReadDataByIdentifier (0x22)");
    EXPECT_EQ(textOf(hex("62 F1 90 41")),
              L"0x0E80 > 0x0010 62 F1 90 41 ReadDataByIdentifier (0x22)");
}

TEST(ExchangeLog, SaysWhatWasRefusedAndWhy) {
    EXPECT_EQ(textOf(hex("7F 22 31")),
              L"0x0E80 > 0x0010 7F 22 31 ReadDataByIdentifier (0x22): " + Uds::nrcText(0x31));
}

TEST(ExchangeLog, CutsWhatNobodyReads) {
    const auto block = [](std::size_t size) { return textOf(Doip::Bytes(size, 0x36)); };
    EXPECT_THAT(block(64), EndsWith(L"36 36 TransferData (0x36)"));
    EXPECT_THAT(block(64), Not(HasSubstr(L"...")));
    EXPECT_EQ(block(65), L"0x0E80 > 0x0010 " + Uds::hexText(Doip::Bytes(64, 0x36)) +
                             L" ... (65 bytes) TransferData (0x36)");
}

TEST(ExchangeLog, BeginsEachLineWithTimeAndTester) {
    std::vector<std::string> lines;
    const ExchangeLog log([&](const std::string& line) { lines.push_back(line); });
    log.event("127.0.0.1:5", L"connected");
    log.message("127.0.0.1:6", {0x0E80, 0x10, hex("3E 00")});
    log.payload("127.0.0.1:7", hex("00 10 0E 80 7E 00"));
    ASSERT_EQ(lines.size(), 3U);
    const std::regex time(R"(\d\d:\d\d:\d\d\.\d\d\d )");
    for (auto& line : lines) {
        std::smatch found;
        ASSERT_TRUE(std::regex_search(line, found, time)) << line;
        EXPECT_EQ(found.position(), 0) << line;
        line.erase(0, static_cast<std::size_t>(found.length()));
    }
    EXPECT_THAT(lines,
                testing::ElementsAre("127.0.0.1:5 connected",
                                     "127.0.0.1:6 0x0E80 > 0x0010 3E 00 TesterPresent (0x3E)",
                                     "127.0.0.1:7 0x0010 > 0x0E80 7E 00 TesterPresent (0x3E)"));
}

TEST(ExchangeLog, SaysNothingToNobody) {
    const ExchangeLog log({});
    // It is not even looked at.
    EXPECT_NO_THROW(log.payload("127.0.0.1:5", {}));
}

} // namespace
} // namespace Quarlen::KelVehicle::Tests
