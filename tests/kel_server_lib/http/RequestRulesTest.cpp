#include "kel_server_lib/http/RequestRules.hpp"

#include <string>

#include <gtest/gtest.h>

#include "kel_server_lib/http/HeaderText.hpp"

namespace Quarlen::Rest::Tests {

namespace {

using httplib::StatusCode;

httplib::Request requestOf(const httplib::Headers& headers, const std::string& method = "PUT",
                           const std::string& version = "HTTP/1.1") {
    httplib::Request request;
    request.method = method;
    request.version = version;
    request.headers = headers;
    return request;
}

bool ends(const std::string& version, const httplib::Headers& headers) {
    httplib::Request request = requestOf(headers, "GET", version);
    const bool ends = settle(request);
    EXPECT_EQ(request.get_header_value("Connection") == "close", ends);
    return ends;
}

TEST(SettledRequest, EndsItsConnectionAtTheOptionCloseInWhateverCase) {
    EXPECT_TRUE(ends("HTTP/1.1", {{"Connection", "close"}}));
    EXPECT_TRUE(ends("HTTP/1.1", {{"Connection", "Close"}}));
    EXPECT_TRUE(ends("HTTP/1.1", {{"Connection", "keep-alive,\t CLOSE "}}));
    EXPECT_TRUE(ends("HTTP/1.1", {{"Connection", "TE"}, {"Connection", "close"}}));
    EXPECT_FALSE(ends("HTTP/1.1", {}));
    EXPECT_FALSE(ends("HTTP/1.1", {{"Connection", "keep-alive"}}));
    EXPECT_FALSE(ends("HTTP/1.1", {{"Connection", "closed"}}));
}

TEST(SettledRequest, EndsTheConnectionOfHttp10UnlessItIsToBeKept) {
    EXPECT_TRUE(ends("HTTP/1.0", {}));
    EXPECT_TRUE(ends("HTTP/1.0", {{"Connection", "keep-alive, close"}}));
    EXPECT_FALSE(ends("HTTP/1.0", {{"Connection", "keep-alive"}}));
    EXPECT_FALSE(ends("HTTP/1.0", {{"Connection", "Keep-Alive"}}));
}

std::string expectationOf(const std::string& version, const std::string& value) {
    httplib::Request request = requestOf({{"Expect", value}}, "PUT", version);
    settle(request);
    return request.get_header_value("Expect");
}

TEST(SettledRequest, ExpectsToGoOnInWhateverCase) {
    EXPECT_EQ(expectationOf("HTTP/1.1", "100-Continue"), "100-continue");
    EXPECT_EQ(expectationOf("HTTP/1.1", "100-continue"), "100-continue");
    EXPECT_EQ(expectationOf("HTTP/1.0", "100-continue"), "");
}

TEST(SettledRequest, HasALengthUnlessItsMethodHasNoBody) {
    for (const std::string method : {"PUT", "POST", "DELETE", "PATCH", "OPTIONS"}) {
        httplib::Request request = requestOf({}, method);
        settle(request);
        EXPECT_EQ(request.get_header_value("Content-Length"), "0") << method;
    }
    for (const std::string method : {"GET", "HEAD"}) {
        httplib::Request request = requestOf({}, method);
        settle(request);
        EXPECT_FALSE(request.has_header("Content-Length")) << method;
    }
}

TEST(SettledRequest, KeepsTheLengthThatItHas) {
    httplib::Request request = requestOf({{"Content-Length", "7"}});
    settle(request);
    EXPECT_EQ(request.get_header_value("Content-Length"), "7");

    request = requestOf({{"Transfer-Encoding", "chunked"}});
    settle(request);
    EXPECT_FALSE(request.has_header("Content-Length"));
}

TEST(SettledRequest, DoesNotSayWhatItsBodyIs) {
    httplib::Request request = requestOf({{"Content-Type", "x"}, {"Content-Encoding", "gzip"}});
    settle(request);

    EXPECT_FALSE(request.has_header("Content-Type"));
    EXPECT_FALSE(request.has_header("Content-Encoding"));
}

TEST(RefusedRequest, AnnouncesABodyBeyondTheLimit) {
    for (const char* length : {"1048577", "0001048577", "99999999999999999999999999"}) {
        EXPECT_EQ(refusalOf(requestOf({{"Content-Length", length}})),
                  StatusCode::PayloadTooLarge_413)
            << length;
    }
    for (const char* length :
         {"1048576", "0", "00000000000000000000000001", "", "many", "1048577x", "-1048577"}) {
        EXPECT_EQ(refusalOf(requestOf({{"Content-Length", length}})), std::nullopt) << length;
    }
}

TEST(RefusedRequest, HasAnUnknownTransferEncoding) {
    EXPECT_EQ(refusalOf(requestOf({{"Transfer-Encoding", "gzip"}})),
              StatusCode::NotImplemented_501);
    EXPECT_EQ(refusalOf(requestOf({{"Transfer-Encoding", "chunked"}})), std::nullopt);
    EXPECT_EQ(refusalOf(requestOf({})), std::nullopt);
}

TEST(HeaderElement, IsComparedWithoutItsCaseAndWhole) {
    EXPECT_TRUE(isSameText("Close", "cLOSE"));
    EXPECT_TRUE(isSameText("AZ", "az"));
    EXPECT_FALSE(isSameText("close", "close "));
    EXPECT_FALSE(isSameText("clos", "close"));
    EXPECT_FALSE(isSameText("[", "{"));
    EXPECT_FALSE(hasElement(requestOf({{"Connection", ""}}), "Connection", "close"));
}

} // namespace

} // namespace Quarlen::Rest::Tests
