#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/kel_cpp/network/NetworkTesting.hpp"
#include "tests/kel_cpp/network/RpcTestClient.hpp"
#include "tests/kel_cpp/network/ServedRuntime.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
using namespace std::string_literals;

constexpr std::size_t messageLimit = 1024;
constexpr unsigned isLast = 0x80;
constexpr unsigned continuationFrame = 0x0;
constexpr unsigned textFrame = 0x1;
constexpr unsigned closeFrame = 0x8;
constexpr unsigned pingFrame = 0x9;
constexpr unsigned pongFrame = 0xA;

/// The length of a frame with the bit that says that it is masked.
std::string maskedLength(std::size_t size) {
    if (size < 126) {
        return {static_cast<char>(0x80U | size)};
    }
    return {'\xFE', static_cast<char>(size >> 8U), static_cast<char>(size & 0xFFU)};
}

/// A frame with the mask 0, which leaves the payload readable.
std::string frame(unsigned head, const std::string& payload) {
    return static_cast<char>(head) + maskedLength(payload.size()) + "\0\0\0\0"s + payload;
}

std::string closing(unsigned code, const std::string& reason = {}) {
    return frame(isLast | closeFrame,
                 std::string{static_cast<char>(code >> 8U), static_cast<char>(code & 0xFFU)} +
                     reason);
}

/// A message whose last fragment does not come.
std::string fragments(std::size_t count, std::size_t size) {
    std::string bytes = frame(textFrame, "{");
    for (std::size_t number = 0; number < count; ++number) {
        bytes += frame(continuationFrame, std::string(size, ' '));
    }
    return bytes;
}

/// The frames of RFC 6455 by hand, for what a client library does not send.
class ARawWebSocket : public testing::Test {
protected:
    void SetUp() override {
        served.settings.limits.maxMessage = messageLimit;
        address = server.start(L"127.0.0.1:0");
        client.emplace(address);
        client->send(
            "GET /rpc HTTP/1.1\r\nHost: " + Platform::toUtf8(address) +
            "\r\nConnection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
            "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n");
        ASSERT_THAT(client->readUntil("\r\n\r\n"), StartsWith("HTTP/1.1 101 "));
    }
    /// What the server says until its first response ends.
    std::string answerTo(const std::string& bytes) {
        client->send(bytes);
        return client->readUntil("\"id\":1}");
    }
    /// The code of the close frame with which the server answers.
    unsigned closeCodeAfter(const std::string& bytes) {
        client->send(bytes);
        const std::string answer = client->readAll();
        if (answer.size() < 4 || static_cast<unsigned char>(answer[0]) != (isLast | closeFrame)) {
            return 0;
        }
        return static_cast<unsigned char>(answer[2]) * 256U + static_cast<unsigned char>(answer[3]);
    }

    const std::string call = R"({"jsonrpc":"2.0","id":1,"method":"server.version"})";
    ServedRuntime served;
    RuntimeServer server{served.sources()};
    std::wstring address;
    std::optional<TestClient> client;
};

struct Violation {
    const char* name;
    std::string bytes;
    unsigned code;
};

class AViolation : public ARawWebSocket, public testing::WithParamInterface<Violation> {};

TEST_P(AViolation, IsAnsweredWithItsCloseCode) {
    EXPECT_EQ(closeCodeAfter(GetParam().bytes), GetParam().code);

    client->leave();
    EXPECT_TRUE(eventually([&] { return server.clients().empty(); }));
}

constexpr auto nameOfViolation = [](const auto& violation) {
    return std::string(violation.param.name);
};

INSTANTIATE_TEST_SUITE_P(
    OfFrames, AViolation,
    testing::Values(Violation{"FirstReservedBit", frame(0xC1, "{}"), 1002},
                    Violation{"SecondReservedBit", frame(0xA1, "{}"), 1002},
                    Violation{"ThirdReservedBit", frame(0x91, "{}"), 1002},
                    Violation{"FirstUnknownOpcodeOfData", frame(0x83, "{}"), 1002},
                    Violation{"LastUnknownOpcodeOfData", frame(0x87, "{}"), 1002},
                    Violation{"FirstUnknownOpcodeOfControl", frame(0x8B, ""), 1002},
                    Violation{"LastUnknownOpcodeOfControl", frame(0x8F, ""), 1002},
                    Violation{"NoMask", "\x81\x02{}", 1002},
                    Violation{"LengthInMoreBytesThanItNeeds", "\x81\xFE\x00\x02\0\0\0\0{}"s, 1002},
                    Violation{"LengthOfMoreThanTheLimit",
                              "\x81\xFF\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF\0\0\0\0{"s, 1009}),
    nameOfViolation);

INSTANTIATE_TEST_SUITE_P(
    OfFragments, AViolation,
    testing::Values(Violation{"ContinuationWithoutABeginning",
                              frame(isLast | continuationFrame, "{}"), 1002},
                    Violation{"TextInsideAMessage",
                              frame(textFrame, "{") + frame(isLast | textFrame, "}"), 1002},
                    Violation{"MoreThanTheLimitWithoutAnEnd", fragments(9, 125), 1009}),
    nameOfViolation);

