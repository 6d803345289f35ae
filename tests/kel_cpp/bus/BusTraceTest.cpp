#include "kel_cpp/bus/BusTrace.hpp"

#include <gtest/gtest.h>

#include "tests/support/HexBytes.hpp"
#include "tests/support/KeptBusEvent.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

using Kind = Uds::BusEvent::Kind;
using Quarlen::Tests::hex;

Quarlen::Tests::KeptBusEvent event(Kind kind, const char* bytes, std::wstring text = {}) {
    return {kind, {L"LINK", std::uint16_t{0x0A1F}}, hex(bytes), std::move(text)};
}

/// As the settings choose it, until the end of the test.
class TraceLevelOf {
public:
    explicit TraceLevelOf(int level) { StdUtil::ErrorHandler::setDebugTraceLevel(level); }
    TraceLevelOf(const TraceLevelOf&) = delete;
    TraceLevelOf& operator=(const TraceLevelOf&) = delete;
    ~TraceLevelOf() { StdUtil::ErrorHandler::setDebugTraceLevel(former); }

private:
    const int former = StdUtil::ErrorHandler::debugTraceLevel();
};

} // namespace

TEST(BusLine, TellsAddressesDirectionAndMeaning) {
    EXPECT_EQ(busLine(event(Kind::Request, "22 F1 90")),
              L"LINK 0x0E80 > 0x0A1F  22 F1 90  ReadDataByIdentifier (0x22)");
    EXPECT_EQ(busLine(event(Kind::KeepAlive, "3E 80")),
              L"LINK 0x0E80 > 0x0A1F  3E 80  TesterPresent (0x3E)");
    EXPECT_EQ(busLine(event(Kind::Response, "62 F1 90 41")),
              L"LINK 0x0E80 < 0x0A1F  62 F1 90 41  ReadDataByIdentifier (0x22) done");
    EXPECT_EQ(busLine(event(Kind::Silence, "3E 00")),
              L"LINK 0x0E80 < 0x0A1F  no response to 3E 00  TesterPresent (0x3E)");
    EXPECT_EQ(busLine(event(Kind::Lost, "3E 00", L"cut")), L"LINK ! cut");
    EXPECT_EQ(busLine(event(Kind::Locked, "11 01", L"it was reset")),
              L"LINK ! locked again: it was reset");
}

TEST(BusLine, MarksARefusal) {
    EXPECT_EQ(busLine(event(Kind::Response, "7F 31 31")),
              L"LINK 0x0E80 < 0x0A1F  7F 31 31  RoutineControl (0x31) refused: "
              L"request out of range (0x31)");
}

TEST(BusLine, MarksAResponsePending) {
    EXPECT_EQ(busLine(event(Kind::Response, "7F 31 78")),
              L"LINK 0x0E80 < 0x0A1F  7F 31 78  RoutineControl (0x31) pending: "
              L"request correctly received, response pending (0x78)");
}

TEST(BusLine, CutsALongMessageAndTellsItsLength) {
    Quarlen::Tests::KeptBusEvent longOne = event(Kind::Request, "");
    longOne.bytes = Uds::Bytes(65, 0x36);
    std::wstring shown = L"36";
    for (int count = 1; count < 64; ++count) {
        shown += L" 36";
    }
    const std::wstring service = L"  TransferData (0x36)";
    EXPECT_EQ(busLine(longOne), L"LINK 0x0E80 > 0x0A1F  " + shown + L" ... (65 bytes)" + service);
    longOne.bytes.pop_back();
    EXPECT_EQ(busLine(longOne), L"LINK 0x0E80 > 0x0A1F  " + shown + service);
}

TEST(BusLine, CutsALongResponseToo) {
    Quarlen::Tests::KeptBusEvent longOne = event(Kind::Response, "");
    longOne.bytes = Uds::Bytes(65, 0x63);
    const std::wstring line = busLine(longOne);
    EXPECT_TRUE(line.ends_with(L" 63 ... (65 bytes)  ReadMemoryByAddress (0x23) done")) << line;
}

TEST(BusLine, HasTheAddressesThatTheProjectSays) {
    EXPECT_EQ(busLine({Kind::Request,
                       {L"LINK", std::uint16_t{0x1001}, {}, std::uint16_t{0x0EF0}},
                       hex("3E 00")}),
              L"LINK 0x0EF0 > 0x1001  3E 00  TesterPresent (0x3E)");
    EXPECT_EQ(
        busLine(
            {Kind::Request, {L"LINK", std::uint16_t{0x1001}, std::uint16_t{0xE400}}, hex("3E 00")}),
        L"LINK 0x0E80 > 0x1001  3E 00  TesterPresent (0x3E)");
    EXPECT_EQ(busLine({Kind::Request, {L"", std::nullopt, std::uint16_t{0xE400}}, hex("3E 00")}),
              L"all 0x0E80 > 0xE400  3E 00  TesterPresent (0x3E)");
    EXPECT_EQ(busLine({Kind::Request, {L"LINK"}, {}}), L"LINK 0x0E80 > ?  ");
}

TEST(BusLine, ShowsTheBytesOfWhatIsNoResponse) {
    EXPECT_EQ(busLine(event(Kind::Response, "3E 00")), L"LINK 0x0E80 < 0x0A1F  3E 00");
    EXPECT_EQ(busLine(event(Kind::Response, "")), L"LINK 0x0E80 < 0x0A1F  ");
}

TEST(BusTrace, IsWrittenFromLevelFourOn) {
    const Quarlen::Tests::TraceCapture traces;
    {
        const TraceLevelOf information(3);
        traceBus(event(Kind::Request, "3E 00"));
        EXPECT_TRUE(traces.lines().empty());
    }
    const TraceLevelOf bus(4);
    traceBus(event(Kind::Request, "3E 00"));
    ASSERT_EQ(traces.lines().size(), 1U);
    EXPECT_EQ(traces.lines()[0].level, StdUtil::TraceLevel::Debug);
    EXPECT_EQ(traces.lines()[0].text, L"LINK 0x0E80 > 0x0A1F  3E 00  TesterPresent (0x3E)");
}

} // namespace Quarlen::Kel_cpp::Tests
