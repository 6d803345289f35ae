#include "tests/kel_server_lib/rest/RestFixture.hpp"

namespace Quarlen::Tests {

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// Requests that a web page of another site may have made.
class OtherSite : public RestFixture, public testing::WithParamInterface<const char*> {};

TEST_P(OtherSite, IsForbiddenEveryRouteAndDoesNothing) {
    start();
    const std::string headers =
        std::string(GetParam()) + "\r\nContent-Length: 31\r\nX-Padding: \r\n";
    const std::string body = R"({"script":"A","enable":1,"x":1})";
    for (const char* line :
         {"GET /kel/v1/configurations", "GET /kel/v1/tracing", "PUT /kel/v1/tracing",
          "GET /kel/v1/projects/P/otx", "PUT /kel/v1/stop", "GET /kel/v1/version",
          "GET /kel/v1/health", "PUT /kel/v1/update", "GET /kel/v1/simulation",
          "PUT /kel/v1/simulation", "PUT /kel/v1/scripts/F1", "PUT /kel/v1/sequence/abort",
          "HEAD /kel/v1/version", "GET /elsewhere", "POST /kel/v1/version"}) {
        RawClient client = connect();
        client.send(std::string(line) + " HTTP/1.1\r\n" + headers + "\r\n" + body);
        const std::string reply = client.receiveReply();
        EXPECT_THAT(reply, StartsWith("HTTP/1.1 403 Forbidden\r\n")) << line;
        EXPECT_THAT(reply, EndsWith("\r\n\r\n")) << line;
        EXPECT_THAT(reply, HasSubstr("\r\nConnection: close\r\n")) << line;
    }
    EXPECT_THAT(api->calls(), IsEmpty());
    EXPECT_FALSE(stopRequested);
    EXPECT_EQ(handler->f1.scriptName, L"");
}

INSTANTIATE_TEST_SUITE_P(Headers, OtherSite,
                         testing::Values("Host: evil.example:8011",
                                         "Host: localhost\r\nSec-Fetch-Site: cross-site",
                                         "Host: localhost\r\nHost: evil.example"));

} // namespace

} // namespace Quarlen::Tests