INSTANTIATE_TEST_SUITE_P(
    OfControlFrames, AViolation,
    testing::Values(Violation{"PingInFragments", frame(pingFrame, "x"), 1002},
                    Violation{"LongPing", frame(isLast | pingFrame, std::string(126, 'x')), 1002},
                    Violation{"LongPong", frame(isLast | pongFrame, std::string(126, 'x')), 1002},
                    Violation{"LongClose", closing(1000, std::string(124, 'x')), 1002},
                    Violation{"CloseOfOneByte", frame(isLast | closeFrame, "\x03"), 1002},
                    Violation{"CloseWithTooSmallACode", closing(999), 1002},
                    Violation{"CloseWithAReservedCode", closing(1004), 1002},
                    Violation{"CloseWithTheCodeForNone", closing(1005), 1002},
                    Violation{"CloseWithAnUnassignedCode", closing(1016), 1002},
                    Violation{"CloseWithAReasonThatIsNotUtf8", closing(1000, "\xC3\x28"), 1002}),
    nameOfViolation);

INSTANTIATE_TEST_SUITE_P(
    OfTexts, AViolation,
    testing::Values(Violation{"NotUtf8", frame(isLast | textFrame, "\xC3\x28"), 1007},
                    Violation{"OverlongUtf8", frame(isLast | textFrame, "\xC0\xAF"), 1007},
                    Violation{"Surrogate", frame(isLast | textFrame, "\xED\xA0\x80"), 1007},
                    Violation{"BeyondUnicode", frame(isLast | textFrame, "\xF4\x90\x80\x80"), 1007},
                    Violation{"Utf8CutOff", frame(isLast | textFrame, "\xE2\x82"), 1007},
                    Violation{"Utf8CutOffInTheLastFragment",
                              frame(textFrame, "{\xE2") + frame(isLast | continuationFrame, "\x82"),
                              1007},
                    Violation{"NotUtf8BeforeTheMessageEnds", frame(textFrame, "\xFF"), 1007}),
    nameOfViolation);

TEST_F(ARawWebSocket, AnswersACloseWithItsCode) {
    EXPECT_EQ(closeCodeAfter(closing(1000)), 1000U);
}

TEST_F(ARawWebSocket, AnswersACloseWithoutACodeWithTheNormalOne) {
    EXPECT_EQ(closeCodeAfter(frame(isLast | closeFrame, "")), 1000U);
}

TEST_F(ARawWebSocket, TakesTheCodesOfApplications) {
    EXPECT_EQ(closeCodeAfter(closing(4999, "\xE2\x82\xAC")), 4999U);
}

TEST_F(ARawWebSocket, TakesAMessageInFragmentsWithAPingBetweenThem) {
    const std::string answer =
        answerTo(frame(textFrame, call.substr(0, 9)) + frame(isLast | pingFrame, "hi") +
                 frame(continuationFrame, call.substr(9, 9)) +
                 frame(isLast | continuationFrame, call.substr(18)));

    EXPECT_THAT(answer, StartsWith("\x8A\x02hi"));
    EXPECT_THAT(answer, HasSubstr("1.2.3"));
}

TEST_F(ARawWebSocket, AnswersAPingWithAllOfItsBytes) {
    const std::string payload(125, '\xFF');

    EXPECT_THAT(answerTo(frame(isLast | pingFrame, payload) + frame(isLast | pingFrame, "") +
                         frame(isLast | textFrame, call)),
                AllOf(StartsWith("\x8A\x7D" + payload + "\x8A\x00"s), HasSubstr("1.2.3")));
}

TEST_F(ARawWebSocket, IgnoresAPongThatItHasNotAskedFor) {
    EXPECT_THAT(answerTo(frame(isLast | pongFrame, "x") + frame(isLast | textFrame, call)),
                AllOf(StartsWith("\x81"), HasSubstr("1.2.3")));
}

TEST_F(ARawWebSocket, TakesEmptyFragments) {
    EXPECT_THAT(answerTo(frame(textFrame, "") + frame(continuationFrame, "") +
                         frame(continuationFrame, call) + frame(isLast | continuationFrame, "")),
                HasSubstr("1.2.3"));
}

TEST_F(ARawWebSocket, TakesAMessageInFragmentsOfOneByteThatCutALetter) {
    std::wstring name;
    served.start = [&](const auto& started, const auto&) {
        name = started;
        return true;
    };
    std::string bytes = frame(textFrame, "");
    for (const char byte : R"({"jsonrpc":"2.0","id":1,"method":"sequence.start",)"
                           "\"params\":{\"name\":\"\xE2\x82\xAC\"}}"s) {
        bytes += frame(continuationFrame, {byte});
    }

    EXPECT_THAT(answerTo(bytes + frame(isLast | continuationFrame, "")), HasSubstr("handled"));
    EXPECT_EQ(name, L"\u20AC");
}

/// The WebSocket library does not look at the end of a text whose last fragment is empty; the
/// method layer does.
TEST_F(ARawWebSocket, AnswersATextThatIsCutOffBeforeAnEmptyFragmentWithAnError) {
    client->send(frame(textFrame, "\xE2\x82") + frame(isLast | continuationFrame, ""));

    EXPECT_THAT(client->readUntil("\"id\":null}"), HasSubstr("-32700"));
}

TEST_F(ARawWebSocket, TakesAMessageOfTheLimitInFragments) {
    const std::string filled = call + std::string(messageLimit - call.size(), ' ');

    EXPECT_THAT(answerTo(frame(textFrame, filled.substr(0, messageLimit - 1)) +
                         frame(isLast | continuationFrame, filled.substr(messageLimit - 1))),
                HasSubstr("1.2.3"));
}

TEST_F(ARawWebSocket, DoesNotWaitForTheEndOfFragmentsToServeOthers) {
    client->send(frame(textFrame, "{"));

    RpcTestClient other(address);

    EXPECT_EQ(other.result("server.version"), json::value("1.2.3"));
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
