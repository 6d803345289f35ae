#include "kel_cpp/bus/BusTrace.hpp"

#include <gtest/gtest.h>

#include "tests/support/HexBytes.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

using Kind = Uds::BusEvent::Kind;
using Quarlen::Tests::hex;

Uds::BusEvent event(Kind kind, const char* bytes, std::wstring text = {}) {
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

TEST(BusLine, TellsPlaceDirectionAndMeaning) {
    EXPECT_EQ(busLine(event(Kind::Request, "22 F1 90")),
              L"LINK (0x0A1F) > 22 F1 90  ReadDataByIdentifier (0x22)");
    EXPECT_EQ(busLine(event(Kind::KeepAlive, "3E 80")),
              L"LINK (0x0A1F) > 3E 80  TesterPresent (0x3E)");
    EXPECT_EQ(busLine(event(Kind::Response, "62 F1 90 41")), L"LINK (0x0A1F) < 62 F1 90 41");
    EXPECT_EQ(busLine(event(Kind::Silence, "3E 00")), L"LINK (0x0A1F) < no response to 3E 00");
    EXPECT_EQ(busLine(event(Kind::Lost, "3E 00", L"cut")), L"LINK (0x0A1F) ! cut");
    EXPECT_EQ(busLine(event(Kind::Locked, "11 01", L"it was reset")),
              L"LINK (0x0A1F) ! locked again: it was reset");
}

TEST(BusLine, MarksARefusalAndAResponsePending) {
    EXPECT_EQ(busLine(event(Kind::Response, "7F 31 78")),
              L"LINK (0x0A1F) < 7F 31 78  RoutineControl (0x31) refused: "
              L"requestCorrectlyReceivedResponsePending (0x78)");
}

TEST(BusLine, CutsALongMessageAndTellsItsLength) {
    Uds::BusEvent longOne = event(Kind::Response, "");
    longOne.bytes = Uds::Bytes(65, 0x41);
    std::wstring shown = L"41";
    for (int count = 1; count < 64; ++count) {
        shown += L" 41";
    }
    EXPECT_EQ(busLine(longOne), L"LINK (0x0A1F) < " + shown + L" ... (65 bytes)");
    longOne.bytes.pop_back();
    EXPECT_EQ(busLine(longOne), L"LINK (0x0A1F) < " + shown);
}

TEST(BusLine, NamesAFunctionalAddressAndALinkWithoutAddress) {
    EXPECT_EQ(busLine({Kind::Response, {L"", std::nullopt, std::uint16_t{0xE400}}, hex("7E 00")}),
              L"all (0xE400) < 7E 00");
    EXPECT_EQ(busLine({Kind::Response, {L"LINK"}, hex("7E 00")}), L"LINK < 7E 00");
    EXPECT_EQ(busLine({Kind::Request, {L"LINK"}, {}}), L"LINK >   ");
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
    EXPECT_EQ(traces.lines()[0].text, L"LINK (0x0A1F) > 3E 00  TesterPresent (0x3E)");
}

} // namespace Quarlen::Kel_cpp::Tests
