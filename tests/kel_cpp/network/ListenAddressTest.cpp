#include "kel_cpp/network/ListenAddress.hpp"

#include <ostream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_cpp/base/RuntimeError.hpp"
#include "tests/kel_cpp/network/NetworkTesting.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using testing::HasSubstr;

std::string shown(const std::wstring& text) {
    return "\"" + Platform::toUtf8(text) + "\"";
}

struct GoodAddress {
    std::wstring text;
    std::wstring host;
    std::uint16_t port;
};

void PrintTo(const GoodAddress& address, std::ostream* out) {
    *out << shown(address.text);
}

class GoodServerAddress : public testing::TestWithParam<GoodAddress> {};

TEST_P(GoodServerAddress, IsTakenApart) {
    const ListenAddress address = parseServerAddress(GetParam().text);

    EXPECT_EQ(address.host, GetParam().host);
    EXPECT_EQ(address.port, GetParam().port);
}

INSTANTIATE_TEST_SUITE_P(Texts, GoodServerAddress,
                         testing::Values(GoodAddress{L"127.0.0.1:58000", L"127.0.0.1", 58000},
                                         GoodAddress{L"eth0:65535", L"eth0", 65535},
                                         GoodAddress{L"my-host.local:1", L"my-host.local", 1},
                                         GoodAddress{L"127.0.0.1:0", L"127.0.0.1", 0},
                                         GoodAddress{L"http://127.0.0.1", L"127.0.0.1", 80},
                                         GoodAddress{L"http://host/", L"host", 80},
                                         GoodAddress{L"HTTP://host:8080", L"host", 8080},
                                         GoodAddress{L"http://host:8080/", L"host", 8080}));

struct BadAddress {
    std::wstring text;
    std::wstring cause;
};

void PrintTo(const BadAddress& address, std::ostream* out) {
    *out << shown(address.text);
}

class BadServerAddress : public testing::TestWithParam<BadAddress> {};

TEST_P(BadServerAddress, IsRefusedWithAddressAndCause) {
    try {
        parseServerAddress(GetParam().text);
        FAIL() << "was taken";
    } catch (const KelApiException& error) {
        EXPECT_EQ(error.code(), static_cast<std::int32_t>(ErrorCode::Server));
        EXPECT_EQ(error.message(),
                  L"cannot listen on \"" + GetParam().text + L"\": " + GetParam().cause);
    }
}

std::wstring badPort(const std::wstring& port) {
    return L"the port is \"" + port + L"\", expected a number from 1 to 65535";
}

std::wstring badHost(const std::wstring& host) {
    return L"the host \"" + host + L"\" is no IPv4 address, host name or adapter name";
}

std::wstring likeAnOption(const std::wstring& host) {
    return L"the host \"" + host +
           L"\" starts like an option; no option is spelled so, and the host comes first";
}

constexpr const wchar_t* noHost =
    L"the host is missing; a command line names it first, before all options, in UTF-8";

INSTANTIATE_TEST_SUITE_P(
    Texts, BadServerAddress,
    testing::Values(
        BadAddress{L"", L"the port is missing; expected host:port"},
        BadAddress{L"127.0.0.1", L"the port is missing; expected host:port"},
        BadAddress{L":58000", noHost}, BadAddress{L"http://", noHost},
        BadAddress{L"host:", badPort(L"")}, BadAddress{L"host:65536", badPort(L"65536")},
        BadAddress{L"host:-1", badPort(L"-1")}, BadAddress{L"host:+80", badPort(L"+80")},
        BadAddress{L"host: 80", badPort(L" 80")},
        BadAddress{L"host:99999999999999999999", badPort(L"99999999999999999999")},
        BadAddress{L"host:8o", badPort(L"8o")}, BadAddress{L"host:\u0661", badPort(L"\u0661")},
        BadAddress{L"::1:80", badHost(L"::1")}, BadAddress{L"[::1]:80", badHost(L"[::1]")},
        BadAddress{L"my host:80", badHost(L"my host")},
        BadAddress{L"host\n:80", badHost(L"host\n")},
        BadAddress{L"http://user@host", badHost(L"user@host")},
        BadAddress{L"http://host/path", badHost(L"host/path")},
        BadAddress{L"ftp://host:21", badHost(L"ftp://host")},
        BadAddress{L"--rest:58000", likeAnOption(L"--rest")},
        BadAddress{L"-v:127", likeAnOption(L"-v")},
        BadAddress{L"https://host", L"encrypted connections (https) are not supported"},
        BadAddress{L"HTTPS://host:443", L"encrypted connections (https) are not supported"}));

