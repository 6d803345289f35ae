#include "tools/kelctl/server/HttpExchange.hpp"

#include <cstddef>
#include <limits>
#include <string_view>

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>

#include "tools/kelctl/base/Failure.hpp"
#include "tools/kelctl/server/Transport.hpp"

namespace Quarlen::Ctl {

namespace http = boost::beast::http;

namespace {

/// The server gives no larger report.
constexpr std::uint64_t maxBody = std::uint64_t{64} * 1024 * 1024;

using Request = http::request<http::string_body>;

Request requestFor(const HttpQuestion& question, const std::string& place) {
    constexpr unsigned version = 11;
    Request request(http::string_to_verb(question.method), question.target, version);
    request.set(http::field::host, place);
    request.set(http::field::connection, "close");
    if (!question.token.empty()) {
        request.set(http::field::authorization, "Bearer " + question.token);
    }
    if (!question.body.empty()) {
        request.set(http::field::content_type, "application/json");
    }
    request.body() = question.body;
    request.prepare_payload();
    return request;
}

} // namespace

HttpAnswer exchangeHttp(const HttpQuestion& question) {
    Transport transport(question.host, question.port);
    transport.stream().expires_after(question.patience);
    const Request request = requestFor(question, transport.place());
    transport.require(transport.await(
        [&](auto done) { http::async_write(transport.stream(), request, std::move(done)); }));
    boost::beast::flat_buffer buffer;
    http::response_parser<http::string_body> parser;
    parser.body_limit(maxBody);
    transport.require(transport.await(
        [&](auto done) { http::async_read(transport.stream(), buffer, parser, std::move(done)); }));
    auto response = parser.release();
    return {response.result_int(), std::string(response.reason()), std::move(response.body())};
}

std::string fetchReport(const ServerPlace& place, const std::string& name) {
    HttpAnswer answer = exchangeHttp({.host = place.host,
                                      .port = place.port,
                                      .target = "/reports/" + percentEncoded(name),
                                      .token = place.token});
    if (answer.status != httpOk) {
        throw Failure(ExitCode::Refused, "the server does not give the report " + name + ": " +
                                             std::to_string(answer.status) + " " + answer.reason);
    }
    return std::move(answer.body);
}

std::string percentEncoded(const std::string& name) {
    constexpr std::string_view unreserved = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                            "0123456789-._~";
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string encoded;
    for (const char letter : name) {
        if (unreserved.find(letter) != std::string_view::npos) {
            encoded += letter;
        } else {
            const auto byte = static_cast<unsigned char>(letter);
            encoded += {'%', digits[byte / 16U], digits[byte % 16U]};
        }
    }
    return encoded;
}

} // namespace Quarlen::Ctl
