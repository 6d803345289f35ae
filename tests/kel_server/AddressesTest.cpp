#include "kel_server/Addresses.hpp"

#include <system_error>
#include <utility>

#include <gtest/gtest.h>

#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "tests/kel_server/ApplicationFixture.hpp"

namespace Quarlen::Tests {

namespace {

std::wstring substituted(std::wstring address, const std::wstring& brokerUrl = L"broker") {
    substitutePlaceholders(address, brokerUrl, [] { return std::wstring(L"bench-pc"); });
    return address;
}

TEST(ComposeServerAddress, JoinsAddressAndPort) {
    EXPECT_EQ(composeServerAddress(L"10.0.0.5", 58005), L"10.0.0.5:58005");
}

TEST(ComposeServerAddress, LeavesAUrlAsItIsWhateverThePort) {
    EXPECT_EQ(composeServerAddress(L"https://broker/kel", 58005), L"https://broker/kel");
    EXPECT_EQ(composeServerAddress(L"http://broker", 1), L"http://broker");
}

TEST(ComposeServerAddress, TakesOnlyABeginningForAUrl) {
    EXPECT_EQ(composeServerAddress(L"HTTP://broker", 1), L"HTTP://broker:1");
    EXPECT_EQ(composeServerAddress(L"http:/broker", 1), L"http:/broker:1");
    EXPECT_EQ(composeServerAddress(L"x http://broker", 1), L"x http://broker:1");
}

TEST(ComposeServerAddress, FormatsANegativePort) {
    EXPECT_EQ(composeServerAddress(L"", -1), L":-1");
}

TEST(SubstitutePlaceholders, ReplacesEveryBrokerUrl) {
    EXPECT_EQ(substituted(L"$$BROKERURL$$/a/$$BROKERURL$$", L"http://b"), L"http://b/a/http://b");
}

TEST(SubstitutePlaceholders, ReplacesTheHostName) {
    std::wstring address = substituted(L"$$HOSTNAME$$");

    EXPECT_EQ(composeServerAddress(address, 58000), L"bench-pc:58000");
}

TEST(SubstitutePlaceholders, ReplacesAHostNameThatTheBrokerUrlBringsIn) {
    EXPECT_EQ(substituted(L"$$BROKERURL$$", L"http://$$HOSTNAME$$:80"), L"http://bench-pc:80");
}

TEST(SubstitutePlaceholders, ReplacesThemAlsoByNothing) {
    std::wstring address = L"a$$BROKERURL$$b$$HOSTNAME$$c";

    substitutePlaceholders(address, L"", [] { return std::wstring(); });

    EXPECT_EQ(address, L"abc");
}

TEST(SubstitutePlaceholders, FetchesTheHostNameOnlyWhenItIsNeeded) {
    int fetched = 0;
    std::wstring address = L"$$BROKERURL$$ $HOSTNAME$";

    substitutePlaceholders(address, L"broker", [&fetched] {
        ++fetched;
        return std::wstring();
    });

    EXPECT_EQ(address, L"broker $HOSTNAME$");
    EXPECT_EQ(fetched, 0);
}

TEST(ResolveAdapterAddress, NeverChoosesAVirtualSwitch) {
    const Platform::NetworkAdapter adapter{
        L"", L"vEthernet (Default Switch)", L"Ethernet Adapter", true, L"172.16.0.1", 6};

    EXPECT_EQ(resolveAdapterAddress(L"eth0", [&] { return std::vector{adapter}; }), L"");
}

TEST(ResolveAdapterAddress, GivesTheAddressOfTheMatchingAdapter) {
    const Platform::NetworkAdapter adapter{L"", L"Ethernet 2", L"", true, L"10.0.0.7", 6};

    EXPECT_EQ(resolveAdapterAddress(L"eth0", [&] { return std::vector{adapter}; }), L"10.0.0.7");
    EXPECT_EQ(
        resolveAdapterAddress(L"eth0", [] { return std::vector<Platform::NetworkAdapter>(); }),
        L"");
}

class LeadingInteger : public testing::TestWithParam<std::pair<const wchar_t*, std::int32_t>> {};

TEST_P(LeadingInteger, IsRead) {
    EXPECT_EQ(leadingInteger(GetParam().first), GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, LeadingInteger,
    testing::Values(std::pair{L"58005", 58005}, std::pair{L" \t\n42", 42}, std::pair{L"+7", 7},
                    std::pair{L"-7", -7}, std::pair{L"58005abc", 58005}, std::pair{L"12.9", 12},
                    std::pair{L"abc", 0}, std::pair{L"", 0}, std::pair{L"-", 0},
                    std::pair{L"+-3", 0}, std::pair{L"- 3", 0}, std::pair{L"0x10", 0},
                    std::pair{L"2147483647", 2147483647}, std::pair{L"2147483648", 2147483647},
                    std::pair{L"99999999999999999999999999", 2147483647},
                    std::pair{L"-2147483648", -2147483647 - 1},
                    std::pair{L"-99999999999999999999999999", -2147483647 - 1}));

class BrokerUrl : public Tests::ApplicationFixture {
protected:
    void SetUp() override { api->serverSettings->brokerUrl = L"http://setting"; }

    void setFile(const std::filesystem::path& file) {
        api->serverSettings->brokerUrlFile = StdUtil::PathString(file).wstr();
    }
};

TEST_F(BrokerUrl, IsTheSettingWithoutAFile) {
    EXPECT_EQ(resolveBrokerUrl(*api), L"http://setting");
}

TEST_F(BrokerUrl, IsTheWholeUntrimmedFile) {
    setFile(folder.write("broker.txt", " http://\xC3\xA4:1 \r\n"));

    EXPECT_EQ(resolveBrokerUrl(*api), L" http://\u00E4:1 \r\n");
}

TEST_F(BrokerUrl, IsTheSettingWhenTheFileIsMissingOrEmpty) {
    setFile(folder.path() / "missing.txt");
    EXPECT_EQ(resolveBrokerUrl(*api), L"http://setting");

    setFile(folder.write("empty.txt", ""));
    EXPECT_EQ(resolveBrokerUrl(*api), L"http://setting");
}

TEST_F(BrokerUrl, ThrowsTheReasonWhenTheFileCannotBeRead) {
    const auto file = folder.write("broker.txt", "http://broker");
    setFile(file);
    const std::error_code denied = std::make_error_code(std::errc::permission_denied);

    try {
        resolveBrokerUrl(*api, [denied](const StdUtil::PathString&) -> std::string {
            throw std::system_error(denied, "broker.txt");
        });
        FAIL() << "nothing thrown";
    } catch (const Kel_cpp::KelApiException& exception) {
        EXPECT_EQ(Platform::toUtf8(exception.message()),
                  "Broker URL file \"" + file.string() +
                      "\" cannot be read: " + Platform::toUtf8(Platform::errorText(denied)));
        EXPECT_EQ(exception.code(), denied.value());
    }
}

TEST_F(BrokerUrl, IsEmptyWhenTheFileIsNoText) {
    setFile(folder.write("broker.txt", "http://\xFF"));

    EXPECT_EQ(resolveBrokerUrl(*api), L"");
}

} // namespace

} // namespace Quarlen::Tests
