#include <algorithm>
#include <initializer_list>
#include <map>
#include <ostream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "doip/Payloads.hpp"
#include "tests/support/HexBytes.hpp"

namespace Quarlen::Doip::Tests {
namespace {

using Quarlen::Tests::hex;
using testing::Optional;

constexpr EntityId textId = {0x02, 0x00, 0x00, 0x00, 0x00, 0x2A};

TEST(EntityIdText, IsSixPairsOfDigitsBetweenColons) {
    EXPECT_EQ(entityIdText(textId), L"02:00:00:00:00:2A");
    EXPECT_EQ(entityIdText({0xAB, 0xCD, 0xEF, 0x01, 0x23, 0x45}), L"AB:CD:EF:01:23:45");
}

TEST(EntityIdText, IsReadInLettersOfBothCases) {
    EXPECT_THAT(entityIdFrom(L"02:00:00:00:00:2A"), Optional(textId));
    EXPECT_THAT(entityIdFrom(L"02:00:00:00:00:2a"), Optional(textId));
    EXPECT_THAT(entityIdFrom(L"AB:cd:EF:01:23:45"),
                Optional(EntityId{0xAB, 0xCD, 0xEF, 0x01, 0x23, 0x45}));
}

TEST(EntityIdText, IsReadAsItIsWritten) {
    for (unsigned value = 0; value <= 0xFF; ++value) {
        for (std::size_t index = 0; index < textId.size(); ++index) {
            EntityId id = textId;
            id.at(index) = static_cast<std::uint8_t>(value);
            EXPECT_THAT(entityIdFrom(entityIdText(id)), Optional(id));
        }
    }
}

TEST(EntityIdText, IsNothingElse) {
    for (const auto* const text :
         {L"", L"02", L"02:00:00:00:00", L"02:00:00:00:00:", L"02:00:00:00:00:2",
          L"02:00:00:00:00:2AB", L"02:00:00:00:00:2A:", L"02:00:00:00:00:2A:01",
          L":02:00:00:00:00:2A", L"2:00:00:00:00:02A", L"02-00-00-00-00-2A", L"02000000002A",
          L"02:00:00:00:00:2G", L"0x:00:00:00:00:2A", L" 2:00:00:00:00:2A", L"+2:00:00:00:00:2A",
          L"02:00:00:00:00:2A ", L"02:00:00:00:00 2A", L"\uFF10\uFF12:00:00:00:00:2A"}) {
        EXPECT_EQ(entityIdFrom(text), std::nullopt) << std::wstring(text).size();
    }
}

/// Codes and their texts; every other byte is one of the reserved ones or of the manufacturer.
struct CodeTable {
    const char* name;
    std::wstring (*textOf)(std::uint8_t code);
    std::map<unsigned, std::wstring> texts;
};

std::ostream& operator<<(std::ostream& stream, const CodeTable& table) {
    return stream << table.name;
}

class CodesOfTheStandard : public testing::TestWithParam<CodeTable> {};

TEST_P(CodesOfTheStandard, HaveTheirNames) {
    for (const auto& [code, text] : GetParam().texts) {
        EXPECT_EQ(GetParam().textOf(static_cast<std::uint8_t>(code)), text);
    }
}

TEST_P(CodesOfTheStandard, AreTheOnlyOnesWithNamesOfTheirOwn) {
    std::map<std::wstring, unsigned> uses;
    for (unsigned code = 0; code <= 0xFF; ++code) {
        const auto text = GetParam().textOf(static_cast<std::uint8_t>(code));
        const auto number = L" (0x" + Uds::hexText({static_cast<std::uint8_t>(code)}) + L")";
        ASSERT_THAT(text, testing::EndsWith(number));
        ++uses[text.substr(0, text.size() - number.size())];
    }
    EXPECT_EQ(uses.count(L""), 0U);
    EXPECT_EQ(static_cast<std::size_t>(std::count_if(
                  uses.begin(), uses.end(), [](const auto& use) { return use.second == 1; })),
              GetParam().texts.size());
}

/// ISO 13400-2:2019, tables 49, 28, 19 and 9.
INSTANTIATE_TEST_SUITE_P(
    All, CodesOfTheStandard,
    testing::Values(
        CodeTable{"RoutingActivation",
                  routingCodeText,
                  {{0x00, L"unknown source address (0x00)"},
                   {0x01, L"all sockets are taken (0x01)"},
                   {0x02, L"another source address is active on this socket (0x02)"},
                   {0x03, L"the source address is in use on another socket (0x03)"},
                   {0x04, L"authentication is missing (0x04)"},
                   {0x05, L"the confirmation was rejected (0x05)"},
                   {0x06, L"unsupported routing activation type (0x06)"},
                   {0x07, L"a secure connection (TLS) is required (0x07)"},
                   {0x10, L"routing is active (0x10)"},
                   {0x11, L"routing will be active after a confirmation in the vehicle (0x11)"}}},
        CodeTable{"DiagnosticNack",
                  diagnosticNackText,
                  {{0x02, L"invalid source address (0x02)"},
                   {0x03, L"unknown target address (0x03)"},
                   {0x04, L"message too large (0x04)"},
                   {0x05, L"out of memory (0x05)"},
                   {0x06, L"target unreachable (0x06)"},
                   {0x07, L"unknown network (0x07)"},
                   {0x08, L"transport protocol error (0x08)"}}},
        CodeTable{"HeaderNack",
                  headerNackText,
                  {{0x00, L"incorrect pattern format (0x00)"},
                   {0x01, L"unknown payload type (0x01)"},
                   {0x02, L"message too large (0x02)"},
                   {0x03, L"out of memory (0x03)"},
                   {0x04, L"invalid payload length (0x04)"}}},
        CodeTable{"FurtherAction",
                  furtherActionText,
                  {{0x00, L"none (0x00)"},
                   {0x10, L"routing activation of type 0xE0 (central security) (0x10)"}}},
        CodeTable{"PowerMode",
                  powerModeText,
                  {{0x00, L"not ready (0x00)"},
                   {0x01, L"ready (0x01)"},
                   {0x02, L"not supported (0x02)"}}}),
    [](const testing::TestParamInfo<CodeTable>& test) { return std::string(test.param.name); });

/// ISO 13400-2:2019, tables 49 and 6.
TEST(DoipCodes, MayBeTheManufacturersOrReserved) {
    for (const std::uint8_t code : hex("E0 FE")) {
        EXPECT_THAT(routingCodeText(code),
                    testing::StartsWith(L"a reason of the manufacturer's ("));
    }
    for (const std::uint8_t code : hex("08 0F 12 DF FF")) {
        EXPECT_THAT(routingCodeText(code), testing::StartsWith(L"a reserved code ("));
    }
    for (const std::uint8_t action : hex("11 FF")) {
        EXPECT_THAT(furtherActionText(action),
                    testing::StartsWith(L"an action of the manufacturer's ("));
    }
    for (const std::uint8_t action : hex("01 0F")) {
        EXPECT_THAT(furtherActionText(action), testing::StartsWith(L"a reserved action ("));
    }
}

template <class Code>
Bytes numbersOf(std::initializer_list<Code> codes) {
    Bytes numbers;
    for (const auto code : codes) {
        numbers.push_back(static_cast<std::uint8_t>(code));
    }
    return numbers;
}

TEST(DoipCodes, HaveTheNumbersOfTheStandard) {
    EXPECT_EQ(
        numbersOf({RoutingCode::UnknownSourceAddress, RoutingCode::NoFreeSocket,
                   RoutingCode::OtherSourceAddressOnSocket, RoutingCode::SourceAddressInUse,
                   RoutingCode::AuthenticationMissing, RoutingCode::ConfirmationRejected,
                   RoutingCode::UnsupportedActivationType, RoutingCode::SecureConnectionRequired,
                   RoutingCode::Activated, RoutingCode::ConfirmationRequired}),
        hex("00 01 02 03 04 05 06 07 10 11"));
    EXPECT_EQ(
        numbersOf({DiagnosticNackCode::InvalidSourceAddress,
                   DiagnosticNackCode::UnknownTargetAddress, DiagnosticNackCode::MessageTooLarge,
                   DiagnosticNackCode::OutOfMemory, DiagnosticNackCode::TargetUnreachable,
                   DiagnosticNackCode::UnknownNetwork, DiagnosticNackCode::TransportProtocolError}),
        hex("02 03 04 05 06 07 08"));
    EXPECT_EQ(numbersOf({HeaderNackCode::IncorrectPattern, HeaderNackCode::UnknownPayloadType,
                         HeaderNackCode::MessageTooLarge, HeaderNackCode::OutOfMemory,
                         HeaderNackCode::InvalidPayloadLength}),
              hex("00 01 02 03 04"));
    EXPECT_EQ(numbersOf({PowerMode::NotReady, PowerMode::Ready, PowerMode::NotSupported}),
              hex("00 01 02"));
}

} // namespace
} // namespace Quarlen::Doip::Tests
