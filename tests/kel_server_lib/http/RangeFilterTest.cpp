#include "kel_server_lib/http/RangeFilter.hpp"

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

namespace Quarlen::Rest::Tests {

namespace {

/// What the filter passes on of bytes that arrive in pieces, with room for so many at a time.
std::string passedInPieces(const std::string& bytes, std::size_t piece, std::size_t room = 4096) {
    RangeFilter filter;
    filter.beginRequest();
    std::string waiting;
    std::string passed;
    for (std::size_t begin = 0; begin < bytes.size();) {
        const std::size_t count = std::min({piece, room - waiting.size(), bytes.size() - begin});
        waiting += bytes.substr(begin, count);
        begin += count;
        const std::size_t ready = filter.pass(waiting, waiting.size() < room);
        passed += waiting.substr(0, ready);
        waiting.erase(0, ready);
    }
    return passed;
}

std::string passed(const std::string& bytes) {
    return passedInPieces(bytes, bytes.size());
}

std::string request(const std::string& method, const std::string& header) {
    return method + " /kel/v1/health HTTP/1.1\r\nHost: localhost\r\n" + header + "\r\n\r\n";
}

TEST(RangeFilter, LeavesARangeOfBytesToGetAndHead) {
    for (const std::string method : {"GET", "HEAD"}) {
        const std::string bytes = request(method, "Range: bytes=0-3");
        EXPECT_EQ(passed(bytes), bytes);
    }
}

TEST(RangeFilter, TakesItFromTheOtherMethods) {
    for (const std::string method : {"PUT", "POST", "DELETE", "GETX"}) {
        EXPECT_EQ(passed(request(method, "Range: bytes=0-3")), request(method, "-ange: bytes=0-3"));
    }
}

TEST(RangeFilter, TakesARangeInAnotherUnit) {
    EXPECT_EQ(passed(request("GET", "Range: lines=0-3")), request("GET", "-ange: lines=0-3"));
    EXPECT_EQ(passed(request("GET", "Range: byte")), request("GET", "-ange: byte"));
    EXPECT_EQ(passed(request("GET", "Range:")), request("GET", "-ange:"));
}

TEST(RangeFilter, KnowsNameAndUnitInWhateverCase) {
    EXPECT_EQ(passed(request("PUT", "rANGE: bytes=0-3")), request("PUT", "-ANGE: bytes=0-3"));
    EXPECT_EQ(passed(request("GET", "range:\t Bytes=0-3")), request("GET", "range:\t bytes=0-3"));
}

TEST(RangeFilter, TakesEachOfSeveral) {
    EXPECT_EQ(passed(request("PUT", "Range: bytes=0-3\r\nX: y\r\nRange: bytes=9-")),
              request("PUT", "-ange: bytes=0-3\r\nX: y\r\n-ange: bytes=9-"));
}

TEST(RangeFilter, LeavesOtherHeadersAlone) {
    const std::string bytes = request("PUT", "If-Range: x\r\nRanges: lines=1\r\nX-Range: y");

    EXPECT_EQ(passed(bytes), bytes);
}

TEST(RangeFilter, LeavesBodiesAlone) {
    const std::string bytes = request("PUT", "X: y") + "first\r\nRange: bytes=0-3\r\n\r\n";

    EXPECT_EQ(passed(bytes), bytes);
}

TEST(RangeFilter, LeavesWhatIsNoRequestAlone) {
    RangeFilter filter;
    std::string bytes = "Range: lines=1\r\n";

    EXPECT_EQ(filter.pass(bytes, true), bytes.size());
    EXPECT_EQ(bytes, "Range: lines=1\r\n");
}

TEST(RangeFilter, LooksAtTheNextRequestAfresh) {
    RangeFilter filter;
    filter.beginRequest();
    std::string first = request("GET", "Range: bytes=0-3");
    ASSERT_EQ(filter.pass(first, true), first.size());
    filter.beginRequest();
    std::string second = request("PUT", "Range: bytes=0-3");

    EXPECT_EQ(filter.pass(second, true), second.size());
    EXPECT_EQ(second, request("PUT", "-ange: bytes=0-3"));
}

TEST(RangeFilter, DoesTheSameWhateverPiecesTheBytesComeIn) {
    const std::string bytes =
        request("PUT", "Range: bytes=0-3\r\nX: " + std::string(200, 'x') + "\r\nrange: lines=1") +
        "Range: in the body\r\n";
    for (std::size_t piece = 1; piece < bytes.size(); ++piece) {
        EXPECT_EQ(passedInPieces(bytes, piece), passed(bytes)) << piece;
    }
}

TEST(RangeFilter, HoldsBackALineThatDoesNotEndYet) {
    RangeFilter filter;
    filter.beginRequest();
    std::string bytes = "PUT / HTTP/1.1\r\nRange: by";

    EXPECT_EQ(filter.pass(bytes, true), std::string("PUT / HTTP/1.1\r\n").size());
}

TEST(RangeFilter, PassesALineThatIsLongerThanTheRoomOnInPieces) {
    for (std::size_t room = 60; room < 70; ++room) {
        const std::string header = "X: " + std::string(200, 'x') + "\r\nRange: bytes=0-3";
        const std::string filtered = "X: " + std::string(200, 'x') + "\r\n-ange: bytes=0-3";
        EXPECT_EQ(passedInPieces(request("PUT", header), 1, room), request("PUT", filtered));
    }
}

TEST(RangeFilter, HoldsBackALineAtTheEndOfTheRoomBehindWholeOnes) {
    for (std::size_t room = 47; room < 70; ++room) {
        EXPECT_EQ(passedInPieces(request("PUT", "Range: bytes=0-3"), room, room),
                  request("PUT", "-ange: bytes=0-3"))
            << room;
    }
}

} // namespace

} // namespace Quarlen::Rest::Tests