TEST(FixedPort, IsEveryPortButZero) {
    EXPECT_NO_THROW(requireFixedPort(L"host:1"));
    EXPECT_NO_THROW(requireFixedPort(L"http://host"));
    for (const wchar_t* const address : {L"host:0", L"http://host:0"}) {
        try {
            requireFixedPort(address);
            ADD_FAILURE() << shown(address) << " was taken";
        } catch (const KelApiException& error) {
            EXPECT_EQ(error.code(), static_cast<std::int32_t>(ErrorCode::Server));
            EXPECT_EQ(
                error.message(),
                L"cannot listen on \"" + std::wstring(address) +
                    L"\": the port is 0, expected a number from 1 to 65535; on a command line "
                    L"a port text that does not begin with a number counts as 0");
        }
    }
}

Platform::NetworkAdapter adapter(const std::wstring& name, const std::wstring& address) {
    Platform::NetworkAdapter made;
    made.systemName = name;
    made.friendlyName = L"Ethernet";
    made.up = true;
    made.firstIpv4Address = address;
    made.hardwareAddressLength = 6;
    return made;
}

TEST(ServerHost, TakesAnIpv4AddressAsItIs) {
    const HostMeaning meaning = interpretHost(L"10.0.0.5", {});

    EXPECT_EQ(meaning.ipv4, L"10.0.0.5");
    EXPECT_FALSE(meaning.isHostName);
}

TEST(ServerHost, FindsAnyAdapterByTheSystemsName) {
    auto loopback = adapter(L"lo", L"127.0.0.1");
    loopback.hardwareAddressLength = 0;

    EXPECT_EQ(interpretHost(L"lo", {adapter(L"eth0", L"10.0.0.1"), loopback}).ipv4, L"127.0.0.1");
}

TEST(ServerHost, FindsAnAdapterByItsKind) {
    const HostMeaning meaning = interpretHost(L"eth7", {adapter(L"", L"10.0.0.1")});

    EXPECT_EQ(meaning.ipv4, L"10.0.0.1");
}

TEST(ServerHost, HasNoAddressWhereTheAdapterIsDownOrMissing) {
    auto down = adapter(L"enp3s0", L"10.0.0.1");
    down.up = false;

    const HostMeaning ofDown = interpretHost(L"enp3s0", {down});
    EXPECT_EQ(ofDown.ipv4, L"");
    EXPECT_FALSE(ofDown.isHostName);
    const HostMeaning ofMissing = interpretHost(L"wlan0", {down});
    EXPECT_EQ(ofMissing.ipv4, L"");
    EXPECT_FALSE(ofMissing.isHostName);
}

TEST(ServerHost, TakesEverythingElseForAHostName) {
    EXPECT_TRUE(interpretHost(L"localhost", {}).isHostName);
    EXPECT_TRUE(interpretHost(L"eth", {}).isHostName);
}

TEST(ServerHost, DoesNotTakeAShortenedAddressForAHostName) {
    EXPECT_FALSE(interpretHost(L"1.2.3", {}).isHostName);
    EXPECT_FALSE(interpretHost(L"256.0.0.1", {}).isHostName);
    EXPECT_FALSE(interpretHost(L"2130706433", {}).isHostName);
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
