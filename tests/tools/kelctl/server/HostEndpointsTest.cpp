#include "tools/kelctl/server/HostEndpoints.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/NumberedCause.hpp"
#include "tools/kelctl/server/Transport.hpp"

namespace Quarlen::Ctl::Tests {
namespace {

using boost::asio::ip::make_address_v4;
using boost::asio::ip::tcp;
using testing::ElementsAre;

class HostEndpoints : public testing::Test {
protected:
    std::vector<tcp::endpoint> of(const std::string& host) {
        return endpointsOf(host, 58000, error, [this](const std::wstring& name) {
            asked.push_back(name);
            return known;
        });
    }

    std::vector<std::wstring> asked;
    std::vector<std::wstring> known;
    boost::system::error_code error;
};

TEST_F(HostEndpoints, AreThoseThatThePlatformKnowsOfANameWithAnUmlaut) {
    known = {L"10.1.2.3", L"10.1.2.4"};
    error = boost::asio::error::host_not_found;

    EXPECT_THAT(of("b\xC3\xA4r"), ElementsAre(tcp::endpoint(make_address_v4("10.1.2.3"), 58000),
                                              tcp::endpoint(make_address_v4("10.1.2.4"), 58000)));
    EXPECT_THAT(asked, ElementsAre(L"b\u00E4r"));
    EXPECT_FALSE(error);
}

TEST_F(HostEndpoints, AreThisMachinesOfAnEmptyName) {
    known = {L"10.1.2.3"};

    EXPECT_THAT(of(""), ElementsAre(tcp::endpoint(make_address_v4("127.0.0.1"), 58000)));
    EXPECT_THAT(asked, testing::IsEmpty());
}

TEST_F(HostEndpoints, AreThoseOfTheLibraryWhereThePlatformKnowsNone) {
    EXPECT_THAT(of("localhost"),
                testing::Contains(tcp::endpoint(make_address_v4("127.0.0.1"), 58000)));
    EXPECT_FALSE(error);
}

TEST_F(HostEndpoints, AreNoneOfAnUnknownNameAndTheCauseIsTold) {
    EXPECT_THAT(of("no.such.host.invalid"), testing::IsEmpty());
    ASSERT_TRUE(error);
    EXPECT_THAT(causeOf(error), Quarlen::Tests::EndsWithANumber());
}

TEST(HostEndpointsOfTheSystem, AreKnownWithoutALookupOfOurOwn) {
    boost::system::error_code error;
    EXPECT_THAT(endpointsOf("localhost", 80, error),
                testing::Contains(tcp::endpoint(make_address_v4("127.0.0.1"), 80)));
}

} // namespace
} // namespace Quarlen::Ctl::Tests
